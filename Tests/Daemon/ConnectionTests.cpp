#include "Support/Descriptors.h"
#include "TarnelCore/Daemon/Connection.h"
#include <array>
#include <gtest/gtest.h>
#include <map>
#include <poll.h>
#include <random>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Time = std::chrono::steady_clock;

/// A connection, and the client's end of it as a bare descriptor.
class ConnectionTest : public testing::Test {
protected:
    void open(Connection::Limits limits)
    {
        connection = std::make_unique<Connection>(ends.socket, limits);
        connection->startPushing();
    }
    /// Takes up to so many bytes.
    std::string take(std::size_t bytes) const
    {
        std::string taken(bytes, ' ');
        const ssize_t count = ::read(ends.peer.get(), taken.data(), bytes);
        taken.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return taken;
    }
    [[nodiscard]] bool isEndedWithin(std::chrono::milliseconds limit) const
    {
        pollfd end{ends.peer.get(), 0, 0};
        return ::poll(&end, 1, static_cast<int>(limit.count())) > 0;
    }
    static Connection::Line line(std::size_t bytes) { return std::make_shared<const std::string>(bytes, 'x'); }

    SocketPair ends;
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

/// Whatever goes out at once, in part, or later, beside replies.
TEST_F(ConnectionTest, linesStayWholeAndInOrder)
{
    open({.eventBytes = std::size_t{1} << 30});
    const auto reader = ends.takePeer();
    constexpr int count = 400;
    const auto text = [](char kind, int number, std::size_t size) {
        return kind + std::to_string(number) + " " + std::string(size, kind) + ".";
    };
    const std::array<std::size_t, 4> sizes{10, 2'000, 70'000, 400'000};
    std::thread pusher([&] {
        std::mt19937 random(5);
        for (int i = 1; i <= count; ++i) {
            const auto line = [&](char kind) {
                return std::make_shared<const std::string>(text(kind, i, sizes[random() % sizes.size()]));
            };
            connection->pushEvent(line('e'));
            connection->pushSnapshot(line('s'), static_cast<std::uint64_t>(i));
        }
    });
    std::thread replier([&] {
        for (int i = 1; i <= count; ++i)
            connection->reply(text('r', i, sizes[static_cast<std::size_t>(i) % sizes.size()]));
    });
    std::map<char, int> last;
    bool isGood = true;
    while (isGood && (last['e'] < count || last['s'] < count || last['r'] < count)) {
        const std::string line = reader->readLine().value_or("the end");
        const char kind = line[0];
        const int number = std::atoi(line.c_str() + 1);
        const bool isNext = kind == 's' ? number > last[kind] : number == last[kind] + 1;
        isGood = isNext && line.find_first_not_of(kind, line.find(' ') + 1) == line.size() - 1;
        EXPECT_TRUE(isGood) << line.substr(0, 20) << " after " << last[kind];
        last[kind] = number;
    }
    connection->close();
    pusher.join();
    replier.join();
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
