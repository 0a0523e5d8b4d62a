#include "Faults/DaemonProcess.h"
#include <algorithm>
#include <functional>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using Fault = ScriptedMuxle::Fault;

constexpr auto deadline = 10s; // of a refresh

struct Case {
    const char* what;
    std::function<void(ScriptedMuxle&)> fail;
    std::function<void(ScriptedMuxle&)> mend = [](ScriptedMuxle& muxle) { muxle.misbehave(Fault::none); };
    bool keepsState = true; ///< Nothing can be learned from it meanwhile.
};

std::function<void(ScriptedMuxle&)> misbehaving(Fault fault)
{
    return [fault](ScriptedMuxle& muxle) { muxle.misbehave(fault); };
}

/// Has the lists answered by `answer`, until `mended`.
std::function<void(ScriptedMuxle&)> listsAnsweredBy(const ScriptedMuxle::RawHandler& answer)
{
    return [answer](ScriptedMuxle& muxle) {
        for (const char* method : {"agent.list", "pane.list", "workspace.list", "session.snapshot"})
            muxle.handleRaw(method, answer);
    };
}

/// A multiplexer that starts anew tells the truth again.
void startAnew(ScriptedMuxle& muxle)
{
    muxle.stop();
    muxle.resetHandlers();
    muxle.start();
}

JSON reply(const ScriptedMuxle::Request& request, JSON result)
{
    return JSON::object({{"id", request.id}, {"result", std::move(result)}});
}

const std::vector<Case>& cases()
{
    static const std::vector<Case> all{
        {"is absent", [](ScriptedMuxle& muxle) { muxle.stop(); }, [](ScriptedMuxle& muxle) { muxle.start(); }},
        {"has crashed", [](ScriptedMuxle& muxle) { muxle.stop(true); }, [](ScriptedMuxle& muxle) { muxle.start(); }},
        {"is slow", [](ScriptedMuxle& muxle) { muxle.delay(700ms); }, [](ScriptedMuxle& muxle) { muxle.delay(0ms); },
            false},
        {"hangs", misbehaving(Fault::hang)},
        {"drops connections", misbehaving(Fault::drop)},
        {"dies in mid-line", misbehaving(Fault::cutReply)},
        {"sends garbage", misbehaving(Fault::garbageFirst)},
        {"sends a line without end", misbehaving(Fault::drip)},
        {"answers with events only", misbehaving(Fault::chatter)},
        {"answers under other ids", listsAnsweredBy([](LineChannel& channel, const ScriptedMuxle::Request& request) {
             const ScriptedMuxle::Request other{request.method, {}, request.id + "0"};
             channel.writeJSON(reply(other, JSON::Object()));
             channel.writeJSON(JSON::object({{"id", 7}, {"result", JSON::Object()}}));
             channel.readLine(); // until the peer has enough of it
         }),
            startAnew},
        {"sends 100 MB as a reply", listsAnsweredBy([](LineChannel& channel, const ScriptedMuxle::Request& request) {
             channel.writeLine(R"({"id":")" + request.id + R"(","result":")" + std::string(100'000'000, 'x') + "\"}");
         }),
            startAnew, false},
        {"sends 200 MB without a line feed", listsAnsweredBy([](LineChannel& channel, const ScriptedMuxle::Request&) {
             static const std::string endless(200'000'000, 'x');
             channel.writeLine(endless);
         }),
            startAnew},
        {"lies about panes", listsAnsweredBy([](LineChannel& channel, const ScriptedMuxle::Request& request) {
             const JSON twice = JSON::parse(
                 R"([{"pane_id":"p1","agent":"claude","agent_status":"blocked"},{"pane_id":"p1","agent":7},)"
                 R"({"pane_id":7},{},7,{"pane_id":"","agent":"claude"},)"
                 R"({"pane_id":"../../x","agent":"claude","cwd":"/\u0000","agent_session":{"value":"../x"}}])");
             channel.writeJSON(reply(request, JSON::object({{"agents", twice}, {"panes", twice}})));
         }),
            startAnew, false},
    };
    return all;
}

/// A daemon that has seen the multiplexer well, then meets one fault, then sees it well again.
class Meeting {
public:
    explicit Meeting(const Case& met)
        : fault(met)
    {
    }

    void run()
    {
        SCOPED_TRACE(fault.what);
        world.serve();
        ASSERT_TRUE(world.muxle.awaitSubscriptions(1));
        ask("snapshot");
        before = world.usage();
        fault.fail(world.muxle);
        for (const char* method : {"snapshot", "queue"}) {
            const auto start = std::chrono::steady_clock::now();
            const std::string answered = ask(method);
            slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
            EXPECT_THAT(answered, HasSubstr("result"));
            if (fault.keepsState && std::string_view(method) == "snapshot") {
                EXPECT_THAT(answered, HasSubstr(R"("agent":"claude")")) << "keeps its last state";
            }
        }
        // Two requests may each have waited for the refresh before.
        EXPECT_LE(slowest, 2 * deadline + 3s * TARNEL_SLOWDOWN);
        fault.mend(world.muxle);
        world.muxle.change([](MuxleWorld& shown) { shown.pane("p1").name = "well again"; });
        const auto mended = std::chrono::steady_clock::now();
        const auto subscriber = world.connect();
        subscriber->writeLine(R"({"id":1,"method":"subscribe"})"); // and asks for nothing more
        while (subscriber->readLine().value_or("well again").find("well again") == std::string::npos) { }
        recovery = std::chrono::steady_clock::now() - mended;
        EXPECT_LE(recovery, deadline + 5s * TARNEL_SLOWDOWN);
    }

