// tarnel/Duration.h: spans of time as people write and read them.
#pragma once
#include "TarnelCore/Base/Timestamp.h"
#include <chrono>
#include <optional>
#include <string>
#include <string_view>

/// Pure functions.
namespace tarnel::Duration {

/// Reads "500ms", "30s", "1.5m", "2h" or "1d"; a number alone is in seconds. Nothing for any other form, for what is
/// not positive, and for more than a thousand days.
std::optional<std::chrono::duration<double>> parse(std::string_view text);

/// A span in its largest whole unit: "12 s", "3 m", "5 h", "2 d". One that lies ahead is "0 s".
std::string brief(Timestamp::duration duration);

} // namespace tarnel::Duration
