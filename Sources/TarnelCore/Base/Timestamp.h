// TarnelCore/Base/Timestamp.h: points in time and their ISO 8601 text.
#pragma once
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Microseconds since the Unix epoch, in UTC.
using Timestamp = std::chrono::sys_time<std::chrono::microseconds>;

/// Writes `time` in UTC with whole seconds, fractions cut off: "2026-11-16T21:02:03Z". Years outside 0 to 9999 are
/// written as the nearest time inside them, so that the text always reads back.
std::string iso8601(Timestamp time);

/// Reads an RFC 3339 date-time ("2026-11-16T21:02:03Z", "2026-11-16T21:02:03.25+01:00"). Fractions beyond microseconds
/// are cut off. Nothing when the text has another form or names a day or time that does not exist.
std::optional<Timestamp> parseISO8601(std::string_view text);

/// The time that lies `seconds` after the Unix epoch; nothing when that is not finite or outside the years 0 to 9999.
std::optional<Timestamp> timestampFromSeconds(double seconds);

} // namespace tarnel
