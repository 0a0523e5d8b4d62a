#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/ToolSummary.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using testing::ElementsAre;
using ToolSummary::Verb;

constexpr std::string_view home = "/home/ann";

std::string repeated(std::string_view piece, std::size_t count)
{
    std::string text;
    while (count-- > 0)
        text += piece;
    return text;
}

ToolSummary::Entries steps(std::initializer_list<std::string_view> tools)
{
    ToolSummary::Entries entries;
    for (const std::string_view tool : tools) {
        TranscriptEntry entry{
            .role = EntryRole::tool, .text = "did " + std::string(tool), .toolName = std::string(tool)};
        if (tool == "(said)")
            entry = {.role = EntryRole::assistant, .text = "said"};
        entries.emplace_back(std::move(entry));
    }
    return entries;
}

TEST(ToolSummary, tellsTheVerbFromTheName)
{
    const std::pair<const char*, Verb> cases[] = {
        {"Bash", Verb::ran},
        {"MultiEdit", Verb::edited},
        {"mcp__fs__read", Verb::read},
        {"mcp__x__plan", Verb::edited},
        {"mcp__x__Find", Verb::searched},
        {"ExitPlanMode", Verb::planned},
        {"request_user_input", Verb::asked},
        {"WebFetch", Verb::used},
        {"WebSearch", Verb::searched},
        {"reader", Verb::used},
        {"", Verb::used},
    };
    for (const auto& [name, verb] : cases)
        EXPECT_EQ(ToolSummary::verb(name), verb) << name;
    EXPECT_EQ(ToolSummary::displayName("mcp__github__create_issue"), "github create issue");
    EXPECT_EQ(ToolSummary::displayName("mcp_server"), "mcp_server");
}

