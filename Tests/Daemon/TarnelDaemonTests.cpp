#include "Daemon/ServingDaemon.h"
#include "Support/Eventually.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

using TarnelDaemonTest = DaemonTest;

TEST_F(TarnelDaemonTest, answersEachFormOfRequest)
{
    serve();
    struct Case {
        const char* line;
        const char* reply;
    };
    const Case cases[] = {
        {"hello", R"({"error":{"code":"bad_request","message":"not JSON"}})"},
        {"", R"({"error":{"code":"bad_request","message":"not JSON"}})"},
        {"[1]", R"({"error":{"code":"failed","message":"unknown method "},"id":null})"},
        {"7", R"({"error":{"code":"failed","message":"unknown method "},"id":null})"},
        {R"({"id":"x","method":"fly"})", R"({"error":{"code":"failed","message":"unknown method fly"},"id":"x"})"},
        {R"({"id":[1,{"a":2}],"method":7})",
            R"({"error":{"code":"failed","message":"unknown method "},"id":[1,{"a":2}]})"},
        {R"({"method":"screen","params":{"pane":"p1"}})", R"({"id":null,"result":"screen of p1"})"},
        {R"({"id":1,"method":"screen","params":[]})",
            R"({"error":{"code":"failed","message":"missing parameter: pane"},"id":1})"},
        {R"({"id":1,"method":"screen","params":{"pane":7}})",
            R"({"error":{"code":"failed","message":"missing parameter: pane"},"id":1})"},
        {R"({"id":1,"method":"prompt","params":{"pane":"p1"}})",
            R"({"error":{"code":"failed","message":"missing parameter: pane, text"},"id":1})"},
        {R"({"id":1,"method":"keys","params":{"pane":"p1","keys":"esc"}})",
            R"({"error":{"code":"failed","message":"missing parameter: pane, keys"},"id":1})"},
        {R"({"id":1,"method":"search"})", R"({"error":{"code":"failed","message":"missing parameter: query"},"id":1})"},
        {R"({"id":1,"method":"search","params":{"query":""}})", R"({"id":1,"result":[]})"},
        {R"({"id":1,"method":"conversation","params":{"pane":"p9"}})",
            R"({"error":{"code":"failed","message":"no agent in pane p9"},"id":1})"},
        {R"({"id":1,"method":"conversation","params":{"pane":"p1"}})",
            R"({"id":1,"result":{"entries":[],"turnFinished":false}})"},
        {R"({"id":1,"method":"input","params":{"pane":"p1","text":""}})", R"({"id":1,"result":{"sent":true}})"},
        {R"({"id":1,"method":"focus","params":{"pane":"p2"}})", R"({"id":1,"result":{"focused":true}})"},
        {R"({"id":1,"method":"next"})", R"({"id":1,"result":null})"},
        {R"({"id":1,"method":"queue"})", R"({"id":1,"result":[]})"},
        {R"({"id":1,"method":"muxle","params":{"method":"no.such"}})", nullptr},
    };
    const auto client = connect();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        const std::string reply = ask(*client, c.line);
        if (c.reply)
            EXPECT_EQ(reply, c.reply);
        else
            EXPECT_THAT(reply, HasSubstr("muxle "));
    }
    EXPECT_TRUE(muxle.requests("pane.send_text").empty());
    EXPECT_TRUE(muxle.requests("pane.send_keys").empty());
    EXPECT_THAT(ask(R"({"id":1,"method":"ping"})"), HasSubstr(R"("machine":"studio")"));
    ASSERT_EQ(lines.with("request focus p2").size(), 1u);
    EXPECT_THAT(lines.with("request focus p2")[0], testing::MatchesRegex("....-..-..T..:..:..Z request focus p2"));
    EXPECT_EQ(lines.with("request muxle no.such").size(), 1u);
    EXPECT_TRUE(lines.with("request screen").empty());
}

