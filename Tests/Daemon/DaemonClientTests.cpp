#include "Support/Descriptors.h"
#include "TarnelCore/Daemon/DaemonClient.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include <deque>
#include <gtest/gtest.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

/// A peer that has said all its lines beforehand and keeps what it is sent.
class ScriptedChannel final : public LineChannel {
public:
    explicit ScriptedChannel(std::deque<std::string> said)
        : lines(std::move(said))
    {
    }
    std::optional<std::string> readLine() override
    {
        if (lines.empty() || closes > 0)
            return std::nullopt;
        std::string line = lines.front();
        lines.pop_front();
        return line;
    }
    void writeLine(std::string_view line) override { written.emplace_back(line); }
    void close() noexcept override { ++closes; }

    std::deque<std::string> lines;
    std::vector<std::string> written;
    int closes = 0;
};

/// Opens the one channel that it holds.
class HeldOpener final : public LineChannelOpener {
public:
    explicit HeldOpener(std::shared_ptr<LineChannel> opened)
        : channel(std::move(opened))
    {
    }
    std::shared_ptr<LineChannel> open(std::chrono::duration<double> timeout) override
    {
        asked = timeout;
        return channel;
    }
    [[nodiscard]] std::string label() const override { return "scripted"; }

    std::shared_ptr<LineChannel> channel;
    std::chrono::duration<double> asked{};
};

struct Scripted {
    explicit Scripted(std::deque<std::string> lines)
        : channel(std::make_shared<ScriptedChannel>(std::move(lines)))
        , opener(std::make_shared<HeldOpener>(channel))
        , client(opener)
    {
    }
    std::shared_ptr<ScriptedChannel> channel;
    std::shared_ptr<HeldOpener> opener;
    DaemonClient client;
};

const std::string emptySnapshot =
    R"({"agents":[],"machine":"studio","queue":[],"takenAt":"2026-03-02T09:15:04Z","workspaces":[]})";

