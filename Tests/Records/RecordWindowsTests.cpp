#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/RecordWindows.h"
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

namespace tarnel {

namespace {

using Lines = std::vector<std::string>;
using RecordWindows::Sizes;

Lines linesOf(const std::string& path, const Sizes& sizes)
{
    const RecordLines lines(path, sizes);
    return Lines(lines.begin(), lines.end());
}

/// The same by the block-wise reader.
Lines visitedLines(const std::string& path, const Sizes& sizes)
{
    Lines lines;
    const auto file = RecordFile::open(path);
    if (!file)
        return lines;
    const auto keep = [&](const RecordWindows::Line& line) { lines.emplace_back(line.text); };
    const auto extent = RecordWindows::extent(*file, sizes);
    EXPECT_TRUE(RecordWindows::visitLines(*file, 0, extent.headEnd, keep));
    EXPECT_TRUE(RecordWindows::visitLines(*file, extent.tailBegin, file->stamp().size, keep));
    return lines;
}

/// What both must give, written down the plain way.
Lines expectedLines(const std::string& text, const Sizes& sizes)
{
    const auto pieces = [](std::string_view chunk) {
        Lines found;
        std::string line;
        for (const char c : chunk) {
            if (c != '\n')
                line += c;
            else if (!line.empty())
                found.push_back(std::exchange(line, {}));
        }
        if (!line.empty())
            found.push_back(line);
        return found;
    };
    if (sizes.head + sizes.tail >= text.size())
        return pieces(text);
    Lines lines = pieces(std::string_view(text).substr(0, sizes.head));
    if (!lines.empty())
        lines.pop_back();
    std::string_view tail = std::string_view(text).substr(text.size() - sizes.tail);
    tail.remove_prefix(tail.find('\n') + 1); // npos + 1 is 0
    for (std::string& line : pieces(tail))
        lines.push_back(std::move(line));
    return lines;
}

TEST(RecordWindows, keepsTheLinesOfBothWindows)
{
    const TemporaryFolder folder;
    struct Case {
        const char* what;
        std::string text;
        Sizes sizes;
        Lines lines;
    };
    const Case cases[] = {
        {"whole, with its unfinished last line", "aa\n\nbb\ncc", {4, 5}, {"aa", "bb", "cc"}},
        {"one byte too large", "aa\n\nbb\ncc\n", {4, 5}, {"cc"}},
        {"the head's cut line goes", "aa\nbb\ncc\ndd\nee\nff", {7, 5}, {"aa", "bb", "ff"}},
        {"the head's last line goes even when it is whole", "aa\nbb\ncc\ndd\nee\nff", {6, 5}, {"aa", "ff"}},
        {"line feeds behind the head's last line save it not", "aa\nbb\n\n\ncc\ndd\nee", {8, 3}, {"aa", "ee"}},
        {"a tail that starts with a line loses it", "aa\nbb\ncc\ndd\n", {0, 6}, {"dd"}},
        {"a tail that starts at a line feed loses nothing", "aa\nbb\ncc\ndd\n", {0, 7}, {"cc", "dd"}},
        {"a tail within one line is kept as it is", "aa\nbbbbbbbb", {0, 4}, {"bbbb"}},
        {"nothing but line feeds", "\n\n\n\n\n\n", {2, 2}, {}},
        {"empty", "", {4, 5}, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::string path = folder.write("record", c.text);
        EXPECT_EQ(linesOf(path, c.sizes), c.lines);
        EXPECT_EQ(visitedLines(path, c.sizes), c.lines);
        EXPECT_EQ(expectedLines(c.text, c.sizes), c.lines);
    }
}

TEST(RecordWindows, agreesWithThePlainReadingOnAnyFile)
{
    const TemporaryFolder folder;
    std::mt19937 random(7);
    for (int round = 0; round < 600; ++round) {
        std::string text;
        for (std::size_t count = random() % 40; count > 0; --count)
            text += "\nab"[random() % 3];
        const Sizes sizes{random() % 20, 1 + random() % 20};
        SCOPED_TRACE(
            testing::PrintToString(text) + " " + std::to_string(sizes.head) + " " + std::to_string(sizes.tail));
        const std::string path = folder.write("record", text);
        EXPECT_EQ(linesOf(path, sizes), expectedLines(text, sizes));
        EXPECT_EQ(visitedLines(path, sizes), expectedLines(text, sizes));
    }
    // Lines that are longer than the blocks in which files are read, and one that ends with a block.
    std::string text(524'287, 'a');
    text += '\n' + std::string(1'300'000, 'b') + '\n' + std::string(20'000, 'c') + "\nd";
    const std::string path = folder.write("record", text);
    for (const Sizes& sizes :
        {RecordWindows::transcript, RecordWindows::recent, Sizes{600'000, 10}, Sizes{1'900'000, 9}})
        EXPECT_EQ(visitedLines(path, sizes) == expectedLines(text, sizes), true) << sizes.head;
}

TEST(RecordWindows, tellsWhereLinesStandAndHowFarItCame)
{
    const TemporaryFolder folder;
    const std::string path = folder.write("record", "aa\n\nbb\ncc");
    const auto file = RecordFile::open(path);
    ASSERT_TRUE(file);
    std::vector<std::pair<std::uint64_t, bool>> places;
    const auto keep = [&](const RecordWindows::Line& line) { places.emplace_back(line.offset, line.isFinished); };
    EXPECT_EQ(RecordWindows::visitLines(*file, 0, 9, keep), 7);
    EXPECT_EQ(places, (std::vector<std::pair<std::uint64_t, bool>>{{0, true}, {4, true}, {7, false}}));

    // The file shrinks between being opened and being read.
    std::filesystem::resize_file(path, 5);
    places.clear();
    EXPECT_EQ(RecordWindows::visitLines(*file, 0, 9, keep), std::nullopt);
    EXPECT_EQ(places.size(), 2);
}

TEST(RecordWindows, hasNoLinesOfWhatIsNoFile)
{
    const TemporaryFolder folder;
    const std::string pipe = folder / "pipe";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path : {pipe, folder.path(), folder / "missing", std::string("/dev/zero")})
        EXPECT_TRUE(RecordLines(path, RecordWindows::recent).empty()) << path;
}

} // namespace

} // namespace tarnel
