#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/UUID.h"
#include <filesystem>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr int sessions = 10'000 / TARNEL_SLOWDOWN / TARNEL_SLOWDOWN;
constexpr int refreshesASession = 10;

class WeekSoakTest : public DaemonProcessTest {
protected:
    /// What one agent does: its session appears, it works, asks, is answered, and goes.
    void liveThrough(int number, LineSocket& subscriber)
    {
        const std::string session = randomUUID();
        const bool isCodex = number % 2 == 0;
        const std::string record = isCodex
            ? ".codex/sessions/2026/11/" + std::to_string(number % 28) + "/rollout-" + session + ".jsonl"
            : ".claude/projects/-home-me-project/" + session + ".jsonl";
        const auto line = [&](const std::string& text) {
            return isCodex ? R"({"type":"event_msg","payload":{"type":"user_message","message":")" + text + "\"}}\n"
                           : R"({"type":"user","message":{"content":")" + text + "\"}}\n";
        };
        folder.write(record, line("session " + std::to_string(number)));
        const std::string pane = "p" + std::to_string(1'000 + number);
        muxle.change([&](MuxleWorld& world) {
            MuxleWorld::Pane agent = world.pane(isCodex ? "p2" : "p1");
            agent.id = pane;
            agent.sessionID = session;
            agent.isFocused = false;
            world.panes.push_back(agent);
        });
        const auto client = connect(); // a fresh one for each session
        for (int i = 0; i < refreshesASession; ++i) {
            folder.append(record, line(std::string(200, 'x') + std::to_string(i)));
            muxle.change([&](MuxleWorld& world) {
                auto& agent = world.pane(pane);
                agent.status = i % 2 == 0 ? "blocked" : "working";
                agent.stateChangeSeq = number * 100 + i;
                agent.screen = "screen " + std::to_string(i);
            });
            ASSERT_THAT(ask(*client, R"({"id":1,"method":"queue"})"), HasSubstr("result"));
        }
        if (number % 10 == 0) {
            ask(*client, R"({"id":1,"method":"conversation","params":{"pane":")" + pane + "\"}}");
            ask(*client, R"({"id":1,"method":"attach","params":{"data":"QQ=="}})");
            ask(*client, R"({"id":1,"method":"subscribe"})");
        }
        muxle.change([&](MuxleWorld& world) { world.panes.pop_back(); });
        if (number % 100 == 0) { // the subscriber reads on
            const std::string name = "at " + std::to_string(number);
            muxle.change([&](MuxleWorld& world) { world.pane("p3").name = name; });
            ask(R"({"id":1,"method":"queue"})");
            while (subscriber.readLine().value_or("\"" + name + "\"").find("\"" + name + "\"") == std::string::npos) { }
        }
        if (number % 200 == 199) { // as the agents themselves forget old sessions
            std::filesystem::remove_all(folder / ".claude");
            std::filesystem::remove_all(folder / ".codex");
            std::filesystem::remove_all(folder / ".config/tarnel/attachments");
            muxle.forgetRequests();
        }
    }
};

TEST_F(WeekSoakTest, SoakStaysAsItIs)
{
    serve();
    const auto subscriber = subscribe();
    const auto start = std::chrono::steady_clock::now();
    ProcessUsage early;
    ProcessUsage half;
    for (int number = 0; number < sessions; ++number) {
        ASSERT_NO_FATAL_FAILURE(liveThrough(number, *subscriber));
        if (number == sessions / 10)
            early = usage();
        if (number == sessions / 2)
            half = usage();
    }
    const auto taken = std::chrono::steady_clock::now() - start;
    // Idle threads are kept for a while.
    ProcessUsage end;
    EXPECT_TRUE(eventually(
        [&] {
            end = usage();
            return end.threads <= half.threads && end.descriptors <= half.descriptors;
        },
        30s));
    printFigure(std::to_string(sessions * refreshesASession) + " refreshes, " + std::to_string(sessions)
        + " sessions and connections in " + oneDecimal(inSeconds(taken)) + " s: memory " + oneDecimal(early.memory)
        + ", " + oneDecimal(half.memory) + ", " + oneDecimal(end.memory)
        + " MiB (after a tenth, half, all), descriptors " + std::to_string(early.descriptors) + ", "
        + std::to_string(half.descriptors) + ", " + std::to_string(end.descriptors) + ", threads "
        + std::to_string(early.threads) + ", " + std::to_string(half.threads) + ", " + std::to_string(end.threads));
    EXPECT_LE(end.descriptors, early.descriptors + 1);
    EXPECT_LE(end.threads, early.threads + 1);
    if (figuresCount) {
        EXPECT_LE(end.memory, early.memory + 2);
    }
}

} // namespace

} // namespace tarnel
