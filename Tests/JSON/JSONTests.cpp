#include "Support/HeapInUse.h"
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
        {"minus zero is zero", "[-0,-0.0,-1e-400]", "[0,0,0]"},
        {"integers beyond what a double holds exactly", "[9007199254740992,-9007199254740994,1e19]",
            "[9007199254740992,-9007199254740994,10000000000000000000]"},
        {"thirty digits are a number", "[123456789012345678901234567890]", "[123456789012345677877719597056]"},
        {"a long integer at the very start", "-18446744073709551616", "-18446744073709551616"},
        {"digits inside a string stay", R"(["123456789012345678901234567890",123456789012345678901])",
            R"(["123456789012345678901234567890",123456789012345683968])"},
        {"control characters", R"("\u0000\u001f\b\f\n\r\t\"\\\u007f")",
            "\"\\u0000\\u001f\\b\\f\\n\\r\\t\\\"\\\\\x7f\""},
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

struct Sample {
    const char* what;
    std::string text;
};

TEST(JSON, readsEveryForm)
{
    const Sample cases[] = {
        {"a string alone", R"("x")"},
        {"a number alone", "7"},
        {"false alone", "false"},
        {"an empty object", "{ }"},
        {"an empty array", "[\t]"},
        {"an empty key", R"({"":0})"},
        {"an escaped key", R"({"\u0000\n\"":0})"},
        {"line breaks between all parts", "{\n\"a\"\r\n:\n1\n,\n\"b\"\n:\n[\n2\n,\n3\n]\n}\n"},
        {"minus zero", "[-0]"},
        {"an exponent of a zero", "[0e1,0E+1,0.0e-0]"},
        {"exponents", "[1E22,1e+2,12.5e-3,123e65]"},
        {"a number too small for a double", "[1e-400,-123e-10000000]"},
        {"the smallest and the largest double", "[4.9e-324,1.7976931348623157e308]"},
        {"a fraction of many digits", "[-0." + std::string(90, '0') + "1,0." + std::string(500, '3') + "]"},
        {"a long integer that ends in zeros", "1" + std::string(300, '0')},
        {"hexadecimal digits of both cases", R"(["\uaBcD"])"},
        {"characters that Unicode reserves", "[\"\\uFFFE\\uFDD0\uFFFF\"]"},
        {"the last character of all", "[\"\\uDBFF\\uDFFF\xF4\x8F\xBF\xBF\"]"},
        {"DEL, line and paragraph separators as they are", "[\"\x7f\u2028\u2029\"]"},
        {"a byte order mark within a string", "[\"\uFEFF\"]"},
        {"comments within a string", R"(["/*a*/ //b"])"},
        {"a backslash escaped before the closing quote", R"(["\\"])"},
        {"objects that look alike", R"([{"a":{}},{"a":{}},{}])"},
    };
    for (const Sample& c : cases) {
        SCOPED_TRACE(c.what);
        const auto value = JSON::parseLine(c.text);
        ASSERT_TRUE(value);
        EXPECT_EQ(JSON::parse(value->serialized()), *value);
    }
}

