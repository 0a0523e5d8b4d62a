#include "Support/ScriptedMuxle.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tarnel {

namespace {

#if defined(__APPLE__)
constexpr int sendFlags = 0;
#else
constexpr int sendFlags = MSG_NOSIGNAL;
#endif

FileDescriptor listeningAt(const std::string& path)
{
    sockaddr_un address{};
    if (path.size() >= sizeof address.sun_path)
        throw SocketError::pathTooLong(path);
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    ::unlink(path.c_str());
    FileDescriptor made(::socket(AF_UNIX, SOCK_STREAM, 0));
    if (::bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0
        || ::listen(made.get(), 128) != 0)
        throw SocketError::bind(path, errno);
    return made;
}

bool sendBytes(const FileDescriptor& socket, std::string_view bytes)
{
    return ::send(socket.get(), bytes.data(), bytes.size(), sendFlags) == static_cast<ssize_t>(bytes.size());
}

} // namespace

ScriptedMuxle::ScriptedMuxle(std::string socketPath, MuxleWorld shown)
    : path(std::move(socketPath))
    , world(std::move(shown))
{
    installDefaults();
    start();
}

ScriptedMuxle::~ScriptedMuxle() { stop(); }

void ScriptedMuxle::start()
{
    if (acceptingThread.joinable())
        return;
    listener = listeningAt(path);
    {
        MutexLock lock(mutex);
        isStopping = false;
    }
    acceptingThread = std::thread([this] { acceptConnections(); });
}

void ScriptedMuxle::stop(bool leavesFile)
{
    if (!acceptingThread.joinable())
        return;
    {
        MutexLock lock(mutex);
        isStopping = true;
        changed.notifyAll();
    }
    ::shutdown(listener.get(), SHUT_RDWR);
    try {
        LineSocket::connect(path); // wakes the accepting thread where the shutdown does not
    } catch (const SocketError&) {
        // it is awake already
    }
    acceptingThread.join();
    listener = FileDescriptor();
    if (!leavesFile)
        ::unlink(path.c_str());
    std::list<Connection> ending;
    {
        MutexLock lock(mutex);
        for (Connection& each : connections)
            each.channel->close();
        ending.splice(ending.end(), connections); // their threads keep their places
    }
    for (Connection& each : ending)
        each.thread.join();
    MutexLock lock(mutex);
    changed.notifyAll();
}

void ScriptedMuxle::change(const std::function<void(MuxleWorld&)>& change)
{
    MutexLock lock(mutex);
    change(world);
}

void ScriptedMuxle::handle(std::string method, Handler handler)
{
    MutexLock lock(mutex);
    rawHandlers.erase(method);
    handlers[std::move(method)] = std::move(handler);
}

void ScriptedMuxle::handleRaw(std::string method, RawHandler handler)
{
    MutexLock lock(mutex);
    rawHandlers[std::move(method)] = std::move(handler);
}

void ScriptedMuxle::resetHandlers()
{
    {
        MutexLock lock(mutex);
        handlers.clear();
        rawHandlers.clear();
    }
    installDefaults();
}

void ScriptedMuxle::misbehave(Fault fault, std::string method, int times)
{
    MutexLock lock(mutex);
    misbehaviours[std::move(method)] = {fault, times};
}

void ScriptedMuxle::delay(Duration delay, std::string method)
{
    MutexLock lock(mutex);
    delays[std::move(method)] = delay;
}

std::vector<ScriptedMuxle::Request> ScriptedMuxle::requests(std::string_view method) const
{
    MutexLock lock(mutex);
    std::vector<Request> found;
    std::copy_if(record.begin(), record.end(), std::back_inserter(found),
        [&](const Request& each) { return method.empty() || each.method == method; });
    return found;
}

void ScriptedMuxle::forgetRequests()
{
    MutexLock lock(mutex);
    record.clear();
}

bool ScriptedMuxle::awaitRequests(std::string_view method, std::size_t count, Duration limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    MutexLock lock(mutex);
    for (;;) {
        const auto arrived = std::count_if(
            record.begin(), record.end(), [&](const Request& each) { return method.empty() || each.method == method; });
        if (static_cast<std::size_t>(arrived) >= count)
            return true;
        if (!changed.waitUntil(mutex, deadline))
            return false;
    }
}

int ScriptedMuxle::mostAtOnce() const
{
    MutexLock lock(mutex);
    return mostServed;
}

