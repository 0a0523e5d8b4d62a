#include "tarnel/TopScreen.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Duration.h"
#include "tarnel/QueueTable.h"
#include "tarnel/TopCard.h"
#include "tarnel/TopLayout.h"
#include "tarnel/Wrap.h"
#include <algorithm>
#include <array>
#include <utility>

namespace tarnel {

namespace {

using Mode = TopState::Mode;

constexpr std::array<std::pair<std::string_view, std::string_view>, 22> helpLines{{
    {"j k, arrows", "move in the queue; scroll the card where it is alone"},
    {"n, tab", "go to the next that waits; N, shift+tab to the one before"},
    {"g G", "go to the first or the last"},
    {"enter, esc", "open the card, go back to the queue (narrow terminals)"},
    {"space, page down", "scroll the card down; page up scrolls it up"},
    {"J K", "scroll the card by a line"},
    {"", ""},
    {"1 to 9", "answer with the choice of that number"},
    {"t", "answer in your own words; tab adds a choice to them"},
    {"p", "prompt the agent: after its turn, when it is at work"},
    {"P", "prompt the agent now, into its running turn"},
    {"s", "send the prompt that is held for it now"},
    {"o", "go to the agent's pane in the multiplexer"},
    {"X", "close the agent's pane, once you confirm it"},
    {"", ""},
    {"/", "show only what holds a text; esc shows all again"},
    {"ctrl+l", "draw the screen anew"},
    {"?", "this help"},
    {"q, ctrl+c", "quit"},
    {"", ""},
    {"While typing", "enter sends, esc keeps the text for later,"},
    {"", "ctrl+u, ctrl+k, ctrl+w erase, arrows move"},
}};

/// Which daemons have gone; empty when none has.
StyledRow lossRow(const TopState& state)
{
    std::vector<std::string> gone;
    for (const TopMachine& machine : state.machines) {
        if (machine.snapshot && !machine.isConnected)
            gone.push_back(TerminalText::plainLine(machine.label));
    }
    if (gone.empty())
        return StyledRow();
    return StyledRow(gone.size() == 1 ? "The daemon at " + gone.front() + " has gone; trying again ..."
                                      : "Daemons have gone; trying again: " + Text::joined(gone, ", "),
        Paint::red);
}

StyledRow heading(const TopState& state)
{
    std::vector<std::string> names;
    std::ptrdiff_t working = 0;
    for (const TopMachine& machine : state.machines) {
        if (!machine.snapshot)
            continue;
        names.push_back(TerminalText::plainLine(machine.snapshot->machine));
        const auto& agents = machine.snapshot->agents;
        working += std::count_if(agents.begin(), agents.end(),
            [](const MuxleAgent& agent) { return agent.isAgent() && agent.status == AgentStatus::working; });
    }
    if (names.empty() || !state.queue)
        return StyledRow("tarnel top", Paint::bold);
    const std::size_t waiting = state.queue->size();
    StyledRow row(Text::joined(names, ", "), Paint::bold);
    row.add("   " + std::to_string(waiting) + (waiting == 1 ? " waits for you, " : " wait for you, ")
            + std::to_string(working) + (working == 1 ? " is at work" : " are at work"),
        Paint::dim);
    if (!state.filter.empty())
        row.add("   /" + TerminalText::plainLine(state.filter) + " shows " + std::to_string(state.visible().size()),
            Paint::yellow);
    return row;
}

std::vector<StyledRow> queueRows(const TopState& state, Timestamp now, std::size_t columns, std::size_t rows)
{
    const auto items = state.visible();
    if (items.empty()) {
        std::vector<StyledRow> made;
        const std::string_view words = !state.queue ? std::string_view("Waiting for the daemon ...")
            : state.filter.empty()                  ? QueueTable::nothingWaits
                                                    : std::string_view("Nothing that waits holds this text.");
        for (std::string& line : wrapped(words, columns))
            made.emplace_back(std::move(line), Paint::dim);
        return made;
    }
    const std::size_t first = std::min(
        state.selectedRow - std::min(state.selectedRow, rows / 2), items.size() - std::min(items.size(), rows));
    const std::size_t end = std::min(items.size(), first + rows);
    std::size_t kindColumns = 0;
    std::size_t waitColumns = 0;
    std::vector<std::string> waits(items.size());
    for (std::size_t i = first; i < end; ++i) {
        if (items[i]->waitingSince)
            waits[i] = Duration::brief(now - *items[i]->waitingSince);
        kindColumns = std::max(kindColumns, title(items[i]->kind).size());
        waitColumns = std::max(waitColumns, waits[i].size());
    }
    std::vector<StyledRow> made;
    for (std::size_t i = first; i < end; ++i) {
        const Card& card = items[i]->card;
        const bool isSelected = TopPlace::of(*items[i]) == state.selectedPlace;
        StyledRow row(isSelected ? "> " : "  "); // tells the chosen one where there is no reverse
        row.add("● " + TerminalText::padded(title(items[i]->kind), kindColumns) + "  ",
            QueueTable::paintOf(items[i]->kind));
        const std::size_t used = row.width() + 1 + waitColumns;
        const std::string space = TerminalText::plainLine(card.space);
        const std::string name = nameOf(card) + (space.empty() ? "" : " · " + space);
        row.add(TerminalText::padded(name, columns - std::min(columns, used)));
        row.add(" " + std::string(waitColumns - waits[i].size(), ' ') + waits[i], Paint::dim);
        row = row.padded(columns);
        made.push_back(isSelected ? row.selected() : row);
    }
    return made;
}

std::vector<StyledRow> cardRows(const TopState& state, Timestamp now, std::size_t columns, std::size_t rows)
{
    const TopCard card = TopCard::of(state, now, columns, rows);
    const std::size_t room = rows - std::min(rows, card.foot.size());
    const std::size_t top = card.top(state, room);
    const std::size_t end = std::min(card.body.size(), top + room);
    using Offset = std::ptrdiff_t;
    std::vector<StyledRow> made(
        card.body.begin() + static_cast<Offset>(top), card.body.begin() + static_cast<Offset>(end));
    if (top > 0 && room > 1)
        made.front() = StyledRow("↑ " + std::to_string(top + 1) + " lines above: page up", Paint::dim).cut(columns);
    if (end < card.body.size() && !made.empty())
        made.back() = StyledRow("↓ " + std::to_string(card.body.size() - end + 1) + " more lines: space", Paint::dim)
                          .cut(columns);
    made.insert(made.end(), card.foot.begin(), card.foot.end());
    return made;
}

std::vector<StyledRow> helpRows(std::size_t columns)
{
    constexpr std::size_t keyColumns = 18;
    std::vector<StyledRow> made{StyledRow("Keys", Paint::bold), StyledRow()};
    for (const auto& [keys, words] : helpLines) {
        const std::size_t indent = columns >= 60 ? keyColumns : std::min<std::size_t>(columns / 3, keyColumns);
        const auto lines = wrapped(words, std::max<std::size_t>(columns - indent, 1));
        for (std::size_t i = 0; i < std::max<std::size_t>(lines.size(), 1); ++i) {
            StyledRow row;
            row.add(TerminalText::padded(i == 0 ? keys : "", indent), Paint::bold);
            made.push_back(lines.empty() ? StyledRow() : row.add(lines[i]));
        }
    }
    return made;
}

/// The two panes, or the one that there is room for.
std::vector<StyledRow> panes(const TopState& state, Timestamp now, const TopLayout& layout)
{
    std::vector<StyledRow> queue;
    std::vector<StyledRow> card;
    if (layout.queueColumns > 0)
        queue = queueRows(state, now, layout.queueColumns, layout.paneRows);
    if (layout.cardColumns > 0)
        card = cardRows(state, now, layout.cardColumns, layout.paneRows);
    if (layout.gapColumns == 0)
        return queue.empty() ? card : queue;
    std::vector<StyledRow> made;
    for (std::size_t i = 0; i < layout.paneRows; ++i) {
        StyledRow row = (i < queue.size() ? queue[i] : StyledRow()).padded(layout.queueColumns);
        row.add(" │ ", Paint::dim);
        made.push_back(i < card.size() ? row.add(card[i]) : row);
    }
    return made;
}

/// What stands before the text that is typed.
std::string promptLabel(const TopState& state)
{
    if (state.mode == Mode::filter)
        return "/";
    if (state.mode == Mode::prompt)
        return (state.sendMode == SendMode::steerNow ? "Prompt now for " : "Prompt for ") + state.target.title + ": ";
    const std::string choice =
        state.lineChoice ? " (" + TerminalText::plainLine(state.target.choices[*state.lineChoice]) + ")" : "";
    return "Answer to " + state.target.title + choice + ": ";
}

StyledRow hints(const TopState& state)
{
    if (state.mode == Mode::help)
        return StyledRow("any key closes the help", Paint::dim);
    if (!state.isWide() && state.pane == TopState::Pane::queue)
        return StyledRow("enter card  n next  ? help  q quit", Paint::dim);
    std::string words;
    if (const AttentionItem* item = state.selected()) {
        const std::size_t choices = std::min<std::size_t>(state.choicesOf(*item).size(), 9);
        if (choices > 0)
            words = choices == 1 ? "1 answers  " : "1-" + std::to_string(choices) + " answer  ";
        words += "t text  ";
    }
    if (!state.isWide())
        return StyledRow(words + "esc back  ? help", Paint::dim);
    return StyledRow(words + "p prompt  n next  / filter  ? help  q quit", Paint::dim);
}

} // namespace

TopScreen TopScreen::of(const TopState& state, Timestamp now)
{
    const TopLayout layout = TopLayout::of(state);
    const std::size_t columns = state.size.columns;
    const StyledRow loss = lossRow(state);
    const bool isLost = !loss.spans.empty();
    TopScreen screen;
    const auto append = [&](const StyledRow& row) { screen.rows.push_back(row.cut(columns)); };
    const auto appendNotice = [&](const StyledRow& notice) {
        auto lines = wrapped(notice.text(), columns);
        const bool isCut = lines.size() > layout.noticeRows;
        lines.resize(layout.noticeRows);
        if (isCut)
            lines.back() += " …";
        for (std::string& line : lines)
            append(StyledRow(std::move(line), notice.spans.empty() ? Paint::none : notice.spans.front().paint));
    };
    if (layout.headingRows > 0)
        append(isLost ? loss : heading(state));
    std::vector<StyledRow> middle = state.mode == Mode::help ? helpRows(columns) : panes(state, now, layout);
    middle.resize(layout.paneRows);
    for (const StyledRow& row : middle)
        append(row);
    if (layout.noticeRows > 0)
        appendNotice(isLost && layout.headingRows == 0 ? loss : StyledRow(state.notice.text, state.notice.paint));
    const bool types = state.mode == Mode::filter || state.mode == Mode::answer || state.mode == Mode::prompt;
    if (layout.footerRows > 0 && types) {
        const std::string label = TerminalText::cut(promptLabel(state), columns / 2);
        const std::size_t used = TerminalText::width(label);
        const LineEditor::View line = state.line.view(columns - std::min(columns, used));
        append(StyledRow(label, Paint::bold).add(line.text));
        screen.cursor = Cursor{.row = screen.rows.size() - 1, .column = std::min(used + line.cursorCell, columns - 1)};
    } else if (layout.footerRows > 0) {
        append(hints(state));
    }
    return screen;
}

} // namespace tarnel
