#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/ConfiguredQueueOptions.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Config/SettingsSchema.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include <algorithm>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>

namespace tarnel {

namespace {

namespace fs = std::filesystem;

/// Each test has a folder of its own.
class ConfigFile : public testing::Test {
protected:
    TarnelConfig load(const std::string& text) { return TarnelConfig(folder.write("config.toml", text)); }
    [[nodiscard]] std::string path() const { return folder / "config.toml"; }
    [[nodiscard]] std::string written() const { return Files::read(path()).value_or("none"); }

    const TemporaryFolder folder;
};

TEST(SettingsSchema, isConsistent)
{
    const auto& all = SettingsSchema::all();
    EXPECT_EQ(all.size(), 60u);
    std::set<std::string_view> keys;
    auto category = SettingsSchema::categories.begin();
    for (const SettingSpec& spec : all) {
        SCOPED_TRACE(spec.key);
        EXPECT_TRUE(keys.insert(spec.key).second);
        category = std::find(category, SettingsSchema::categories.end(), spec.category); // in the same order
        ASSERT_NE(category, SettingsSchema::categories.end());
        EXPECT_EQ(TarnelConfig::validate(spec.key, spec.defaultValue), std::nullopt);
        EXPECT_EQ(SettingsSchema::spec(spec.key), &spec);
    }
    EXPECT_EQ(SettingsSchema::spec("attention"), nullptr);
}

TEST_F(ConfigFile, keepsWhatIsValidAndReportsTheRest)
{
    struct Case {
        const char* what;
        std::string text;
        std::vector<std::string> problems;
        std::map<std::string, JSON> changed;
    };
    const Case cases[] = {
        {"empty", "", {}, {}},
        {"no UTF-8", "attention.order = \"oldest\" # \xff", {}, {}},
        {"below its table", "[attention]\norder = \"oldest\"", {}, {{"attention.order", "oldest"}}},
        {"dotted", "attention.order = \"oldest\"", {}, {{"attention.order", "oldest"}}},
        {"out of range", "attention.finished_after_seconds = 5000",
            {"attention.finished_after_seconds must be between 0.0 and 3600.0"}, {}},
        {"a bound with a fraction; the bound itself", "[appearance]\nwindow_opacity = 0.29\ntext_size = 32",
            {"appearance.window_opacity must be between 0.3 and 1.0"}, {{"appearance.text_size", 32}}},
        {"no number", "terminal.lines = \"60\"", {"terminal.lines must be a number"}, {}},
        {"no such choice", "[attention]\norder = \"newest\"", {"attention.order must be one of recent, oldest"}, {}},
        {"a choice is text", "attention.order = 1", {"attention.order must be one of recent, oldest"}, {}},
        {"toggle", "general.menu_bar = 0", {"general.menu_bar must be true or false"}, {}},
        {"text", "machines.hub = true", {"machines.hub must be text"}, {}},
        {"colors", "[appearance]\naccent = \"#56b6c2ff\"\nbackground = \"56b6c2\"\ncolor_done = \"#56b6c\"",
            {"appearance.background must be a color like #56b6c2",
                "appearance.color_done must be a color like #56b6c2"},
            {{"appearance.accent", "#56b6c2ff"}}},
        {"lists", "agents.adapters = []\nmachines.excluded = [\"a\", 1]\nquick_replies.plan = \"go\"",
            {"machines.excluded must be a list of text", "quick_replies.plan must be a list of text"},
            {{"agents.adapters", JSON::Array{}}}},
        {"unknown, the rest loads", "foo = 1\nattention.x.y = 2\ngeneral.menu_bar = false",
            {"unknown setting attention.x.y", "unknown setting foo"}, {{"general.menu_bar", false}}},
        {"a syntax error discards all", "general.menu_bar = false\n\nfoo", {"config line 3: expected key = value"}, {}},
    };
    const auto defaults = TarnelConfig(path()).values();
    EXPECT_EQ(defaults.size(), 60u);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const TarnelConfig config = load(c.text);
        EXPECT_EQ(config.problems(), c.problems);
        auto expected = defaults;
        for (const auto& [key, value] : c.changed)
            expected[key] = value;
        EXPECT_EQ(config.values(), expected);
    }
}

TEST_F(ConfigFile, readsByType)
{
    const TarnelConfig config = load("[attention]\nfinished_after_seconds = 2.5\nmuted_agents = [\"a\", \"b\"]");
    EXPECT_EQ(config.number("attention.finished_after_seconds"), 2.5);
    EXPECT_EQ(config.list("attention.muted_agents"), (std::vector<std::string>{"a", "b"}));
    EXPECT_TRUE(config.boolean("general.menu_bar"));
    EXPECT_EQ(config.string("advanced.daemon_socket"), "~/.config/tarnel/tarneld.sock");
    EXPECT_FALSE(config.boolean("attention.order"));
    EXPECT_EQ(config.number("no.such"), 0);
    EXPECT_EQ(config.string("no.such"), "");
    EXPECT_TRUE(config.list("attention.order").empty());
    EXPECT_EQ(config["no.such"], nullptr);
}

TEST_F(ConfigFile, setRewritesTheFile)
{
    TarnelConfig config = load("# only\n# comments\n");
    config.set("attention.order", "oldest");
    EXPECT_EQ(written(), "\n[attention]\norder = \"oldest\"\n");
    EXPECT_EQ(config.string("attention.order"), "oldest");

    folder.write("config.toml", "other = 1\nattention.order = \"recent\"\n"); // another program's edit
    fs::permissions(path(), fs::perms::owner_read | fs::perms::owner_write);
    config.set("terminal.lines", 80);
    EXPECT_EQ(written(), "other = 1\n\n[attention]\norder = \"recent\"\n\n[terminal]\nlines = 80\n");
    EXPECT_EQ(fs::status(path()).permissions(), fs::perms::owner_read | fs::perms::owner_write);
}

TEST_F(ConfigFile, setRefusesBadValuesAndBadFiles)
{
    const std::string text = "general.menu_bar = false\n";
    TarnelConfig config = load(text);
    for (const auto& [key, value] : {std::pair<const char*, JSON>{"general.menu_bar", "yes"}, {"foo", 1}}) {
        try {
            config.set(key, value);
            ADD_FAILURE() << key;
        } catch (const TOMLError& error) {
            EXPECT_EQ(error.line, 0);
        }
    }
    EXPECT_FALSE(config.boolean("general.menu_bar"));
    EXPECT_EQ(written(), text);

    const std::string broken = "ok = 1\nbroken\n";
    folder.write("config.toml", broken);
    EXPECT_THROW(config.set("general.menu_bar", true), TOMLError);
    EXPECT_EQ(written(), broken);
}

TEST_F(ConfigFile, setNeverWritesWhatReadsDifferently)
{
    const std::pair<const char*, std::string> files[] = {
        {"a key that a comment would begin in", "\"a # b\" = 1\n"},
        {"a key that a header would begin with", "\"[a\" = 1\n"},
        {"a backslash before an n", "path = 'C:\\new'\n"},
    };
    for (const auto& [what, text] : files) {
        SCOPED_TRACE(what);
        TarnelConfig config = load(text);
        EXPECT_TRUE(config.problems().size() == 1) << "only that the setting is unknown";
        EXPECT_THROW(config.set("general.menu_bar", false), TOMLError);
        EXPECT_EQ(written(), text);
    }
    TarnelConfig config = load("");
    EXPECT_THROW(config.set("quick_replies.finished", JSON::Array{"say \"yes, please\""}), TOMLError);
    EXPECT_EQ(written(), "");
    config.set("quick_replies.finished", JSON::Array{"yes, \\please", "it's"});
    EXPECT_EQ(load(written()).list("quick_replies.finished"), (std::vector<std::string>{"yes, \\please", "it's"}));
}

TEST_F(ConfigFile, setMakesTheFolderAndFollowsLinks)
{
    TarnelConfig config(folder / "new/inner/config.toml");
    config.set("general.menu_bar", false);
    EXPECT_EQ(fs::status(folder / "new/inner").permissions(), fs::perms::owner_all);
    EXPECT_FALSE(TarnelConfig(config.path()).boolean("general.menu_bar"));

    fs::create_symlink("new/inner/config.toml", path());
    TarnelConfig(path()).set("general.menu_bar", true);
    EXPECT_TRUE(fs::is_symlink(path()));
    EXPECT_TRUE(TarnelConfig(config.path()).boolean("general.menu_bar"));

    folder.write("file");
    EXPECT_THROW(TarnelConfig(folder / "file/config.toml").set("general.menu_bar", true), std::system_error);
}

TEST_F(ConfigFile, givesTheQueueItsOptions)
{
    EXPECT_EQ(queueOptions(TarnelConfig(path())), QueueOptions{});
    const TarnelConfig config = load("[attention]\norder = \"oldest\"\ninclude_finished = false\n"
                                     "finished_after_seconds = 5\nasking_from_records = false\n"
                                     "check_idle_screens = false\nquestion_markers = [\"q?\"]\n"
                                     "muted_agents = [\"b\", \"a\", \"b\"]\n");
    const QueueOptions expected{.order = "oldest",
        .includeFinished = false,
        .finishedAfterSeconds = 5,
        .questionMarkers = {"q?"},
        .mutedAgentNames = {"a", "b"},
        .askingFromRecords = false,
        .checkIdleScreens = false};
    EXPECT_EQ(queueOptions(config), expected);
}

TEST(TarnelConfig, findsPaths)
{
    EXPECT_EQ(TarnelConfig::defaultPath({{"TARNEL_CONFIG", "/etc/t.toml"}}, "/h"), "/etc/t.toml");
    EXPECT_EQ(TarnelConfig::defaultPath({{"TARNEL_CONFIG", ""}}, "/h"), "/h/.config/tarnel/config.toml");
    EXPECT_EQ(TarnelConfig::expand("~/x", "/h"), "/h/x");
    EXPECT_EQ(TarnelConfig::expand("/tmp/x", "/h"), "/tmp/x");
    EXPECT_EQ(TarnelConfig::expand("~x", "/h"), "~x");
    EXPECT_EQ(TarnelConfig::expand("~", "/h"), "~");
}

} // namespace

} // namespace tarnel
