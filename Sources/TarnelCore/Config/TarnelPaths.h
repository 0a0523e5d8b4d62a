// TarnelCore/Config/TarnelPaths.h: the well-known places of one user, and the version.
#pragma once
#include <string>
#include <string_view>

namespace tarnel {

inline constexpr std::string_view tarnelVersion = "0.1.0";

/// Evaluated afresh on every call, from the process's environment and the user's home directory.
namespace TarnelPaths {

/// "~/.config/tarnel", with the home directory in place.
std::string directory();
/// `TARNELD_SOCKET` when set and not empty, else "tarneld.sock" in the directory.
std::string daemonSocket();
/// `TARNEL_APP_SOCKET` when set and not empty, else "app.sock" in the directory.
std::string appSocket();

} // namespace TarnelPaths

} // namespace tarnel
