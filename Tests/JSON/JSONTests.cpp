#include "TarnelCore/Base/Text.h"
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/JSON/JSONWriter.h"
#include <cmath>
#include <gtest/gtest.h>
#include <iterator>
#include <limits>
#include <random>

namespace tarnel {

namespace {

std::string nested(std::size_t depth, const std::string& inner = "")
{
    return std::string(depth, '[') + inner + std::string(depth, ']');
}

TEST(JSON, readsAndWritesBack)
{
    struct Case {
        const char* what;
        std::string text;
        std::string written;
    };
    const Case cases[] = {
        {"null", "null", "null"},
        {"true is no number", "true", "true"},
        {"keys ascending, slash as it is", R"({"b":1,"a":"a\/b"})", R"({"a":"a/b","b":1})"},
        {"of a repeated key the last counts", R"({"k":1,"j":0,"k":[2],"k":3})", R"({"j":0,"k":3})"},
        {"integral without a fraction", "[7.0,1e3,-2.50,1e-7]", "[7,1000,-2.5,1e-07]"},
        {"thirty digits are a number", "[123456789012345678901234567890]", "[123456789012345677877719597056]"},
        {"a long integer at the very start", "-18446744073709551616", "-18446744073709551616"},
        {"digits inside a string stay", R"(["123456789012345678901234567890",123456789012345678901])",
            R"(["123456789012345678901234567890",123456789012345683968])"},
        {"control characters", R"("\u0000\u001f\b\f\n\r\t\"\\\u007f")", "\"\\u0000\\u001f\\b\\f\\n\\r\\t\\\"\\\\\x7f\""},
        {"a surrogate pair", R"("\ud83d\ude00")", "\"😀\""},
        {"a lone high surrogate", R"("a\ud83dz")", "\"a\uFFFDz\""},
        {"a lone low surrogate", R"("a\ude00z")", "\"a\uFFFDz\""},
        {"two high ones, then a pair's half", R"("\ud83d\ud83d\ude00\\ud83d")", R"("�😀\\ud83d")"},
        {"a lone surrogate in a key", R"({"\udc00":1})", "{\"\uFFFD\":1}"},
        {"white space around", " \t\r\n[ 1 , 2 ] ", "[1,2]"},
        {"512 levels, the innermost empty", nested(512), nested(512)},
        {"512 levels around a number", nested(512, "1"), nested(512, "1")},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const auto value = JSON::parseLine(c.text);
        ASSERT_TRUE(value);
        EXPECT_EQ(value->serialized(), c.written);
        EXPECT_EQ(JSON::parse(value->serialized()), *value);
    }
}

TEST(JSON, refusesWhatIsNoJSON)
{
    const std::string cases[] = {"", " ", "{", "hello", "[1,]", "{\"a\"}", "{a:1}", "01", "+1", "1.", ".5", "nul", "1 2",
        "\"a", "'a'", "[1e400]", "-1e999", std::string(400, '9'), nested(513), nested(513, "1"), nested(100'000), "\"\xff\"", "\"\xed\xa0\x80\"",
        std::string("\"\0\"", 3), "\"\n\"", R"("\x")", R"("\u12g4")", R"("\ud83d)", "[1]]", "NaN", "[Infinity]",
        "\xEF\xBB\xBF{}", "[1 2]", "{\"a\":1,}", "\"a\"b", "tru", "--1", "1e", "12345678901234567890x"};
    for (const std::string& text : cases) {
        SCOPED_TRACE(text.substr(0, 40));
        EXPECT_FALSE(JSON::parseLine(text));
        EXPECT_THROW(JSON::parse(text), DecodingError);
    }
}

TEST(JSON, accessorsGiveNothingForAnotherCase)
{
    const JSON value = JSON::parse(R"({"a":[1,2],"n":null})");
    EXPECT_EQ((*value["a"])[1]->number(), 2);
    EXPECT_FALSE((*value["a"])[2]);
    EXPECT_FALSE((*value["a"])[-1]);
    EXPECT_FALSE((*value["a"])["k"]);
    EXPECT_FALSE(value["b"]);
    EXPECT_TRUE(value["n"]->isNull());
    EXPECT_FALSE(JSON(true).number());
    EXPECT_FALSE(JSON(1).boolean());

    struct Case {
        double number;
        std::optional<std::int64_t> integer;
    };
    const double infinity = std::numeric_limits<double>::infinity();
    const Case cases[] = {{2.9, 2}, {-2.9, -2}, {1e30, {}}, {-9223372036854775808.0, std::numeric_limits<std::int64_t>::min()},
        {9223372036854775808.0, {}}, {infinity, {}}, {std::nan(""), {}}};
    for (const Case& c : cases)
        EXPECT_EQ(JSON(c.number).integer(), c.integer) << c.number;
}

