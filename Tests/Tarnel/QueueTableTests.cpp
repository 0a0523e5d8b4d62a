#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/Duration.h"
#include "tarnel/QueueTable.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

const Timestamp now = Timestamp(1'800'000'000s);

TEST(QueueRow, asksWithTheMostTellingLineThatTheItemHas)
{
    struct Case {
        const char* what;
        Card card;
        std::string asked;
    };
    const Case cases[] = {
        {"what is pending", {.asked = "a", .pending = PendingPermission{"Bash", "npm\n test"}, .lastMessage = "m"},
            "Bash: npm test"},
        {"the last message when the question has no text",
            {.asked = "a", .pending = PendingQuestion{{Question{.text = " "}}}, .lastMessage = "one\n\ntwo"},
            "one two"},
        {"what the user asked", {.asked = "fix it", .lastMessage = "\x1b[0m", .screenTail = "s"}, "fix it"},
        {"the screen's last line with text", {.screenTail = "first\n second \x1b[K\n \x1b[2m  \n\n"}, "second"},
        {"nothing", {}, ""},
    };
    for (const Case& c : cases) {
        AttentionItem item;
        item.card = c.card;
        EXPECT_EQ(QueueTable::rows({item})[0].asked, c.asked) << c.what;
    }
}

std::vector<QueueRow> sampleRows()
{
    return {{"p1", AttentionKind::permission, "payments", "Fix the retry loop", "Bash: npm test -- src/billing",
                now - 3min},
        {"p2", AttentionKind::plan, "web 日本語", "Add caching", "Cache the index", now - 90min},
        {"p3", AttentionKind::finished, "docs", "Family 👨‍👩‍👧 tree", "", std::nullopt}};
}

TEST(QueueTable, alignsItsColumns)
{
    const std::vector<std::string> expected{
        "KIND             PANE  SPACE       TITLE               ASKED                          WAITING",
        "● Permission     p1    payments    Fix the retry loop  Bash: npm test -- src/billing      3 m",
        "● Plan ready     p2    web 日本語  Add caching         Cache the index                    1 h",
        "● Turn finished  p3    docs        Family 👨‍👩‍👧 tree",
    };
    EXPECT_EQ(QueueTable::lines(sampleRows(), now, {.width = 100}), expected);
}

TEST(QueueTable, fitsEveryWidthAndPaintsWithoutChangingTheText)
{
    for (std::size_t width = 1; width < 120; ++width) {
        SCOPED_TRACE(width);
        const auto plain = QueueTable::lines(sampleRows(), now, {.width = width});
        const auto painted = QueueTable::lines(sampleRows(), now, {.width = width, .hasColor = true});
        ASSERT_EQ(plain.size(), 4U);
        for (std::size_t i = 0; i < plain.size(); ++i) {
            EXPECT_LE(TerminalText::width(plain[i]), width);
            EXPECT_EQ(TerminalText::plainLine(painted[i]), TerminalText::plainLine(plain[i]));
        }
    }
    EXPECT_NE(QueueTable::lines(sampleRows(), now, {.width = 60})[1].find("Bash: npm"), std::string::npos);
    EXPECT_NE(QueueTable::lines(sampleRows(), now, {.width = 20})[1].find("Bash: npm"), std::string::npos);
}

TEST(QueueTable, namesTheMachineWhereThereAreSeveral)
{
    AttentionItem item{
        .fingerprint = {.machine = "studio", .paneID = "p1"}, .card = {.machine = "studio", .paneID = "p1"}};
    EXPECT_EQ(QueueTable::rows({item})[0].pane, "p1");
    EXPECT_EQ(QueueTable::rows({item}, true)[0].pane, "studio/p1");
}

TEST(Duration, isBriefForPeople)
{
    const std::pair<Timestamp::duration, const char*> cases[] = {{-5s, "0 s"}, {0s, "0 s"}, {59'900ms, "59 s"},
        {60s, "1 m"}, {59min + 59s, "59 m"}, {1h, "1 h"}, {24h, "1 d"}, {400 * 24h, "400 d"}};
    for (const auto& [duration, text] : cases)
        EXPECT_EQ(Duration::brief(duration), text);
}

TEST(Duration, readsWhatPeopleWrite)
{
    using Seconds = std::chrono::duration<double>;
    const std::pair<const char*, std::optional<Seconds>> cases[] = {{"30", 30s}, {"30s", 30s}, {"500ms", 500ms},
        {"1.5m", 90s}, {"2h", 2h}, {"1d", 24h}, {"0", std::nullopt}, {"-5s", std::nullopt}, {"", std::nullopt},
        {"s", std::nullopt}, {"5 s", std::nullopt}, {"5x", std::nullopt}, {"1e9d", std::nullopt}, {"nan", std::nullopt},
        {"1001d", std::nullopt}};
    for (const auto& [text, duration] : cases)
        EXPECT_EQ(Duration::parse(text), duration) << text;
}

} // namespace

} // namespace tarnel