std::vector<JSON::Array> ScriptedMuxle::subscriptions() const
{
    MutexLock lock(mutex);
    std::vector<JSON::Array> found;
    for (const Connection& each : connections) {
        if (each.isSubscribed)
            found.push_back(each.events);
    }
    return found;
}

bool ScriptedMuxle::awaitSubscriptions(std::size_t count, Duration limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    MutexLock lock(mutex);
    for (;;) {
        const auto open = std::count_if(
            connections.begin(), connections.end(), [](const Connection& each) { return each.isSubscribed; });
        if (static_cast<std::size_t>(open) == count)
            return true;
        if (!changed.waitUntil(mutex, deadline))
            return false;
    }
}

void ScriptedMuxle::pushEvent(std::string_view name, JSON::Object data)
{
    data["event"] = name;
    pushLine(JSON(std::move(data)).serialized());
}

void ScriptedMuxle::pushLine(std::string_view line)
{
    for (const auto& channel : subscribers()) {
        try {
            channel->writeLine(line);
        } catch (const SocketError&) {
            // the subscriber has just gone
        }
    }
}

void ScriptedMuxle::dropSubscriptions()
{
    for (const auto& channel : subscribers())
        channel->close();
}

std::vector<std::shared_ptr<LineSocket>> ScriptedMuxle::subscribers() const
{
    MutexLock lock(mutex);
    std::vector<std::shared_ptr<LineSocket>> found;
    for (const Connection& each : connections) {
        if (each.isSubscribed)
            found.push_back(each.channel);
    }
    return found;
}

void ScriptedMuxle::installDefaults()
{
    const auto show = [this](const char* method, auto form) {
        handle(method, [this, form](const JSON::Object& params) {
            MutexLock lock(mutex);
            return form(world, params);
        });
    };
    show("agent.list", [](const MuxleWorld& shown, const JSON::Object&) { return shown.agentList(); });
    show("pane.list", [](const MuxleWorld& shown, const JSON::Object&) { return shown.paneList(); });
    show("workspace.list", [](const MuxleWorld& shown, const JSON::Object&) { return shown.workspaceList(); });
    show("session.snapshot", [](const MuxleWorld& shown, const JSON::Object&) { return shown.sessionSnapshot(); });
    show("pane.read", [](const MuxleWorld& shown, const JSON::Object& params) { return shown.paneRead(params); });
    show("pane.focus", [](MuxleWorld& shown, const JSON::Object& params) {
        shown.focus(stringOf(params.find("pane_id")).value_or(""));
        return JSON(JSON::Object());
    });
    for (const char* method : {"pane.send_keys", "pane.send_text", "agent.prompt", "agent.explain", "events.subscribe"})
        handle(method, [](const JSON::Object&) { return JSON(JSON::Object()); });
    handle("ping", [](const JSON::Object&) { return JSON::object({{"version", "9.9.9"}}); });
}

void ScriptedMuxle::acceptConnections()
{
    for (;;) {
        FileDescriptor accepted(::accept(listener.get(), nullptr, nullptr));
        reap();
        MutexLock lock(mutex);
        if (isStopping)
            return;
        if (!accepted.isOpen())
            continue;
        Connection& connection = connections.emplace_back();
        connection.raw = FileDescriptor(::dup(accepted.get()));
        connection.channel = std::make_shared<LineSocket>(std::move(accepted));
        connection.thread = std::thread([this, &connection] { serve(connection); });
    }
}

void ScriptedMuxle::reap()
{
    std::list<Connection> over;
    {
        MutexLock lock(mutex);
        for (auto each = connections.begin(); each != connections.end();) {
            const auto next = std::next(each);
            if (each->isOver)
                over.splice(over.end(), connections, each);
            each = next;
        }
    }
    for (Connection& each : over)
        each.thread.join();
}

void ScriptedMuxle::serve(Connection& connection)
{
    try {
        bool goesOn = true;
        while (goesOn) {
            const auto line = connection.channel->readJSON();
            if (!line)
                break;
            const JSON* params = (*line)["params"];
            const Request request{stringOf((*line)["method"]).value_or(""),
                params && params->object() ? *params->object() : JSON::Object(), stringOf((*line)["id"]).value_or("")};
            {
                MutexLock lock(mutex);
                record.push_back(request);
                mostServed = std::max(mostServed, ++served);
                changed.notifyAll();
            }
            try {
                goesOn = serve(connection, request);
            } catch (const std::exception&) {
                goesOn = false; // the peer has gone
            }
            MutexLock lock(mutex);
            --served;
        }
    } catch (const std::exception&) {
        // the peer has gone, or sent what is not JSON
    }
    connection.channel->close();
    MutexLock lock(mutex);
    connection.isSubscribed = false;
    connection.isOver = true;
    changed.notifyAll();
}

