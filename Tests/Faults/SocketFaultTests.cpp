#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::MatchesRegex;

class SocketFaultTest : public DaemonProcessTest {
protected:
    void startTwoAtOnce(int rounds)
    {
        std::chrono::nanoseconds slowest{};
        int firstWon = 0;
        for (int round = 0; round < rounds; ++round) {
            SCOPED_TRACE(round);
            // Both wait for the same file, so that they start as nearly together as the machine can.
            const std::string go = "go" + std::to_string(round);
            const std::string before = "until [ -e " + (folder / go) + " ]; do :; done; ";
            std::unique_ptr<Process> each[2];
            const auto command = [&](int number) {
                const std::string log = folder / ("log" + std::to_string(round) + "." + std::to_string(number));
                return std::string("exec ") + TARNELD_PROGRAM + " >/dev/null 2>" + log;
            };
            for (int number : {0, 1})
                each[number] = std::make_unique<Process>(Process::Options{.executable = "/bin/sh",
                    .arguments = {"-c", before + command(number)},
                    .environment = environment});
            folder.write(go);
            const auto start = std::chrono::steady_clock::now();
            ASSERT_TRUE(eventually([&] { return !each[0]->isRunning() || !each[1]->isRunning(); }, patience))
                << "both go on";
            slowest = std::max(slowest, std::chrono::steady_clock::now() - start);
            const int winner = each[0]->isRunning() ? 0 : 1;
            const int loser = 1 - winner;
            firstWon += winner == 0 ? 1 : 0;
            const auto socket = Files::stamp(socketPath());
            ASSERT_TRUE(socket);
            EXPECT_EQ(each[loser]->waitFor(patience), 1);
            // The winner's machine is not known where it takes longer than the loser waits for its answer.
            EXPECT_THAT(
                Files::read(folder / ("log" + std::to_string(round) + "." + std::to_string(loser))).value_or(""),
                MatchesRegex("tarneld: a tarneld for (studio|\\?) is already answering on " + socketPath() + "\n"));
            EXPECT_TRUE(each[winner]->isRunning());
            EXPECT_THAT(ask(R"({"id":1,"method":"ping"})"), HasSubstr("studio"));
            // A third one that comes later takes nothing away either.
            if (round % 10 == 0) {
                launch();
                EXPECT_EQ(daemon->waitFor(patience), 1);
            }
            const auto now = Files::stamp(socketPath());
            EXPECT_TRUE(now && now->inode == socket->inode) << "the socket that is served was replaced";
            each[winner]->terminate(0ms);
            ASSERT_TRUE(each[winner]->waitFor(patience)); // leaves its socket file behind, which stops nobody
            ASSERT_TRUE(Files::exists(socketPath()));
        }
        printFigure("two daemons at once, " + std::to_string(rounds) + " times: one served each time (the first in "
            + std::to_string(firstWon) + "), the other ended within " + oneDecimal(inMilliseconds(slowest)) + " ms");
    }
};

TEST_F(SocketFaultTest, oneOfTwoServes) { startTwoAtOnce(50); }

TEST_F(SocketFaultTest, SoakOneOfTwoServes) { startTwoAtOnce(500); }

} // namespace

} // namespace tarnel
