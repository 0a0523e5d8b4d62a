#include "Faults/DaemonProcess.h"
#include "TarnelCore/Base/Files.h"
#include <fcntl.h>
#include <filesystem>
#include <functional>
#include <sys/stat.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::IsEmpty;

class UserFaultTest : public DaemonProcessTest {
protected:
    /// Starts a daemon that must refuse, and returns what it says.
    std::string refusal()
    {
        launch();
        EXPECT_EQ(daemon->waitFor(patience), 1);
        return log();
    }
};

TEST_F(UserFaultTest, aFolderOfOthersIsRefused)
{
    const std::string place = folder / "place";
    struct Case {
        const char* what;
        mode_t mode;
        uid_t owner;
        std::string complaint; // none: it serves
    };
    const std::string said = "tarneld: will not listen on " + place + "/d.sock: ";
    const std::string others = said + "other users may write to " + place;
    const Case cases[] = {
        {"private", 0700, ::geteuid(), ""},
        {"readable for all", 0755, ::geteuid(), ""},
        {"only the owner may remove a file", 01777, ::geteuid(), ""},
        {"writable for the group", 0770, ::geteuid(), others + " (mode 770); chmod go-w " + place + " ends that\n"},
        {"writable for all", 0777, ::geteuid(), others + " (mode 777); chmod go-w " + place + " ends that\n"},
        {"another user's", 0755, otherUser,
            said + place + " belongs to another user (65534); choose a folder of your own\n"},
    };
    environment["TARNELD_SOCKET"] = place + "/d.sock";
    int refused = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        if (c.owner != ::geteuid() && !isRoot())
            continue; // nobody else can give a folder away
        std::filesystem::remove_all(place);
        std::filesystem::create_directory(place);
        ASSERT_EQ(::chmod(place.c_str(), c.mode), 0);
        ASSERT_TRUE(c.owner == ::geteuid() || ::chown(place.c_str(), c.owner, c.owner) == 0);
        folder.write("log", "");
        if (c.complaint.empty()) {
            launch();
            EXPECT_TRUE(eventually([&] { return Files::exists(place + "/d.sock"); }, patience));
            EXPECT_TRUE(eventually([&] { return log().find("listening on") != std::string::npos; }, patience)) << log();
            daemon->terminate(0ms);
            continue;
        }
        EXPECT_EQ(refusal(), c.complaint);
        EXPECT_THAT(Files::list(place), IsEmpty()) << "nothing is written there";
        ++refused;
    }
    printFigure("socket folders of others: " + std::to_string(refused) + " kinds refused");
}

TEST_F(UserFaultTest, aProcessOfAnotherUserIsTurnedAway)
{
    if (!isRoot())
        GTEST_SKIP() << "only root can start a process of another user";
    serve();
    const auto status = std::filesystem::status(socketPath());
    EXPECT_EQ(status.permissions(), std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
    EXPECT_EQ(welcomeOfOtherUser(socketPath()), Welcome::cannotConnect) << "by the modes of the folder and the socket";
    // Even where modes would let it in.
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(socketPath().c_str(), 0666), 0);
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(welcomeOfOtherUser(socketPath()), Welcome::turnedAway);
    EXPECT_THAT(log(), HasSubstr("tarneld: turned away a connection of user 65534\n"));
    EXPECT_THAT(ask(R"({"id":1,"method":"ping"})"), HasSubstr("studio"));
    printFigure("another user's process: 20 of 20 connections turned away");
}

TEST_F(UserFaultTest, nothingIsWrittenThroughALink)
{
    serve();
    const std::string attachments = folder / ".config/tarnel/attachments";
    const std::string elsewhere = folder / "elsewhere";
    std::filesystem::create_directories(elsewhere);
    const std::string old = folder.write("elsewhere/old", "kept");
    ASSERT_EQ(::utimensat(AT_FDCWD, old.c_str(), std::array<timespec, 2>{}.data(), 0), 0); // more than a week ago
    std::filesystem::create_directories(folder / ".config/tarnel");
    const auto attach = [&] { return ask(R"({"id":1,"method":"attach","params":{"data":"QQ==","name":"a.png"}})"); };
    struct Case {
        const char* what;
        std::function<void()> make;
        std::string complaint;
    };
    const Case cases[] = {
        {"a link to a folder", [&] { std::filesystem::create_directory_symlink(elsewhere, attachments); },
            "attachments folder is a link or no folder: "},
        {"a link to nothing", [&] { std::filesystem::create_symlink(elsewhere + "/new", attachments); },
            "cannot create directory "},
        {"a file", [&] { folder.write(".config/tarnel/attachments", "x"); }, "cannot create directory "},
        {"writable for others",
            [&] {
                std::filesystem::create_directory(attachments);
                ::chmod(attachments.c_str(), 0777);
            },
            "attachments folder is writable for other users: "},
        {"another user's",
            [&] {
                std::filesystem::create_directory(attachments);
                if (!isRoot() || ::chown(attachments.c_str(), otherUser, otherUser) != 0)
                    ::chmod(attachments.c_str(), 0777);
            },
            isRoot() ? "attachments folder belongs to another user: " : "attachments folder is writable for "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::remove_all(attachments);
        c.make();
        const std::string reply = attach();
        EXPECT_THAT(reply, HasSubstr(R"("code":"failed")"));
        EXPECT_THAT(reply, HasSubstr(c.complaint));
        EXPECT_THAT(reply, HasSubstr(attachments));
        EXPECT_THAT(Files::list(elsewhere), testing::ElementsAre("old")) << "written or removed through the link";
    }
    std::filesystem::remove_all(attachments);
    EXPECT_THAT(attach(), HasSubstr(R"("path":")" + attachments));
    printFigure("something else in place of the attachments folder: " + std::to_string(std::size(cases))
        + " kinds refused, nothing written or removed elsewhere");
}

} // namespace

} // namespace tarnel