/// Whether the connection stays open.
bool ScriptedMuxle::serve(Connection& connection, const Request& request)
{
    RawHandler raw;
    {
        MutexLock lock(mutex);
        if (const auto found = rawHandlers.find(request.method); found != rawHandlers.end())
            raw = found->second;
    }
    const Fault fault = takeFault(request.method);
    if (!pause(delayOf(request.method)))
        return false;
    if (raw) {
        raw(*connection.channel, request);
        return false;
    }
    if (fault == Fault::drop)
        return false;
    const JSON reply = fault == Fault::hang ? JSON() : answer(request);
    if (!replyOrNot(connection, fault, reply.serialized()))
        return false;
    if (request.method == "events.subscribe" && !reply["error"]) {
        MutexLock lock(mutex);
        const JSON* events = request.params.find("subscriptions");
        connection.events = events && events->array() ? *events->array() : JSON::Array();
        connection.isSubscribed = true;
        changed.notifyAll();
    }
    return true;
}

/// Sends the reply as `fault` would have it; false when that ended the connection.
bool ScriptedMuxle::replyOrNot(Connection& connection, Fault fault, const std::string& reply)
{
    LineChannel& channel = *connection.channel;
    switch (fault) {
    case Fault::none:
    case Fault::drop:
        break;
    case Fault::hang:
        while (channel.readLine()) { }
        return false;
    case Fault::cutReply:
        sendBytes(connection.raw, std::string_view(reply).substr(0, reply.size() / 2));
        return false;
    case Fault::garbageFirst:
        channel.writeLine("{this is no JSON");
        break;
    case Fault::strangersFirst:
        for (const char* line : {R"({"event":"pane.created"})", R"({"id":"another","result":"wrong"})",
                 R"({"id":7,"error":"wrong"})", "{}", "7"})
            channel.writeLine(line);
        break;
    case Fault::drip:
        while (sendBytes(connection.raw, " ") && pause(Duration(1))) { }
        return false;
    case Fault::chatter:
        while (sendBytes(connection.raw, "{\"event\":\"pane.created\"}\n") && pause(Duration(1))) { }
        return false;
    }
    channel.writeLine(reply);
    return true;
}

JSON ScriptedMuxle::answer(const Request& request)
{
    Handler handler;
    {
        MutexLock lock(mutex);
        if (const auto found = handlers.find(request.method); found != handlers.end())
            handler = found->second;
    }
    const auto failed = [&](std::string_view code, std::string_view message) {
        return JSON::object({{"id", request.id}, {"error", JSON::object({{"code", code}, {"message", message}})}});
    };
    try {
        if (!handler)
            return failed("unknown_method", "unknown method " + request.method);
        return JSON::object({{"id", request.id}, {"result", handler(request.params)}});
    } catch (const MuxleError& error) {
        return failed(error.code, error.message);
    } catch (const std::exception& error) {
        return failed("internal", error.what());
    }
}

ScriptedMuxle::Fault ScriptedMuxle::takeFault(const std::string& method)
{
    MutexLock lock(mutex);
    for (const std::string& key : {method, std::string()}) {
        const auto found = misbehaviours.find(key);
        if (found != misbehaviours.end() && found->second.times > 0) {
            --found->second.times;
            return found->second.fault;
        }
    }
    return Fault::none;
}

ScriptedMuxle::Duration ScriptedMuxle::delayOf(const std::string& method) const
{
    MutexLock lock(mutex);
    for (const std::string& key : {method, std::string()}) {
        if (const auto found = delays.find(key); found != delays.end())
            return found->second;
    }
    return {};
}

/// Lets time pass; false when the multiplexer stops meanwhile.
bool ScriptedMuxle::pause(Duration duration)
{
    const auto deadline = std::chrono::steady_clock::now() + duration;
    MutexLock lock(mutex);
    while (!isStopping && std::chrono::steady_clock::now() < deadline)
        changed.waitUntil(mutex, deadline);
    return !isStopping;
}

} // namespace tarnel
