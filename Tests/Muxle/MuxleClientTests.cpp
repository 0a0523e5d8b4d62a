#include "Support/Eventually.h"
#include "Support/ScriptedMuxle.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

namespace tarnel {

namespace {

using Fault = ScriptedMuxle::Fault;
using Seconds = MuxleTransport::Seconds;
using ::testing::StartsWith;

class MuxleClientTest : public ::testing::Test {
protected:
    TemporaryFolder folder;
    ScriptedMuxle muxle{folder / "muxle.sock"};
    MuxleClient client{std::make_shared<MuxleSocket>(muxle.socketPath())};
};

/// The error with which `body` ends, as text; empty when it ends well.
template <class Body> std::string failureOf(Body body)
{
    try {
        body();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

/// A subscription on a thread of its own.
class Follower {
public:
    explicit Follower(const MuxleClient& client)
        : thread([this, &client] {
            try {
                client.subscribe(
                    {JSON::object({{"type", "pane.created"}})}, [this](auto opened) { channel = opened; },
                    [this](const JSON& event) {
                        MutexLock lock(mutex);
                        events.push_back(event.serialized());
                    });
                outcome = "ended";
            } catch (const std::exception& error) {
                outcome = error.what();
            }
            isOver = true;
        })
    {
    }
    ~Follower()
    {
        if (channel)
            channel->close();
        thread.join();
    }

    std::vector<std::string> received()
    {
        MutexLock lock(mutex);
        return events;
    }
    std::string end()
    {
        return eventually([&] { return isOver.load(); }) ? outcome : "still there";
    }

    std::shared_ptr<LineChannel> channel; // read once the multiplexer has the subscription
private:
    Mutex mutex;
    std::vector<std::string> events TARNEL_GUARDED_BY(mutex);
    std::string outcome; // written before `isOver`
    std::atomic<bool> isOver = false; // set once, at the end
    std::thread thread;
};

const std::string timedOut = SocketError::io(EAGAIN).what();

TEST(MuxleClient, findsTheSocket)
{
    struct Case {
        const char* what;
        std::optional<std::string> session;
        Environment environment;
        std::string path;
    };
    const Case cases[] = {
        {"nothing set", {}, {}, "/h/.config/muxle/muxle.sock"},
        {"the path itself", {}, {{"MUXLE_SOCKET_PATH", "/tmp/s.sock"}, {"MUXLE_SESSION", "work"}}, "/tmp/s.sock"},
        {"an empty path is none", {}, {{"MUXLE_SOCKET_PATH", ""}}, "/h/.config/muxle/muxle.sock"},
        {"a given session wins", "work", {{"MUXLE_SOCKET_PATH", "/tmp/s.sock"}},
            "/h/.config/muxle/sessions/work/muxle.sock"},
        {"and over the session's name", "work", {{"MUXLE_SESSION", "play"}},
            "/h/.config/muxle/sessions/work/muxle.sock"},
        {"even the default one", "default", {{"MUXLE_SOCKET_PATH", "/tmp/s.sock"}, {"MUXLE_SESSION", "play"}},
            "/h/.config/muxle/muxle.sock"},
        {"a named session", {}, {{"MUXLE_SESSION", "play"}}, "/h/.config/muxle/sessions/play/muxle.sock"},
        {"beside the configuration", {}, {{"MUXLE_CONFIG_PATH", "/etc/m/config.toml"}, {"MUXLE_SESSION", "default"}},
            "/etc/m/muxle.sock"},
        {"an empty name is none", {}, {{"MUXLE_CONFIG_PATH", "/etc/m/config.toml"}, {"MUXLE_SESSION", ""}},
            "/etc/m/muxle.sock"},
        {"a bare configuration name", {}, {{"MUXLE_CONFIG_PATH", "config.toml"}}, "./muxle.sock"},
    };
    for (const Case& c : cases) {
        Environment environment = c.environment;
        environment["HOME"] = "/h";
        EXPECT_EQ(MuxleClient::resolveSocketPath(c.session, environment), c.path) << c.what;
    }
    EXPECT_EQ(MuxleClient::resolveSocketPath({}, {}), homeDirectory() + "/.config/muxle/muxle.sock");
}

TEST(MuxleClient, findsTheExecutable)
{
    const TemporaryFolder folder;
    const std::string given = folder.write("given", "");
    const std::string usual = folder.write(".local/bin/muxle", "");
    Environment environment{{"HOME", folder.path()}, {"MUXLE_BIN_PATH", given}};
    EXPECT_NE(MuxleClient::executable(environment), given); // not executable
    ::chmod(usual.c_str(), 0700);
    EXPECT_EQ(MuxleClient::executable(environment), usual);
    ::chmod(given.c_str(), 0700);
    EXPECT_EQ(MuxleClient::executable(environment), given);
    environment["MUXLE_BIN_PATH"] = "";
    EXPECT_EQ(MuxleClient::executable(environment), usual);
    environment["MUXLE_BIN_PATH"] = folder.path(); // a folder can be entered, not run
    EXPECT_EQ(MuxleClient::executable(environment), usual);
}

TEST_F(MuxleClientTest, sendsWhatEachCallNeeds)
{
    struct Case {
        std::function<void()> call;
        const char* method;
        const char* params;
    };
    const Case cases[] = {
        {[&] { return client.agents(); }, "agent.list", "{}"},
        {[&] { return client.panes(); }, "pane.list", "{}"},
        {[&] { return client.workspaces(); }, "workspace.list", "{}"},
        {[&] { return client.read("p1", "visible", {}); }, "pane.read",
            R"({"format":"text","pane_id":"p1","source":"visible"})"},
        {[&] { return client.read("p1", "recent_unwrapped", 40, "ansi"); }, "pane.read",
            R"({"format":"ansi","lines":40,"pane_id":"p1","source":"recent_unwrapped","strip_ansi":false})"},
        {[&] {
             client.sendKeys("p1", {"down", "enter"});
         },
            "pane.send_keys", R"({"keys":["down","enter"],"pane_id":"p1"})"},
        {[&] { client.sendKeys("p1", {}); }, "pane.send_keys", R"({"keys":[],"pane_id":"p1"})"},
        {[&] { client.sendText("p1", "a\nb"); }, "pane.send_text", R"({"pane_id":"p1","text":"a\nb"})"},
        {[&] { client.prompt("p1", "go"); }, "agent.prompt", R"({"target":"p1","text":"go"})"},
        {[&] { client.focus("p1"); }, "pane.focus", R"({"pane_id":"p1"})"},
        {[&] { return client.ping(); }, "ping", "{}"},
        {[&] { return client.explain("p1"); }, "agent.explain", R"({"target":"p1"})"},
        {[&] { return client.paneSize("p1"); }, "session.snapshot", "{}"},
    };
    std::set<std::string> ids;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.params);
        muxle.forgetRequests();
        c.call();
        const auto requests = muxle.requests();
        ASSERT_EQ(requests.size(), 1u);
        EXPECT_EQ(requests[0].method, c.method);
        EXPECT_EQ(JSON(requests[0].params).serialized(), c.params);
        EXPECT_THAT(requests[0].id, StartsWith("tarnel-" + std::to_string(::getpid()) + "-"));
        ids.insert(requests[0].id);
    }
    EXPECT_EQ(ids.size(), std::size(cases));
}

TEST_F(MuxleClientTest, readsTheResults)
{
    const auto agents = client.agents();
    ASSERT_EQ(agents.size(), 2u);
    EXPECT_EQ(agents[0].kind(), AgentKind::claude);
    EXPECT_EQ(agents[0].stateChangeSeq, 1);
    const auto panes = client.panes();
    ASSERT_EQ(panes.size(), 3u);
    EXPECT_FALSE(panes[2].isAgent());
    EXPECT_EQ(client.workspaces().at(0).paneCount, 3);
    muxle.change([](MuxleWorld& world) { world.pane("p1").screen = "a\nb\nc"; });
    EXPECT_EQ(client.read("p1", "visible", 2), "b\nc");
    client.focus("p3");
    EXPECT_TRUE(client.panes()[2].focused);
    EXPECT_EQ(client.paneSize("p2"), (MuxleClient::PaneSize{80, 24}));
    EXPECT_EQ(client.paneSize("p9"), std::nullopt);
    EXPECT_EQ(failureOf([&] { return client.read("p9", "visible", {}); }), "muxle pane_not_found: no pane p9");

    for (const char* odd : {"null", "7", R"({"agents":{}})", R"({"agents":[1,{},{"pane_id":1}],"read":"x"})"}) {
        SCOPED_TRACE(odd);
        const auto answer = [odd](const JSON::Object&) { return JSON::parse(odd); };
        muxle.handle("agent.list", answer);
        muxle.handle("pane.read", answer);
        muxle.handle("session.snapshot", answer);
        EXPECT_TRUE(client.agents().empty());
        EXPECT_EQ(client.read("p1", "visible", {}), "");
        EXPECT_EQ(client.paneSize("p1"), std::nullopt);
    }
}

TEST_F(MuxleClientTest, takesTheFirstUsablePaneSize)
{
    struct Case {
        const char* layouts;
        std::optional<MuxleClient::PaneSize> size;
    };
    const Case cases[] = {
        {R"([{"panes":[{"pane_id":"p","rect":{"width":0,"height":5}}]},
             {"panes":[{"pane_id":"p","rect":{"width":80.9,"height":24}}]}])",
            MuxleClient::PaneSize{80, 24}},
        {R"([7,{"panes":7},{"panes":[7,{"pane_id":"p"},{"pane_id":"p","rect":7},{"pane_id":"q","rect":{"width":1,"height":1}},
             {"pane_id":"p","rect":{"width":"1","height":1}},{"pane_id":"p","rect":{"width":1e300,"height":1}},
             {"pane_id":"p","rect":{"width":2,"height":1}}]}])",
            MuxleClient::PaneSize{2, 1}},
        {R"({"panes":[]})", {}},
    };
    for (const Case& c : cases) {
        muxle.handle("session.snapshot", [&](const JSON::Object&) {
            return JSON::object({{"snapshot", JSON::object({{"layouts", JSON::parse(c.layouts)}})}});
        });
        EXPECT_EQ(client.paneSize("p"), c.size) << c.layouts;
    }
    muxle.misbehave(Fault::drop);
    EXPECT_EQ(client.paneSize("p"), std::nullopt);
}

