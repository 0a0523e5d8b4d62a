#include "Support/Descriptors.h"
#include "Support/HeapInUse.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <cerrno>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <sys/socket.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

/// A socket, and a peer that sends any bytes.
struct Pair : SocketPair {
    void send(std::string_view bytes) const
    {
        EXPECT_EQ(::write(peer.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }
};

Lines allLines(LineSocket& socket)
{
    Lines lines;
    while (const auto line = socket.readLine())
        lines.push_back(*line);
    return lines;
}

/// The error that `body` must end with.
template <class Body> std::optional<SocketError> failureOf(Body body)
{
    try {
        body();
    } catch (const SocketError& error) {
        return error;
    }
    ADD_FAILURE() << "no SocketError";
    return std::nullopt;
}

int errorOf(const std::optional<SocketError>& error)
{
    return error && error->kind == SocketError::Kind::io ? error->error : 0;
}

TEST(LineSocket, takesPathsThatFitTheAddress)
{
    const TemporaryFolder folder;
    const std::string fits = (folder / std::string(200, 'x')).substr(0, 103);
    const auto listener = LineSocket::listen(fits);
    EXPECT_TRUE(LineSocket::connect(fits));
    EXPECT_TRUE(listener->accept());

    const std::string tooLong = fits + "x";
    for (const auto& open : {LineSocket::listen, +[](const std::string& path) { return LineSocket::connect(path); }}) {
        const auto failure = failureOf([&] { open(tooLong); });
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->kind, SocketError::Kind::pathTooLong);
        EXPECT_EQ(failure->what(), "socket path too long: " + tooLong);
    }
}

TEST(LineSocket, listensInPlaceOfWhatStandsThereForItsOwnerOnly)
{
    const TemporaryFolder folder;
    const std::string path = folder.write("s", "a file");
    for (int i = 0; i < 2; ++i) { // the second time over the socket file that the first left
        const auto listener = LineSocket::listen(path);
        struct stat status { };
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_TRUE(S_ISSOCK(status.st_mode));
        EXPECT_EQ(status.st_mode & 0777, 0600u);
        EXPECT_TRUE(LineSocket::connect(path));
    }
    EXPECT_STREQ(failureOf([&] { LineSocket::connect(path); })->what(),
        ("cannot connect to " + path + ": Connection refused").c_str());
    const std::string missing = folder / "none/s";
    EXPECT_STREQ(failureOf([&] { LineSocket::connect(missing); })->what(),
        ("cannot connect to " + missing + ": No such file or directory").c_str());
    EXPECT_STREQ(failureOf([&] { LineSocket::listen(missing); })->what(),
        ("cannot listen on " + missing + ": No such file or directory").c_str());
}

TEST(LineSocket, tellsWhatConnectingWouldMeet)
{
    const TemporaryFolder folder;
    const std::string live = folder / "live";
    const std::string stale = folder / "stale";
    const auto listener = LineSocket::listen(live);
    static_cast<void>(LineSocket::listen(stale)); // whose file stays
    struct Case {
        const char* what;
        std::string path;
        bool isMissing;
        bool isListening;
    };
    const Case cases[] = {
        {"a listener", live, false, true},
        {"the file of one that is gone", stale, false, false},
        {"nothing", folder / "none", true, false},
        {"a folder", folder.path(), false, false},
        {"a path that fits no address", folder / std::string(200, 'x'), false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(LineSocket::isMissing(c.path), c.isMissing);
        EXPECT_EQ(LineSocket::isListening(c.path), c.isListening);
        if (c.isMissing) {
            EXPECT_EQ(SocketError::missingText(c.path), failureOf([&] { LineSocket::connect(c.path); })->what());
        }
    }
}

TEST(LineSocket, splitsTheStreamAtLineFeedsOnly)
{
    struct Case {
        std::string stream;
        Lines lines;
    };
    const std::string large(200'000, 'l');
    const Case cases[] = {
        {"", {}},
        {"a\nb", {"a", "b"}},
        {"\n\n", {"", ""}},
        {"a\r\n\rb\n", {"a\r", "\rb"}},
        {std::string("\0\n\xff", 3), {std::string(1, '\0'), "\xff"}},
        {large + "\n", {large}},
        {"a\n" + large + "\nb\n" + large, {"a", large, "b", large}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.stream.substr(0, 10));
        const std::size_t cuts = std::min<std::size_t>(c.stream.size(), 7);
        for (std::size_t cut = 0; cut <= cuts; ++cut) { // in two pieces, wherever the stream is cut
            Pair pair;
            std::thread writer([&] {
                pair.send(std::string_view(c.stream).substr(0, cut));
                pair.send(std::string_view(c.stream).substr(cut));
                pair.peer = FileDescriptor();
            });
            EXPECT_EQ(allLines(*pair.socket), c.lines);
            EXPECT_EQ(pair.socket->readLine(), std::nullopt);
            writer.join();
        }
    }
}

TEST(LineSocket, readsAndWritesJSON)
{
    Pair pair;
    LineSocket other(FileDescriptor(::dup(pair.peer.get())));
    pair.socket->writeJSON(JSON::object({{"b", "x/y"}, {"a", 1}}));
    EXPECT_EQ(other.readLine(), R"({"a":1,"b":"x/y"})");
    pair.send("[1]\nno\n");
    EXPECT_EQ(pair.socket->readJSON(), JSON(JSON::Array{1}));
    EXPECT_THROW(pair.socket->readJSON(), DecodingError);
    other.close();
    EXPECT_EQ(pair.socket->readJSON(), std::nullopt);
}

TEST(LineSocket, limitsTheLineExactly)
{
    struct Case {
        std::string stream;
        bool isTooLong;
    };
    const Case cases[] = {{"1234\n12345\n", false}, {"123456\n", true}, {"1\n123456", true}, {"1\n12345", false}};
    for (const Case& c : cases) {
        Pair pair;
        pair.socket->setLineLimit(5);
        pair.send(c.stream);
        pair.peer = FileDescriptor();
        try {
            allLines(*pair.socket);
            EXPECT_FALSE(c.isTooLong) << c.stream;
        } catch (const SocketError& error) {
            EXPECT_EQ(error.error, EMSGSIZE);
            EXPECT_TRUE(c.isTooLong) << c.stream;
            EXPECT_EQ(errorOf(failureOf([&] { pair.socket->readLine(); })), EMSGSIZE) << "the rest passed as a line";
        }
    }
}

TEST(LineSocket, givesBackWhatALongLineTook)
{
    Pair pair;
    const auto before = heapInUse();
    if (!before)
        GTEST_SKIP() << "the allocator does not tell";
    constexpr std::size_t length = std::size_t{8} << 20;
    const auto other = pair.takePeer();
    std::thread sending([&] {
        other->writeLine(std::string(length, 'x') + "\nshort"); // what stands behind the line keeps its memory for now
        other->writeLine("last");
        other->close();
    });
    EXPECT_EQ(pair.socket->readLine()->size(), length);
    EXPECT_EQ(pair.socket->readLine(), "short");
    EXPECT_EQ(pair.socket->readLine(), "last");
    EXPECT_EQ(pair.socket->readLine(), std::nullopt);
    sending.join();
    EXPECT_LE(heapInUse(), *before + length / 8);
}

TEST(LineSocket, writersNeverInterleave)
{
    Pair pair;
    LineSocket reader(std::move(pair.peer));
    constexpr std::size_t count = 40, length = 300'000; // many times what the kernel buffers
    std::vector<std::thread> writers;
    for (const char letter : {'a', 'b'}) {
        writers.emplace_back([&, letter] {
            for (std::size_t i = 0; i < count; ++i)
                pair.socket->writeLine(std::string(length, letter));
        });
    }
    writers.emplace_back([&] { // one that waits only for what it has started
        const auto line = std::make_shared<const std::string>(length, 'c');
        for (std::size_t i = 0; i < count;) {
            if (pair.socket->startLine(line) == LineSocket::Started::nothing) {
                std::this_thread::yield();
            } else {
                pair.socket->finishLine();
                ++i;
            }
        }
    });
    for (std::size_t i = 0; i < 3 * count; ++i) {
        const auto line = reader.readLine();
        if (!line) {
            ADD_FAILURE() << "only " << i << " lines";
            pair.socket->close();
            break;
        }
        EXPECT_EQ(line->size(), length);
        EXPECT_EQ(line->find_first_not_of(line->front()), line->npos);
    }
    for (std::thread& each : writers)
        each.join();
}

TEST(LineSocket, startsLinesWithoutWaiting)
{
    using Started = LineSocket::Started;
    const auto small = std::make_shared<const std::string>("small");
    const auto large = std::make_shared<const std::string>(std::size_t{1} << 22, 'x'); // more than the kernel buffers
    Pair pair;
    EXPECT_EQ(pair.socket->startLine(small), Started::whole);
    EXPECT_EQ(pair.socket->startLine(large), Started::part);
    std::string received(large->size(), ' ');
    received.resize(static_cast<std::size_t>(::recv(pair.peer.get(), received.data(), received.size(), MSG_DONTWAIT)));
    EXPECT_EQ(pair.socket->startLine(small), Started::nothing) << "there is room, but the rest goes first";
    LineSocket reader(std::move(pair.peer));
    std::thread writer([&] { pair.socket->writeLine("next"); });
    received += reader.readLine().value_or("");
    EXPECT_EQ(received, *small + "\n" + *large);
    EXPECT_EQ(reader.readLine(), "next");
    writer.join();
    pair.socket->finishLine(); // nothing is left to send
    EXPECT_EQ(pair.socket->startLine(small), Started::whole);

    pair.socket->setWriteTimeout(10ms);
    EXPECT_EQ(pair.socket->startLine(large), Started::part);
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->finishLine(); })), EAGAIN);
    EXPECT_EQ(pair.socket->startLine(small), Started::nothing) << "a line after a torn one";
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine("x"); })), EPIPE);
}

