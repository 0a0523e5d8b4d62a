// TarnelCore/Base/Environment.h: the process's environment, its user and its machine.
#pragma once
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Variables by name.
using Environment = std::map<std::string, std::string, std::less<>>;

/// A copy of the process's environment as it is now. Not safe against a thread that changes it.
Environment processEnvironment();

/// The value under `name` when it is set and not empty.
std::optional<std::string> nonEmpty(const Environment& environment, std::string_view name);

/// The user's home directory, without a trailing slash of its own making: `$HOME` when set and not empty, else the user
/// database's entry; "/" when there is neither.
std::string homeDirectory();

/// The machine's host name as the system gives it, domain included; empty when the system gives none.
std::string hostName();

} // namespace tarnel
