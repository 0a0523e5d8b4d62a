#include "TarnelCore/Muxle/MuxleKeymap.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

std::vector<std::string> described(const std::vector<MuxleBinding>& bindings)
{
    std::vector<std::string> texts;
    for (const MuxleBinding& binding : bindings) {
        std::string target = "?";
        if (const auto* action = std::get_if<MuxleBinding::Action>(&binding.target))
            target = action->name;
        else if (const auto* indexed = std::get_if<MuxleBinding::Indexed>(&binding.target))
            target = indexed->name + std::to_string(indexed->index);
        else if (const auto* command = std::get_if<MuxleCommandKey>(&binding.target))
            target = "$ " + command->command;
        texts.push_back(binding.label() + " " + target);
    }
    return texts;
}

std::vector<std::string> boundTo(const MuxleKeymap& map, const std::string& action)
{
    std::vector<std::string> found;
    for (const std::string& text : described(map.bindings)) {
        if (text.ends_with(" " + action))
            found.push_back(text.substr(0, text.find(' ')));
    }
    return found;
}

KeyCombo combo(const char* text) { return KeyCombo::parse(text).value(); }

using Texts = std::vector<std::string>;

TEST(KeyCombo, parses)
{
    const std::pair<const char*, const char*> cases[] = {
        {"Ctrl+Shift+T", "ctrl+shift+t"},
        {"ctrl+return", "ctrl+enter"},
        {" T + CONTROL ", "ctrl+t"},
        {"super+meta+shift+control+Double-Quote", "ctrl+alt+shift+cmd+\""},
        {"option+command+bs", "alt+cmd+backspace"},
        {"ctrl+ctrl+plus", "ctrl++"},
        {"F12", "f12"},
        {"f", "f"},
        {"É", "é"},
        {"e\u0301", "e\u0301"},
        {"fx", nullptr},
        {"f-1", nullptr},
        {"ctrl+a+b", nullptr},
        {"ctrl+a+a", nullptr},
        {"ctrl", nullptr},
        {"ctrl++", nullptr},
        {"ctrl+ +a", nullptr},
        {"hyper+x", nullptr},
        {"", nullptr},
    };
    for (const auto& [text, description] : cases) {
        SCOPED_TRACE(text);
        const auto parsed = KeyCombo::parse(text);
        ASSERT_EQ(parsed.has_value(), description != nullptr);
        if (parsed) {
            EXPECT_EQ(parsed->description(), description);
        }
    }
}

TEST(MuxleKeymap, splitsAndExpands)
{
    EXPECT_EQ(MuxleKeymap::split(" PREFIX+minus "), (MuxleKeymap::Split{true, combo("-")}));
    EXPECT_EQ(MuxleKeymap::split("ctrl+v"), (MuxleKeymap::Split{false, combo("ctrl+v")}));
    EXPECT_EQ(MuxleKeymap::split("prefix"), std::nullopt);
    EXPECT_EQ(MuxleKeymap::split("prefix+"), std::nullopt);
    EXPECT_EQ(MuxleKeymap::expand("alt+1..9", "focus_agent").size(), 9u);
    EXPECT_TRUE(MuxleKeymap::expand("alt+1..9", "zoom").empty());
    EXPECT_EQ(described(MuxleKeymap::expand("alt+1", "switch_tab")), Texts{"alt+1 switch_tab"});
    EXPECT_EQ(described(MuxleKeymap::expand("f1..9", "switch_tab")).back(), "f9 switch_tab9");
}

TEST(MuxleKeymap, hasDefaults)
{
    const MuxleKeymap map(std::nullopt);
    EXPECT_EQ(map.prefix, combo("ctrl+b"));
    EXPECT_EQ(map.bindings.size(), 37u + 8u); // all that have a key, one of them nine times
    EXPECT_EQ(map.bindings.front().label(), "prefix+?");
    EXPECT_EQ(map.bindings.back(), (MuxleBinding{true, combo("b"), MuxleBinding::Action{"toggle_sidebar"}}));
    EXPECT_EQ(boundTo(map, "switch_tab9"), Texts{"prefix+9"});
    EXPECT_EQ(boundTo(map, "split_horizontal"), Texts{"prefix+-"});
    EXPECT_EQ(map.match({combo("ctrl+b")}, false), nullptr);
    EXPECT_TRUE(map.isPrefix({combo("b"), combo("ctrl+b")}));
    EXPECT_FALSE(map.isPrefix({combo("b")}));
}

