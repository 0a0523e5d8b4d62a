#include "muxle-tmux/Server.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/Daemon/Connection.h"
#include "muxle-tmux/Methods.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/Observer.h"
#include "muxle-tmux/TmuxError.h"
#include <cerrno>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t longestRequest = std::size_t{16} << 20; // bytes
constexpr auto stall = 10s; // that a client may leave a reply lying
constexpr std::size_t mostClients = 256;

/// Takes the right to serve the socket, whatever a former process has left there.
FileDescriptor claimSocket(const std::string& path)
{
    Files::createDirectories(Files::parent(path), 0700);
    if (const auto problem = Files::intrusion(Files::parent(path)))
        throw std::runtime_error("will not listen on " + path + ": " + *problem);
    FileDescriptor lock(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!lock.isOpen())
        throw std::system_error(errno, std::generic_category(), "cannot open " + path + ".lock");
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw std::runtime_error("another muxle-tmux serves " + path + "; end it, or choose another --socket");
    struct stat info { };
    if (::lstat(path.c_str(), &info) != 0)
        return lock;
    if (!S_ISSOCK(info.st_mode))
        throw std::runtime_error(path + " is not a socket; move it away, or choose another --socket");
    try {
        LineSocket::connect(path, std::chrono::seconds(1));
    } catch (const SocketError& error) {
        if (error.error == ECONNREFUSED)
            return lock;
    }
    throw std::runtime_error("another program serves " + path + "; end it, or choose another --socket");
}

JSON errorReply(const JSON& id, const std::string& code, const std::string& message)
{
    return JSON::object({{"id", id}, {"error", JSON::object({{"code", code}, {"message", message}})}});
}

} // namespace

/// A connection, and what it has asked for.
class Server::Client {
public:
    explicit Client(std::shared_ptr<LineSocket> socket)
        : connection(std::move(socket))
    {
    }

    Connection connection;
    std::unique_ptr<Observer> observer; // of the connection's own thread
    Mutex mutex;
    Subscription subscription TARNEL_GUARDED_BY(mutex);
};

Server::Server(Options given)
    : options(std::move(given))
    , claim(claimSocket(options.socketPath))
    , listener(LineSocket::listen(options.socketPath))
    , monitor(std::make_unique<Monitor>(options.address, options.home,
          Monitor::Handlers{[this](const std::vector<JSON::Object>& events) { distribute(events); }, options.log}))
    , workers(std::make_unique<WorkerThreads>("muxle-tmux"))
    , acceptor([this] { accept(); })
{
}

Server::~Server()
{
    std::set<std::shared_ptr<Client>> open;
    {
        MutexLock lock(mutex);
        isStopping = true;
        open = clients;
    }
    ::unlink(options.socketPath.c_str()); // ours: the claim has kept all others from it
    listener->close();
    for (const auto& client : open)
        client->connection.close();
    acceptor.join();
    workers.reset();
    monitor.reset();
}

void Server::accept()
{
    setThreadName("muxle.accept");
    for (;;) {
        std::shared_ptr<LineSocket> socket;
        try {
            socket = listener->accept();
        } catch (const SocketError&) {
            {
                MutexLock lock(mutex);
                if (isStopping)
                    return;
            }
            std::this_thread::sleep_for(100ms); // out of descriptors: clients will go
            continue;
        }
        if (const auto user = socket->peerUser(); user != ::geteuid()) {
            options.log("turned away a connection of " + (user ? "user " + std::to_string(*user) : "an unknown user"));
            continue;
        }
        socket->setLineLimit(longestRequest);
        socket->setWriteTimeout(stall);
        const auto client = std::make_shared<Client>(std::move(socket));
        {
            MutexLock lock(mutex);
            if (isStopping)
                return;
            if (clients.size() >= mostClients)
                continue; // and the connection ends
            clients.insert(client);
        }
        workers->run([this, client] { serve(client); });
    }
}

