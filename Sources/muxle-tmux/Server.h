// muxle-tmux/Server.h: answers clients on a socket.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/Base/WorkerThreads.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "muxle-tmux/Monitor.h"
#include "muxle-tmux/Params.h"
#include "muxle-tmux/Subscription.h"
#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>

namespace tarnel::tmux {

/// Serves a tmux server's panes at a Unix socket: one line a request, one line a reply, and events on connections that
/// have subscribed.
/// Thread-safety: construct and destroy on one thread. Lifetime: it serves from construction to destruction, at which
/// all connections end and the socket's file goes.
class Server {
public:
    struct Options {
        TmuxAddress address;
        std::string home; ///< Where agents keep their records.
        std::string socketPath;
        std::function<void(const std::string&)> log; ///< Of a line for people, without line feed; from any thread.
        std::chrono::milliseconds patience = std::chrono::seconds(8); ///< With tmux: less than clients have with us.
    };

    /// Throws std::exception when the socket cannot be had: std::runtime_error when another process serves it, or when
    /// its path names something else than a socket.
    explicit Server(Options options);
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

private:
    class Client;

    void accept();
    void serve(const std::shared_ptr<Client>& client) TARNEL_EXCLUDES(mutex);
    void handle(Client& client, const std::string& line);
    JSON call(Client& client, const std::string& method, const JSON::Object& params, std::function<void()>& afterwards);
    JSON subscribe(Client& client, const Params& params, std::function<void()>& afterwards);
    JSON observe(Client& client, const Params& params, std::function<void()>& afterwards);
    void distribute(const std::vector<JSON::Object>& events) TARNEL_EXCLUDES(mutex);

    const Options options;
    FileDescriptor claim; // a lock beside the socket: one process serves it
    std::shared_ptr<LineSocket> listener;
    Mutex mutex;
    std::set<std::shared_ptr<Client>> clients TARNEL_GUARDED_BY(mutex);
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::unique_ptr<Monitor> monitor;
    std::unique_ptr<WorkerThreads> workers; // before the monitor goes: they ask it
    std::thread acceptor; // last: all that it uses exists before it starts
};

} // namespace tarnel::tmux
