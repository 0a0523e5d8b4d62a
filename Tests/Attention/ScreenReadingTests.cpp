#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace tarnel {

namespace {

using ScreenReading::MenuOption;
using Options = std::vector<MenuOption>;
using Strings = std::vector<std::string>;
using testing::ElementsAre;

const Strings markers = QueueOptions{}.questionMarkers;

const std::string permissionDialog = R"(● I'll remove the build folder first.

╭──────────────────────────────────────────────────────────────╮
│ Bash command                                                 │
│                                                              │
│   rm -rf build                                               │
│   Remove old build output                                    │
│                                                              │
│ Do you want to                                               │
│ proceed?                                                     │
│ ❯ 1. Yes                                                     │
│   2. Yes, and don't ask again for rm commands in this folder │
│   3. No, and tell Claude what to do differently (esc)        │
│                                                              │
╰──────────────────────────────────────────────────────────────╯
)";

const std::string planDialog = R"( Here is the plan:
 1. Read the parser
 2. Write the cache

 and after that

 measure, as
 always.

 Would you like to proceed?

 ❯ 1. Yes, and auto-accept edits
   2. Yes, and manually approve edits
   3. No, keep planning

 ctrl-g to edit
)";

const std::string codexQuestion = R"(
  Question 1/2 (2 unanswered)
  Which store should the cache use?

  › 1. SQLite (Recommended)  Survives a restart.
                             No server to run.
    2. Redis                 Shared by all machines.
    3. None of the above     Optionally, add details in notes.

  tab to add notes | enter to submit answer
)";

TEST(ScreenReading, readsRealisticDialogs)
{
    EXPECT_TRUE(ScreenReading::isQuestionScreen(codexQuestion, markers));
    EXPECT_TRUE(ScreenReading::isQuestionScreen(planDialog, markers));
    EXPECT_THAT(ScreenReading::menu(permissionDialog),
        ElementsAre(MenuOption{1, "Yes", true},
            MenuOption{2, "Yes, and don't ask again for rm commands in this folder", false},
            MenuOption{3, "No, and tell Claude what to do differently (esc)", false}));
    EXPECT_THAT(ScreenReading::menu(planDialog),
        ElementsAre(MenuOption{1, "Yes, and auto-accept edits", true},
            MenuOption{2, "Yes, and manually approve edits", false}, MenuOption{3, "No, keep planning", false}));
    EXPECT_THAT(ScreenReading::menu(codexQuestion),
        ElementsAre(MenuOption{1, "SQLite (Recommended)  Survives a restart.", true},
            MenuOption{2, "Redis                 Shared by all machines.", false},
            MenuOption{3, "None of the above     Optionally, add details in notes.", false}));
}

TEST(ScreenReading, findsTheLowestMenu)
{
    struct Case {
        const char* what;
        std::string screen;
        Strings labels;
    };
    const Case cases[] = {
        {"nothing", "", {}},
        {"one numbered line", "1. Yes", {}},
        {"two", "1. Yes\n2. No", {"Yes", "No"}},
        {"carriage returns", "1. Yes\r\n2. No\r\n", {"Yes", "No"}},
        {"three lines between", "1. A\na\n\nb\n2. B", {"A", "B"}},
        {"a fourth line ends it", "1. A\na\n\nb\nc\n2. B", {}},
        {"lines before do not count", "a\nb\nc\nd\ne\n1. A\n2. B\na\nb\nc\n3. C", {"A", "B", "C"}},
        {"the lower of two", "1. A\n2. B\n\n\n\n\n1. C\n2. D", {"C", "D"}},
        {"a new 1 begins anew", "1. A\n2. B\n1. C\n2. D", {"C", "D"}},
        {"a lone line below keeps the upper", "1. A\n2. B\n1. C\n", {"A", "B"}},
        {"a jump ends it", "1. A\n2. B\n4. D\n5. E", {"A", "B"}},
        {"a menu starts at 1", "2. B\n3. C", {}},
        {"past 9", "1. a\n2. b\n3. c\n4. d\n5. e\n6. f\n7. g\n8. h\n9. i\n10. j",
            {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}},
        {"year numbers are none", "1. A\n2. B\n2026. C", {"A", "B"}},
    };
    for (const Case& c : cases) {
        Strings labels;
        for (const MenuOption& option : ScreenReading::menu(c.screen))
            labels.push_back(option.label);
        EXPECT_EQ(labels, c.labels) << c.what;
    }
}

