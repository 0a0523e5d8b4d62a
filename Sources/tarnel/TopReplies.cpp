#include "tarnel/TopReplies.h"
#include "TarnelCore/Base/TerminalText.h"

namespace tarnel {

namespace {

template <class... Cases> struct Overloaded : Cases... {
    using Cases::operator()...;
};
template <class... Cases> Overloaded(Cases...) -> Overloaded<Cases...>;

std::optional<AnswerOutcome> outcomeOf(const CommandReply& reply)
{
    try {
        return reply.result ? std::optional(decode<AnswerOutcome>(*reply.result)) : std::nullopt;
    } catch (const DecodingError&) {
        return std::nullopt;
    }
}

/// What was answered, short enough to read at a glance.
std::string quoted(const TopSent& sent)
{
    constexpr std::size_t most = 40;
    const std::string words = sent.choice ? *sent.choice + (sent.text.empty() ? "" : ": " + sent.text) : sent.text;
    return "\"" + TerminalText::cut(TerminalText::plainLine(words), most) + "\"";
}

TopNotice noticeOf(const TopSent& sent, const AnswerOutcome& outcome)
{
    const std::string& name = sent.target.title;
    return std::visit(
        Overloaded{
            [&](const AnswerApplied&) {
                return TopNotice{name + " has taken the answer " + quoted(sent) + ".", Paint::green};
            },
            [&](const AnswerUnverified&) {
                return TopNotice{
                    "The answer " + quoted(sent) + " was typed, but " + name + " has not moved on yet.", Paint::yellow};
            },
            [&](const AnswerStale& stale) {
                return TopNotice{stale.current ? name + " asks something else by now, which is shown; nothing was sent."
                                               : name + " does not wait for an answer any more; nothing was sent.",
                    Paint::yellow};
            },
            [&](const AnswerFailed& failed) {
                return TopNotice{
                    "The answer to " + name + " failed: " + TerminalText::plainLine(failed.message), Paint::red};
            },
            [&](const AnswerDuplicate& again) {
                TopNotice earlier = noticeOf(sent, again.earlier.value());
                earlier.text = "Answered before: " + earlier.text;
                return earlier;
            },
            [&](const AnswerNotFound&) {
                return TopNotice{"The pane of " + name + " is gone; nothing was sent.", Paint::red};
            },
        },
        outcome);
}

std::string whatIsSent(TopSent::Kind kind)
{
    switch (kind) {
    case TopSent::Kind::answer:
        return "The answer to ";
    case TopSent::Kind::focus:
        return "Going to ";
    case TopSent::Kind::close:
        return "Closing ";
    case TopSent::Kind::prompt:
    case TopSent::Kind::release:
        break;
    }
    return "The prompt for ";
}

TopNotice promptNotice(const TopSent& sent, CommandReply::Status status)
{
    const std::string& name = sent.target.title;
    switch (status) {
    case CommandReply::Status::held:
        return {"Held until " + name + " has finished its turn; s sends it now.", Paint::yellow};
    case CommandReply::Status::queued:
        return {name + " takes up " + quoted(sent) + " after its turn.", Paint::green};
    default:
        return {name + " has the prompt " + quoted(sent) + ".", Paint::green};
    }
}

} // namespace

TopNotice noticeOf(const TopSent& sent, const CommandReply& reply)
{
    if (reply.status == CommandReply::Status::failed)
        return {whatIsSent(sent.kind) + sent.target.title
                + " failed: " + TerminalText::plainLine(reply.error.value_or("no reason given")),
            Paint::red};
    if (sent.kind == TopSent::Kind::release)
        return {"Sending what was held for " + sent.target.title + " ...", Paint::none};
    if (sent.kind == TopSent::Kind::focus)
        return {sent.target.title + " is in front in the multiplexer.", Paint::green};
    if (sent.kind == TopSent::Kind::close)
        return {"The pane of " + sent.target.title + " is closed.", Paint::green};
    if (sent.kind == TopSent::Kind::prompt)
        return promptNotice(sent, reply.status);
    const auto outcome = outcomeOf(reply);
    if (!outcome)
        return {"The daemon does not say what became of the answer to " + sent.target.title + ".", Paint::red};
    return noticeOf(sent, *outcome);
}

bool hasArrived(const TopSent& sent, const CommandReply& reply)
{
    if (!reply.isFinal() || reply.status == CommandReply::Status::failed)
        return false;
    if (sent.kind != TopSent::Kind::answer)
        return true;
    const auto outcome = outcomeOf(reply);
    return outcome && (succeeded(*outcome) || std::holds_alternative<AnswerUnverified>(*outcome));
}

} // namespace tarnel