void Server::serve(const std::shared_ptr<Client>& client)
{
    try {
        while (const auto line = client->connection.readLine())
            handle(*client, *line);
    } catch (const SocketError&) {
        // The client has gone, or sends a line beyond all measure.
    }
    client->connection.close();
    client->observer.reset();
    MutexLock lock(mutex);
    clients.erase(client);
}

void Server::handle(Client& client, const std::string& line)
{
    JSON id;
    JSON reply;
    std::function<void()> afterwards;
    try {
        const auto request = JSON::parseLine(line);
        if (!request || !request->object())
            throw TmuxError::invalidRequest("a request must be a JSON object on one line");
        if (const JSON* given = (*request)["id"])
            id = *given;
        const auto method = stringOf((*request)["method"]);
        if (!method)
            throw TmuxError::invalidRequest("a request must have a \"method\"");
        const JSON* params = (*request)["params"];
        if (params && !params->isNull() && !params->object())
            throw TmuxError::invalidParams("\"params\" must be an object");
        const JSON::Object none;
        const JSON::Object& given = params && params->object() ? *params->object() : none;
        reply = JSON::object({{"id", id}, {"result", call(client, *method, given, afterwards)}});
    } catch (const TmuxError& error) {
        reply = errorReply(id, error.code, error.what());
    } catch (const std::exception& error) {
        reply = errorReply(id, "failed", error.what());
    }
    client.connection.reply(reply.serialized());
    try {
        if (afterwards)
            afterwards();
    } catch (const std::exception& error) { // the system has no process or thread left
        options.log(error.what());
        client.connection.close();
    }
}

JSON Server::call(
    Client& client, const std::string& method, const JSON::Object& params, std::function<void()>& afterwards)
{
    if (method == "events.subscribe")
        return subscribe(client, Params(params), afterwards);
    if (method == "pane.observe")
        return observe(client, Params(params), afterwards);
    return callMethod(*monitor, method, params, options.patience);
}

JSON Server::subscribe(Client& client, const Params& params, std::function<void()>& afterwards)
{
    const JSON::Array& wanted = params.requiredArray("subscriptions");
    {
        MutexLock lock(client.mutex);
        client.subscription.add(wanted);
    }
    // Events are kept from now on, and sent once the client has its answer.
    afterwards = [&client] { client.connection.startPushing(); };
    return JSON::object({{"subscribed", true}});
}

JSON Server::observe(Client& client, const Params& params, std::function<void()>& afterwards)
{
    for (const std::string_view name : {"cols", "rows"}) {
        if (const auto size = params.integer(name); size && *size < 1)
            throw TmuxError::invalidParams("\"" + std::string(name) + "\" must be 1 or more");
    }
    if (client.observer)
        throw TmuxError::invalidRequest("this connection observes a pane already");
    const ModelPointer model = monitor->freshModel(std::chrono::steady_clock::now() + options.patience);
    const PaneModel& pane = requiredPane(*model, params);
    const std::int64_t number = pane.number;
    const std::int64_t session = pane.session;
    afterwards = [this, &client, number, session] {
        client.observer = std::make_unique<Observer>(
            monitor->address(), number, session,
            [&client](const JSON& line) { client.connection.channel()->writeJSON(line); },
            [&client] { client.connection.close(); });
    };
    return JSON::object({{"observing", paneID(number)}});
}

void Server::distribute(const std::vector<JSON::Object>& events)
{
    std::set<std::shared_ptr<Client>> all;
    {
        MutexLock lock(mutex);
        all = clients;
    }
    for (const JSON::Object& event : events) {
        Connection::Line line;
        for (const auto& client : all) {
            {
                MutexLock lock(client->mutex);
                if (!client->subscription.includes(event))
                    continue;
            }
            if (!line)
                line = std::make_shared<const std::string>(JSON(event).serialized());
            client->connection.pushEvent(line);
        }
    }
}

} // namespace tarnel::tmux
