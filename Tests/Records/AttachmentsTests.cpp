#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Records/Attachments.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarnel {

namespace {

namespace fs = std::filesystem;

unsigned modeOf(const std::string& path)
{
    struct stat status { };
    return ::lstat(path.c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
}

Timestamp now() { return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now()); }

class AttachmentsTest : public testing::Test {
protected:
    const TemporaryFolder folder;
    const std::string directory = Attachments::directory(folder.path());
};

TEST_F(AttachmentsTest, namesAndWritesFiles)
{
    struct Case {
        const char* type;
        std::optional<std::string> name;
        const char* ending;
    };
    const Case cases[] = {
        {"png", "/Users/me/Desktop/Screen Shot 1.png", "-Screen-Shot-1\\.png"},
        {"JPEG", {}, "\\.jpeg"},
        {"image/png", {}, "\\.image"},
        {"", {}, "\\.png"},
        {"../..", {}, "\\.png"},
        {"gif", "...", "\\.gif"},
        {"gif", "/", "\\.gif"},
    };
    const std::string data("a\0b\n", 4);
    fs::create_directories(directory);
    fs::permissions(directory, fs::perms::owner_all);
    const mode_t mask = ::umask(0777); // must not reach the file
    for (const Case& c : cases) {
        SCOPED_TRACE(c.ending);
        const std::string path = Attachments::save(directory, data, c.type, c.name, now());
        EXPECT_TRUE(Regex("^" + directory + "/[0-9]{8}-[0-9]{6}-[0-9a-f]{8}" + c.ending + "$").matches(path)) << path;
        EXPECT_EQ(Files::read(path), data);
        EXPECT_EQ(modeOf(path), 0600u);
    }
    ::umask(mask);
    EXPECT_EQ(Files::list(directory).size(), std::size(cases)); // no part of a file is left
}

TEST_F(AttachmentsTest, makesThePrivateFolder)
{
    Attachments::save(directory, "", "png", {}, now());
    EXPECT_EQ(modeOf(directory), 0700u);
}

TEST_F(AttachmentsTest, stampsInLocalTime)
{
    const char* before = std::getenv("TZ");
    const std::string zone = before ? before : "";
    ::setenv("TZ", "XXX-05:30", 1);
    ::tzset();
    const auto path = Attachments::save(directory, "", "png", {}, *parseISO8601("2025-01-31T20:45:02.9Z"));
    before ? ::setenv("TZ", zone.c_str(), 1) : ::unsetenv("TZ");
    ::tzset();
    EXPECT_TRUE(Files::lastComponent(path).starts_with("20250201-021502-")) << path;
}

TEST_F(AttachmentsTest, refusesAFolderThatOthersControl)
{
    const auto refusal = [&] {
        try {
            Attachments::save(directory, "x", "png", {}, now());
        } catch (const std::runtime_error& error) {
            return std::string(error.what());
        }
        return std::string("none");
    };
    fs::create_directories(folder / "elsewhere");
    fs::create_directories(folder / ".config/tarnel");
    const std::string old = folder.write("elsewhere/old");
    fs::last_write_time(old, fs::file_time_type::clock::now() - std::chrono::hours(24 * 30));
    fs::create_directory_symlink(folder / "elsewhere", directory);
    EXPECT_EQ(refusal(), "attachments folder is a link or no folder: " + directory);
    Attachments::prune(directory, now());
    EXPECT_EQ(Files::list(folder / "elsewhere"), std::vector<std::string>{"old"});

    fs::remove(directory);
    fs::create_directory(directory);
    for (const unsigned mode : {0720u, 0702u}) {
        fs::permissions(directory, static_cast<fs::perms>(mode));
        EXPECT_EQ(refusal(), "attachments folder is writable for other users: " + directory);
    }
    if (::geteuid() == 0) { // only the superuser can give a folder away
        fs::permissions(directory, fs::perms::owner_all);
        ASSERT_EQ(::chown(directory.c_str(), 1, 1), 0);
        EXPECT_EQ(refusal(), "attachments folder belongs to another user: " + directory);
    }
    fs::remove(directory);
    folder.write(".config/tarnel/attachments");
    EXPECT_NE(refusal().find(directory), std::string::npos);
}

TEST_F(AttachmentsTest, removesWhatIsOlderThanAWeek)
{
    const std::string elsewhere = folder.write("elsewhere.png", "stays");
    const auto put = [&](const char* name, int days) {
        const std::string path = folder.write(std::string(".config/tarnel/attachments/") + name);
        fs::last_write_time(path, fs::file_time_type::clock::now() - std::chrono::hours(24 * days));
        return path;
    };
    put("six-days.png", 6);
    put("eight-days.png", 8);
    put("full/inner.png", 8);
    fs::permissions(directory, fs::perms::owner_all);
    fs::create_directory(directory + "/empty");
    fs::create_symlink(elsewhere, directory + "/link");
    for (const char* name : {"full", "empty"})
        fs::last_write_time(directory + "/" + name, fs::file_time_type::clock::now() - std::chrono::hours(24 * 8));
    const std::string saved = Attachments::save(directory, "", "png", {}, now());
    auto left = Files::list(directory);
    std::sort(left.begin(), left.end());
    EXPECT_EQ(left, (std::vector<std::string>{Files::lastComponent(saved), "full", "link", "six-days.png"}));

    Attachments::prune(directory, now() + std::chrono::hours(1));
    EXPECT_EQ(Files::list(directory), std::vector<std::string>{"full"}); // it still holds a file
    EXPECT_EQ(Files::read(elsewhere), "stays");
    Attachments::prune(folder / "nowhere", now());
}

TEST_F(AttachmentsTest, makesNamesSafe)
{
    const std::pair<std::string, std::string> cases[] = {{"...hidden", "hidden"}, {"résumé.pdf", "r-sum-.pdf"},
        {"re\u0301sume\u0301.pdf", "r-sum-.pdf"}, {"a/b//", "b"}, {"/", ""}, {"", ""}, {"..", ""},
        {"../../etc/passwd", "passwd"}, {"a\r\nb\\c;d", "a-b-c-d"}, {std::string("x\0y", 3), "x-y"},
        {"\xff.png", "-.png"}, {"👨‍👩‍👧.png", "-.png"},
        {std::string(120, 'a') + std::string(80, 'b'), std::string(80, 'b')}};
    for (const auto& [name, safe] : cases)
        EXPECT_EQ(Attachments::safeName(name), safe) << name;
}

} // namespace

} // namespace tarnel
