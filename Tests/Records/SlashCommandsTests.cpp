#include "Support/TemporaryFolder.h"
#include "TarnelCore/Records/SlashCommands.h"
#include <algorithm>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace tarnel {

namespace {

using Commands = SlashCommands::Commands;

std::vector<std::string> names(const Commands& commands)
{
    std::vector<std::string> result;
    for (const SlashCommand& command : commands)
        result.push_back(command.name);
    return result;
}

std::optional<SlashCommand> find(const Commands& commands, std::string_view name)
{
    const auto found =
        std::find_if(commands.begin(), commands.end(), [&](const SlashCommand& one) { return one.name == name; });
    return found == commands.end() ? std::nullopt : std::optional(*found);
}

TEST(SlashCommands, listsWhatAnAgentTakes)
{
    const TemporaryFolder folder;
    const std::string home = folder / "home";
    const std::string cwd = folder / "work";
    folder.write("work/.claude/commands/review.md", "Mine");
    folder.write("work/.claude/commands/git/commit.md", "# Commit it\n");
    folder.write("work/.claude/commands/fix.md", "Fix here");
    folder.write("work/.claude/commands/notes.txt", "no command");
    folder.write("work/.claude/skills/pdf-tools/SKILL.md", "---\nname: pdf\ndescription: 'Reads PDFs'\n---\n");
    folder.write("work/.claude/skills/empty/README.md", "no skill");
    folder.write("home/.claude/commands/fix.md", "Fix anywhere");
    folder.write("home/.claude/commands/z.md", "Z");
    folder.write("home/.claude/skills/art/SKILL.md", "Draws\n");
    folder.write("home/.codex/prompts/fix.md", "Fix it");

    const Commands claude = SlashCommands::list(AgentKind::claude, cwd, home);
    EXPECT_EQ(find(claude, "/review")->source, "built-in");
    const Commands own(claude.begin() + 31, claude.end());
    const Commands expected = {{"/fix", "Fix here", "project"}, {"/git:commit", "Commit it", "project"},
        {"/pdf", "Reads PDFs", "project"}, {"/z", "Z", "user"}, {"/art", "Draws", "skill"}};
    EXPECT_EQ(own, expected);

    const Commands codex = SlashCommands::list(AgentKind::codex, cwd, home);
    EXPECT_EQ(codex.size(), 12u);
    EXPECT_EQ(codex.back(), (SlashCommand{"/prompts:fix", "Fix it", "user"}));
    EXPECT_EQ(SlashCommands::list(AgentKind::grok, cwd, home), Commands());
    EXPECT_EQ(SlashCommands::list(AgentKind::codex, "/nowhere", "/nowhere").size(), 11u);
}

TEST(SlashCommands, survivesWhatOthersPutThere)
{
    const TemporaryFolder folder;
    folder.write("good.md", "Good");
    std::filesystem::create_directory_symlink(".", folder / "loop");
    std::filesystem::create_symlink("self.md", folder / "self.md");
    std::filesystem::create_symlink("good.md", folder / "linked.md");
    ASSERT_EQ(::mkfifo((folder / "pipe.md").c_str(), 0600), 0);
    folder.write("binary.md", "\xff\xfe\x80");
    folder.write("huge.md", "# Huge\n" + std::string(3 << 20, 'x'));
    folder.write("crlf.md", "---\r\ndescription: From elsewhere\r\n---\r\n");
#if !defined(__APPLE__) // where names are always UTF-8
    folder.write("b\xff.md", "Cannot be typed");
#endif
    const Commands expected = {{"/binary", "", "user"}, {"/crlf", "From elsewhere", "user"}, {"/good", "Good", "user"},
        {"/huge", "Huge", "user"}, {"/linked", "Good", "user"}, {"/pipe", "", "user"}, {"/self", "", "user"}};
    EXPECT_EQ(SlashCommands::files(folder.path(), "user", ""), expected);
    EXPECT_EQ(SlashCommands::skills(folder.path(), "skill"), Commands());
}

TEST(SlashCommands, readsFrontMatter)
{
    using Matter = std::map<std::string, std::string, std::less<>>;
    struct Case {
        const char* what;
        std::string text;
        Matter matter;
    };
    const Case cases[] = {
        {"quotes and blanks", " ---\t\nname:  \"pdf\" \ndescription: 'It''s'\n---\nlater: 1",
            {{"name", "pdf"}, {"description", "It''s"}}},
        {"no front matter", "name: pdf\n---\n", {}},
        {"the mark must be alone", "--- x\nname: pdf\n---", {}},
        {"never closed", "---\na: 1\nb", {{"a", "1"}}},
        {"indented keys are passed over", "---\n a: 1\n\tb: 2\nc:d:e\n---", {{"b", "2"}, {"c", "d:e"}}},
        {"a later key counts", "---\na: 1\na: 2\n---", {{"a", "2"}}},
        {"a block", "---\na: >-\n  one\n\n\ttwo: x\n   \nb: 3\n---", {{"a", "one two: x"}, {"b", "3"}}},
        {"a block to the end", "---\na: |\n  'one'\n", {{"a", "one"}}},
        {"a block ends the matter", "---\na: |+\n---\nb: 1", {{"a", ""}}},
        {"an indented mark belongs to its block", "---\na: |\n  ---\n---\nb: 1", {{"a", "---"}}},
        {"an empty text", "", {}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(SlashCommands::frontMatter(c.text), c.matter);
    }
}

TEST(SlashCommands, describes)
{
    std::string accents;
    for (int i = 0; i < 200; ++i)
        accents += "e\u0301";
    const std::pair<std::string, std::string> cases[] = {
        {"---\ndescription: \"Run the tests\"\n---\n# Other", "Run the tests"},
        {"---\nname: x\n---\n\n  \n## Title ##\n", "Title"},
        {"---\ndescription:\n---\nBody", "Body"},
        {"# Deploy to staging\nmore", "Deploy to staging"},
        {"---\nname: never closed", "name: never closed"},
        {"----\nrule\n---\n---- more\ntext", "text"},
        {"###\nnext", ""},
        {"", ""},
        {accents, accents.substr(0, 160 * 3)},
        {"---\ndescription: " + accents + "\n---", accents.substr(0, 160 * 3)},
    };
    for (const auto& [text, description] : cases)
        EXPECT_EQ(SlashCommands::describe(text), description) << text;
}

TEST(SlashCommands, completes)
{
    const Commands commands = {
        {"/prompts:Review", "", ""}, {"/model", "", ""}, {"/review", "", ""}, {"/REVERT", "", ""}};
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"/rev", {"/review", "/REVERT", "/prompts:Review"}}, {"/MOD", {"/model"}}, {"/x", {}},
        {"/", {"/prompts:Review", "/model", "/review", "/REVERT"}},
        {"", {"/prompts:Review", "/model", "/review", "/REVERT"}}};
    for (const auto& [typed, found] : cases)
        EXPECT_EQ(names(SlashCommands::matching(commands, typed)), found) << typed;
    EXPECT_EQ(SlashCommands::typed("/mod"), "/mod");
    for (const char* text : {"/model opus", "fix it", "", "/mod\u00A0x", "/a\n", " /a"})
        EXPECT_EQ(SlashCommands::typed(text), std::nullopt) << text;
}

} // namespace

} // namespace tarnel