TEST(MuxleKeymap, readsTheKeyTables)
{
    const auto keys = MuxleKeymap::readKeys("zoom = \"alt+q\" # in no table\n"
                                            "[theme]\nzoom = \"alt+w\"\nbroken\n"
                                            "  [keys] # ours\r\n"
                                            "zoom = [\"prefix+z\", 1, \"alt+z\"] # two\r\n"
                                            "\"goto\" = \"alt+#\"\n"
                                            "help = \"\"\nsettings = true\ndetach = ?\n"
                                            "[keys.indexed]\nswitch_workspace = \"alt\"\nfocus_agent = 1\n"
                                            "[[keys.command]]\nkey = \"prefix+f\"\ncommand = \"lazy\"\n"
                                            "[[keys.command]]\nkey = \"prefix+y\"\ntype = \"popup\"\n"
                                            "[[keys.command]]\nkey = \"alt+y\"\ncommand = 'a \"b\"'\n"
                                            "type = \"popup\"\ndescription = \"B\"\n");
    const MuxleKeymap::Keys expected{
        .values = {{"zoom", {"prefix+z", "alt+z"}}, {"goto", {"alt+#"}}, {"help", {}}, {"settings", {}}},
        .indexed = {{"switch_workspace", "alt"}, {"focus_agent", ""}},
        .commands = {{.key = "prefix+f", .command = "lazy"},
            {.key = "alt+y", .type = "popup", .command = "a \"b\"", .description = "B"}},
    };
    EXPECT_EQ(keys, expected);
}

TEST(MuxleKeymap, followsTheConfiguration)
{
    const MuxleKeymap map("[keys]\nprefix = \"ctrl+q\"\nzoom = [\"prefix+z\", \"alt+z\", \"no+key\"]\nhelp = []\n"
                          "unheard_of = \"prefix+u\"\n"
                          "[[keys.command]]\nkey = \"prefix+z\"\ncommand = \"hidden\"\n"
                          "[[keys.command]]\nkey = \"?\"\ncommand = \"seen\"\n"
                          "[[keys.command]]\nkey = \"\"\ncommand = \"unbound\"\n"
                          "[keys.indexed]\nswitch_workspace = \"alt\"\nfocus_agent = \"\"\nzoom = \"alt\"\n");
    EXPECT_EQ(map.prefix, combo("ctrl+q"));
    EXPECT_EQ(boundTo(map, "zoom"), (Texts{"prefix+z", "alt+z"}));
    EXPECT_TRUE(boundTo(map, "help").empty());
    EXPECT_TRUE(boundTo(map, "unheard_of").empty());
    const auto texts = described(map.bindings);
    EXPECT_EQ(Texts(texts.end() - 3, texts.end()), (Texts{"alt+9 switch_workspace9", "prefix+z $ hidden", "? $ seen"}));
    EXPECT_EQ(map.commands().size(), 2u);

    const auto matched = [&](const std::vector<KeyCombo>& combos, bool afterPrefix) {
        const MuxleBinding* binding = map.match(combos, afterPrefix);
        return binding ? described({*binding}).front() : "none";
    };
    EXPECT_EQ(matched({combo("z")}, true), "prefix+z zoom"); // before the command of the same key
    EXPECT_EQ(matched({combo("shift+/"), combo("?"), combo("alt+1")}, false), "? $ seen");
    EXPECT_EQ(matched({combo("z")}, false), "none");

    EXPECT_EQ(MuxleKeymap("[keys]\nprefix = \"hyper+x\"").prefix, combo("ctrl+b"));
    EXPECT_EQ(MuxleKeymap("[keys]\nprefix = []").prefix, combo("ctrl+b"));
}

} // namespace

} // namespace tarnel