    /// What is left once all is well, after the time that idle threads are kept for.
    void checkLeftovers()
    {
        SCOPED_TRACE(fault.what);
        const auto isClean = [&] {
            after = world.usage();
            return after.descriptors <= before.descriptors && after.threads <= before.threads + 1; // one more may accept
        };
        EXPECT_TRUE(eventually(isClean, 50s)) << "threads " << before.threads << " to " << after.threads
                                              << ", descriptors " << before.descriptors << " to " << after.descriptors;
    }

    const Case& fault;
    std::chrono::nanoseconds slowest{};
    std::chrono::nanoseconds recovery{};
    ProcessUsage before;
    ProcessUsage after;

private:
    std::string ask(const std::string& method)
    {
        const auto socket = world.connect();
        socket->setReadTimeout(LineSocket::Seconds(60));
        return DaemonProcess::ask(*socket, R"({"id":1,"method":")" + method + "\"}");
    }

    DaemonProcess world;
};

TEST(MuxleFaultTest, costsOneDeadlineAndLeavesNothing)
{
    // Side by side, since most of them wait for a deadline.
    std::vector<std::unique_ptr<Meeting>> meetings;
    std::vector<std::thread> threads;
    for (const Case& each : cases()) {
        Meeting& meeting = *meetings.emplace_back(std::make_unique<Meeting>(each));
        threads.emplace_back([&meeting] {
            try {
                meeting.run();
            } catch (const std::exception& error) {
                ADD_FAILURE() << meeting.fault.what << ": " << error.what();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (const auto& meeting : meetings) {
        meeting->checkLeftovers();
        printFigure("a multiplexer that " + std::string(meeting->fault.what) + ": answered within "
            + oneDecimal(inSeconds(meeting->slowest)) + " s, well again after "
            + oneDecimal(inSeconds(meeting->recovery)) + " s, memory " + oneDecimal(meeting->before.memory) + " to "
            + oneDecimal(meeting->after.memory) + " MiB");
        if (figuresCount) {
            EXPECT_LE(meeting->after.memory, meeting->before.memory + 16) << meeting->fault.what;
        }
    }
}

class EventFaultTest : public DaemonProcessTest { };

TEST_F(EventFaultTest, manyWhoAskShareARefresh)
{
    serve();
    const auto timeOf = [](const std::function<void()>& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::steady_clock::now() - start;
    };
    muxle.delay(300ms);
    const auto one = timeOf([&] { ask(R"({"id":1,"method":"queue"})"); });
    std::vector<std::shared_ptr<LineSocket>> clients(20);
    const auto all = timeOf([&] {
        for (auto& client : clients) {
            client = connect();
            client->writeLine(R"({"id":1,"method":"queue"})");
        }
        for (const auto& client : clients)
            EXPECT_THAT(client->readLine().value_or(""), HasSubstr("result"));
    });
    printFigure("20 who ask a slow multiplexer at once wait " + oneDecimal(inSeconds(all)) + " s, one alone "
        + oneDecimal(inSeconds(one)) + " s");
    EXPECT_LE(all, 4 * one); // one in progress, theirs, and one more of the tick's in between
}

TEST_F(EventFaultTest, aFloodCostsFewRefreshes)
{
    serve();
    ASSERT_TRUE(muxle.awaitSubscriptions(1));
    ask(R"({"id":1,"method":"queue"})");
    const auto refreshes = [&] {
        const std::string text = log();
        std::size_t count = 0;
        for (std::size_t at = text.find("TMP refresh"); at != text.npos; at = text.find("TMP refresh", at + 1))
            ++count;
        return count;
    };
    const std::size_t before = refreshes();
    const ProcessUsage usageBefore = usage();
    const auto start = std::chrono::steady_clock::now();
    constexpr int events = 20'000;
    for (int i = 0; i < events; ++i)
        muxle.pushEvent("pane.created");
    muxle.pushLine("{\"event\":\"pane.created\",\"more\":\"" + std::string(100'000'000, 'x') + "\"}");
    muxle.change([](MuxleWorld& world) { world.pane("p1").name = "after the flood"; });
    muxle.pushEvent("pane.focused");
    const auto subscriber = connect();
    subscriber->writeLine(R"({"id":1,"method":"subscribe"})");
    while (subscriber->readLine().value_or("after the flood").find("after the flood") == std::string::npos) { }
    const double seconds = inSeconds(std::chrono::steady_clock::now() - start);
    const std::size_t made = refreshes() - before;
    EXPECT_LE(static_cast<double>(made), seconds / 0.15 + seconds / 2 + 4)
        << "one for 150 ms of events, and the tick's";
    EXPECT_TRUE(eventually([&] { return !figuresCount || usage().memory <= usageBefore.memory + 16; }, 15s));
    printFigure("a flood of " + std::to_string(events) + " events and one of 100 MB: " + std::to_string(made)
        + " refreshes in " + oneDecimal(seconds) + " s, memory " + oneDecimal(usageBefore.memory) + " to "
        + oneDecimal(usage().memory) + " MiB");
}

} // namespace

} // namespace tarnel
