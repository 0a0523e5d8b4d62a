// tarnel/QueueTable.h: the queue as a table for people.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "tarnel/Output.h"
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// What the table says of one item: lines of plain words, whatever an agent has written.
struct QueueRow {
    std::string pane; ///< As the user names it: with the machine before it where there are several.
    AttentionKind kind = AttentionKind::question;
    std::string space;
    std::string title;
    std::string asked; ///< What the agent asks or says; empty when nothing is known.
    std::optional<Timestamp> waitingSince;

    bool operator==(const QueueRow&) const = default;
};

/// Pure functions.
namespace QueueTable {

/// What is shown in place of an empty table.
inline constexpr std::string_view nothingWaits = "Nothing waits for you: every agent is at work or at rest.";

Paint paintOf(AttentionKind kind);

/// How the user names the pane of an item: "p3", or "studio/p3" where there are several machines.
std::string paneName(const AttentionItem& item, bool hasMachine);

std::vector<QueueRow> rows(const std::vector<AttentionItem>& queue, bool hasMachine = false);

/// A heading and a line for each row.
std::vector<std::string> lines(const std::vector<QueueRow>& rows, Timestamp now, const Style& style);

} // namespace QueueTable

} // namespace tarnel
