#include "Bench/Servers.h"
#include "Bench/BareSocket.h"
#include "Bench/World.h"
#include <cerrno>
#include <chrono>
#include <csignal>
#include <deque>
#include <map>
#include <poll.h>
#include <stdexcept>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <system_error>
#include <thread>
#include <unistd.h>

namespace tarnel::bench {

namespace {

using Time = std::chrono::steady_clock;

FileDescriptor accept(const FileDescriptor& listener)
{
    return FileDescriptor(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
}

[[noreturn]] void serveBare(const std::string& socket, std::size_t replyBytes, bool isKept)
{
    const std::string reply = std::string(replyBytes - 1, 'x') + "\n";
    const FileDescriptor listener = BareSocket::listen(socket);
    std::string buffer;
    for (;;) {
        const FileDescriptor client = accept(listener);
        try {
            while (BareSocket::receiveLine(client, buffer) > 0) {
                BareSocket::send(client, reply);
                if (!isKept)
                    break;
            }
        } catch (const std::system_error&) {
            // The client has gone.
        }
    }
}

/// The text between `before` and the next quotation mark.
std::string_view quotedBehind(std::string_view line, std::string_view before)
{
    const std::size_t start = line.find(before);
    if (start == line.npos)
        return {};
    line.remove_prefix(start + before.size());
    return line.substr(0, line.find('"'));
}

/// Answers with text that was made beforehand, so that it costs what its bytes cost.
class StandIn {
public:
    StandIn(const MuxleWorld& world, int delayMs)
        : delay(delayMs)
    {
        results["session.snapshot"] = world.sessionSnapshot().serialized();
        results["agent.list"] = world.agentList().serialized();
        results["ping"] = "{}";
        for (const MuxleWorld::Pane& pane : world.panes)
            screens[pane.id] = JSON::object({{"read", JSON::object({{"text", pane.screen}})}}).serialized();
    }

    [[noreturn]] void serve(const FileDescriptor& listener)
    {
        std::vector<pollfd> waiting{{listener.get(), POLLIN, 0}};
        for (;;) {
            const auto now = Time::now();
            while (!due.empty() && due.front().at <= now) {
                reply(due.front().client, due.front().line);
                due.pop_front();
            }
            timespec patience{};
            if (!due.empty())
                patience.tv_nsec = std::chrono::nanoseconds(due.front().at - now).count();
            if (::ppoll(waiting.data(), waiting.size(), due.empty() ? nullptr : &patience, nullptr) <= 0)
                continue;
            FileDescriptor client = accept(listener);
            if (client.isOpen() && BareSocket::receiveLine(client, buffer) > 0)
                take(std::move(client), std::string_view(buffer.data(), buffer.find('\n')));
        }
    }

private:
    struct Due {
        Time::time_point at;
        FileDescriptor client;
        std::string line;
    };

    void take(FileDescriptor client, std::string_view request)
    {
        const std::string_view method = quotedBehind(request, R"("method":")");
        std::string line = R"({"id":")";
        (line += quotedBehind(request, R"("id":")")) += R"(","result":)";
        if (method == "events.subscribe") {
            subscribers.push_back(std::move(client)); // it hears nothing
            return;
        }
        if (method == "pane.read")
            line += screens.at(std::string(quotedBehind(request, R"("pane_id":")")));
        else
            line += results.at(std::string(method));
        line += "}\n";
        if (delay.count() == 0)
            reply(client, line);
        else
            due.push_back({Time::now() + delay, std::move(client), std::move(line)});
    }

    static void reply(const FileDescriptor& client, const std::string& line)
    {
        try {
            BareSocket::send(client, line);
        } catch (const std::system_error&) {
            // The client has gone.
        }
    }

    const std::chrono::milliseconds delay;
    std::map<std::string, std::string> results;
    std::map<std::string, std::string> screens;
    std::deque<Due> due; // in the order of their times
    std::vector<FileDescriptor> subscribers;
    std::string buffer;
};

/// This program.
const std::string self = "/proc/self/exe";

std::unique_ptr<Server> start(
    const std::string& program, std::vector<std::string> arguments, Environment environment = {})
{
    return std::make_unique<Server>(Process::Options{
        .executable = program, .arguments = std::move(arguments), .environment = std::move(environment)});
}

} // namespace

std::optional<int> serveIfAsked(int count, char** values)
{
    const std::vector<std::string> arguments(values + 1, values + count);
    if (arguments.empty())
        return std::nullopt;
    if (arguments[0].starts_with("--serve-"))
        ::prctl(PR_SET_PDEATHSIG, SIGKILL); // a measurement that is broken off leaves nothing behind
    if (arguments[0] == "--serve-bare")
        serveBare(arguments.at(1), std::stoul(arguments.at(2)), arguments.at(3) == "kept");
    if (arguments[0] == "--serve-muxle")
        StandIn(
            generatedWorld(std::stoul(arguments.at(2)), std::stoi(arguments.at(4)) != 0 ? Scene::quiet : Scene::mixed),
            std::stoi(arguments.at(3)))
            .serve(BareSocket::listen(arguments.at(1)));
    if (arguments[0] == "--read-records")
        readRecords(arguments.at(1));
    else if (arguments[0] == "--read-record")
        readRecord(arguments.at(1));
    else
        return std::nullopt;
    return 0;
}

std::string outputOf(const std::vector<std::string>& arguments)
{
    const Process process({.executable = self, .arguments = arguments, .pipesOutput = true});
    std::string text;
    char buffer[4'096];
    for (ssize_t got = 0; (got = ::read(process.output().get(), buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(got));
    return text;
}

std::unique_ptr<Server> startBareServer(const std::string& socket, std::size_t replyBytes, bool isKept)
{
    auto server = start(self, {"--serve-bare", socket, std::to_string(replyBytes), isKept ? "kept" : "fresh"});
    awaitListener(socket);
    return server;
}

std::unique_ptr<Server> startMuxle(const std::string& socket, std::size_t panes, Scene scene, int delayMs)
{
    auto server = start(self,
        {"--serve-muxle", socket, std::to_string(panes), std::to_string(delayMs), scene == Scene::quiet ? "1" : "0"});
    awaitListener(socket);
    return server;
}

Programs& programs()
{
    static Programs named;
    return named;
}

std::unique_ptr<Server> startDaemon(const std::string& socket, const std::string& muxle, const std::string& home)
{
    return start(programs().daemon, {"--socket", socket, "--machine", "bench"},
        {{"HOME", home}, {"MUXLE_SOCKET_PATH", muxle}, {"TARNEL_CONFIG", home + "/none.toml"}});
}

std::unique_ptr<Server> startHello(const std::string& socket) { return start(programs().hello, {socket}); }

pid_t processID(const std::string& socket)
{
    const FileDescriptor connection = BareSocket::connect(socket);
    ucred peer{};
    socklen_t length = sizeof peer;
    if (::getsockopt(connection.get(), SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0)
        throw std::system_error(errno, std::generic_category(), "who listens at " + socket);
    return peer.pid;
}

void awaitListener(const std::string& socket)
{
    const auto deadline = Time::now() + std::chrono::seconds(10);
    while (!BareSocket::tryConnect(socket).isOpen()) {
        if (Time::now() > deadline)
            throw std::runtime_error("nothing listens at " + socket);
        std::this_thread::yield();
    }
}

OneCore::OneCore()
{
    ::sched_getaffinity(0, sizeof before, &before);
    std::size_t last = 0;
    for (std::size_t core = 0; core < CPU_SETSIZE; ++core) {
        if (CPU_ISSET(core, &before))
            last = core;
    }
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(last, &one);
    ::sched_setaffinity(0, sizeof one, &one);
}

OneCore::~OneCore() { ::sched_setaffinity(0, sizeof before, &before); }

} // namespace tarnel::bench
