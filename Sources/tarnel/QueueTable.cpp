#include "tarnel/QueueTable.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Duration.h"
#include "tarnel/Table.h"

namespace tarnel {

namespace {

/// The last line of a screen that holds anything to read.
std::string lastLine(const std::string& screen)
{
    const auto lines = Text::split(screen, '\n');
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        if (std::string plain = TerminalText::plainLine(*line); !plain.empty())
            return plain;
    }
    return {};
}

/// The most telling line that the item has.
std::string askedLine(const AttentionItem& item)
{
    for (const auto& text : {item.questionText(), item.card.lastMessage, item.card.asked}) {
        if (std::string plain = TerminalText::plainLine(text.value_or("")); !plain.empty())
            return plain;
    }
    return lastLine(item.card.screenTail.value_or(""));
}

} // namespace

Paint QueueTable::paintOf(AttentionKind kind)
{
    switch (kind) {
    case AttentionKind::question:
        return Paint::magenta;
    case AttentionKind::plan:
        return Paint::blue;
    case AttentionKind::permission:
    case AttentionKind::blocked:
    case AttentionKind::asking:
        return Paint::yellow;
    case AttentionKind::finished:
        return Paint::green;
    case AttentionKind::error:
        return Paint::red;
    }
    return Paint::none;
}

std::string QueueTable::paneName(const AttentionItem& item, bool hasMachine)
{
    return TerminalText::plainLine((hasMachine ? item.fingerprint.machine + "/" : "") + item.card.paneID);
}

std::vector<QueueRow> QueueTable::rows(const std::vector<AttentionItem>& queue, bool hasMachine)
{
    std::vector<QueueRow> made;
    made.reserve(queue.size());
    for (const AttentionItem& item : queue)
        made.push_back({.pane = paneName(item, hasMachine),
            .kind = item.kind,
            .space = TerminalText::plainLine(item.card.space),
            .title = TerminalText::plainLine(item.card.title),
            .asked = askedLine(item),
            .waitingSince = item.waitingSince});
    return made;
}

std::vector<std::string> QueueTable::lines(const std::vector<QueueRow>& rows, Timestamp now, const Style& style)
{
    Table table{.columns = {{.heading = "KIND", .dropped = 4}, {.heading = "PANE", .dropped = 5},
                    {.heading = "SPACE", .weight = 2, .dropped = 1}, {.heading = "TITLE", .weight = 3, .dropped = 3},
                    {.heading = "ASKED", .weight = 5}, {.heading = "WAITING", .dropped = 2, .alignsRight = true}}};
    for (const QueueRow& row : rows) {
        const std::string waiting = row.waitingSince ? Duration::brief(now - *row.waitingSince) : "";
        table.rows.push_back({{"● " + std::string(title(row.kind)), paintOf(row.kind)}, {row.pane},
            {row.space, Paint::dim}, {row.title, Paint::bold}, {row.asked}, {waiting, Paint::dim}});
    }
    return table.lines(style);
}

} // namespace tarnel
