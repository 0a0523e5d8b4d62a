#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/AnswerText.h"
#include "tarnel/Backoff.h"
#include "tarnel/CardText.h"
#include "tarnel/EventStream.h"
#include "tarnel/ImageFile.h"
#include "tarnel/ItemID.h"
#include "tarnel/LogText.h"
#include "tarnel/Nearest.h"
#include "tarnel/QueueMerge.h"
#include "tarnel/Wrap.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

TEST(ItemID, readsBackExactlyWhatWasShown)
{
    for (const std::string pane : {"p_3", "%5", "w1:p2", "a/b", "p#7", "x#1/plan/y"}) {
        for (const std::int64_t count : {std::int64_t{0}, std::int64_t{-1}, std::int64_t{1} << 40}) {
            const Fingerprint shown{"studio-mini", pane, count, AttentionKind::plan, "9ae0c2e1d11b0f77"};
            EXPECT_EQ(ItemID::parse(shown.description()), shown) << shown.description();
        }
    }
    for (const char* text : {"", "p3", "studio/p3", "studio/p3#41", "studio/p3#41/question", "studio/p3#041/question/a",
             "studio/p3#/question/a", "studio/p3#4x/question/a", "studio/p3#41/quest/a", "p3#41/question/a", "/////",
             "#/#/"})
        EXPECT_FALSE(ItemID::parse(text)) << text;
}

TEST(Nearest, findsWhatWasMeant)
{
    const std::vector<std::string> names{
        "attention.order", "attention.include_finished", "machines.hub", "keyboard.next"};
    struct Case {
        const char* text;
        std::optional<std::string> nearest;
    };
    const Case cases[] = {{"attention.ordr", "attention.order"}, {"attention.rodre", "attention.order"},
        {"Machines.Hub", "machines.hub"}, {"order", "attention.order"}, {"hbu", "machines.hub"},
        {"colour", std::nullopt}, {"", std::nullopt}};
    for (const Case& c : cases)
        EXPECT_EQ(Nearest::to(c.text, names), c.nearest) << c.text;
    EXPECT_EQ(Nearest::to("x", {}), std::nullopt);
    EXPECT_EQ(Nearest::distance("", "abc"), 3U);
    EXPECT_EQ(Nearest::distance("kitten", "sitting"), 3U);
    EXPECT_EQ(Nearest::distance("ab", "ba"), 1U);
}

TEST(Backoff, growsToItsLimitAndStartsAgain)
{
    Backoff backoff(5s, 500ms);
    std::vector<Backoff::Duration> pauses;
    for (int i = 0; i < 6; ++i)
        pauses.push_back(backoff.next());
    EXPECT_EQ(pauses, (std::vector<Backoff::Duration>{500ms, 1s, 2s, 4s, 5s, 5s}));
    backoff.reset();
    EXPECT_EQ(backoff.next(), 500ms);
    EXPECT_EQ(Backoff(100ms, 500ms).next(), 100ms);
}

AttentionItem itemOf(const char* pane, AttentionKind kind, int waitingSince, AgentStatus status = AgentStatus::idle)
{
    AttentionItem item{.kind = kind, .card = {.paneID = pane, .status = status}};
    if (waitingSince >= 0)
        item.waitingSince = Timestamp(std::chrono::seconds(waitingSince));
    return item;
}

TEST(QueueMerge, keepsTheQueuesOrder)
{
    using Kind = AttentionKind;
    const std::vector<AttentionItem> studio{
        itemOf("s1", Kind::question, 10), itemOf("s2", Kind::asking, 5), itemOf("s3", Kind::finished, -1)};
    const std::vector<AttentionItem> mini{itemOf("m1", Kind::finished, 1, AgentStatus::blocked),
        itemOf("m2", Kind::plan, 20), itemOf("m3", Kind::asking, 7), itemOf("m4", Kind::finished, 90)};
    const auto order = [&](bool oldestFirst) {
        std::string panes;
        for (const AttentionItem& item : QueueMerge::merged({studio, {}, mini}, oldestFirst))
            panes += item.card.paneID + " ";
        return panes;
    };
    EXPECT_EQ(order(true), "m1 s1 m2 s2 m3 m4 s3 ");
    EXPECT_EQ(order(false), "s1 m1 m2 m3 s2 m4 s3 "); // m2 stays behind m1, its own machine's first
    EXPECT_TRUE(QueueMerge::merged({}, true).empty());
}

