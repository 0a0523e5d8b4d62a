#include "Support/Descriptors.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Daemon/Bridge.h"
#include <array>
#include <gtest/gtest.h>
#include <thread>

namespace tarnel {

namespace {

struct Pipe {
    Pipe()
    {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            throw SocketError::io(errno);
        reading = FileDescriptor(ends[0]);
        writing = FileDescriptor(ends[1]);
    }
    void write(std::string_view text) const
    {
        ASSERT_EQ(::write(writing.get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    void endWriting() { writing = FileDescriptor(); }
    FileDescriptor reading;
    FileDescriptor writing;
};

/// A bridge at work between two pipes, and the daemon's end of it.
class Bridged : public ::testing::Test {
protected:
    Bridged()
        : bridge([this] {
            status = Bridge::run(path, input.reading.get(), output.writing.get());
            output.endWriting();
        })
        , daemon(listener->accept())
    {
    }
    ~Bridged() override
    {
        if (daemon)
            daemon->close();
        if (bridge.joinable())
            bridge.join();
    }

    const TemporaryFolder folder;
    const std::string path = folder / "d.sock";
    std::shared_ptr<LineSocket> listener = LineSocket::listen(path);
    Pipe input;
    Pipe output;
    int status = -1;
    std::thread bridge;
    std::shared_ptr<LineSocket> daemon;
};

TEST_F(Bridged, relaysLinesBothWaysAndAnswersAfterTheInputsEnd)
{
    const std::string longLine(300'000, 'x');
    std::thread person([&] {
        input.write("one\n\ntw");
        input.write("o\n");
        input.write(longLine + "\nlast");
        input.endWriting();
    });
    EXPECT_EQ(daemon->readLine(), "one");
    EXPECT_EQ(daemon->readLine(), "");
    EXPECT_EQ(daemon->readLine(), "two");
    EXPECT_EQ(daemon->readLine(), longLine);
    EXPECT_EQ(daemon->readLine(), "last");
    EXPECT_EQ(daemon->readLine(), std::nullopt);
    person.join();
    daemon->writeLine("answer");
    daemon->writeLine("");
    daemon = nullptr; // ends the connection
    EXPECT_EQ(readAll(output.reading.get()), "answer\n\n");
    bridge.join();
    EXPECT_EQ(status, 0);
}

TEST_F(Bridged, endsWithTheDaemonWhileItsInputStaysOpen)
{
    daemon->writeLine("bye");
    daemon->close();
    bridge.join();
    EXPECT_EQ(readAll(output.reading.get()), "bye\n");
    EXPECT_EQ(status, 0);
}

TEST_F(Bridged, endsWhenNobodyReadsItsOutput)
{
    output.reading = FileDescriptor();
    daemon->writeLine("lost");
    bridge.join();
    EXPECT_EQ(daemon->readLine(), std::nullopt);
}

TEST(Bridge, saysWhatItCannotReach)
{
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(Bridge::run("/nowhere/tarneld.sock"), 1);
    EXPECT_EQ(::testing::internal::GetCapturedStderr(), "tarneld bridge: cannot reach /nowhere/tarneld.sock\n");
}

} // namespace

} // namespace tarnel
