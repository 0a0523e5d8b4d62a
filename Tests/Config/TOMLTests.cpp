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
        std::string text;
        std::string error;
    };
    const Case cases[] = {
        {"a = 1\n\n  b", "config line 3: expected key = value"},
        {"a = 1\nlist = [1, ?]\nb", "config line 2: cannot read value for list"},
        {"[[plugins]]", "config line 1: unsupported table header"},
        {"[a", "config line 1: unsupported table header"},
        {"[", "config line 1: unsupported table header"},
        {"a = [1,\n2]", "config line 1: cannot read value for a"},
        {"\"a.b\" =", "config line 1: cannot read value for a.b"},
        {"a = \"x", "config line 1: cannot read value for a"},
        {"a = \"", "config line 1: cannot read value for a"},
        {"a = inf", "config line 1: cannot read value for a"},
        {"a = 1e999", "config line 1: cannot read value for a"},
        {"a = 0x10", "config line 1: cannot read value for a"},
        {"a = 1 2", "config line 1: cannot read value for a"},
        {"a = _", "config line 1: cannot read value for a"},
        {"a = 2026-11-16", "config line 1: cannot read value for a"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
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
