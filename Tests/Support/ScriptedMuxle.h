// Tests/Support/ScriptedMuxle.h: a multiplexer for tests, on a real Unix socket.
#pragma once
#include "Support/MuxleWorld.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Mutex.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <chrono>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace tarnel {

/// Listens, and answers each request by the handler of its method; at first by those that show a MuxleWorld, which
/// accept keys, texts and prompts, and just write them down. It can be told to misbehave.
///
///     ScriptedMuxle muxle(folder / "muxle.sock");
///     muxle.change([](MuxleWorld& world) { world.pane("p1").status = "blocked"; });
///     muxle.handle("agent.prompt", [](const JSON::Object&) -> JSON { throw MuxleError("busy", "not now"); });
///     muxle.misbehave(ScriptedMuxle::Fault::hang, "pane.read");
///     muxle.pushEvent("pane.created");
///
/// Thread-safety: every operation may be called from any thread, handlers included, except that `start`, `stop` and the
/// destructor belong to one thread that is none of the handlers'. Handlers run at the same time, one thread each.
class ScriptedMuxle {
public:
    using Duration = std::chrono::milliseconds;
    static constexpr Duration patience = std::chrono::seconds(10);

    struct Request {
        std::string method;
        JSON::Object params;
        std::string id;
    };

    /// The result for the parameters of a request. A MuxleError that it throws becomes the error reply.
    using Handler = std::function<JSON(const JSON::Object& params)>;

    /// Does all there is to do about a request: writes lines, or none. The connection ends when it returns.
    using RawHandler = std::function<void(LineChannel& channel, const Request& request)>;

    /// How a request is served in place of its handler's answer, or around it.
    enum class Fault {
        none,
        hang, ///< Never answers; the connection stays open until the peer closes it.
        drop, ///< Closes the connection without a word.
        cutReply, ///< Closes it after half of the reply's line.
        garbageFirst, ///< Sends a line that is not JSON, then the reply.
        strangersFirst, ///< Sends an event, a reply to another id, `{}` and `7`, then the reply.
        drip, ///< Sends bytes of a line that never ends, one a millisecond.
        chatter, ///< Sends whole lines that answer nothing, without end, one a millisecond.
    };

    /// Starts to serve at `socketPath`. Throws SocketError.
    explicit ScriptedMuxle(std::string socketPath, MuxleWorld world = MuxleWorld::usual());
    ~ScriptedMuxle();
    ScriptedMuxle(const ScriptedMuxle&) = delete;
    ScriptedMuxle& operator=(const ScriptedMuxle&) = delete;

    [[nodiscard]] const std::string& socketPath() const { return path; }

    /// Ends all connections and refuses new ones. The socket's file goes, as when the multiplexer ends well, or stays
    /// behind, as when it crashes. Waits for handlers that run.
    void stop(bool leavesFile = false) TARNEL_EXCLUDES(mutex);

    /// Serves again after `stop`, at the same path and with the same world, handlers and records.
    void start() TARNEL_EXCLUDES(mutex);

    /// Changes the world, with no request served meanwhile. No event is sent.
    void change(const std::function<void(MuxleWorld&)>& change) TARNEL_EXCLUDES(mutex);

    /// Answers `method` by `handler` from now on.
    void handle(std::string method, Handler handler) TARNEL_EXCLUDES(mutex);
    void handleRaw(std::string method, RawHandler handler) TARNEL_EXCLUDES(mutex);

    /// Answers every method as at first.
    void resetHandlers() TARNEL_EXCLUDES(mutex);

    /// Applies `fault` to requests of `method`, of every method when that is empty; `times` of them, then none again.
    void misbehave(Fault fault, std::string method = "", int times = 1 << 30) TARNEL_EXCLUDES(mutex);

    /// Answers requests of `method`, of every method when that is empty, only after `delay`.
    void delay(Duration delay, std::string method = "") TARNEL_EXCLUDES(mutex);

