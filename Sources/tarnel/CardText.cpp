#include "tarnel/CardText.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Duration.h"
#include "tarnel/QueueTable.h"
#include "tarnel/Wrap.h"

namespace tarnel {

namespace {

using Lines = std::vector<std::string>;

void append(Lines& lines, Lines more) { lines.insert(lines.end(), more.begin(), more.end()); }

/// A part of the card under a heading of its own; nothing when it has no lines.
void appendPart(Lines& lines, std::string_view heading, Lines part, const Style& style)
{
    if (part.empty())
        return;
    lines.emplace_back();
    lines.push_back(style.painted(heading, Paint::dim));
    append(lines, std::move(part));
}

std::string plain(std::string_view text) { return TerminalText::plainLine(text); }

std::string heading(const Card& card, const AttentionItem* item, const CardText::Context& context, const Style& style)
{
    const Paint paint = item ? QueueTable::paintOf(item->kind) : Paint::dim;
    std::string state(item ? title(item->kind) : nameOf(card.status));
    if (item && item->waitingSince)
        state += ", " + Duration::brief(context.now - *item->waitingSince);
    return style.painted("● " + state, paint) + "  " + style.painted(plain(card.title), Paint::bold)
        + style.painted("  " + plain(card.machine + "/" + card.paneID), Paint::dim);
}

std::string place(const Card& card)
{
    Lines parts{std::string(displayName(card.agentKind))};
    for (const std::string& part : {card.space, card.cwd, card.branch.value_or("")}) {
        if (!part.empty())
            parts.push_back(plain(part));
    }
    return Text::joined(parts, " · ");
}

Lines textOf(const Question& question, const Style& style)
{
    Lines lines;
    if (question.header)
        append(lines, wrapped(*question.header + ":", style.width));
    append(lines, wrapped(question.text, style.width));
    if (question.multiSelect)
        lines.emplace_back("(several may be chosen)");
    return lines;
}

/// What is asked, in full.
Lines pendingText(const AttentionItem& item, const Style& style)
{
    if (!item.card.pending)
        return item.screenAsking || !item.card.lastMessage ? wrapped(item.card.screenTail.value_or(""), style.width)
                                                           : Lines();
    if (const auto* plan = std::get_if<PendingPlan>(&*item.card.pending))
        return wrapped(plan->plan, style.width);
    if (const auto* permission = std::get_if<PendingPermission>(&*item.card.pending))
        return wrapped(permission->tool + ": " + permission->detail, style.width);
    Lines lines;
    for (const Question& question : std::get<PendingQuestion>(*item.card.pending).questions)
        append(lines, textOf(question, style));
    return lines;
}

Lines choicesText(const AttentionItem& item, const std::vector<std::string>& choices, const Style& style)
{
    Lines lines;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        const std::string detail = CardText::detailOf(item, choices[i]);
        append(lines,
            labelled("  " + std::to_string(i + 1) + ". ", plain(choices[i]) + (detail.empty() ? "" : ": " + detail),
                style.width));
    }
    return lines;
}

std::string howToAnswer(const AttentionItem& item, const std::vector<std::string>& choices)
{
    return "tarnel answer '" + plain(item.id()) + "' " + (choices.empty() ? "--text TEXT" : "1");
}

} // namespace

Lines CardText::choices(const AttentionItem& item, const std::vector<std::string>& quickReplies)
{
    return item.kind == AttentionKind::finished ? item.followUps(quickReplies) : item.choices;
}

std::string CardText::detailOf(const AttentionItem& item, const std::string& choice)
{
    const auto* asked = item.card.pending ? std::get_if<PendingQuestion>(&*item.card.pending) : nullptr;
    if (!asked || asked->questions.empty())
        return {};
    for (const QuestionOption& option : asked->questions.front().options) {
        if (option.label == choice)
            return plain(option.detail.value_or(""));
    }
    return {};
}

std::string CardText::statusText(const StatusLine& status)
{
    Lines parts;
    for (const auto& part : {status.modelLabel(), status.contextLabel(), status.limitLabel(), status.modeLabel()}) {
        if (part && !part->empty())
            parts.push_back(plain(*part));
    }
    return Text::joined(parts, " · ");
}

Lines CardText::question(const AttentionItem& item, const Style& style)
{
    Lines lines = pendingText(item, style);
    if (lines.empty() && item.card.lastMessage)
        lines = wrapped(*item.card.lastMessage, style.width);
    append(lines, choicesText(item, item.choices, style));
    lines.push_back(style.painted("Answer with: " + howToAnswer(item, item.choices), Paint::dim));
    return lines;
}

Lines CardText::lines(const Card& card, const AttentionItem* item, const Context& context, const Style& style)
{
    Lines lines{heading(card, item, context, style), style.painted(place(card), Paint::dim)};
    if (context.statusLine) {
        if (const std::string status = statusText(*context.statusLine); !status.empty())
            lines.push_back(style.painted(status, Paint::dim));
    }
    if (card.asked)
        appendPart(lines, "You asked", wrapped(*card.asked, style.width), style);
    Lines did;
    for (const std::string& step : card.did)
        append(did, labelled("- ", step, style.width));
    appendPart(lines, "It did", std::move(did), style);
    if (card.lastMessage)
        appendPart(lines, "It says", wrapped(*card.lastMessage, style.width), style);
    if (item) {
        const Lines offered = choices(*item, context.quickReplies);
        Lines asked = pendingText(*item, style);
        append(asked, choicesText(*item, offered, style));
        asked.push_back(style.painted("  " + howToAnswer(*item, offered), Paint::dim));
        appendPart(lines, item->kind == AttentionKind::finished ? "You may reply" : "It asks", std::move(asked), style);
    } else if (card.screenTail && !card.lastMessage) {
        appendPart(lines, "On its screen", wrapped(*card.screenTail, style.width), style);
    }
    Lines links;
    for (const Evidence& link : card.evidence)
        links.push_back(plain(link.label) + "  " + plain(link.url));
    appendPart(lines, "Links", std::move(links), style);
    return lines;
}

} // namespace tarnel