TEST_F(MuxleClientTest, turnsErrorRepliesIntoErrors)
{
    struct Case {
        const char* reply; // what follows the id
        const char* outcome;
    };
    const Case cases[] = {
        {R"(,"error":"odd")", R"(muxle error: "odd")"},
        {R"(,"error":{"code":"busy","message":"not now"},"result":1)", "muxle busy: not now"},
        {R"(,"error":{"code":"busy"})", R"(muxle busy: {"code":"busy"})"},
        {R"(,"error":{"code":5,"message":"m"})", "muxle error: m"},
        {R"(,"error":null)", "muxle error: null"},
        {"", "null"},
        {R"(,"result":[1])", "[1]"},
    };
    for (const Case& c : cases) {
        muxle.handleRaw("ping", [&](LineChannel& channel, const ScriptedMuxle::Request& request) {
            channel.writeLine("{\"id\":\"" + request.id + "\"" + c.reply + "}");
        });
        std::string result;
        const std::string failure = failureOf([&] { result = client.ping().serialized(); });
        EXPECT_EQ(result.empty() ? failure : result, c.outcome);
    }
}

TEST_F(MuxleClientTest, meetsEveryMisbehaviour)
{
    struct Case {
        Fault fault;
        std::string failure; // empty: none
    };
    const Case cases[] = {
        {Fault::none, ""},
        {Fault::strangersFirst, ""},
        {Fault::drop, "socket closed"},
        {Fault::hang, timedOut},
        {Fault::drip, timedOut},
        {Fault::chatter, timedOut},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.fault));
        muxle.misbehave(c.fault);
        const auto start = std::chrono::steady_clock::now();
        const Seconds timeout(c.failure.empty() ? 5 : 0.1);
        JSON result;
        EXPECT_EQ(failureOf([&] { result = client.request("ping", {}, timeout); }), c.failure);
        EXPECT_EQ(result["version"] != nullptr, c.failure.empty());
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(4));
    }
    for (const Fault fault : {Fault::garbageFirst, Fault::cutReply}) {
        muxle.misbehave(fault);
        EXPECT_THROW(std::ignore = client.ping(), DecodingError);
    }
    muxle.misbehave(Fault::none);
    muxle.delay(std::chrono::milliseconds(20));
    EXPECT_TRUE(client.ping().object());
}

