// muxle-tmux/ControlClient.h: one long-lived control-mode client of the tmux server.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/Process.h"
#include "muxle-tmux/ControlProtocol.h"
#include "muxle-tmux/TmuxAddress.h"
#include <chrono>
#include <deque>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

namespace tarnel::tmux {

/// Sends commands to the server and hands on its notifications. No window takes its size from this client, and the
/// server may not start or stop with it.
/// Thread-safety: every operation may be called from any thread.
/// Lifetime: the destructor ends the client and waits for its thread, so never destroy one from a handler.
class ControlClient {
public:
    using Deadline = std::chrono::steady_clock::time_point;

    /// Called on the client's own thread. They must not block on a reply.
    struct Handlers {
        std::function<void(const ControlNotification&)> notification;
        std::function<void()> ended; ///< Once, after which every command fails.
        std::function<void()> answered = [] {}; ///< After each answer, in its place among the notifications.
    };

    /// Attaches to the session with the id `session` ("$0"). `flags` as for `attach-session -f`.
    /// Throws std::system_error when tmux cannot be started; a failed attach shows as an end.
    ControlClient(const TmuxAddress& address, const std::string& session, const std::string& flags, Handlers handlers);
    ~ControlClient();
    ControlClient(const ControlClient&) = delete;
    ControlClient& operator=(const ControlClient&) = delete;

    /// Commands under way: their replies up to the first that is an error.
    using Pending = std::future<std::vector<ControlReply>>;

    /// Sends commands, each a single line and not empty, between which nothing else happens on the server; those behind
    /// one that fails are not run. Throws TmuxError::unavailable after the end.
    Pending startAll(const std::vector<std::string>& commands);
    Pending start(const std::string& command) { return startAll({command}); }

    /// What each of the commands wrote. Throws TmuxError: notFound or refused with tmux's own message, timeout,
    /// unavailable.
    static std::vector<std::string> results(Pending& pending, Deadline deadline);
    /// The same of the last.
    static std::string result(Pending& pending, Deadline deadline) { return results(pending, deadline).back(); }

    /// `start` and `result`.
    std::string run(const std::string& command, Deadline deadline);

    /// Whether `ended` has been, or is about to be, called.
    [[nodiscard]] bool hasEnded() const TARNEL_EXCLUDES(mutex);

private:
    struct Waiting {
        std::promise<std::vector<ControlReply>> promise;
        std::size_t count = 0; // of commands
        std::vector<ControlReply> replies = {};
    };

    void read();
    void handle(const ControlMessage& message);
    void end() TARNEL_EXCLUDES(mutex);
    void write(std::string_view line) TARNEL_REQUIRES(writeMutex);

    const Handlers handlers;
    Process process;
    Mutex writeMutex; // commands are queued in the order in which they are written; taken before `mutex`
    mutable Mutex mutex;
    std::deque<Waiting> waiting TARNEL_GUARDED_BY(mutex);
    bool isOver TARNEL_GUARDED_BY(mutex) = false;
    std::thread reader; // last: all that it uses exists before it starts
};

} // namespace tarnel::tmux
