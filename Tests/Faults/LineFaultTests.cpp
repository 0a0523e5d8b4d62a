#include "Faults/DaemonProcess.h"
#include <atomic>
#include <sys/socket.h>
#include <thread>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::StartsWith;

constexpr std::size_t mebibyte = std::size_t{1} << 20;
constexpr auto notJSON = R"({"error":{"code":"bad_request","message":"not JSON"}})";
constexpr auto tooLong = R"({"error":{"code":"bad_request","message":"line too long"}})";
constexpr auto unknown = R"({"error":{"code":"failed","message":"unknown method no"},"id":1})";

/// A client that goes on asking, and knows the longest time that it had to wait.
class Bystander {
public:
    explicit Bystander(const DaemonProcess& world)
        : socket(world.connect())
        , thread([this] {
            while (!isStopping) {
                const auto start = std::chrono::steady_clock::now();
                isWell = DaemonProcess::ask(*socket, R"({"id":1,"method":"no"})") == unknown && isWell;
                longest = std::max(longest, std::chrono::steady_clock::now() - start);
                std::this_thread::sleep_for(1ms); // others need the processor, too
            }
        })
    {
    }
    ~Bystander() { end(); }
    Bystander(const Bystander&) = delete;
    Bystander& operator=(const Bystander&) = delete;

    /// The longest wait; nothing when an answer was wrong.
    std::optional<std::chrono::nanoseconds> end()
    {
        isStopping = true;
        if (thread.joinable())
            thread.join();
        return isWell ? std::optional(longest) : std::nullopt;
    }

private:
    const std::shared_ptr<LineSocket> socket;
    std::atomic<bool> isStopping = false;
    bool isWell = true; // the thread's until it has ended
    std::chrono::nanoseconds longest{}; // likewise
    std::thread thread;
};

/// Sends bytes as they are, as far as the daemon takes them.
void sendBytes(int descriptor, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor, bytes.data(), bytes.size());
        if (count <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string levels(std::size_t count) { return std::string(count, '[') + std::string(count, ']'); }

class LineFaultTest : public DaemonProcessTest { };

TEST_F(LineFaultTest, anyBytesGetAnErrorAndHarmNobody)
{
    serve();
    const std::string member = R"({"id":1,"method":"no","params":{"text":")";
    const std::string whole = member + std::string(64 * mebibyte - member.size() - 3, 'x') + "\"}}";
    struct Case {
        const char* what;
        std::string bytes;
        std::string reply;
        bool endsConnection = false;
    };
    const Case cases[] = {
        {"a line without end", std::string(64 * mebibyte + 2, 'x'), tooLong, true},
        {"a request of 64 MiB", whole + "\n", unknown},
        {"64 MiB of no JSON", std::string(64 * mebibyte, '[') + "\n", notJSON},
        {"64 MiB of escapes", "\"" + std::string(64 * mebibyte - 2, '\\') + "\n", notJSON},
        {"no UTF-8", "\xff\xfe{}\n", notJSON},
        {"no UTF-8 in a text", "{\"id\":1,\"method\":\"n\xffo\"}\n", notJSON},
        {"NUL bytes", "\0\0\0\n"s, notJSON},
        {"a NUL byte in a text", "{\"id\":1,\"method\":\"n\0o\"}\n"s, notJSON},
        {"a NUL byte behind a request", "{\"id\":1,\"method\":\"no\"}\0\n"s, notJSON},
        {"100,000 levels", levels(100'000) + "\n", notJSON},
        {"100,000 levels in a request", R"({"id":1,"method":"no","params":{"a":)" + levels(100'000) + "}}\n", notJSON},
        {"100,000 levels without end", std::string(100'000, '[') + "\n", notJSON},
        {"half a line, then the end", R"({"id":1,"meth)", notJSON, true},
    };
    static_assert(sizeof cases / sizeof cases[0] > 12);
    ask(std::string(1 * mebibyte, '[')); // what serving takes once is no growth
    const ProcessUsage before = usage();
    ProcessUsage::resetPeak(id);
    Bystander bystander(*this);
    // Half a line and then silence, for as long as the others take.
    const FileDescriptor silent = connectBare(socketPath());
    sendBytes(silent.get(), R"({"id":1,"meth)");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        FileDescriptor client = connectBare(socketPath());
        ASSERT_TRUE(client.isOpen());
        LineSocket reader(FileDescriptor(::dup(client.get())));
        reader.setReadTimeout(patience);
        std::thread sending([&] {
            sendBytes(client.get(), c.bytes);
            if (!c.bytes.ends_with('\n'))
                ::shutdown(client.get(), SHUT_WR);
        });
        EXPECT_EQ(reader.readLine(), c.reply);
        sending.join();
        if (c.endsConnection) {
            EXPECT_EQ(reader.readLine(), std::nullopt);
        } else {
            sendBytes(client.get(), "{\"id\":1,\"method\":\"no\"}\n");
            EXPECT_EQ(reader.readLine(), unknown) << "the connection goes on";
        }
    }
    const auto longest = bystander.end();
    ASSERT_TRUE(longest) << "the bystander got a wrong answer";
    EXPECT_TRUE(eventually([&] { return !figuresCount || usage().memory < before.memory + 8; }, 15s));
    const ProcessUsage after = usage();
    printFigure("hostile lines: memory " + oneDecimal(before.memory) + " MiB before, at most "
        + oneDecimal(after.peakMemory) + ", " + oneDecimal(after.memory) + " after; a bystander waited "
        + oneDecimal(inMilliseconds(*longest)) + " ms at most");
    if (figuresCount) {
        EXPECT_LE(after.memory, before.memory + 8);
        EXPECT_LE(*longest, 500ms);
    }
    // The silent one and the bystander are still there.
    EXPECT_TRUE(eventually([&] { return usage().descriptors <= before.descriptors + 2; }));
}

} // namespace

} // namespace tarnel
