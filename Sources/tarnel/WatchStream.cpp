#include "tarnel/WatchStream.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

bool readsTheSame(const QueueRow& a, const QueueRow& b)
{
    return a.pane == b.pane && a.kind == b.kind && a.space == b.space && a.title == b.title && a.asked == b.asked;
}

} // namespace

std::string WatchStream::news(const std::vector<AttentionItem>& queue, Timestamp now, std::size_t columns)
{
    std::vector<QueueRow> rows = QueueTable::rows(queue, hasMachine);
    const std::vector<QueueRow> before = said.value_or(std::vector<QueueRow>());
    std::string text;
    if (rows.empty() && (!said || !before.empty()))
        text = std::string(QueueTable::nothingWaits) + "\n";
    const std::vector<std::string> lines = QueueTable::lines(rows, now, {.width = columns, .hasColor = false});
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const bool wasSaid =
            std::any_of(before.begin(), before.end(), [&](const QueueRow& row) { return readsTheSame(row, rows[i]); });
        if (!wasSaid)
            text += lines[i + 1] + "\n"; // behind the heading
    }
    said = std::move(rows);
    return text;
}

std::string WatchStream::newsAsJSON(const std::vector<AttentionItem>& queue)
{
    std::map<std::string, AttentionItem> now;
    std::string text;
    for (const AttentionItem& item : queue) {
        const auto before = told.find(item.id());
        if (before == told.end() || before->second != item)
            text += Output::safeJSON(JSON::object({{"item", jsonValue(item)}}).serialized()) + "\n";
        now.emplace(item.id(), item);
    }
    for (const auto& [id, item] : told) {
        if (!now.contains(id))
            text += Output::safeJSON(JSON::object({{"gone", id}}).serialized()) + "\n";
    }
    told = std::move(now);
    return text;
}

} // namespace tarnel
