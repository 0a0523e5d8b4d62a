#include "tarnel/AnswerText.h"
#include "TarnelCore/Base/Text.h"
#include <charconv>

namespace tarnel {

namespace {

std::string howItWentIn(const std::string& method)
{
    if (method == "prompt")
        return "as a prompt";
    if (method == "text")
        return "as typed text";
    if (method.starts_with("menu "))
        return "as option " + method.substr(5) + " of its menu";
    return "by " + method;
}

struct InWords {
    const std::string& pane;

    std::string operator()(const AnswerApplied& applied) const
    {
        return "Answered, " + howItWentIn(applied.method) + ": the agent goes on.";
    }
    std::string operator()(const AnswerUnverified& sent) const
    {
        return "Sent " + howItWentIn(sent.method) + ", but the agent has not moved yet; look at it with: tarnel screen "
            + pane;
    }
    std::string operator()(const AnswerStale& stale) const
    {
        return stale.current ? "Nothing was sent: the agent asks something else by now."
                             : "Nothing was sent: the agent needs nothing any more.";
    }
    std::string operator()(const AnswerFailed& failed) const
    {
        return "The answer failed: " + failed.message + "; look at the agent with: tarnel screen " + pane;
    }
    std::string operator()(const AnswerDuplicate& duplicate) const
    {
        return "Sent before. " + std::visit(*this, duplicate.earlier.value());
    }
    std::string operator()(const AnswerNotFound&) const
    {
        return "There is no agent in pane " + pane + ", or its multiplexer does not answer; see: tarnel queue";
    }
};

} // namespace

std::string AnswerText::choiceMeant(const std::string& given, const std::vector<std::string>& choices)
{
    const std::string wanted = Text::lowercased(Text::trimmed(given));
    for (const std::string& choice : choices) {
        if (Text::lowercased(Text::trimmed(choice)) == wanted)
            return choice;
    }
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(wanted.data(), wanted.data() + wanted.size(), number);
    const bool isNumber = error == std::errc() && end == wanted.data() + wanted.size();
    return isNumber && number >= 1 && number <= choices.size() ? choices[number - 1] : given;
}

std::string AnswerText::outcome(const AnswerOutcome& outcome, const std::string& pane)
{
    return std::visit(InWords{pane}, outcome);
}

const AnswerOutcome& AnswerText::innermost(const AnswerOutcome& outcome)
{
    const auto* duplicate = std::get_if<AnswerDuplicate>(&outcome);
    return duplicate ? innermost(duplicate->earlier.value()) : outcome;
}

ExitStatus AnswerText::statusOf(const AnswerOutcome& given)
{
    const AnswerOutcome& outcome = innermost(given);
    if (std::holds_alternative<AnswerApplied>(outcome))
        return ExitStatus::success;
    if (std::holds_alternative<AnswerUnverified>(outcome))
        return ExitStatus::timeout;
    return std::holds_alternative<AnswerStale>(outcome) ? ExitStatus::stale : ExitStatus::failure;
}

} // namespace tarnel
