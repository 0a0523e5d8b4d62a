#include "TarnelCore/Records/Transcript.h"
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace tarnel {

namespace {

/// The removal of blocks written down the plain way.
std::string withoutBlocks(std::string text, std::string_view open, std::string_view close)
{
    for (;;) {
        const std::size_t start = text.find(open);
        const std::size_t end = start == text.npos ? text.npos : text.find(close, start + open.size());
        if (end == text.npos)
            return text;
        text.erase(start, end + close.size() - start);
    }
}

TEST(Transcript, cleansUserText)
{
    const std::tuple<const char*, std::string_view, std::string_view> cases[] = {
        {"nothing but a block", "<system-reminder>x</system-reminder>\n", ""},
        {"no close tag", " <system-reminder>x ", "<system-reminder>x"},
        {"a close tag before its open tag", "</rules>a<rules>b", "</rules>a<rules>b"},
        {"two blocks", "<rules>x</rules>a<rules>y</rules>b", "ab"},
        {"an open tag with attributes", "<rules kind=\"x\">x</rules>a", "a"},
        {"only the beginning of the tag counts", "<rulesets>x</rules>a", "a"},
        {"case counts", "<Rules>x</Rules>", "<Rules>x</Rules>"},
        {"up to the first close tag", "<rules>x<rules>y</rules>z</rules>", "z</rules>"},
        {"what a removal brings together", "<ru<rules>x</rules>les>y</rules>z", "z"},
        {"the order of the tags", "<user_info><system-reminder></user_info>a</system-reminder>b</user_info>c", "c"},
        {"a query", "x<user_query> fix it\n</user_query>y", "fix it"},
        {"a query out of order", "</user_query>x<user_query>", "</user_query>x<user_query>"},
        {"a command with arguments",
            "<command-name>/model</command-name>\n<command-message>model</command-message>\n"
            "<command-args>opus</command-args>",
            "/model opus"},
        {"a command without arguments", "<command-name>/clear</command-name><command-args>x", "/clear"},
        {"arguments out of order", "</command-args><command-name>/a</command-name><command-args>x</command-args>",
            "/a"},
        {"a comparison", "a < b", "a < b"},
        {"white space of all kinds", "\u00A0\t a b \r\n", "a b"},
    };
    for (const auto& [what, text, cleaned] : cases)
        EXPECT_EQ(cleanUserText(text), cleaned) << what;

    std::mt19937 random(3);
    const std::array pieces{"<rules"sv, "</rules>"sv, "<ru"sv, "les"sv, "a"sv, ">"sv, "</ru"sv};
    for (int round = 0; round < 3'000; ++round) {
        std::string text = "|"; // nothing to trim
        for (std::size_t count = random() % 14; count > 0; --count)
            text += pieces[random() % pieces.size()];
        text += "|";
        EXPECT_EQ(cleanUserText(text), withoutBlocks(text, "<rules", "</rules>")) << text;
    }
}

TEST(Transcript, namesWhatIsPending)
{
    const Question first{.id = {}, .header = {}, .text = "A?", .options = {{"x", {}}, {"y", "why"}}};
    const Question second{.id = {}, .header = {}, .text = "B?", .options = {}};
    const std::tuple<Pending, std::string_view, std::string_view> cases[] = {
        {PendingQuestion{{first, second}}, "A?|x,y||B?|", "A?"},
        {PendingQuestion{}, "", "Question"},
        {PendingPlan{"\n\n## Plan: tidy up\nstep 1"}, "\n\n## Plan: tidy up\nstep 1", "Plan: tidy up"},
        {PendingPlan{" \t# a # b #\r\nc"}, " \t# a # b #\r\nc", "a  b"},
        {PendingPlan{""}, "", ""},
        {PendingPermission{"Bash", "ls"}, "Bash|ls", "Bash: ls"},
    };
    for (const auto& [pending, identity, line] : cases) {
        EXPECT_EQ(identityText(pending), identity);
        EXPECT_EQ(summary(pending), line);
    }
}

TEST(Transcript, findsTheStepsOfTheTurn)
{
    const auto entry = [](EntryRole role, std::string text) {
        return Shared<TranscriptEntry>(TranscriptEntry{.role = role, .text = std::move(text)});
    };
    Transcript transcript;
    transcript.entries = {entry(EntryRole::tool, "a"), entry(EntryRole::assistant, "b"), entry(EntryRole::tool, "c")};
    EXPECT_EQ(transcript.stepsSinceLastPrompt().size(), 2);
    transcript.entries.insert(transcript.entries.begin() + 1, entry(EntryRole::user, "u"));
    EXPECT_THAT(transcript.stepsSinceLastPrompt(), testing::ElementsAre(transcript.entries.back()));
    transcript.entries.push_back(entry(EntryRole::user, "u"));
    EXPECT_TRUE(transcript.stepsSinceLastPrompt().empty());
}

TEST(Transcript, readsDates)
{
    EXPECT_TRUE(parseDate("2025-01-31T09:15:02Z"));
    EXPECT_EQ(
        *parseDate("2025-01-31T09:15:02.5Z") - *parseDate("2025-01-31T10:15:02+01:00"), std::chrono::milliseconds(500));
    EXPECT_FALSE(parseDate("yesterday"));
    EXPECT_FALSE(parseDate(std::nullopt));
}

} // namespace

} // namespace tarnel