TEST(ToolSummary, saysInOneLineWhatACallWasAbout)
{
    const std::string family = "\U0001F468\u200D\U0001F469\u200D\U0001F467"; // one character of 18 bytes
    struct Case {
        const char* what;
        JSON input;
        std::string detail;
    };
    const Case cases[] = {
        {"an array's strings are joined", JSON::parse(R"({"command":["bash",7,"-lc","ls"]})"), "bash -lc ls"},
        {"an array without strings ends the search", JSON::parse(R"({"command":[7],"path":"a"})"), ""},
        {"empty and mistyped values are passed over", JSON::parse(R"({"cmd":[],"path":"","url":3,"plan":"p"})"), "p"},
        {"priority, not order", JSON::parse(R"({"path":"b","command":"a"})"), "a"},
        {"no telling member", JSON::parse(R"({"content":"x"})"), ""},
        {"a plain string", "one\n\n  two", "one two"},
        {"trimmed before the home is found", " \n\t/home/ann/a  b\n", "~/a b"},
        {"the home inside stays", "ls /home/ann", "ls /home/ann"},
        {"a tab is kept, and parts two spaces", "a \t b", "a \t b"},
        {"90 characters are whole", repeated("x", 90), repeated("x", 90)},
        {"91 are cut", repeated("x", 91), repeated("x", 89) + "…"},
        {"characters, not bytes", repeated(family, 90), repeated(family, 90)},
        {"long characters are cut whole", repeated(family, 300), repeated(family, 89) + "…"},
        {"spaces that go do not count", repeated("  x", 45), repeated("x ", 44) + "x"},
        {"no object, no string", JSON::parse("[\"a\"]"), ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(ToolSummary::detail(c.input, home), c.detail);
        JSONDocument document;
        EXPECT_EQ(ToolSummary::detail(*document.parse(c.input.serialized()), home), c.detail);
    }
    EXPECT_EQ(ToolSummary::detail("/x", ""), "/x");
    EXPECT_EQ(ToolSummary::describe("Bash", JSON::object({{"command", "npm test"}}), home), "Ran npm test");
    EXPECT_EQ(ToolSummary::describe("Read", JSON::object({{"file_path", "/home/ann/a.ts"}}), home), "Read ~/a.ts");
    EXPECT_EQ(ToolSummary::describe("deploy", JSON::object({}), home), "deploy");
}

TEST(ToolSummary, givesTheCallInFull)
{
    const std::string long8000 = repeated("é", 8'001);
    struct Case {
        const char* what;
        std::string input;
        std::optional<std::string> detail;
    };
    const Case cases[] = {
        {"the primary, then the rest", R"({"old_string":"x","replace_all":false,"file_path":"/a"})",
            "/a\nold_string: x\nreplace_all: false"},
        {"the primary need not be a string", R"({"query":"q","command":["a","b"],"cmd":""})", "a b\nquery: q"},
        {"an earlier primary that is empty is left out", R"({"command":"","path":"p"})", "p"},
        {"purpose does not lead", R"({"purpose":"p","a":"1"})", "a: 1\npurpose: p"},
        {"numbers, nested values, null", R"({"n":3,"f":0.5,"o":{"b":1,"a":"/"},"m":["x",1],"z":null})",
            "f: 0.5\nm: [\"x\",1]\nn: 3\no: {\"a\":\"/\",\"b\":1}\nz: null"},
        {"huge integers", R"({"n":1e21})", "n: 1000000000000000000000"},
        {"of a repeated key the last", R"({"a":"1","b":"2","a":"3"})", "a: 3\nb: 2"},
        {"an empty key", R"({"":"x","path":"p"})", "p\n: x"},
        {"nothing to tell", R"({"a":"","b":[]})", std::nullopt},
        {"an empty string", R"("")", std::nullopt},
        {"no object, no string", "[1]", std::nullopt},
        {"a long string", '"' + long8000 + '"', long8000.substr(0, 16'000)},
        {"a long member", R"({"a":")" + repeated("é", 2'001) + R"("})", "a: " + repeated("é", 2'000) + "…"},
        {"a member of just the length", R"({"a":")" + repeated("é", 2'000) + R"("})", "a: " + repeated("é", 2'000)},
        {"a long primary", R"({"path":")" + long8000 + R"(","x":"y"})", long8000.substr(0, 16'000)},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(ToolSummary::fullDetail(JSON::parse(c.input)), c.detail);
        JSONDocument document;
        EXPECT_EQ(ToolSummary::fullDetail(*document.parse(c.input)), c.detail);
    }
}

TEST(ToolSummary, groupsRunsOfTheSameVerb)
{
    struct Case {
        const char* what;
        ToolSummary::Entries entries;
        std::size_t limit;
        std::vector<std::string> titles;
    };
    const Case cases[] = {
        {"other entries end no run", steps({"Read", "(said)", "AskUserQuestion", "ExitPlanMode", "LS"}), 9,
            {"Read 2 files"}},
        {"earlier groups fold", steps({"Read", "Bash", "Read", "Bash", "Read"}), 3,
            {"… 3 earlier steps", "did Bash", "did Read"}},
        {"groups are counted, not steps", steps({"Read", "Read", "Bash", "Edit"}), 2,
            {"… 2 earlier steps", "did Edit"}},
        {"as many as the limit", steps({"Read", "Bash"}), 2, {"did Read", "did Bash"}},
        {"a limit of one", steps({"Read", "Bash"}), 1, {"… 2 earlier steps"}},
        {"all phrases", steps({"Bash", "Bash", "Edit", "Write", "Grep", "Glob", "x", "y"}), 9,
            {"Ran 2 commands", "Edited 2 files", "Searched 2 times", "2 tool calls"}},
        {"nothing", {}, 3, {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(ToolSummary::fold(c.entries, c.limit), c.titles);
    }
    const auto folded = ToolSummary::groups(steps({"Read", "Read", "Bash", "Edit"}), 2);
    EXPECT_EQ(folded.front().steps, steps({"Read", "Read", "Bash"}));
}

TEST(ToolSummary, summarisesAllStepsAsOne)
{
    EXPECT_EQ(ToolSummary::chunk(steps({"AskUserQuestion", "ExitPlanMode", "(said)"})), std::nullopt);
    const auto all = ToolSummary::chunk(steps({"Read", "Bash", "Read", "ExitPlanMode", "Grep", "Read"}));
    ASSERT_TRUE(all);
    EXPECT_EQ(all->title, "Read 3 files · Ran 1 command · Searched once");
    EXPECT_EQ(all->steps, steps({"Read", "Bash", "Read", "Grep", "Read"}));
    EXPECT_EQ(ToolSummary::chunk(steps({"x", "Edit", "Edit"}))->title, "1 tool call · Edited 2 files");
}

} // namespace

} // namespace tarnel