TEST(DaemonClient, callTakesTheReplyToItsOwnRequest)
{
    struct Case {
        const char* what;
        std::deque<std::string> lines;
        std::string outcome; // the result, or what is thrown
    };
    const Case cases[] = {
        {"a result", {R"({"id":1,"result":{"a":[1]}})"}, R"({"a":[1]})"},
        {"no result", {R"({"id":1})"}, "null"},
        {"events and others' replies before it",
            {R"({"event":"snapshot","snapshot":{}})", R"({"id":2,"result":2})", R"({"id":"1","result":3})",
                R"({"id":null,"error":{}})", "[1]", "no JSON", R"({"id":1,"result":"mine"})"},
            R"("mine")"},
        {"an error", {R"({"id":1,"error":{"code":"failed","message":"no agent in pane p9"}})"},
            "muxle failed: no agent in pane p9"},
        {"an error without its texts", {R"({"id":1,"error":{"code":7}})"}, "muxle : "},
        {"the end before the reply", {R"({"id":2,"result":1})"}, "socket closed"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Scripted daemon(c.lines);
        std::string outcome;
        try {
            outcome = daemon.client.call("ping", {{"pane", "p1"}}, 2s).serialized();
        } catch (const std::exception& error) {
            outcome = error.what();
        }
        EXPECT_EQ(outcome, c.outcome);
        EXPECT_EQ(
            daemon.channel->written, std::vector<std::string>{R"({"id":1,"method":"ping","params":{"pane":"p1"}})"});
    }
}

TEST(DaemonClient, callHasOneDeadlineHoweverMuchArrives)
{
    struct Case {
        const char* what;
        std::string flood; // empty: the daemon is silent
    };
    for (const Case& c : {Case{"silence", ""}, Case{"events without end", R"({"event":"snapshot"})"}}) {
        SCOPED_TRACE(c.what);
        SocketPair pair;
        const auto far = pair.takePeer();
        std::thread daemon([&] {
            try {
                while (!c.flood.empty())
                    far->writeLine(c.flood);
            } catch (const SocketError&) {
            }
        });
        DaemonClient client(std::make_shared<HeldOpener>(pair.socket));
        const auto start = std::chrono::steady_clock::now();
        try {
            client.call("ping", {}, 50ms);
            ADD_FAILURE() << "returned";
        } catch (const SocketError& error) {
            EXPECT_EQ(error.error, EAGAIN);
        }
        EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
        pair.socket->close();
        daemon.join();
    }
}

TEST(DaemonClient, callFailsAtOnceWhereNothingListens)
{
    DaemonClient client("/nowhere/tarneld.sock");
    try {
        client.call("ping", {}, 2s);
        FAIL() << "returned";
    } catch (const SocketError& error) {
        EXPECT_EQ(error.kind, SocketError::Kind::connect);
    }
}

TEST(DaemonClient, snapshotIsDecodedStrictly)
{
    EXPECT_EQ(Scripted({R"({"id":1,"result":)" + emptySnapshot + "}"}).client.snapshot().machine, "studio");
    EXPECT_THROW(Scripted({R"({"id":1,"result":null})"}).client.snapshot(), DecodingError);
}

TEST(DaemonClient, answerSendsTheRequestAsItsParams)
{
    Scripted daemon({R"({"id":1,"result":{"applied":{"method":"menu 1"}}})"});
    AnswerRequest request;
    request.fingerprint.paneID = "p1";
    request.choice = "Yes";
    EXPECT_EQ(daemon.client.answer(request), AnswerOutcome(AnswerApplied{"menu 1"}));
    const auto sent = JSON::parse(daemon.channel->written.at(0));
    EXPECT_EQ(stringOf(sent["method"]), "answer");
    EXPECT_EQ(*sent["params"], jsonValue(request));
    EXPECT_EQ(daemon.opener->asked, 30s);
}

TEST(DaemonClient, subscriptionTellsWhatArrivesInOrder)
{
    Scripted daemon({R"({"event":"snapshot","snapshot":)" + emptySnapshot + "}",
        R"({"id":1,"result":{"commands":true,"subscribed":true}})", "no JSON", R"({"event":"snapshot","snapshot":{}})",
        R"({"event":"other"})", R"({"event":"command","reply":{"id":"c1","status":"done"}})",
        R"({"event":"command","reply":{"id":"c2","status":"?"}})",
        R"({"event":"snapshot","snapshot":)" + emptySnapshot + "}"});
    std::vector<std::string> told;
    daemon.client.subscribe({.onOpen =
                                 [&](const std::shared_ptr<DaemonLink>& link) {
                                     told.push_back(link->takesCommands() ? "open, takes commands" : "open");
                                     link->send({.id = "c1", .action = SendNowAction{"c9"}});
                                 },
        .onSnapshot = [&](const MachineSnapshot& snapshot) { told.push_back(snapshot.machine); },
        .onReply = [&](const CommandReply& reply) { told.push_back(reply.id); },
        .onEvent = [&](const JSON& event) { told.push_back(*stringOf(event["event"])); }});
    EXPECT_EQ(told,
        (std::vector<std::string>{"snapshot", "studio", "open, takes commands", "snapshot", "other", "command", "c1",
            "command", "snapshot", "studio"}));
    EXPECT_EQ(daemon.channel->written,
        (std::vector<std::string>{R"({"id":1,"method":"subscribe","params":{}})",
            R"({"id":0,"method":"command","params":{"action":{"sendNow":{"message":"c9"}},"id":"c1"}})"}));
    EXPECT_EQ(daemon.channel->closes, 1);
    EXPECT_EQ(daemon.opener->asked, 24h);
}

TEST(DaemonClient, closedLinkEndsTheSubscriptionAndTakesNothing)
{
    SocketPair pair;
    const auto far = pair.takePeer();
    far->writeLine(R"({"id":1,"result":{}})");
    std::shared_ptr<DaemonLink> link;
    std::thread closer;
    DaemonClient client(std::make_shared<HeldOpener>(pair.socket));
    client.subscribe({.onOpen = [&](const std::shared_ptr<DaemonLink>& opened) {
        link = opened;
        closer = std::thread([opened] { opened->close(); }); // wakes the reader, which waits for a day
    }});
    closer.join();
    link->close();
    EXPECT_FALSE(link->takesCommands());
    try {
        link->send({});
        FAIL() << "sent";
    } catch (const SocketError& error) {
        EXPECT_EQ(error.kind, SocketError::Kind::closed);
    }
}

TEST(TerminalStream, yieldsFramesUntilTheStreamEnds)
{
    Scripted daemon({R"({"id":1,"result":{"observing":"p1"}})", R"({"event":"frame","bytes":"!!"})",
        R"({"event":"frame","bytes":"G1tI","full":true,"height":24.9,"width":80})", R"({"event":"frame","bytes":""})",
        R"({"event":"closed"})", R"({"event":"frame","bytes":"G1tI"})"});
    const auto stream = daemon.client.observe("p1", 80);
    EXPECT_EQ(stream->next(), (TerminalFrame{.full = true, .width = 80, .height = 24, .bytes = "\x1b[H"}));
    EXPECT_EQ(stream->next(), TerminalFrame());
    EXPECT_EQ(stream->next(), std::nullopt);
    stream->close();
    EXPECT_EQ(daemon.channel->closes, 1);
    EXPECT_EQ(daemon.channel->written,
        std::vector<std::string>{R"({"id":1,"method":"observe","params":{"cols":80,"pane":"p1"}})"});
}

TEST(TerminalStream, throwsWhatTheDaemonRefuses)
{
    Scripted daemon({R"({"id":1,"error":{"code":"failed","message":"missing parameter: pane"}})"});
    const auto stream = daemon.client.observe("");
    EXPECT_THROW(stream->next(), MuxleError);
    EXPECT_EQ(stream->next(), std::nullopt);
}

} // namespace

} // namespace tarnel