TEST(LineSocket, closingWakesWhoeverIsBlocked)
{
    const std::string large(std::size_t{1} << 22, 'x'); // more than the kernel buffers
    for (int i = 0; i < 20; ++i) {
        Pair pair;
        std::thread reader([&] { EXPECT_EQ(pair.socket->readLine(), std::nullopt); });
        std::thread writer([&] { EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine(large); })), EPIPE); });
        pair.socket->close();
        pair.socket->close();
        reader.join();
        writer.join();
        EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine("x"); })), EPIPE);
    }
    Pair pair; // surely blocked: the peer has some of the line, and takes no more
    std::thread writer([&] { EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine(large); })), EPIPE); });
    char first = 0;
    EXPECT_EQ(::read(pair.peer.get(), &first, 1), 1);
    pair.socket->close();
    writer.join();
}

TEST(LineSocket, timesOut)
{
    Pair pair;
    pair.socket->setReadTimeout(10ms);
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->readLine(); })), EAGAIN);
    pair.send("late\n");
    EXPECT_EQ(pair.socket->readLine(), "late");
    pair.socket->setReadTimeout(1ns); // the shortest there is, not none
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->readLine(); })), EAGAIN);

    pair.socket->setWriteTimeout(10ms);
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine(std::string(std::size_t{1} << 22, 'x')); })), EAGAIN);
    LineSocket peer(std::move(pair.peer));
    EXPECT_EQ(peer.readLine()->find_first_not_of('x'), std::string::npos);
    EXPECT_EQ(peer.readLine(), std::nullopt);
    EXPECT_EQ(errorOf(failureOf([&] { pair.socket->writeLine("x"); })), EPIPE) << "a line after a torn one";

    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double seconds : {0.0, -1.0, infinity, -infinity, std::nan(""), 1e300}) {
        EXPECT_THROW(pair.socket->setReadTimeout(LineSocket::Seconds(seconds)), std::invalid_argument) << seconds;
        EXPECT_THROW(LineSocket::deadlineAfter(LineSocket::Seconds(seconds)), std::invalid_argument) << seconds;
    }
    pair.socket->setReadTimeout(86400s);
}

