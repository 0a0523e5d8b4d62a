// TarnelCore/Daemon/DaemonClient.h: the client side of the daemon's socket.
#pragma once
#include "TarnelCore/Attention/Answer.h"
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Daemon/DaemonLink.h"
#include "TarnelCore/Daemon/TerminalStream.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Reaches one daemon: a fresh connection for each call, subscription and terminal stream.
/// Thread-safety: every operation may be called from any thread.
/// Errors: SocketError when the daemon cannot be reached, goes away or is too slow; MuxleError for its error replies.
class DaemonClient {
public:
    using Seconds = std::chrono::duration<double>;

    explicit DaemonClient(std::shared_ptr<LineChannelOpener> opener);
    explicit DaemonClient(const std::string& socketPath);

    /// Names the daemon in messages: its socket's path where it is reached through one.
    [[nodiscard]] std::string socketPath() const { return opener->label(); }

    /// One request and its result; null where the reply has none. Blocks for at most `timeout`, whatever else the
    /// daemon sends meanwhile: SocketError::io (EAGAIN) then. SocketError::closed when the daemon ends the connection
    /// first.
    JSON call(std::string_view method, const JSON::Object& params, Seconds timeout);

    /// The machine's state after a refresh. Throws DecodingError too, also when the daemon has no snapshot yet.
    MachineSnapshot snapshot();

    /// Answers a queue item and waits for what becomes of it. Throws DecodingError too.
    AnswerOutcome answer(const AnswerRequest& request);

    /// What a subscriber is told, on the thread that subscribed, in the order of arrival. Empty functions are skipped.
    struct Subscriber {
        std::function<void(const std::shared_ptr<DaemonLink>&)> onOpen = {}; ///< Once the daemon has agreed.
        std::function<void(const MachineSnapshot&)> onSnapshot = {};
        std::function<void(const CommandReply&)> onReply = {}; ///< How a command sent over the link fares.
        std::function<void(const JSON&)> onEvent = {}; ///< Each event as it came, before it is told in its own form.
    };

    /// Subscribes and blocks until the daemon ends the connection, someone closes the link, or no line has come for a
    /// day (SocketError::io). What a callback throws ends the subscription and is passed on.
    void subscribe(const Subscriber& subscriber);

    /// Starts to stream a pane's screen, in the given size in cells or, when either is absent, in the pane's own.
    std::shared_ptr<TerminalStream> observe(
        std::string_view pane, std::optional<std::int64_t> columns = {}, std::optional<std::int64_t> rows = {});

private:
    const std::shared_ptr<LineChannelOpener> opener;
    std::atomic<std::int64_t> counter = 0; // of request ids; unique is all that they need to be
};

} // namespace tarnel