TEST(JSON, writesNullForWhatCannotBeEncoded)
{
    EXPECT_EQ(JSON(JSON::Array{1, std::nan("")}).serialized(), "null");
    EXPECT_EQ(JSON("a\xffz\xed\xa0\x80").serialized(), "\"a\uFFFDz\uFFFD\uFFFD\uFFFD\"");
}

TEST(JSONWriter, escapesSlashesWhenAsked)
{
    JSONWriter writer(JSONWriter::Slashes::escaped);
    for (int round = 0; round < 2; ++round) { // taking the text keeps the choice
        writer.write(JSON::object({{"a/b", "//\n"}}));
        EXPECT_EQ(writer.take(), R"({"a\/b":"\/\/\n"})");
    }
}

/// Written byte by byte.
std::string plainlyWritten(std::string_view text, bool escapesSlashes)
{
    std::string written = "\"";
    while (!text.empty()) {
        const std::size_t length = Text::firstScalar(text).length;
        const unsigned char c = static_cast<unsigned char>(text[0]);
        const std::size_t pair = std::string_view("\b\f\n\r\t\"\\").find(text[0]);
        if (length > 1)
            written += text.substr(0, length);
        else if (c >= 0x80)
            written += "\xEF\xBF\xBD";
        else if (pair != std::string_view::npos)
            (written += '\\') += "bfnrt\"\\"[pair];
        else if (c == '/' && escapesSlashes)
            written += "\\/";
        else if (c < 0x20)
            ((written += "\\u00") += "0123456789abcdef"[c >> 4]) += "0123456789abcdef"[c & 15];
        else
            written += text[0];
        text.remove_prefix(length);
    }
    return written += '"';
}

TEST(JSONWriter, writesAnyTextAsByteByByte)
{
    const std::string_view pieces[] = {"a", "abcdefgh", "the quick", "\n", "\"", "\\", "/", "\x01", "\x1f", "\x7f", "é", "─",
        "🚀", "\xFF", "\xC3", "\xED\xA0\x80", "\xE2\x94"};
    std::mt19937 random(3);
    for (int round = 0; round < 20'000; ++round) {
        std::string text;
        const std::size_t kinds = round % 2 == 0 ? std::size(pieces) : 13; // every other one is UTF-8
        for (std::size_t count = random() % 30; count > 0; --count)
            text += pieces[random() % kinds];
        for (const auto slashes : {JSONWriter::Slashes::plain, JSONWriter::Slashes::escaped}) {
            JSONWriter writer(slashes);
            writer.write(std::string_view(text));
            ASSERT_EQ(writer.take(), plainlyWritten(text, slashes == JSONWriter::Slashes::escaped));
        }
    }
}

TEST(JSONDocument, viewsReadWithoutBuildingValues)
{
    JSONDocument document;
    const std::string text = R"({"a":"x","list":[1,true,null,{"k":"v"}],"a":"y"})" + std::string(JSONDocument::padding, '#');
    const auto view = document.parsePadded(std::string_view(text).substr(0, text.size() - JSONDocument::padding));
    ASSERT_TRUE(view);
    EXPECT_EQ((*view)["a"]->string(), "y");
    EXPECT_FALSE((*view)["b"]);
    std::string keys;
    view->forEachMember([&](std::string_view key, JSONView) { keys += key; });
    EXPECT_EQ(keys, "alista");
    int elements = 0;
    (*view)["list"]->forEachElement([&](JSONView each) { elements += each.isObject() ? 10 : 1; });
    EXPECT_EQ(elements, 13);
    EXPECT_FALSE(document.parse("[1,2"));
    JSON::Array empty;
    document.parse("[]")->forEachElement([&](JSONView each) { empty.push_back(each.value()); });
    EXPECT_TRUE(empty.empty());
}

} // namespace

} // namespace tarnel
