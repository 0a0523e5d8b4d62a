// TarnelCore/Records/RecordStep.h: what a line of an agent's record says, understood on its own.
#pragma once
#include "TarnelCore/Records/NameTable.h"
#include "TarnelCore/Records/Transcript.h"
#include <cstdint>
#include <memory>
#include <optional>

namespace tarnel {

/// One thing that a line says. Kept for every line of a record's windows, so it is small.
struct RecordStep {
    enum class Kind : std::uint8_t {
        activity, ///< Nothing but its time, its branch, or that it is an item.
        entry, ///< Something was said.
        call, ///< A tool call, which waits for its result; `name` is its identifier.
        result, ///< The result of the call `name`.
        title, ///< The session is called `name`.
        planMode, ///< The agent plans from here on,
        workMode, ///< or works.
        turnEnd, ///< The agent has ended its turn.
        error, ///< The turn failed with the message `name`.
    };

    Kind kind = Kind::activity;
    bool hasEntry : 1 = false; ///< Something was said, or a tool called; the entry stands in the step's list.
    bool hasTime : 1 = false; ///< Its line tells when.
    bool isItem : 1 = false; ///< Its line reports a completed item.
    bool isReplacedByItems : 1 = false; ///< Its entry is left out of a record that reports completed items.
    NameTable::Number name = 0;
    NameTable::Number branch = 0;
    std::uint32_t detailLength = 0; ///< Of a call: how many bytes at the end of its entry's text are its detail.
    std::uint64_t offset = 0; ///< Of its line in the file.
    Timestamp time; ///< Of its line.
    std::unique_ptr<const Pending> pending; ///< What an open call asks for; absent: permission for its entry's call.

    [[nodiscard]] std::optional<Timestamp> at() const { return hasTime ? std::optional(time) : std::nullopt; }
};

} // namespace tarnel
