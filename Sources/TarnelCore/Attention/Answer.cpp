#include "TarnelCore/Attention/Answer.h"
#include <cassert>
#include <utility>

namespace tarnel {

AnswerOutcomeBox::AnswerOutcomeBox()
    : AnswerOutcomeBox(std::make_shared<const AnswerOutcome>(AnswerNotFound{}))
{
}

AnswerOutcomeBox::AnswerOutcomeBox(std::shared_ptr<const AnswerOutcome> held)
    : outcome(std::move(held))
{
    assert(outcome && "a box always holds an outcome");
}

const AnswerOutcome& AnswerOutcomeBox::value() const { return *outcome; }

bool AnswerOutcomeBox::operator==(const AnswerOutcomeBox& other) const
{
    return outcome == other.outcome || *outcome == *other.outcome;
}

AnswerOutcome duplicate(AnswerOutcome earlier)
{
    return AnswerDuplicate{AnswerOutcomeBox(std::make_shared<const AnswerOutcome>(std::move(earlier)))};
}

bool succeeded(const AnswerOutcome& outcome)
{
    const auto* duplicate = std::get_if<AnswerDuplicate>(&outcome);
    return duplicate ? succeeded(duplicate->earlier.value()) : std::holds_alternative<AnswerApplied>(outcome);
}

} // namespace tarnel