TEST_F(MuxleClientTest, boundsARequestThatThePeerDoesNotRead)
{
    const auto listener = LineSocket::listen(folder / "deaf.sock");
    MuxleSocket deaf(folder / "deaf.sock");
    const JSON::Object large{{"text", std::string(std::size_t{8} << 20, 'x')}};
    EXPECT_EQ(failureOf([&] { deaf.request("pane.send_text", large, Seconds(0.1)); }), timedOut);
    EXPECT_THROW(deaf.request("ping", {}, Seconds(0)), std::invalid_argument);
    EXPECT_THROW(deaf.request("ping", {}, Seconds(-1)), std::invalid_argument);
}

TEST_F(MuxleClientTest, takesNoLineBeyondAllMeasure)
{
    const std::string filling((std::size_t{128} << 20) + 1, 'x');
    const std::string tooLong = SocketError::io(EMSGSIZE).what();
    muxle.handleRaw("ping", [&](LineChannel& channel, const ScriptedMuxle::Request& request) {
        channel.writeLine(R"({"id":")" + request.id + R"(","result":")" + filling + "\"}");
    });
    EXPECT_EQ(failureOf([&] { std::ignore = client.request("ping", {}, Seconds(60)); }), tooLong);
    Follower follower(client);
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    muxle.pushLine("\"" + filling + "\"");
    EXPECT_EQ(follower.end(), tooLong);
}