TEST(Wrap, breaksBetweenWordsAndNeverBeyondTheWidth)
{
    EXPECT_EQ(wrapped("\n\nthe quick  brown fox\n\n  indented words here\n", 12),
        (Lines{"the quick", "brown fox", "", "  indented", "words here"}));
    EXPECT_EQ(wrapped("unbreakable日本", 6), (Lines{"unbrea", "kable", "日本"}));
    EXPECT_EQ(wrapped("  \n \n", 5), Lines());
    EXPECT_EQ(labelled("- ", "one two\n\nthree", 5), (Lines{"- one", "  two", "", "  thr", "  ee"}));
    const std::string text = "a  日本語 word-that-is-long\x1b[31m\tand\r\n   more 👨‍👩‍👧 of it";
    for (std::size_t width = 2; width < 40; ++width) {
        for (const std::string& line : wrapped(text, width))
            EXPECT_LE(TerminalText::width(line), width) << line;
    }
}

TranscriptEntry entry(EntryRole role, std::string text, std::optional<std::string> tool = {})
{
    return {.role = role, .text = std::move(text), .toolName = std::move(tool)};
}

TEST(LogText, foldsToolStepsAsTheSettingSays)
{
    const LogText::Entries entries{entry(EntryRole::user, "Fix \x1b[31mit"), entry(EntryRole::assistant, "I look."),
        entry(EntryRole::tool, "Read a", "Read"), entry(EntryRole::tool, "Read b", "Read"),
        entry(EntryRole::tool, "Ran test", "Bash"), entry(EntryRole::assistant, "Done.")};
    const auto linesFor = [&](const char* setting) {
        std::string speaker;
        return LogText::lines(entries, LogText::toolSteps(setting), {}, speaker);
    };
    EXPECT_EQ(linesFor("folded"),
        (Lines{"You", "  Fix it", "", "Agent", "  I look.", "  · Read 2 files", "  · Ran test", "  Done."}));
    EXPECT_EQ(linesFor("one-line"),
        (Lines{"You", "  Fix it", "", "Agent", "  I look.", "  · Read a", "  · Read b", "  · Ran test", "  Done."}));
    EXPECT_EQ(linesFor("hidden"), (Lines{"You", "  Fix it", "", "Agent", "  I look.", "  Done."}));
    std::string speaker = "Agent";
    EXPECT_EQ(LogText::lines({entry(EntryRole::assistant, "More.")}, LogText::ToolSteps::folded, {}, speaker),
        (Lines{"  More."}))
        << "who speaks on is not named again";
}

TEST(LogText, tellsWhatWasAdded)
{
    const auto entriesOf = [](std::string_view letters) {
        LogText::Entries entries;
        for (const char letter : letters)
            entries.push_back(entry(EntryRole::assistant, std::string(1, letter)));
        return entries;
    };
    struct Case {
        const char* what;
        const char* before;
        const char* now;
        const char* added;
    };
    const Case cases[] = {{"nothing new", "abc", "abc", ""}, {"more", "abc", "abcde", "de"},
        {"a window that moved on", "abc", "cde", "de"}, {"the same words again", "aa", "aaa", "a"},
        {"a gap", "abc", "xyz", "xyz"}, {"a record that was emptied", "abc", "", ""}, {"the start", "", "ab", "ab"}};
    for (const Case& c : cases)
        EXPECT_EQ(LogText::added(entriesOf(c.before), entriesOf(c.now)), entriesOf(c.added)) << c.what;

    TranscriptEntry failed = entry(EntryRole::tool, "Ran x", "Bash");
    failed.isError = true;
    EXPECT_TRUE(LogText::added({entry(EntryRole::tool, "Ran x", "Bash")}, {failed}).empty()) << "its result came later";
}

