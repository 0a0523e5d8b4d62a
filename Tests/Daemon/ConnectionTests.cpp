#include "TarnelCore/Daemon/Connection.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <array>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

/// A connection, and the client's end of it as a bare descriptor.
class ConnectionTest : public testing::Test {
protected:
    void open(Connection::Limits limits)
    {
        std::array<int, 2> ends{};
        ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()), 0);
        client = FileDescriptor(ends[0]);
        connection = std::make_unique<Connection>(std::make_shared<LineSocket>(FileDescriptor(ends[1])), limits);
        connection->startPushing();
    }
    /// Takes up to so many bytes.
    std::string take(std::size_t bytes) const
    {
        std::string taken(bytes, ' ');
        const ssize_t count = ::read(client.get(), taken.data(), bytes);
        taken.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return taken;
    }
    [[nodiscard]] bool isEndedWithin(std::chrono::milliseconds limit) const
    {
        pollfd end{client.get(), 0, 0};
        return ::poll(&end, 1, static_cast<int>(limit.count())) > 0;
    }
    static Connection::Line line(std::size_t bytes) { return std::make_shared<const std::string>(bytes, 'x'); }

    FileDescriptor client;
    std::unique_ptr<Connection> connection;
};

TEST_F(ConnectionTest, aSlowClientIsKeptAndAStalledOneLetGoInTime)
{
    constexpr std::chrono::milliseconds stall = 1s;
    open({.stall = stall});
    connection->pushSnapshot(line(16 << 20), 1);
    Time::time_point lastTaken;
    for (const auto start = Time::now(); Time::now() - start < 2 * stall;) { // slow, but never still for too long
        ASSERT_FALSE(take(100'000).empty());
        lastTaken = Time::now();
        ASSERT_FALSE(isEndedWithin(200ms));
    }
    EXPECT_TRUE(isEndedWithin(10s));
    const auto waited = Time::now() - lastTaken;
    EXPECT_GE(waited, stall - 100ms);
    EXPECT_LT(waited, stall * 19 / 10) << "not once more after each piece";
}

TEST_F(ConnectionTest, keepsTheNewestSnapshotAndEveryEventInOrder)
{
    open({});
    connection->pushSnapshot(line(1 << 20), 1); // fills the socket
    const auto text = [](std::string_view each) { return std::make_shared<const std::string>(each); };
    while (take(100'000).size() < 1000) { } // which has begun, so that nothing takes its place
    connection->pushEvent(text("event 1"));
    connection->pushSnapshot(text("snapshot 2"), 2);
    connection->pushEvent(text("event 2"));
    connection->pushSnapshot(text("snapshot 4"), 4);
    connection->pushSnapshot(text("snapshot 3"), 3);
    std::thread ending([&] { connection->finish(); });
    std::string received;
    for (std::string more = take(1 << 20); !more.empty(); more = take(1 << 20))
        received += more;
    ending.join();
    EXPECT_EQ(received.substr(received.find('\n') + 1), "event 1\nsnapshot 4\nevent 2\n");
}

TEST_F(ConnectionTest, letsAClientGoWithTooManyEvents)
{
    open({.eventBytes = 100'000});
    for (int i = 0; i < 20; ++i)
        connection->pushSnapshot(line(1 << 20), static_cast<std::uint64_t>(i));
    connection->pushEvent(line(90'000));
    EXPECT_FALSE(isEndedWithin(0ms));
    connection->pushEvent(line(20'000));
    EXPECT_TRUE(isEndedWithin(10s));
}

} // namespace

} // namespace tarnel