TEST(JSON, refusesWhatIsNoJSON)
{
    const Sample cases[] = {
        // the whole
        {"nothing", ""},
        {"only white space", " \n"},
        {"a byte order mark", "\xEF\xBB\xBF{}"},
        {"a text of 16-bit characters", std::string("[\0]\0", 4)},
        {"two values", "1 2"},
        {"two values, apart by a comma", "[],[]"},
        {"a word", "hello"},
        {"a NUL behind the value", std::string("[]\0", 3)},
        {"something behind the value", R"({"a":1}#)"},
        {"a comment behind the value", "{}/**/"},
        {"a comment to the line's end", "[]//"},
        {"a no-break space as white space", "[\u00A0]"},
        {"a form feed as white space", "[\f]"},
        {"a line separator as white space", "[\u2028]"},
        // arrays
        {"an open array", "[1"},
        {"an open array, a comma at its end", "[1,"},
        {"only an opening bracket", "["},
        {"only a closing bracket", "]"},
        {"one bracket too many", "[1]]"},
        {"a comma at the end", "[1,]"},
        {"a comma at the start", "[,1]"},
        {"only a comma", "[,]"},
        {"two commas", "[1,,2]"},
        {"no comma", "[1 2]"},
        {"no comma between arrays", "[3[4]]"},
        {"a colon for a comma", "[1:2]"},
        {"closed by a brace", "[1}"},
        {"a star", "[*]"},
        {"513 levels", nested(513)},
        {"513 levels around a number", nested(513, "1")},
        {"very many levels", nested(100'000)},
        {"very many levels never closed", std::string(100'000, '[')},
        {"very many objects never closed",
            [] {
                std::string text;
                for (int i = 0; i < 20'000; ++i)
                    text += "{\"\":";
                return text;
            }()},
        // objects
        {"only an opening brace", "{"},
        {"an open object", R"({"a":1)"},
        {"an open object, a comma at its end", R"({"a":1,)"},
        {"a key alone", R"({"a"})"},
        {"a key and a colon", R"({"a":})"},
        {"a colon too many", R"({"a"::1})"},
        {"no colon", R"({"a" 1})"},
        {"a comma for a colon", R"({"a",1})"},
        {"no key", "{:1}"},
        {"a bare key", "{a:1}"},
        {"a key in single quotes", "{'a':1}"},
        {"a number as key", "{1:1}"},
        {"null as key", "{null:1}"},
        {"an array as key", "{[]:1}"},
        {"an open key", R"({"a)"},
        {"a comma at the end", R"({"a":1,})"},
        {"a comma at the start", R"({,"a":1})"},
        {"only a comma", "{,}"},
        {"two commas", R"({"a":1,,"b":2})"},
        {"no comma", R"({"a":1 "b":2})"},
        {"closed by a bracket", R"({"a":1])"},
        {"one brace too many", R"({"a":1}})"},
        {"a value without a key behind one with", R"({"a":1,2})"},
        // numbers
        {"only a minus", "-"},
        {"a plus", "+1"},
        {"two signs", "--1"},
        {"a space behind the minus", "- 1"},
        {"a leading zero", "01"},
        {"a leading zero of a negative number", "-01"},
        {"two zeros", "[00]"},
        {"no digit before the point", ".5"},
        {"no digit before the point of a negative number", "-.5"},
        {"no digit behind the point", "1."},
        {"no digit between point and exponent", "1.e1"},
        {"two points", "1.2.3"},
        {"no digit in the exponent", "1e"},
        {"only a sign in the exponent", "1e+"},
        {"two exponents", "1eE2"},
        {"a fraction in the exponent", "1e1.5"},
        {"a hexadecimal number", "0x1F"},
        {"digits in groups", "1_000"},
        {"a space between digits", "[1 000]"},
        {"a digit of another script", "[\u0661]"},
        {"a letter behind a number", "-1x"},
        {"a letter behind a long number", "12345678901234567890x"},
        {"not a number", "NaN"},
        {"infinity", "[Infinity]"},
        {"minus infinity", "-Infinity"},
        {"too large", "[1e400]"},
        {"too large, negative", "-1e999"},
        {"too many digits", std::string(400, '9')},
        // literals
        {"a literal cut off", "tru"},
        {"another literal cut off", "[nul]"},
        {"a capital letter", "True"},
        {"a letter too many", "nulll"},
        {"two literals joined", "truefalse"},
        {"the word for nothing of another language", "undefined"},
        // strings
        {"an open string", "\"a"},
        {"only a quote", "\""},
        {"single quotes", "'a'"},
        {"no quotes", "[a]"},
        {"something behind the closing quote", "\"a\"b"},
        {"a backslash at the end", R"("\)"},
        {"the closing quote escaped", R"("a\")"},
        {"an escape that does not exist", R"("\x41")"},
        {"an escaped single quote", R"("\'")"},
        {"an escaped line break", "\"\\\n\""},
        {"a capital U", R"("\U0041")"},
        {"no digits in an escape", R"("\u")"},
        {"too few digits in an escape", R"("\u12")"},
        {"a letter among an escape's digits", R"("\u12g4")"},
        {"a sign among an escape's digits", R"("\u+041")"},
        {"the second half of a pair cut off", R"("\ud83d\u12")"},
        {"a half of a pair, the string left open", R"("\ud83d)"},
        {"a line feed", "\"\n\""},
        {"a tab", "\"\t\""},
        {"a NUL", std::string("\"\0\"", 3)},
        {"the last control character", "\"\x1f\""},
        {"an escape outside of strings", R"([\n])"},
        // bytes that are no UTF-8
        {"a byte that never occurs", "\"\xff\""},
        {"such a byte outside of strings", "[\xff]"},
        {"such a byte in a key", "{\"\xfe\":1}"},
        {"a continuation alone", "\"\x80\""},
        {"a character cut off", "\"\xe2\x82\""},
        {"a character cut off by the text's end", "\"\xe2\x82"},
        {"a longer form than needed", "\"\xc0\xaf\""},
        {"a much longer form than needed", "\"\xf0\x80\x80\xaf\""},
        {"a surrogate", "\"\xed\xa0\x80\""},
        {"beyond the last character", "\"\xf4\x90\x80\x80\""},
        {"Latin-1", "\"\xe9\""},
    };
    for (const Sample& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_FALSE(JSON::parseLine(c.text));
        EXPECT_THROW(JSON::parse(c.text), DecodingError);
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
    const Case cases[] = {{2.9, 2}, {-2.9, -2}, {1e30, {}},
        {-9223372036854775808.0, std::numeric_limits<std::int64_t>::min()}, {9223372036854775808.0, {}}, {infinity, {}},
        {std::nan(""), {}}};
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
    const std::string_view pieces[] = {"a", "abcdefgh", "the quick", "\n", "\"", "\\", "/", "\x01", "\x1f", "\x7f", "é",
        "─", "🚀", "\xFF", "\xC3", "\xED\xA0\x80", "\xE2\x94"};
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

TEST(JSON, knowsEscapesWhereverTheyStand)
{
    for (std::size_t before = 0; before < 140; ++before) {
        for (std::size_t backslashes = 1; backslashes < 8; ++backslashes) {
            SCOPED_TRACE(std::to_string(backslashes) + " backslashes behind " + std::to_string(before) + " bytes");
            const std::string plain(before, 'a');
            const auto text = [&](const std::string& behind) {
                return "\"" + plain + std::string(backslashes, '\\') + behind + plain + "\\t\"";
            };
            const bool isOdd = backslashes % 2 == 1;
            const std::string halved = plain + std::string(backslashes / 2, '\\');
            const auto value = JSON::parseLine(text("n"));
            ASSERT_TRUE(value);
            EXPECT_EQ(*value->string(), halved + (isOdd ? "\n" : "n") + plain + "\t");
            EXPECT_EQ(JSON::parseLine(text("x")).has_value(), !isOdd);
            EXPECT_EQ(JSON::parseLine(text("u12g4")).has_value(), !isOdd);
        }
    }
}

TEST(JSONDocument, viewsReadWithoutBuildingValues)
{
    JSONDocument document;
    const std::string text =
        R"({"a":"x","list":[1,true,null,{"k":"v"}],"a":"y"})" + std::string(JSONDocument::padding, '#');
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

TEST(JSONDocument, givesBackWhatALongTextTook)
{
    JSONDocument document;
    ASSERT_TRUE(document.parse("[]"));
    const auto before = heapInUse();
    if (!before)
        GTEST_SKIP() << "the allocator does not tell";
    constexpr std::size_t length = std::size_t{8} << 20;
    constexpr std::size_t allowed = length / 8;
    {
        std::string lists = "[[]";
        while (lists.size() < length)
            lists += ",[]";
        EXPECT_FALSE(document.parse(lists));
        EXPECT_TRUE(document.parse(lists + "]"));
    }
    EXPECT_TRUE(document.parse("[]"));
    EXPECT_LE(heapInUse(), *before + allowed) << "a short text follows";
    EXPECT_FALSE(document.parse(std::string(length, '[')));
    document.shrink();
    EXPECT_LE(heapInUse(), *before + allowed) << "nothing follows";
}

} // namespace

} // namespace tarnel
