// TarnelCore/Records/RecordPlace.h: which agent's record stands where.
#pragma once
#include <compare>
#include <string>

namespace tarnel {

/// One agent's record on disk.
struct RecordPlace {
    /// Whose form the record has.
    enum class Kind { claude, codex, grok };

    Kind kind = Kind::claude;
    std::string path; ///< The record file of claude and codex, the session's directory of grok.

    auto operator<=>(const RecordPlace&) const = default;
};

} // namespace tarnel