TEST_F(TarnelDaemonTest, typesWhatItIsTold)
{
    serve();
    ask(R"({"id":1,"method":"input","params":{"pane":"p1","text":"hi","keys":["enter",7,"esc"]}})");
    ask(R"({"id":1,"method":"keys","params":{"pane":"p1","keys":["tab"]}})");
    ask(R"({"id":1,"method":"prompt","params":{"pane":"p1","text":"go on"}})");
    EXPECT_EQ(JSON(muxle.requests("pane.send_text").at(0).params).serialized(), R"({"pane_id":"p1","text":"hi"})");
    EXPECT_EQ(
        JSON(muxle.requests("pane.send_keys").at(0).params).serialized(), R"({"keys":["enter","esc"],"pane_id":"p1"})");
    EXPECT_EQ(JSON(muxle.requests("pane.send_keys").at(1).params).serialized(), R"({"keys":["tab"],"pane_id":"p1"})");
    EXPECT_EQ(JSON(muxle.requests("agent.prompt").at(0).params).serialized(), R"({"target":"p1","text":"go on"})");
}

TEST_F(TarnelDaemonTest, tellsEverySubscriberOfEveryChangeOnce)
{
    serve();
    const auto first = connect();
    const auto second = connect();
    for (const auto& client : {first, second}) {
        EXPECT_EQ(ask(*client, R"({"id":1,"method":"subscribe"})"),
            R"({"id":1,"result":{"commands":true,"subscribed":true}})");
        EXPECT_THAT(
            client->readLine().value(), HasSubstr(R"({"event":"snapshot","snapshot":{"agents":[{"agent":"claude")"));
    }
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    ask(R"({"method":"snapshot"})");
    ask(R"({"method":"snapshot"})"); // nothing has changed, so nothing is pushed
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "blocked"; });
    muxle.pushEvent("pane.agent_status_changed");
    for (const auto& client : {first, second}) {
        const JSON event = JSON::parse(client->readLine().value());
        const auto snapshot = decode<MachineSnapshot>(*event["snapshot"]);
        ASSERT_EQ(snapshot.queue.size(), 1u);
        EXPECT_EQ(snapshot.queue[0].kind, AttentionKind::blocked);
    }
    first->close();
    muxle.change([](MuxleWorld& world) { world.pane("p1").status = "working"; });
    muxle.pushEvent("pane.agent_status_changed");
    EXPECT_THAT(second->readLine().value(), HasSubstr(R"("queue":[])"));
}

TEST_F(TarnelDaemonTest, followsNewAgentPanesAtOnce)
{
    serve();
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    EXPECT_EQ(muxle.subscriptions().at(0).size(), 20u); // eighteen types, two agents
    EXPECT_EQ(muxle.subscriptions()[0].back().serialized(), R"({"pane_id":"p2","type":"pane.agent_status_changed"})");
    muxle.change([](MuxleWorld& world) { world.pane("p3").agent = "grok"; });
    ask(R"({"method":"queue"})");
    EXPECT_TRUE(eventually([&] {
        const auto open = muxle.subscriptions();
        return open.size() == 1 && open[0].size() == 21;
    }));
    EXPECT_TRUE(lines.with("muxle events").empty());
}

TEST_F(TarnelDaemonTest, retriesALostMultiplexerWithGrowingPauses)
{
    muxle.stop();
    serve([](std::chrono::nanoseconds) { std::this_thread::yield(); });
    ASSERT_TRUE(eventually([&] { return lines.with("muxle events").size() >= 8; }));
    const auto said = lines.with("muxle events: cannot connect to " + muxle.socketPath() + ": ");
    std::vector<std::string> announced;
    for (std::size_t i = 0; i < 8; ++i)
        announced.push_back(said.at(i).substr(said[i].rfind(' ') + 1));
    EXPECT_THAT(announced, ElementsAre("0.5s", "1.0s", "2.0s", "4.0s", "8.0s", "16.0s", "30.0s", "30.0s"));
    EXPECT_EQ(ask(R"({"id":1,"method":"snapshot"})"), R"({"id":1,"result":null})");
    EXPECT_THAT(ask(R"({"id":1,"method":"ping"})"), HasSubstr(R"("muxle":null)"));

    muxle.start();
    EXPECT_TRUE(muxle.awaitSubscriptions(1));
    EXPECT_THAT(ask(R"({"id":1,"method":"snapshot"})"), HasSubstr(R"("machine":"studio")"));
}

} // namespace

} // namespace tarnel