TEST_F(MuxleClientTest, tellsThatNobodyListens)
{
    const std::string prefix = "cannot connect to " + muxle.socketPath() + ": ";
    muxle.stop(true);
    EXPECT_EQ(failureOf([&] { return client.ping(); }), prefix + "Connection refused");
    muxle.start();
    EXPECT_TRUE(client.ping().object());
    muxle.stop();
    EXPECT_EQ(failureOf([&] { return client.ping(); }), prefix + "No such file or directory");
    muxle.start();
    EXPECT_TRUE(client.ping().object());
}

TEST_F(MuxleClientTest, followsEventsUntilTheStreamEnds)
{
    Follower follower(client);
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    EXPECT_EQ(muxle.subscriptions(), (std::vector<JSON::Array>{{JSON::object({{"type", "pane.created"}})}}));
    muxle.pushEvent("pane.created", {{"pane_id", "p4"}});
    muxle.pushLine("7");
    muxle.pushLine(R"({"id":"another"})");
    EXPECT_TRUE(eventually([&] { return follower.received().size() == 3; }));
    EXPECT_EQ(follower.received(),
        (std::vector<std::string>{R"({"event":"pane.created","pane_id":"p4"})", "7", R"({"id":"another"})"}));
    muxle.dropSubscriptions();
    EXPECT_EQ(follower.end(), "ended");
    EXPECT_TRUE(muxle.awaitSubscriptions(0));
}

TEST_F(MuxleClientTest, aSubscriptionEndsAsItShould)
{
    {
        Follower follower(client);
        ASSERT_TRUE(muxle.awaitSubscriptions(1));
        follower.channel->close(); // from outside, as its owner may
        EXPECT_EQ(follower.end(), "ended");
        EXPECT_TRUE(muxle.awaitSubscriptions(0));
    }
    {
        Follower follower(client);
        ASSERT_TRUE(muxle.awaitSubscriptions(1));
        muxle.pushLine("no JSON");
        EXPECT_THAT(follower.end(), ::testing::Not(::testing::AnyOf("ended", "still there")));
        EXPECT_TRUE(muxle.awaitSubscriptions(0)) << "the connection was left open";
    }
    {
        Follower follower(client);
        ASSERT_TRUE(muxle.awaitSubscriptions(1));
        muxle.pushLine(R"({"error":{"code":"gone","message":"bye"}})");
        EXPECT_EQ(follower.end(), "muxle gone: bye");
    }
    muxle.handle("events.subscribe", [](const JSON::Object&) -> JSON { throw MuxleError("denied", "no events"); });
    Follower refused(client);
    EXPECT_EQ(refused.end(), "muxle denied: no events");
}

} // namespace

} // namespace tarnel