std::optional<MenuOption> byPattern(const std::string& line)
{
    static const Regex pattern(ScreenReading::optionPattern);
    const auto match = pattern.find(line);
    if (!match)
        return std::nullopt;
    return MenuOption{std::stoi(std::string((*match)[2])), std::string((*match)[3]), !(*match)[1].empty()};
}

TEST(ScreenReading, matchesMenuLinesAsThePatternDoes)
{
    const Strings lines{"│ 2) Maybe │", "|1. a|", "1. │", "1.  ", "1. ", "1.", "1.  │", "1. a │ │", "1. ││", "01. a",
        "0. a", "123. a", "❯❯ 1. a", "│ ❯ 1. a", "❯ │ 1. a", "1.\u00A0a\u00A0", "1.a", "1 . a", "1: a",
        "\u30001.\u3000\u3000", "-1. a", "1. \u2502\u00A0|", "1. a\t|\t", "12) a.b.", "> 7. x", "● 3) y", "→4. z",
        "\t┃\t▶5. z\t┃"};
    for (const std::string& line : lines)
        EXPECT_EQ(ScreenReading::menuOption(line), byPattern(line)) << line;

    // Lines mostly of the shape of an entry, so that about half of them match.
    const Strings spaces{"", "", " ", "  ", "\t", "\u00A0", "\u3000", "\r", "\u2028", "\u0085"};
    const Strings edges{"", "", "", "│", "┃", "|", "||", "─"};
    const Strings marks{"", "", "", "❯", "›", ">", "▶", "→", "●", "•", "❯❯"};
    const Strings numbers{"1", "2", "7", "10", "99", "0", "100", "", "x", "١"};
    const Strings dots{".", ")", ".", ".)", "", ":"};
    const Strings texts{"", "a", "é", "a b", "│", "|", "1. x", " ", "❯", "\u0301", ".", "Yes, and │ more"};
    std::mt19937 random(20261116);
    const auto one = [&](const Strings& of) { return of[random() % of.size()]; };
    int matched = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string line = one(spaces) + one(edges) + one(spaces) + one(marks) + one(spaces) + one(numbers) + one(dots)
            + one(spaces) + one(spaces) + one(texts) + one(spaces) + one(texts) + one(spaces) + one(edges)
            + one(spaces);
        if (i % 4 == 0) { // and some in any order at all
            line.clear();
            for (int part = 0; part < 8; ++part)
                line += one(*std::array{&spaces, &edges, &marks, &numbers, &dots, &texts}[random() % 6]);
        }
        const auto expected = byPattern(line);
        matched += expected ? 1 : 0;
        ASSERT_EQ(ScreenReading::menuOption(line), expected) << line;
    }
    EXPECT_GT(matched, 2'000);
}

TEST(ScreenReading, recognisesQuestions)
{
    struct Case {
        std::string screen;
        Strings markers;
        bool isQuestion;
    };
    const Case cases[] = {
        {"   Do you want to   \n\t\u00A0 PROCEED? ", {"do you want to proceed?"}, true},
        {"do you want toproceed?", {"do you want to proceed?"}, false},
        {"Trust This Folder?", {"x", "TRUST this FOLDER?"}, true},
        {"ÄNDERN?", {"ändern?"}, true},
        {"ÄNDERN SIE", {"ern sie"}, false},
        {"PREKIOUS ANSWER", {"prekious a"}, true}, // the Kelvin sign
        {"(y/n", {"(y/n) "}, false}, // the space at the end of the text is none
        {" (y/n)  :", {" (y/n) "}, false},
        {"> (Y/N)\n:", {" (y/n) "}, true},
        {"a b ", {" "}, true},
        {" ab ", {" "}, false},
        {"anything", {}, false},
        {"anything", {""}, false},
        {"", {"a"}, false},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ScreenReading::isQuestionScreen(c.screen, c.markers), c.isQuestion) << c.screen;
}

/// The rule as it is put: lower case, each run of white space one space, none at the ends.
std::string simplified(std::string_view text)
{
    return Text::joined(Text::words(Text::lowercased(text)), " ");
}

