// tarnel/Checkup.h: whether all that Tarnel needs is in order.
#pragma once
#include "tarnel/DaemonAccess.h"
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// One thing that must hold.
struct Finding {
    enum class State { ok, warning, problem };
    friend constexpr auto namesOf(State)
    {
        return std::array{std::string_view("ok"), std::string_view("warning"), std::string_view("problem")};
    }

    std::string subject; ///< "Daemon", say.
    State state = State::ok;
    std::string found; ///< In one line.
    std::optional<std::string> remedy; ///< The one command that mends it, or shows more of it.

    bool operator==(const Finding&) const = default;
    static constexpr auto fields()
    {
        using T = Finding;
        return std::tuple{Field{"subject", &T::subject}, Field{"state", &T::state}, Field{"found", &T::found},
            Field{"remedy", &T::remedy}};
    }
};

/// Each looks at one area and never throws.
namespace Checkup {

Finding configuration(const TarnelConfig& config);

/// The socket of a daemon on this machine: that it is there, the user's own, and nobody else's to write to.
std::vector<Finding> socket(const std::string& path);

/// The daemon at the other end and what it needs: its multiplexer and the records of the agents that it sees.
std::vector<Finding> daemon(const Daemon& daemon, DaemonClient::Seconds timeout);

} // namespace Checkup

} // namespace tarnel