    /// What was asked so far, in the order of arrival; only requests of `method` when that is not empty.
    [[nodiscard]] std::vector<Request> requests(std::string_view method = "") const TARNEL_EXCLUDES(mutex);
    void forgetRequests() TARNEL_EXCLUDES(mutex);
    /// Waits until at least `count` requests of `method` arrived; false when they did not within `limit`.
    bool awaitRequests(std::string_view method, std::size_t count, Duration limit = patience) TARNEL_EXCLUDES(mutex);
    /// The greatest number of requests that were being served at one time.
    [[nodiscard]] int mostAtOnce() const TARNEL_EXCLUDES(mutex);

    /// What each open subscription has asked for, the oldest first.
    [[nodiscard]] std::vector<JSON::Array> subscriptions() const TARNEL_EXCLUDES(mutex);
    /// Waits until exactly `count` subscriptions are open; false when it does not come to that within `limit`.
    bool awaitSubscriptions(std::size_t count, Duration limit = patience) TARNEL_EXCLUDES(mutex);
    /// Sends `{"event":name}` with the members of `data` to every open subscription, whatever it asked for.
    void pushEvent(std::string_view name, JSON::Object data = {}) TARNEL_EXCLUDES(mutex);
    /// Sends any line to every open subscription.
    void pushLine(std::string_view line) TARNEL_EXCLUDES(mutex);
    /// Ends every open subscription, as the multiplexer may at any time.
    void dropSubscriptions() TARNEL_EXCLUDES(mutex);

private:
    struct Connection {
        std::shared_ptr<LineSocket> channel;
        FileDescriptor raw; // the same socket, to write what is no line
        JSON::Array events; // of a subscription
        bool isSubscribed = false;
        bool isOver = false;
        std::thread thread;
    };
    struct Misbehaviour {
        Fault fault = Fault::none;
        int times = 0;
    };

    void installDefaults() TARNEL_EXCLUDES(mutex);
    void acceptConnections() TARNEL_EXCLUDES(mutex);
    void reap() TARNEL_EXCLUDES(mutex);
    void serve(Connection& connection) TARNEL_EXCLUDES(mutex);
    bool serve(Connection& connection, const Request& request) TARNEL_EXCLUDES(mutex);
    bool replyOrNot(Connection& connection, Fault fault, const std::string& reply) TARNEL_EXCLUDES(mutex);
    JSON answer(const Request& request) TARNEL_EXCLUDES(mutex);
    Fault takeFault(const std::string& method) TARNEL_EXCLUDES(mutex);
    Duration delayOf(const std::string& method) const TARNEL_EXCLUDES(mutex);
    bool pause(Duration duration) TARNEL_EXCLUDES(mutex);
    std::vector<std::shared_ptr<LineSocket>> subscribers() const TARNEL_EXCLUDES(mutex);

    const std::string path;
    FileDescriptor listener; // changed by the owner's thread while none accepts
    std::thread acceptingThread;

    mutable Mutex mutex;
    Condition changed; // notified after any field below changes
    bool isStopping TARNEL_GUARDED_BY(mutex) = true;
    MuxleWorld world TARNEL_GUARDED_BY(mutex);
    std::map<std::string, Handler> handlers TARNEL_GUARDED_BY(mutex);
    std::map<std::string, RawHandler> rawHandlers TARNEL_GUARDED_BY(mutex);
    std::map<std::string, Misbehaviour> misbehaviours TARNEL_GUARDED_BY(mutex);
    std::map<std::string, Duration> delays TARNEL_GUARDED_BY(mutex);
    std::vector<Request> record TARNEL_GUARDED_BY(mutex);
    std::list<Connection> connections TARNEL_GUARDED_BY(mutex); // the accepting thread adds and removes
    int served TARNEL_GUARDED_BY(mutex) = 0;
    int mostServed TARNEL_GUARDED_BY(mutex) = 0;
};

} // namespace tarnel
