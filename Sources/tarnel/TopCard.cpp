#include "tarnel/TopCard.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/CardText.h"
#include "tarnel/Duration.h"
#include "tarnel/QueueTable.h"
#include "tarnel/Wrap.h"
#include <algorithm>

namespace tarnel {

namespace {

constexpr std::size_t mostSteps = 8;
constexpr std::size_t leastBody = 3; // lines; with less above it, the foot is scrolled with the rest

std::string_view wordOf(AgentStatus status)
{
    switch (status) {
    case AgentStatus::working:
        return "is at work";
    case AgentStatus::blocked:
        return "is blocked";
    case AgentStatus::done:
        return "is done";
    case AgentStatus::idle:
        return "is at rest";
    case AgentStatus::unknown:
        break;
    }
    return "does not say what it does";
}

std::string_view wordOf(Evidence::Kind kind)
{
    switch (kind) {
    case Evidence::Kind::pullRequest:
        return "pull request";
    case Evidence::Kind::ci:
        return "CI";
    case Evidence::Kind::ticket:
        return "ticket";
    case Evidence::Kind::image:
        return "image";
    case Evidence::Kind::link:
        break;
    }
    return "link";
}

/// Fills a card from the top down.
class Writer {
public:
    Writer(std::vector<StyledRow>& filled, std::size_t cells)
        : rows(filled)
        , columns(cells)
    {
    }

    void gap()
    {
        if (!rows.empty() && !rows.back().spans.empty())
            rows.emplace_back();
    }

    void line(const StyledRow& row) { rows.push_back(row.cut(columns)); }

    /// Wrapped text behind `lead`, whose width the further lines are indented by.
    void text(const StyledRow& lead, std::string_view words, Paint paint = Paint::none)
    {
        const std::size_t indent = std::min(lead.width(), columns - 1);
        const auto lines = wrapped(words, columns - indent);
        for (std::size_t i = 0; i < lines.size(); ++i) {
            StyledRow row = i == 0 ? lead : StyledRow(std::string(indent, ' '));
            rows.push_back(row.add(lines[i], paint));
        }
    }

