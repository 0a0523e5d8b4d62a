#include "TarnelCore/Config/TOML.h"
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace tarnel {

namespace {

TEST(TOML, readsDocuments)
{
    struct Case {
        const char* what;
        std::string text;
        std::string json;
    };
    const Case cases[] = {
        {"comment, blank line and a pair", "# c\n\na = 1", R"({"a":1})"},
        {"# inside double quotes stays", "a = \"x#y\" # c", R"({"a":"x#y"})"},
        {"an escaped quote does not end the string", R"(a = "x\"#y" # c)", R"({"a":"x\"#y"})"},
        {"backslashes in single quotes stay", R"(a = 'x\ny')", R"({"a":"x\\ny"})"},
        {"single quotes do not protect #", "a = 1 # it's", R"({"a":1})"},
        {"header", "[queue]\norder = \"oldest\"", R"({"queue":{"order":"oldest"}})"},
        {"dotted key", "queue.order = \"oldest\"", R"({"queue":{"order":"oldest"}})"},
        {"dotted header, quotes and blanks", "\t[ a . \"b c\" ]\t\n\"d\" = true", R"({"a":{"b c":{"d":true}}})"},
        {"dotted key below a header; empty pieces", "[a..b]\n.c..d. = 1", R"({"a":{"b":{"c":{"d":1}}}})"},
        {"a header alone makes nothing", "[a]\n[b]\nc = 1", R"({"b":{"c":1}})"},
        {"a table replaces a scalar, the last value counts", "a = 1\na.b = 2\na.b = 3", R"({"a":{"b":3}})"},
        {"no key, no table: nothing", " = 1\nb = 2", R"({"b":2})"},
        {"the value holds =", "a = \"b=c\"", R"({"a":"b=c"})"},
        {"nested arrays", "ports = [1, 2, [3, 4]]\nlist = []", R"({"list":[],"ports":[1,2,[3,4]]})"},
        {"commas and brackets in strings", R"(a = ["x,y", "[z", ",", ])", R"({"a":["x,y","[z",","]})"},
        {"escapes", R"(a = "q\"n\nb\\")", R"({"a":"q\"n\nb\\"})"},
        {"numbers", "a = 1_000\nb = 1e3\nc = -.5\nd = +7\ne = 1e-999", R"({"a":1000,"b":1000,"c":-0.5,"d":7,"e":0})"},
        {"numbers that begin or end with their point or zeros", "a = 1.\nb = .5\nc = 007\nd = 1E+2\ne = -0",
            R"({"a":1,"b":0.5,"c":7,"d":100,"e":0})"},
        {"underscores anywhere in a number", "a = _1__0_\nb = 1_e_1", R"({"a":10,"b":10})"},
        {"empty strings", "a = \"\"\nb = ''", R"({"a":"","b":""})"},
        {"other escapes stay as they are", R"(a = "\t\u0041\x")", R"({"a":"\\t\\u0041\\x"})"},
        {"quotes within quotes", R"(a = "x" + "y")", R"({"a":"x\" + \"y"})"},
        {"three quotes are two quotes within quotes", R"(a = """x""")", R"({"a":"\"\"x\"\""})"},
        {"single quotes within single quotes", "a = 'it's'", R"({"a":"it's"})"},
        {"double quotes within single ones", R"(a = '"x"')", R"({"a":"\"x\""})"},
        {"a character beyond ASCII", "ä = \"日本 😀\"", R"({"ä":"日本 😀"})"},
        {"commas too many", "a = [ ,1,, 2, ]\nb = [ , ]", R"({"a":[1,2],"b":[]})"},
        {"elements of several kinds", "a = [1, 'x', true, []]", R"({"a":[1,"x",true,[]]})"},
        {"a comma in single quotes cuts", "a = [ '1', 2 ]", R"({"a":["1",2]})"},
        {"a bare key with spaces", "a b = 1", R"({"a b":1})"},
        {"only double quotes are taken off a key", "'a' = 1\n\"\"b\"\" = 2", R"({"'a'":1,"b":2})"},
        {"spaces about a key's dots stay, about a header's they go", "a . b = 1\n[ c . d ]\ne = 1",
            R"({"a ":{" b":1},"c":{"d":{"e":1}}})"},
        {"a quoted key is split at its dots all the same", "\"a.b\" = 1", R"({"a":{"b":1}})"},
        {"the same header twice", "[a]\nb = 1\n[c]\nd = 1\n[a]\ne = 1", R"({"a":{"b":1,"e":1},"c":{"d":1}})"},
        {"a header without a name leads back to the top", "[a]\nb = 1\n[]\nc = 1", R"({"a":{"b":1},"c":1})"},
        {"a header in the way of a value", "a = 1\n[a]\nb = 1", R"({"a":{"b":1}})"},
        {"a value in the way of a table", "[a]\nb = 1\n[]\na = 1", R"({"a":1})"},
        {"a comment behind a header", "[a] # b\nc = 1", R"({"a":{"c":1}})"},
        {"a comment at once behind a value", "a = 1#b", R"({"a":1})"},
        {"a byte order mark is part of the first key", "\uFEFFa = 1", "{\"\uFEFFa\":1}"},
        {"nothing", "", "{}"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(JSON(TOML::parse(c.text)).serialized(), c.json);
    }
}

TEST(TOML, reportsTheFirstBadLine)
{
    struct Case {
        const char* what;
        std::string text;
        std::string error;
    };
    const std::string unreadable = "config line 1: cannot read value for a";
    const std::string noPair = "config line 1: expected key = value";
    const std::string badHeader = "config line 1: unsupported table header";
    const Case cases[] = {
        {"the line counts, blank ones too", "a = 1\n\n  b", "config line 3: expected key = value"},
        {"the first of two", "a = 1\nlist = [1, ?]\nb", "config line 2: cannot read value for list"},
        {"the key as written, quotes aside", "\"a.b\" =", "config line 1: cannot read value for a.b"},
        {"a word", "a", noPair},
        {"a colon", "a: 1", noPair},
        {"a comment in the way of the value", "a # = 1", noPair},
        {"a carriage return alone on its line", "\r\na = 1", noPair},
        {"an array of tables", "[[plugins]]", badHeader},
        {"an open header", "[a", badHeader},
        {"only a bracket", "[", badHeader},
        {"something behind a header", "[a] b", badHeader},
        {"a comment within a header", "[a#b]", badHeader},
        {"a carriage return behind a header", "[a]\r\n", badHeader},
        {"no value", "a =", unreadable},
        {"only a comment for a value", "a = # 1", unreadable},
        {"two equals signs", "a == 1", unreadable},
        {"a carriage return behind a value", "a = 1\r\n", unreadable},
        {"an open string", "a = \"x", unreadable},
        {"a string that was never opened", "a = x\"", unreadable},
        {"only a quote", "a = \"", unreadable},
        {"an open literal string", "a = 'x", unreadable},
        {"only a single quote", "a = '", unreadable},
        {"two kinds of quotes", "a = \"x'", unreadable},
        {"something behind a string", "a = \"x\" y", unreadable},
        {"a comment sign in single quotes", "a = 'x#y'", unreadable},
        {"text of several lines", "a = \"x\ny\"", unreadable},
        {"a word as value", "a = yes", unreadable},
        {"a capital letter", "a = True", unreadable},
        {"null", "a = null", unreadable},
        {"an array of several lines", "a = [1,\n2]", unreadable},
        {"an open array", "a = [1", unreadable},
        {"an array that was never opened", "a = 1]", unreadable},
        {"a bracket too many", "a = [1]]", unreadable},
        {"a bracket too few", "a = [1, [2]", unreadable},
        {"an open string in an array", "a = [\"x]", unreadable},
        {"a quote and a comma within a string in an array", R"(a = ["x\"y, z"])", unreadable},
        {"elements without a comma", "a = [1 2]", unreadable},
        {"a bad element among good ones", "a = [1, x, 2]", unreadable},
        {"a bad element far inside", "a = [[[?]]]", unreadable},
        {"an inline table", "a = {b = 1}", unreadable},
        {"a date", "a = 2026-11-16", unreadable},
        {"a time", "a = 21:02:03", unreadable},
        {"two numbers", "a = 1 2", unreadable},
        {"two points", "a = 1.2.3", unreadable},
        {"only a sign", "a = -", unreadable},
        {"two signs", "a = +-1", unreadable},
        {"only a point", "a = .", unreadable},
        {"no digit in the exponent", "a = 1e", unreadable},
        {"no digit but in the exponent", "a = e1", unreadable},
        {"only underscores", "a = _", unreadable},
        {"infinity", "a = inf", unreadable},
        {"infinity with a sign", "a = -infinity", unreadable},
        {"not a number", "a = nan", unreadable},
        {"too large", "a = 1e999", unreadable},
        {"hexadecimal", "a = 0x10", unreadable},
        {"hexadecimal with an exponent", "a = 0x1p4", unreadable},
        {"octal", "a = 0o17", unreadable},
        {"binary", "a = 0b11", unreadable},
        {"a comma for the point", "a = 1,5", unreadable},
        {"digits of another script", "a = ١", unreadable},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        try {
            TOML::parse(c.text);
            ADD_FAILURE() << "read";
        } catch (const TOMLError& error) {
            EXPECT_EQ(error.what(), c.error);
        }
    }
}

TEST(TOML, boundsNesting)
{
    const auto nested = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_TRUE(TOML::parseValue(nested(512)));
    EXPECT_FALSE(TOML::parseValue(nested(513)));
    EXPECT_FALSE(TOML::parseValue(nested(20'000)));
    std::string path = "a";
    for (int i = 0; i < 100'000; ++i)
        path += ".a";
    EXPECT_THROW(TOML::parse(path + " = 1"), TOMLError);
    EXPECT_THROW(TOML::parse("[" + path + "]\na = 1"), TOMLError);
}

TEST(TOML, serializesSorted)
{
    struct Case {
        const char* what;
        JSON::Object document;
        std::string text;
    };
    const Case cases[] = {
        {"pairs before tables", {{"b", true}, {"a", JSON::object({{"y", 2}, {"x", "s"}})}},
            "b = true\n\n[a]\nx = \"s\"\ny = 2\n"},
        {"a table of tables has its header",
            {{"a", JSON::object({{"c", JSON::object({{"d", 1}})}, {"b", JSON::Object()}})}},
            "\n[a]\n\n[a.b]\n\n[a.c]\nd = 1\n"},
        {"strings", {{"s", "\\ \" \n"}}, "s = \"\\\\ \\\" \\n\"\n"},
        {"what has no form", {{"n", nullptr}, {"o", JSON::Array{JSON::Object(), JSON::Array{nullptr}}}},
            "n = \"\"\no = [\"\", [\"\"]]\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(TOML::serialize(c.document), c.text);
    }
}

TEST(TOML, rendersNumbers)
{
    const std::pair<double, const char*> cases[] = {{60, "60"}, {0.35, "0.35"}, {-1e14, "-100000000000000"},
        {999999999999999, "999999999999999"}, {1e15, "1e+15"}, {-0.0, "0"}, {1.0 / 3, "0.3333333333333333"}};
    for (const auto& [value, text] : cases) {
        EXPECT_EQ(TOML::render(value), text);
        EXPECT_EQ(TOML::parseValue(text), JSON(value));
    }
}

/// Makes documents of what the format can carry: bare keys, no empty table, and in strings no backslash before an "n";
/// inside arrays no quotes or backslashes.
class DocumentMaker {
public:
    explicit DocumentMaker(unsigned seed)
        : engine(seed)
    {
    }

    JSON::Object table(int depth)
    {
        JSON::Object made{{"first", scalar("ab#=[],.' \t\"\\\n\r")}};
        for (int count = below(5); count > 0; --count)
            made[std::string(1, static_cast<char>('a' + below(26)))] = member(depth);
        return made;
    }

private:
    int below(int bound) { return static_cast<int>(engine() % static_cast<unsigned>(bound)); }

    JSON member(int depth)
    {
        if (depth > 0 && below(3) == 0)
            return table(depth - 1);
        return below(3) == 0 ? array(depth) : scalar("ab#=[],.' \t\"\\\n\r");
    }

    JSON array(int depth)
    {
        JSON::Array made;
        for (int count = below(4); count > 0; --count)
            made.push_back(depth > 0 && below(3) == 0 ? array(depth - 1) : scalar("ab#=[],.' \t\n"));
        return made;
    }

    JSON scalar(std::string_view alphabet)
    {
        switch (below(4)) {
        case 0:
            return below(2) == 0;
        case 1:
            return below(2000) - 1000;
        case 2:
            return std::ldexp(static_cast<double>(engine()), below(200) - 100);
        default:
            std::string text;
            for (int length = below(12); length > 0; --length)
                text += alphabet[static_cast<std::size_t>(below(static_cast<int>(alphabet.size())))];
            return text;
        }
    }

    std::mt19937 engine;
};

TEST(TOML, readsBackWhatItWrites)
{
    for (unsigned seed = 0; seed < 2000; ++seed) {
        const JSON::Object document = DocumentMaker(seed).table(4);
        const std::string text = TOML::serialize(document);
        ASSERT_EQ(TOML::parse(text), document) << "seed " << seed << "\n" << text;
    }
}

} // namespace

} // namespace tarnel