TEST(CardText, showsWhatIsAskedAndHowToAnswer)
{
    AttentionItem item{.kind = AttentionKind::question,
        .fingerprint = {"studio", "p3", 41, AttentionKind::question, "ab"},
        .card = {.machine = "studio",
            .paneID = "p3",
            .space = "shop",
            .title = "t\x1b[2J",
            .cwd = "/srv",
            .pending = PendingQuestion{{{.text = "Which?",
                .options = {{.label = "Redis", .detail = "Fast"}, {.label = "None"}}}}},
            .evidence = {{.label = "PR 7", .url = "https://x/7"}}},
        .choices = {"Redis", "None"}};
    EXPECT_EQ(CardText::question(item, {}),
        (Lines{"Which?", "  1. Redis: Fast", "  2. None", "Answer with: tarnel answer 'studio/p3#41/question/ab' 1"}));
    const StatusLine status{.model = "opus", .contextUsed = 50, .contextWindow = 100};
    EXPECT_EQ(CardText::lines(item.card, &item, {.statusLine = status}, {}),
        (Lines{"● Question  t  studio/p3", "Agent · shop · /srv", "opus · ctx 50%", "", "It asks", "Which?",
            "  1. Redis: Fast", "  2. None", "  tarnel answer 'studio/p3#41/question/ab' 1", "", "Links",
            "PR 7  https://x/7"}));
}

TEST(AnswerText, understandsNumbersAndLabels)
{
    const std::vector<std::string> choices{"Yes", "No", "1 more"};
    const std::pair<const char*, const char*> cases[] = {{"2", "No"}, {"no", "No"}, {" YES ", "Yes"},
        {"1 more", "1 more"}, {"0", "0"}, {"4", "4"}, {"2x", "2x"}, {"maybe", "maybe"}, {"", ""}, {"-1", "-1"}};
    for (const auto& [given, meant] : cases)
        EXPECT_EQ(AnswerText::choiceMeant(given, choices), meant) << given;
    EXPECT_EQ(AnswerText::choiceMeant("2", {"2", "1"}), "2") << "a label goes before a number";
    EXPECT_EQ(AnswerText::choiceMeant("1", {}), "1");
}

TEST(AnswerText, tellsEveryOutcomeAndItsStatus)
{
    const AnswerOutcome applied = AnswerApplied{"menu 2"};
    const std::pair<AnswerOutcome, ExitStatus> cases[] = {{applied, ExitStatus::success},
        {AnswerUnverified{"prompt"}, ExitStatus::timeout}, {AnswerStale{}, ExitStatus::stale},
        {AnswerFailed{"no menu"}, ExitStatus::failure}, {AnswerNotFound{}, ExitStatus::failure},
        {duplicate(applied), ExitStatus::success}, {duplicate(AnswerUnverified{"text"}), ExitStatus::timeout}};
    for (const auto& [outcome, status] : cases) {
        EXPECT_EQ(AnswerText::statusOf(outcome), status);
        EXPECT_GT(AnswerText::outcome(outcome, "p3").size(), 20U);
    }
    EXPECT_EQ(AnswerText::outcome(applied, "p3"), "Answered, as option 2 of its menu: the agent goes on.");
}

TEST(ImageFile, knowsPicturesByTheirBytes)
{
    EXPECT_EQ(ImageFile::mediaType("\x89PNG\r\n\x1a\n...."), "image/png");
    EXPECT_EQ(ImageFile::mediaType("\xff\xd8\xff\xe0"), "image/jpeg");
    EXPECT_EQ(ImageFile::mediaType("RIFF1234WEBPVP8 "), "image/webp");
    for (const char* text : {"", "PNG", "#!/bin/sh", "RIFF1234WAVE"})
        EXPECT_EQ(ImageFile::mediaType(text), std::nullopt) << text;
}

TEST(EventStream, passesOverASnapshotThatIsToldAgain)
{
    EventStream stream;
    const auto isNews = [&](const char* text) { return stream.isNews(JSON::parse(text)); };
    EXPECT_TRUE(isNews(R"({"event":"snapshot","snapshot":{"takenAt":"1","queue":[]}})"));
    EXPECT_FALSE(isNews(R"({"event":"snapshot","snapshot":{"takenAt":"2","queue":[]}})"));
    EXPECT_TRUE(isNews(R"({"event":"other"})"));
    EXPECT_TRUE(isNews(R"({"event":"other"})"));
    EXPECT_TRUE(isNews(R"({"event":"snapshot","snapshot":{"takenAt":"2","queue":[1]}})"));
}

} // namespace

} // namespace tarnel