TEST(LineSocket, nothingOutlastsADeadline)
{
    const TemporaryFolder folder;
    const auto listener = LineSocket::listen(folder / "s");
    const auto socket = LineSocket::connectUntil(folder / "s", LineSocket::deadlineAfter(300ms));
    const auto peer = listener->accept();
    socket->writeLine("in time");
    EXPECT_EQ(peer->readLine(), "in time");
    std::atomic<bool> isOver = false;
    std::thread chatter([&] {
        try {
            while (!isOver)
                peer->writeLine("");
        } catch (const SocketError&) {
            // the reader is gone
        }
    });
    EXPECT_EQ(errorOf(failureOf([&] {
        while (socket->readLine()) { }
    })),
        EAGAIN);
    EXPECT_EQ(errorOf(failureOf([&] { socket->writeLine("too late"); })), EAGAIN);
    isOver = true;
    socket->close();
    chatter.join();

    // Nobody accepts: at some point the listener's backlog is full.
    std::vector<std::shared_ptr<LineSocket>> waiting;
    const auto failure = failureOf([&] {
        for (int i = 0; i < 1000; ++i)
            waiting.push_back(LineSocket::connectUntil(folder / "s", LineSocket::deadlineAfter(100ms)));
    });
    ASSERT_TRUE(failure);
    EXPECT_TRUE(failure->error == EAGAIN || failure->error == ECONNREFUSED) << failure->what(); // systems differ
    EXPECT_THROW(SocketOpener(folder / "s").open(10ms), SocketError);
}

TEST(LineSocket, closesOneDirectionAlone)
{
    Pair pair;
    LineSocket peer(FileDescriptor(::dup(pair.peer.get())));
    pair.socket->writeLine("last");
    pair.socket->shutdownWrite();
    EXPECT_EQ(allLines(peer), Lines{"last"});
    peer.writeLine("answer");
    EXPECT_EQ(pair.socket->readLine(), "answer");
}

TEST(SocketOpener, opensChannelsThatTimeOut)
{
    const TemporaryFolder folder;
    SocketOpener opener(folder / "s");
    EXPECT_EQ(opener.label(), folder / "s");
    EXPECT_THROW(opener.open(1s), SocketError);
    const auto listener = LineSocket::listen(folder / "s");
    const auto channel = opener.open(10ms);
    EXPECT_EQ(errorOf(failureOf([&] { channel->readLine(); })), EAGAIN);
    EXPECT_THROW(opener.open(0s), std::invalid_argument);
}

} // namespace

} // namespace tarnel
