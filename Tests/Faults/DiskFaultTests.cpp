#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include <csignal>
#include <filesystem>
#include <random>
#include <set>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::AnyOf;
using testing::HasSubstr;

#if defined(__linux__)
/// A file system of its own on a folder, as long as it lives.
class Mount {
public:
    explicit Mount(std::string folder)
        : place(std::move(folder))
        , isMounted(::mount("tmpfs", place.c_str(), "tmpfs", 0, "size=1m,mode=700") == 0)
    {
    }
    ~Mount()
    {
        if (isMounted)
            ::umount2(place.c_str(), MNT_DETACH);
    }
    Mount(const Mount&) = delete;
    Mount& operator=(const Mount&) = delete;
    explicit operator bool() const { return isMounted; }
    [[nodiscard]] bool makeReadOnly() const
    {
        return ::mount("tmpfs", place.c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m,mode=700") == 0;
    }

private:
    const std::string place;
    const bool isMounted;
};

class DiskFaultTest : public DaemonProcessTest {
protected:
    DiskFaultTest() { std::filesystem::create_directories(folder / ".config/tarnel"); }
    std::string attach(std::size_t bytes)
    {
        return ask(R"({"id":1,"method":"attach","params":{"data":")" + encodeBase64(std::string(bytes, 'p')) + "\"}}");
    }
    static std::string failureOf(const std::function<void()>& work)
    {
        try {
            work();
        } catch (const std::exception& error) {
            return error.what();
        }
        return "";
    }
};

TEST_F(DiskFaultTest, aFullOrReadOnlyDiskGivesAnError)
{
    const Mount disk(folder / ".config/tarnel");
    if (!disk)
        GTEST_SKIP() << "only who may mount a file system can fill one up";
    serve();
    TarnelConfig config(folder / ".config/tarnel/config.toml");
    config.set("attention.order", "oldest");
    const std::string configured = Files::read(config.path()).value();

    EXPECT_THAT(attach(5'000'000), AllOf(HasSubstr(R"("code":"failed")"), HasSubstr("No space left on device")));
    EXPECT_TRUE(Files::list(folder / ".config/tarnel/attachments").empty()) << "half a file is left";
    EXPECT_THAT(attach(100), HasSubstr("\"path\"")) << "goes on once there is room";

    std::string filling(1 << 20, 'x'); // up to the last byte
    std::ofstream(folder / ".config/tarnel/filling", std::ios::binary) << filling;
    EXPECT_THAT(attach(100), HasSubstr("No space left on device"));
    const std::string full = failureOf([&] { config.set("attention.order", "recent"); });
    EXPECT_THAT(full, AllOf(HasSubstr(config.path()), HasSubstr("No space left on device")));
    EXPECT_EQ(Files::read(config.path()), configured) << "the old file whole";
    EXPECT_THAT(ask(R"({"id":1,"method":"queue"})"), HasSubstr("result"));

    std::filesystem::remove(folder / ".config/tarnel/filling");
    ASSERT_TRUE(disk.makeReadOnly());
    EXPECT_THAT(attach(100), AllOf(HasSubstr(R"("code":"failed")"), HasSubstr("Read-only file system")));
    EXPECT_THAT(failureOf([&] { config.set("attention.order", "recent"); }), HasSubstr("Read-only file system"));
    EXPECT_EQ(Files::read(config.path()), configured);
    EXPECT_EQ(TarnelConfig(config.path()).string("attention.order"), "oldest");

    environment["TARNELD_SOCKET"] = folder / ".config/tarnel/other.sock";
    std::unique_ptr<Process> other;
    start(other, "other", TARNELD_PROGRAM " 2>" + (folder / "other.log"));
    EXPECT_EQ(other->waitFor(patience), 1);
    EXPECT_THAT(Files::read(folder / "other.log").value(),
        AllOf(HasSubstr("tarneld: "), HasSubstr("other.sock"), HasSubstr("Read-only file system")));
    printFigure("full and read-only disk: 5 writes refused with the reason, no file half written");
}
#endif

class ConfigFaultTest : public testing::Test {
protected:
    /// Kills a process that goes on setting one setting, again and again.
    void killWhileSetting(int rounds)
    {
        const TemporaryFolder folder;
        const std::string path = folder / "config.toml";
        constexpr std::array orders{"recent", "oldest"};
        std::string list = "[attention]\nmuted_agents = [";
        for (int i = 0; i < 3'000; ++i)
            list += "\"an agent of some name " + std::to_string(i) + "\", ";
        folder.write("config.toml", list + "]\n");
        std::set<std::string> whole; // all that the file may hold
        for (const char* order : orders) {
            TarnelConfig(path).set("attention.order", order);
            whole.insert(Files::read(path).value());
        }
        ASSERT_EQ(whole.size(), orders.size());
        std::mt19937 random(5);
        std::set<std::string> seen;
        for (int round = 0; round < rounds; ++round) {
            const pid_t child = ::fork();
            if (child == 0) {
                for (std::size_t i = 0;; ++i)
                    TarnelConfig(path).set("attention.order", orders[i % orders.size()]);
            }
            const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(random() % (20'000 * TARNEL_SLOWDOWN));
            eventually([&] { return std::chrono::steady_clock::now() >= moment; });
            ::kill(child, SIGKILL);
            ASSERT_EQ(::waitpid(child, nullptr, 0), child);
            const std::string text = Files::read(path).value_or("");
            ASSERT_TRUE(whole.contains(text)) << "round " << round << ": " << text.size() << " bytes";
            seen.insert(text);
        }
        EXPECT_EQ(seen.size(), orders.size());
        printFigure("killed while writing its configuration " + std::to_string(rounds)
            + " times: the file was always the old or the new one");
    }
};

TEST_F(ConfigFaultTest, theFileIsTheOldOrTheNewOne) { killWhileSetting(300 / TARNEL_SLOWDOWN); }

TEST_F(ConfigFaultTest, SoakTheFileIsTheOldOrTheNewOne) { killWhileSetting(2'000); }

} // namespace

} // namespace tarnel
