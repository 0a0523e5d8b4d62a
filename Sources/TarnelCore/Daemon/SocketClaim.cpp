#include "TarnelCore/Daemon/SocketClaim.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "TarnelCore/Daemon/DaemonError.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <cerrno>
#include <chrono>
#include <exception>
#include <fcntl.h>
#include <optional>
#include <sys/file.h>
#include <system_error>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

constexpr std::chrono::seconds probeTimeout{2};

/// The machine name of the daemon that answers on the socket; nothing when none does in time.
std::optional<std::string> answeringMachine(const std::string& socketPath)
{
    if (!LineSocket::isListening(socketPath))
        return std::nullopt;
    try {
        const JSON reply = DaemonClient(socketPath).call("ping", {}, probeTimeout);
        return stringOf(reply["machine"]).value_or("?");
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/// The same for a daemon that may be about to listen.
std::string startingMachine(const std::string& socketPath)
{
    const auto giveUp = std::chrono::steady_clock::now() + probeTimeout;
    do {
        if (auto machine = answeringMachine(socketPath))
            return *std::move(machine);
        std::this_thread::sleep_for(50ms);
    } while (std::chrono::steady_clock::now() < giveUp);
    return "?";
}

/// Whoever could remove the socket's file could serve in our place, and read what clients send.
const std::string& inSafePlace(const std::string& socketPath)
{
    if (const auto problem = Files::intrusion(Files::parent(socketPath)))
        throw DaemonError::unfit("will not listen on " + socketPath + ": " + *problem);
    return socketPath;
}

} // namespace

SocketClaim::SocketClaim(const std::string& socketPath)
    : lock(::open((inSafePlace(socketPath) + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600))
{
    if (!lock.isOpen())
        throw std::system_error(errno, std::generic_category(), "cannot open " + socketPath + ".lock");
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw DaemonError::alreadyRunning(socketPath, startingMachine(socketPath));
    if (const auto machine = answeringMachine(socketPath))
        throw DaemonError::alreadyRunning(socketPath, *machine);
}

} // namespace tarnel
