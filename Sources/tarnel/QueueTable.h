// tarnel/QueueTable.h: the queue as a table for people.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/Paint.h"
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// What the table says of one item: lines of plain words, whatever an agent has written.
struct QueueRow {
    std::string paneID;
    AttentionKind kind = AttentionKind::question;
    std::string space;
    std::string title;
    std::string asked; ///< What the agent asks or says; empty when nothing is known.
    std::optional<Timestamp> waitingSince;

    bool operator==(const QueueRow&) const = default;

    static QueueRow of(const AttentionItem& item);
};

/// Pure functions.
namespace QueueTable {

struct Style {
    std::size_t width = 80; ///< Cells; no line is longer.
    bool hasColor = false;
};

/// What is shown in place of an empty table.
inline constexpr std::string_view nothingWaits = "Nothing waits for you: every agent is at work or at rest.";

/// How the kind is drawn wherever it is named.
Paint paintOf(AttentionKind kind);

std::vector<QueueRow> rows(const std::vector<AttentionItem>& queue);

/// A heading and a line for each row. Where the width is too small for all columns, the less telling ones are left out.
std::vector<std::string> lines(const std::vector<QueueRow>& rows, Timestamp now, const Style& style);

/// A span of time in its largest whole unit: "12 s", "3 m", "5 h", "2 d". One that lies ahead is "0 s".
std::string briefDuration(Timestamp::duration duration);

} // namespace QueueTable

} // namespace tarnel
