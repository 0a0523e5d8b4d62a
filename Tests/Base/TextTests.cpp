#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/Text.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

const std::string family = "👨‍👩‍👧";       // three people joined to one
const std::string accented = "e\u0301"; // a letter and a combining accent

TEST(Text, countsAndCutsCharactersAsPeopleDo)
{
    struct Case {
        std::string text;
        std::size_t count;
        std::string firstTwo;
        std::string lastTwo;
    };
    const Case cases[] = {
        {"", 0, "", ""},
        {"abc", 3, "ab", "bc"},
        {"a\r\nb", 3, "a\r\n", "\r\nb"},
        {"x" + accented + "y", 3, "x" + accented, accented + "y"},
        {family + "!" + family, 3, family + "!", "!" + family},
        {"🇩🇪🇫🇷🇮🇹", 3, "🇩🇪🇫🇷", "🇫🇷🇮🇹"},
        {"a\xff\xfe", 3, "a\xff", "\xff\xfe"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Text::characterCount(c.text), c.count);
        EXPECT_EQ(Text::prefix(c.text, 2), c.firstTwo);
        EXPECT_EQ(Text::suffix(c.text, 2), c.lastTwo);
        EXPECT_EQ(Text::prefix(c.text, c.count + 1), c.text);
        EXPECT_EQ(Text::suffix(c.text, c.count + 1), c.text);
    }
}

TEST(Text, trimsAndSplits)
{
    EXPECT_EQ(Text::trimmed("\u00A0\t\n a b \u2003\r\n"), "a b");
    EXPECT_EQ(Text::trimmed("é"), "é");
    EXPECT_EQ(Text::trimmed(" \u3000"), "");
    EXPECT_EQ(Text::trimmedBlanks(" \t\u00A0a\n "), "\u00A0a\n");
    EXPECT_EQ(Text::split("a,,b,", ','), (std::vector<std::string_view>{"a", "", "b", ""}));
    EXPECT_EQ(Text::splitNonEmpty(",a,,b,", ','), (std::vector<std::string_view>{"a", "b"}));
    EXPECT_EQ(Text::words(" a\u00A0b\n\tc "), (std::vector<std::string_view>{"a", "b", "c"}));
    EXPECT_EQ(Text::replacingAll("aXXbX", "X", "yy"), "ayyyybyy");
    EXPECT_EQ(Text::joined(std::vector<std::string>{"a", "b"}, ", "), "a, b");
}

TEST(Text, comparesWithoutCase)
{
    EXPECT_EQ(Text::lowercased("ÄbÇ ẞΣ"), "äbç ßσ");
    EXPECT_TRUE(Text::hasLowercase("ENg"));
    EXPECT_TRUE(Text::hasLowercase("ßÉ"));
    EXPECT_FALSE(Text::hasLowercase("É-1 日"));
    EXPECT_EQ(Text::alphanumericKey("Héllo, Wörld ²!"), "héllowörld²");
    EXPECT_EQ(Text::findIgnoringCase("One TWO", "two"), 4u);
    EXPECT_EQ(Text::findIgnoringCase("ÄÖ x", "ö X"), 2u);
    EXPECT_EQ(Text::findIgnoringCase("abc", ""), 0u);
    EXPECT_FALSE(Text::findIgnoringCase("abc", "abcd"));
    EXPECT_FALSE(Text::findIgnoringCase("é", "è"));
}

TEST(Text, repairsWhatIsNoUTF8)
{
    EXPECT_EQ(Text::repaired("a\xc3z\xe2\x82"), "a\uFFFDz\uFFFD\uFFFD");
    EXPECT_EQ(Text::repaired("aé€😀"), "aé€😀");
    EXPECT_FALSE(Text::isValidUTF8("\xc0\xaf"));
    EXPECT_FALSE(Text::isValidUTF8("\xf4\x90\x80\x80"));
    EXPECT_TRUE(Text::isValidUTF8("é😀"));
}

TEST(Regex, findsAndReplaces)
{
    const Regex number(R"((\p{L})?(\d+)\s*$)");
    const auto match = number.find("x a12 \u2003");
    ASSERT_TRUE(match);
    EXPECT_EQ((*match)[1], "a");
    EXPECT_EQ((*match)[2], "12");
    EXPECT_EQ((*number.find("7"))[1].data(), nullptr);
    EXPECT_FALSE(number.matches("\xff" "1"));
    EXPECT_EQ(Regex("[0-9]+").replacingAll("a1b22", "$0"), "a$0b$0");
    EXPECT_EQ(Regex("x*").replacingAll("", "-"), "-");
}

} // namespace

} // namespace tarnel
