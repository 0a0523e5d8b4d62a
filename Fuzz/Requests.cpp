// Requests to the daemon: lines in, a reply each.
#include "Fuzz/Target.h"
#include "Support/MuxleWorld.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Daemon/TarnelDaemon.h"
#include <atomic>
#include <cstdlib>
#include <future>
#include <memory>
#include <thread>
#include <vector>

namespace tarnel::fuzz {

namespace {

/// A multiplexer that shows the usual world, and to whatever else it is asked says that it was done.
class StandingMuxle final : public MuxleTransport {
public:
    JSON request(std::string_view method, const JSON::Object&, Seconds) override
    {
        if (method == "agent.list")
            return world.agentList();
        if (method == "pane.list")
            return world.paneList();
        if (method == "workspace.list")
            return world.workspaceList();
        if (method == "session.snapshot")
            return world.sessionSnapshot();
        if (method == "pane.read")
            return JSON::parse(R"({"read":{"text":"Do you want to proceed?\n❯ 1. Yes\n  2. No\n"}})");
        if (method == "refuse")
            throw MuxleError("refused", "as asked");
        return JSON::Object();
    }
    void subscribe(const JSON::Array&, const std::function<void(std::shared_ptr<LineChannel>)>&,
        const std::function<void(const JSON&)>&) override
    {
        throw MuxleError("refused", "no events here");
    }
    [[nodiscard]] std::string socketPath() const override { return "nowhere"; }

private:
    const MuxleWorld world = MuxleWorld::usual();
};

/// Sleeping takes no time: it sets the clock forward.
class SkippingClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return Timestamp(std::chrono::seconds(1'760'000'000) + skipped()); }
    [[nodiscard]] Instant elapsed() const override { return Instant(skipped()); }
    void sleep(std::chrono::nanoseconds duration) override { milliseconds += duration / std::chrono::milliseconds(1); }

private:
    [[nodiscard]] std::chrono::milliseconds skipped() const { return std::chrono::milliseconds(milliseconds.load()); }

    std::atomic<std::int64_t> milliseconds = 0;
};

/// A daemon that serves in this process, in a folder of its own.
class ServingDaemon {
public:
    ServingDaemon()
    {
        std::promise<void> listening;
        log = {[&](std::string_view line) {
            if (line.find("listening on") != line.npos)
                listening.set_value();
        }};
        daemon = std::make_unique<TarnelDaemon>(engine, path, TarnelDaemon::World{.clock = clock, .log = log});
        thread = std::thread([this] { daemon->run(); });
        listening.get_future().wait();
    }
    ~ServingDaemon()
    {
        daemon->stop();
        thread.join();
    }
    ServingDaemon(const ServingDaemon&) = delete;
    ServingDaemon& operator=(const ServingDaemon&) = delete;

    /// All that the daemon sends to a client that sends `text` and then no more.
    [[nodiscard]] std::vector<std::string> conversation(std::string_view text) const
    {
        const auto socket = LineSocket::connect(path);
        socket->setReadTimeout(LineSocket::Seconds(20));
        std::thread writer([&] { // beside the reading: neither side takes any amount before it is answered
            if (!text.empty() && text.back() == '\n')
                text.remove_suffix(1);
            socket->writeLine(text);
            socket->shutdownWrite();
        });
        std::vector<std::string> lines;
        try {
            while (auto line = socket->readLine())
                lines.push_back(*std::move(line));
        } catch (const SocketError&) {
            lines.emplace_back("no more within 20 seconds");
        }
        writer.join();
        return lines;
    }

private:
    const TemporaryFolder home;
    const std::string path = home / "tarneld.sock";
    SkippingClock clock;
    Log log;
    AttentionEngine engine{MuxleClient(std::make_shared<StandingMuxle>()), "studio", QueueOptions(),
        {.clock = clock, .home = home.path()}};
    std::unique_ptr<TarnelDaemon> daemon;
    std::thread thread;
};

bool isCommand(const JSON& request)
{
    const JSON* params = request["params"];
    try {
        (void)decode<Command>(params && params->object() ? *params : JSON(JSON::Object()));
    } catch (const DecodingError&) {
        return false;
    }
    return true;
}

void checkReply(const std::optional<JSON>& request, const JSON& reply)
{
    const JSON* error = reply["error"];
    require((error != nullptr) != (reply["result"] != nullptr), "a reply that is neither a result nor an error");
    require(
        !error || (stringOf((*error)["code"]) && stringOf((*error)["message"])), "an error without code or message");
    if (!request) {
        require(error && *(*error)["code"] == "bad_request", "what is no JSON is taken for a request");
        return;
    }
    const JSON* id = (*request)["id"];
    require(reply["id"] && *reply["id"] == (id ? *id : JSON()), "a reply to another request");
}

} // namespace

void fuzzRequests(std::string_view input)
{
    ::setenv("MUXLE_CONFIG_PATH", "/dev/null", 1); // binds no commands, so that none can be run
    std::vector<std::optional<JSON>> expected;
    if (input.empty())
        return;
    for (const std::string_view line : Text::split(input.substr(0, input.size() - (input.back() == '\n')), '\n')) {
        auto request = JSON::parseLine(line);
        const std::string method = request ? stringOf((*request)["method"]).value_or("") : "";
        if (method == "observe") // turns the connection into a stream of a tool's output
            return;
        if (method != "command" || !isCommand(*request)) // whose replies are events
            expected.push_back(std::move(request));
    }

    std::vector<std::string> sent;
    {
        const ServingDaemon daemon;
        sent = daemon.conversation(input);
    }
    std::size_t replies = 0;
    for (const std::string& line : sent) {
        const auto message = JSON::parseLine(line);
        require(message && message->object(), "the daemon sends what is no message");
        if ((*message)["event"])
            continue;
        require(replies < expected.size(), "more replies than requests");
        checkReply(expected[replies++], *message);
    }
    require(replies == expected.size(), "a request without a reply");
}

} // namespace tarnel::fuzz