    /// Nothing at all for text that holds nothing to read.
    void section(std::string_view heading, std::string_view words, Paint paint = Paint::none)
    {
        if (wrapped(words, columns).empty())
            return;
        gap();
        line(StyledRow(std::string(heading), Paint::bold));
        text(StyledRow("  "), words, paint);
    }

private:
    std::vector<StyledRow>& rows;
    const std::size_t columns;
};

/// Null when the place is gone.
const MuxleAgent* agentAt(const TopState& state, const TopPlace& place)
{
    const TopMachine* machine = state.machineNamed(place.machine);
    if (!machine)
        return nullptr;
    const auto& agents = machine->snapshot->agents;
    const auto found =
        std::find_if(agents.begin(), agents.end(), [&](const MuxleAgent& each) { return each.paneID == place.paneID; });
    return found == agents.end() ? nullptr : &*found;
}

void writeHead(Writer& out, const TopState& state, const AttentionItem& item, Timestamp now)
{
    const Card& card = item.card;
    StyledRow head("● " + std::string(title(item.kind)), QueueTable::paintOf(item.kind));
    head.add("  " + nameOf(card), Paint::bold);
    if (item.waitingSince)
        head.add("  " + Duration::brief(now - *item.waitingSince), Paint::dim);
    out.line(head);
    std::string place = std::string(displayName(card.agentKind)) + " in " + card.paneID;
    if (state.machines.size() > 1)
        place += " on " + TerminalText::plainLine(card.machine);
    for (const std::string& each : {card.space, card.cwd, card.branch.value_or("")}) {
        if (const std::string plain = TerminalText::plainLine(each); !plain.empty())
            place += " · " + plain;
    }
    const MuxleAgent* agent = agentAt(state, TopPlace::of(item));
    if (agent && agent->focused)
        place += " · in front";
    out.text(StyledRow(), place, Paint::dim);
}

void writeSteps(Writer& out, const std::vector<std::string>& steps)
{
    if (steps.empty())
        return;
    out.gap();
    out.line(StyledRow("Did", Paint::bold));
    const std::size_t left = steps.size() - std::min(steps.size(), mostSteps);
    if (left > 0)
        out.line(StyledRow("  … " + std::to_string(left) + " earlier", Paint::dim));
    for (std::size_t i = left; i < steps.size(); ++i)
        out.text(StyledRow("  · ", Paint::dim), TerminalText::plainLine(steps[i]));
}

void writePending(Writer& out, const Pending& pending)
{
    if (const auto* asked = std::get_if<PendingQuestion>(&pending)) {
        for (std::size_t i = 0; i < asked->questions.size(); ++i) {
            const Question& question = asked->questions[i];
            const std::string header = TerminalText::plainLine(question.header.value_or(""));
            out.section((i == 0 ? "Asks" : "Then asks") + (header.empty() ? "" : ": " + header), question.text);
            if (question.multiSelect)
                out.text(StyledRow("  "), "Several may be chosen there; a number chooses one.", Paint::dim);
        }
    } else if (const auto* plan = std::get_if<PendingPlan>(&pending)) {
        out.section("Plan", plan->plan);
    } else if (const auto* permission = std::get_if<PendingPermission>(&pending)) {
        out.section("Asks to use " + TerminalText::plainLine(permission->tool), permission->detail);
    }
}

void writeLinks(Writer& out, const std::vector<Evidence>& links)
{
    if (links.empty())
        return;
    out.gap();
    out.line(StyledRow("Links", Paint::bold));
    for (const Evidence& link : links) {
        const std::string label = TerminalText::plainLine(link.label);
        const std::string url = TerminalText::plainLine(link.url);
        out.text(StyledRow("  · ", Paint::dim),
            std::string(wordOf(link.kind)) + (label.empty() || label == url ? "" : " " + label) + ": " + url);
    }
}

void writeScreen(Writer& out, const std::string& screen)
{
    std::vector<std::string> lines;
    for (const std::string_view line : Text::split(screen, '\n')) {
        if (std::string plain = TerminalText::plainLine(line); !plain.empty())
            lines.push_back(std::move(plain));
    }
    if (lines.empty())
        return;
    out.gap();
    out.line(StyledRow("On its screen", Paint::bold));
    for (const std::string& line : lines)
        out.line(StyledRow("  " + line, Paint::dim));
}

void writeStatusLine(Writer& out, const TopState& state, const TopPlace& place)
{
    const TopMachine* machine = state.machineNamed(place.machine);
    if (!machine || !machine->snapshot->statusLines)
        return;
    const auto& known = *machine->snapshot->statusLines;
    const auto found = known.find(place.paneID);
    if (found == known.end())
        return;
    out.gap();
    out.text(StyledRow(), CardText::statusText(found->second), Paint::dim);
}

void writeChoices(Writer& out, const TopState& state, const AttentionItem& item)
{
    const std::vector<std::string> choices = state.choicesOf(item);
    const TopSent* underWay = state.answerUnderWay(item);
    const Paint paint = underWay ? Paint::dim : Paint::none;
    for (std::size_t i = 0; i < choices.size(); ++i) {
        const bool hasKey = i < 9;
        const StyledRow lead(
            hasKey ? std::to_string(i + 1) + "  " : "·  ", underWay || !hasKey ? Paint::dim : Paint::bold);
        const std::string detail = CardText::detailOf(item, choices[i]);
        out.text(lead, TerminalText::plainLine(choices[i]) + (detail.empty() ? "" : " - " + detail), paint);
    }
    if (underWay)
        out.text(StyledRow(), "Your answer is on its way ...", Paint::yellow);
}

/// What is known of an agent that waits for nothing any more.
void writeAbsence(Writer& out, const TopState& state)
{
    if (!state.queue) {
        out.text(StyledRow(), "Waiting for the daemon's first look at the agents ...", Paint::dim);
        return;
    }
    if (!state.selectedPlace) {
        out.text(StyledRow(), QueueTable::nothingWaits, Paint::dim);
        return;
    }
    out.line(StyledRow(state.selectedTitle, Paint::bold));
    const MuxleAgent* agent = agentAt(state, *state.selectedPlace);
    out.text(StyledRow(),
        agent ? "It waits for nothing any more and " + std::string(wordOf(agent->status)) + "." : "Its pane is gone.");
    writeStatusLine(out, state, *state.selectedPlace);
    out.gap();
    out.text(
        StyledRow(), state.queue->empty() ? QueueTable::nothingWaits : "n goes to the next that waits.", Paint::dim);
}

} // namespace

TopCard TopCard::of(const TopState& state, Timestamp now, std::size_t columns, std::size_t rows)
{
    TopCard card;
    if (columns == 0)
        return card;
    Writer body(card.body, columns);
    const AttentionItem* item = state.selected();
    if (!item) {
        writeAbsence(body, state);
        return card;
    }
    writeHead(body, state, *item, now);
    body.section("Asked", item->card.asked.value_or(""));
    writeSteps(body, item->card.did);
    const std::size_t before = card.body.size();
    if (item->card.pending)
        writePending(body, *item->card.pending);
    card.asksAt = card.body.size() > before ? before : 0;
    body.section("Last message", item->card.lastMessage.value_or(""));
    if (item->screenAsking || (!item->card.pending && !item->card.lastMessage))
        writeScreen(body, item->card.screenTail.value_or(""));
    writeLinks(body, item->card.evidence);
    writeStatusLine(body, state, TopPlace::of(*item));

    Writer foot(card.foot, columns);
    foot.line(StyledRow());
    writeChoices(foot, state, *item);
    if (card.foot.size() + leastBody > rows) {
        card.body.insert(card.body.end(), card.foot.begin(), card.foot.end());
        card.foot.clear();
    }
    return card;
}

std::size_t TopCard::top(const TopState& state, std::size_t rows) const
{
    const std::size_t last = body.size() - std::min(body.size(), rows);
    return std::min(state.cardTop.value_or(asksAt), last);
}

} // namespace tarnel
