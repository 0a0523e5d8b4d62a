#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"
#include <poll.h>
#include <sstream>
#include <sys/resource.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto request = R"({"id":1,"method":"no"})";
constexpr auto reply = R"({"error":{"code":"failed","message":"unknown method no"},"id":1})";

/// What the daemon computes in a span in which nobody asks for anything, in seconds.
double processorSeconds(const DaemonProcess& world, std::chrono::milliseconds span = 5s)
{
    const auto before = world.usage().processor;
    letPass(span);
    return inSeconds(world.usage().processor - before);
}

class ConnectionFaultTest : public DaemonProcessTest {
protected:
    ConnectionFaultTest() { raiseDescriptorLimit(); }

    /// Connects until no more fit, the daemon's backlog included; each has sent a request.
    std::vector<FileDescriptor> connectAll()
    {
        std::vector<FileDescriptor> made;
        const auto connectOne = [&] {
            FileDescriptor one = connectBare(socketPath());
            const bool isMade = one.isOpen();
            if (isMade)
                made.push_back(std::move(one));
            return isMade;
        };
        while (eventually(connectOne, 500ms)) // full is where the daemon has accepted none for some time
            send(made.back());
        return made;
    }
    static void send(const FileDescriptor& client)
    {
        const std::string line = std::string(request) + "\n";
        EXPECT_EQ(::write(client.get(), line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }
    static bool hasReply(const FileDescriptor& client, std::chrono::milliseconds limit = 0ms)
    {
        pollfd readable{client.get(), POLLIN, 0};
        return ::poll(&readable, 1, static_cast<int>(limit.count())) > 0;
    }
};

TEST_F(ConnectionFaultTest, aThousandAreServedAtOnce)
{
    serve("ulimit -S -n 256; ");
    const std::string limits = Files::read("/proc/" + std::to_string(id) + "/limits").value_or("");
    if (const std::size_t at = limits.find("Max open files"); at != limits.npos) {
        std::istringstream words(limits.substr(at + 14));
        std::string soft;
        std::string hard;
        words >> soft >> hard;
        ASSERT_EQ(soft, hard) << "the limit is not raised";
        if (std::stol(hard) < 1'200)
            GTEST_SKIP() << "the system allows no more than " << hard << " descriptors";
    }
    std::vector<std::shared_ptr<LineSocket>> clients;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 1'000; ++i)
        clients.push_back(connect());
    for (const auto& client : clients)
        client->writeLine(request);
    for (const auto& client : clients)
        ASSERT_EQ(client->readLine(), reply);
    const auto taken = std::chrono::steady_clock::now() - start;
    const double processor = processorSeconds(*this);
    printFigure("1,000 connections answered in " + oneDecimal(inMilliseconds(taken)) + " ms; then "
        + std::to_string(processor) + " s of processor time in 5 s, " + oneDecimal(usage().memory) + " MiB");
    if (figuresCount) {
        EXPECT_LE(processor, 0.05);
    }
    for (const auto& client : clients)
        ASSERT_EQ(ask(*client, request), reply);
}

TEST_F(ConnectionFaultTest, atTheLimitOthersGoOnAndNewOnesWait)
{
    serve("ulimit -n 256; ");
    const auto subscriber = subscribe();
    auto clients = connectAll();
    std::vector<FileDescriptor> served;
    std::vector<FileDescriptor> waiting;
    for (FileDescriptor& client : clients)
        (hasReply(client) ? served : waiting).push_back(std::move(client));
    ASSERT_GT(served.size(), 150u);
    ASSERT_GT(waiting.size(), 10u);
    EXPECT_LT(usage().descriptors, 256u - 32u) << "none are left for the daemon's own needs";

    const double processor = processorSeconds(*this);
    muxle.change([](MuxleWorld& world) { world.pane("p1").name = "changed meanwhile"; });
    EXPECT_THAT(subscriber->readLine().value_or(""), HasSubstr("changed meanwhile"));

    served.resize(served.size() - waiting.size());
    const auto start = std::chrono::steady_clock::now();
    for (const FileDescriptor& client : waiting)
        EXPECT_TRUE(hasReply(client, patience));
    const auto taken = std::chrono::steady_clock::now() - start;
    printFigure("descriptor limit of 256 reached: " + std::to_string(served.size() + waiting.size()) + " served, "
        + std::to_string(processor) + " s of processor time in 5 s; " + std::to_string(waiting.size())
        + " that waited are served " + oneDecimal(inMilliseconds(taken)) + " ms after others went");
    if (figuresCount) {
        EXPECT_LE(processor, 0.05);
        EXPECT_LE(taken, 200ms);
    }
}

#if defined(__linux__)
TEST_F(ConnectionFaultTest, doesNotSpinWithoutDescriptors)
{
    if (!figuresCount)
        GTEST_SKIP() << "a sanitizer takes an object for none when it finds no descriptor for the pipe that it asks";
    serve();
    const auto served = subscribe();
    const auto setLimit = [&](rlim_t limit) {
        rlimit both{limit, limit};
        rlimit before{};
        EXPECT_EQ(::prlimit(id, RLIMIT_NOFILE, nullptr, &before), 0);
        both.rlim_max = before.rlim_max;
        EXPECT_EQ(::prlimit(id, RLIMIT_NOFILE, &both, nullptr), 0);
        return before.rlim_cur;
    };
    const auto before = setLimit(4);
    // The system sets a descriptor aside for each thread that waits for a connection before there is one.
    const FileDescriptor first = connectBare(socketPath());
    const FileDescriptor second = connectBare(socketPath());
    const FileDescriptor waiting = connectBare(socketPath());
    send(waiting);
    const double processor = processorSeconds(*this);
    EXPECT_FALSE(hasReply(waiting));
    setLimit(before);
    EXPECT_TRUE(hasReply(waiting, 5s));
    muxle.change([](MuxleWorld& world) { world.pane("p1").name = "changed since"; });
    EXPECT_THAT(served->readLine().value_or(""), HasSubstr("changed since"));
    printFigure("no descriptor left: " + std::to_string(processor) + " s of processor time in 5 s");
    if (figuresCount) {
        EXPECT_LE(processor, 0.05);
    }
}
#endif

} // namespace

} // namespace tarnel
