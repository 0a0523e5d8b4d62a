#include "TarnelCore/Attention/Attention.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using Strings = std::vector<std::string>;

Pending question(std::vector<std::string> labels)
{
    Question asked{.text = "Which store?"};
    for (std::string& label : labels)
        asked.options.push_back({.label = std::move(label)});
    return PendingQuestion{{asked, {.text = "And when?"}}};
}

AttentionItem itemWith(std::optional<Pending> pending)
{
    AttentionItem item;
    item.card.pending = std::move(pending);
    return item;
}

TEST(Attention, hashesAndDescribesFingerprints)
{
    EXPECT_EQ(Fingerprint::hash(""), "cbf29ce484222325");
    EXPECT_EQ(Fingerprint::hash("a"), "af63dc4c8601ec8c");
    EXPECT_EQ(Fingerprint::hash("\xc3\xa9"), "ac21707b7181e01"); // bytes above 127, no leading zero
    const Fingerprint print{"studio-mini", "p_3", 41, AttentionKind::question, "9ae0c2e1d11b0f77"};
    EXPECT_EQ(print.description(), "studio-mini/p_3#41/question/9ae0c2e1d11b0f77");
}

TEST(Attention, offersChoices)
{
    struct Case {
        const char* what;
        std::optional<Pending> pending;
        Strings menu;
        Strings choices;
    };
    const Case cases[] = {
        {"a question's own options win over the menu", question({"Redis", "SQLite"}), {"1", "2"}, {"Redis", "SQLite"}},
        {"a question without options offers nothing", question({}), {"Yes", "No"}, {}},
        {"no question at all: the menu", PendingQuestion{}, {"Yes", "No"}, {"Yes", "No"}},
        {"a plan", PendingPlan{"# Do"}, {}, {"Implement the plan", "Critique", "Revise"}},
        {"a plan with a menu", PendingPlan{"# Do"}, {"Yes", "No"}, {"Yes", "No"}},
        {"a permission", PendingPermission{"Bash", "rm x"}, {}, {"Allow", "Allow for session", "Deny"}},
        {"a permission with a menu", PendingPermission{"Bash", "rm x"}, {"Yes", "No"}, {"Yes", "No"}},
        {"nothing pending: the menu", std::nullopt, {"Yes"}, {"Yes"}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(AttentionItem::choicesFor(c.pending, c.menu), c.choices) << c.what;
}

TEST(Attention, saysWhatIsAskedInOneLine)
{
    struct Case {
        std::optional<Pending> pending;
        std::optional<std::string> text;
    };
    const Case cases[] = {
        {std::nullopt, std::nullopt},
        {question({"A"}), "Which store?"},
        {PendingQuestion{}, std::nullopt},
        {PendingPlan{"\n\n## Add caching\n\n1. Find #slow parts"}, "Add caching"},
        {PendingPlan{"\t # Ship # it #\r\nsoon"}, "Ship  it"},
        {PendingPlan{" \n"}, ""},
        {PendingPermission{"Bash", "npm test"}, "Bash: npm test"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(itemWith(c.pending).questionText(), c.text);
}

TEST(Attention, offersFollowUpsAfterFinishedTurns)
{
    AttentionItem item;
    item.choices = {"commit"};
    const Strings quickReplies{"continue", "Commit", "continue"};
    EXPECT_EQ(item.followUps(quickReplies), quickReplies);
    item.kind = AttentionKind::finished;
    EXPECT_EQ(item.followUps(quickReplies), (Strings{"commit", "continue", "continue"}));
}

TEST(Attention, comparesSnapshotsButForTheirTime)
{
    const MachineSnapshot base{.machine = "mini", .queue = {AttentionItem{}}};
    MachineSnapshot other = base;
    other.takenAt += std::chrono::seconds(2);
    EXPECT_TRUE(base.sameContent(other));

    const auto differs = [&](auto change) {
        MachineSnapshot changed = base;
        change(changed);
        return !base.sameContent(changed);
    };
    EXPECT_TRUE(differs([](MachineSnapshot& s) { s.machine = "air"; }));
    EXPECT_TRUE(differs([](MachineSnapshot& s) { s.agents.emplace_back(); }));
    EXPECT_TRUE(differs([](MachineSnapshot& s) { s.queue[0].card.did.emplace_back("Ran ls"); }));
    EXPECT_TRUE(differs([](MachineSnapshot& s) { s.tabs.emplace(); }));
    EXPECT_TRUE(differs([](MachineSnapshot& s) { s.statusLines.emplace(); }));
}

TEST(Attention, keepsTheWireForm)
{
    MachineSnapshot snapshot{.machine = "mini", .takenAt = *parseISO8601("2026-03-02T09:15:04Z")};
    EXPECT_EQ(encoded(snapshot),
        R"({"agents":[],"machine":"mini","queue":[],"takenAt":"2026-03-02T09:15:04Z","workspaces":[]})");

    AttentionItem item = itemWith(PendingPermission{"Bash", "ls"});
    item.kind = item.fingerprint.kind = AttentionKind::permission;
    item.card.evidence.push_back({Evidence::Kind::pullRequest, "PR #1", "https://x/pull/1"});
    snapshot.queue.push_back(item);
    snapshot.statusLines = {{"p_1", StatusLine{.model = "m"}}};
    EXPECT_EQ(decode<MachineSnapshot>(jsonValue(snapshot)), snapshot);
    EXPECT_EQ(encoded(item.card.evidence), R"([{"kind":"pullRequest","label":"PR #1","url":"https://x/pull/1"}])");

    JSON unknownKind = jsonValue(item);
    (*unknownKind.object())["kind"] = "pondering";
    EXPECT_THROW(decode<AttentionItem>(unknownKind), DecodingError);

    for (const std::string_view name : record::fieldNames<QueueOptions>()) {
        JSON options = jsonValue(QueueOptions{});
        EXPECT_EQ(decode<QueueOptions>(options), QueueOptions{});
        options.object()->erase(name);
        EXPECT_THROW(decode<QueueOptions>(options), DecodingError) << name;
    }
}

} // namespace

} // namespace tarnel