TEST(ScreenReading, recognisesQuestionsInAnyText)
{
    // Few pieces, so that markers are often met, and words of eight bytes begin anywhere.
    const Strings pieces{"a", "B", "ab", " ", "  ", "\n", "\t", "A b", "é", "É", "─", "\u00A0", "\u212A", "İ", "\xFF", "\xE2\x94",
        "abababab", "ababa", "zzzzzzzzzz"};
    std::mt19937 random(7);
    const auto text = [&](std::size_t most) {
        std::string made;
        for (std::size_t count = random() % (most + 1); count > 0; --count)
            made += pieces[random() % pieces.size()];
        return made;
    };
    int found = 0;
    for (int round = 0; round < 20'000; ++round) {
        const std::string screen = text(40);
        Strings wanted;
        for (std::size_t count = 1 + random() % 4; count > 0; --count)
            wanted.push_back(random() % 2 ? simplified(text(6)) : text(6));
        const std::string plain = simplified(screen);
        const bool expected = std::any_of(wanted.begin(), wanted.end(),
            [&](const std::string& each) { return !each.empty() && plain.find(Text::lowercased(each)) != plain.npos; });
        ASSERT_EQ(ScreenReading::isQuestionScreen(screen, wanted), expected)
            << testing::PrintToString(screen) << testing::PrintToString(wanted);
        found += expected ? 1 : 0;
    }
    EXPECT_GT(found, 1'000);
    EXPECT_LT(found, 19'000);
}

TEST(ScreenReading, findsTheOptionThatAnswers)
{
    const Strings permission{"Yes", "Yes, and don't ask again", "No, and tell Claude what to do differently"};
    const Strings plan{"Yes, and auto-accept edits", "Yes, always", "Keep planning", "Chat about this…"};
    const Strings onlyForGood{"Yes, always", "No"};
    const Strings colours{"Dark red (Recommended)", "Red", "—", "Not blue", "Blue"};
    struct Case {
        std::string choice;
        Strings labels;
        std::size_t number; // 0: none
    };
    const Case cases[] = {
        {"Allow", permission, 1},
        {"approve", permission, 1},
        {"Allow for session", permission, 2},
        {"Deny", permission, 3},
        {"Critique", permission, 3},
        {"Implement the plan", plan, 1},
        {"Revise", plan, 3},
        {"Deny", plan, 0},
        {"allow", onlyForGood, 1}, // better one too many than none
        {"Approve for session", onlyForGood, 1},
        {"allow for session", {"Once", "For this session"}, 2},
        {"Allow for session", {"Allow", "Allow for session"}, 2}, // the same words first
        {"red", colours, 2}, // not the one that contains it
        {"dark red", colours, 1}, // "(Recommended)" aside
        {"DARK", colours, 1}, // the beginning
        {"blue and then some", colours, 5}, // more than the label
        {"ed", colours, 1}, // a part
        {"green", colours, 0}, // nothing alike
        {"Nob", {"No", "Yes"}, 0}, // too short to be the beginning of "nob..."
        {"Nobody", {"No", "Yes"}, 1},
        {"Yes, and don’t ask again…", permission, 2}, // typographic marks aside
        {"", permission, 0},
        {"?!", permission, 0},
        {"yes", {}, 0},
    };
    for (const Case& c : cases) {
        Options options;
        for (const std::string& label : c.labels)
            options.push_back({static_cast<std::int64_t>(options.size() + 1), label, false});
        const auto found = ScreenReading::option(c.choice, AttentionKind::permission, options);
        EXPECT_EQ(found ? found->number : 0, static_cast<std::int64_t>(c.number)) << c.choice;
    }
    const auto freeText = [](const std::string& label) { return ScreenReading::freeTextOption({{4, label, false}}); };
    for (const char* label : {"Type something.", "Other", "No, and tell Claude what to change", "Chat about this…"})
        EXPECT_TRUE(freeText(label)) << label;
    EXPECT_FALSE(freeText("Another"));
}

TEST(ScreenReading, normalizesLabels)
{
    const std::pair<std::string, std::string> cases[] = {
        {"Yes (recommended)", "yes"},
        {"Chat about this…", "chat about this"},
        {"Yes, and don't ask again", "yes and dont ask again"},
        {"  A - B\tC...  ", "a bc"},
        {"RECOMMENDED: É 2²", "é 2²"},
        {"हाँ जी", "हाँ जी"}, // vowel signs stay with their letters
        {"…", ""},
    };
    for (const auto& [text, normal] : cases)
        EXPECT_EQ(ScreenReading::normalize(text), normal) << text;
}

TEST(ScreenReading, readsTheDimSuggestion)
{
    using Text = std::optional<std::string>;
    const std::string rule = "\x1b[38;5;244m────────\x1b[0m\n";
    struct Case {
        const char* what;
        std::string screen;
        Text text;
    };
    const Case cases[] = {
        {"a finished turn",
            "● Done.\n" + rule + "\x1b[39m❯\u00A0\x1b[2mcommit this\x1b[22m\x1b[39m\r\n" + rule
                + "  ⏵⏵ accept edits on",
            "commit this"},
        {"typed", rule + "❯ commit this\n" + rule, {}},
        {"typed before the dim rest", "❯ co\x1b[2mmmit", {}},
        {"typed behind it", "❯ \x1b[2mcommit\x1b[0m x", {}},
        {"the agent's hint", "❯ \x1b[2mTry \"fix the tests\"\x1b[0m", {}},
        {"empty", "❯ ", {}},
        {"no input line", "> \x1b[2mcommit", {}},
        {"only the lowest counts", "❯ \x1b[2mone\x1b[0m\n ❯ typed\n", {}},
        {"the mark after blanks and codes", "one\n \t\x1b[1m \x1b[0m❯\x1b[2;3m go", "go"},
        {"colours 2 and 22 are not faint", "❯ \x1b[38;5;2mx", {}},
        {"a colour of three parts leaves faint on", "❯ \x1b[2;38;2;0;0;0mgo", "go"},
        {"other sequences pass", "❯ \x1b[2m\x1b[2Kgo\x1b(", "go("},
        {"cut off inside a sequence", "❯ \x1b[2mgo\x1b[3", "go"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ScreenReading::suggestion(c.screen), c.text) << c.what;
}

TEST(ScreenReading, followsFaintness)
{
    struct Case {
        const char* parameters;
        bool afterPlain;
        bool afterFaint;
    };
    const Case cases[] = {
        {"", false, false},
        {"2", true, true},
        {"22", false, false},
        {"0;2", true, true},
        {"2;", false, false},
        {"1;39", false, true},
        {"38;5;2", false, true},
        {"48;2;0;22;2", false, true},
        {"58;5;0;2", true, true},
        {"38", false, true},
        {"4:3", false, false},
        {"99999999999999999999", false, false},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(ScreenReading::faintAfter(c.parameters, false), c.afterPlain) << c.parameters;
        EXPECT_EQ(ScreenReading::faintAfter(c.parameters, true), c.afterFaint) << c.parameters;
    }
}

TEST(ScreenReading, readsTheFooter)
{
    using Mode = std::optional<std::string>;
    const std::pair<std::string, Mode> modes[] = {
        {"⏸ plan mode on", "plan mode"},
        {"x\n\t ⏵⏵ accept edits on (shift+tab to cycle)  \n\n", "accept edits"},
        {"⏵⏵ bypass permissions on\n⏵⏵ \n⏸ paused", "bypass permissions"}, // the lower two tell nothing
        {"⏵ accept edits on", {}},
        {"the plan ⏸ mode on", {}},
        {"", {}},
    };
    for (const auto& [screen, mode] : modes)
        EXPECT_EQ(ScreenReading::claudeMode(screen), mode) << screen;

    const std::optional<Strings> keys = Strings{"alt+up"};
    EXPECT_EQ(ScreenReading::openQuestionKeys("1 question · ⌥ + ↑ To Answer"), keys);
    EXPECT_EQ(ScreenReading::openQuestionKeys("Alt+Up\nto answer"), keys);
    EXPECT_EQ(ScreenReading::openQuestionKeys("⌥+↑ to answer"), keys);
    EXPECT_FALSE(ScreenReading::openQuestionKeys("enter to answer"));
    EXPECT_FALSE(ScreenReading::openQuestionKeys("alt+up to edit"));
}

} // namespace

} // namespace tarnel
