#include "TarnelCore/Commands/Optimistic.h"
#include "TarnelCore/Commands/Outbox.h"
#include <gtest/gtest.h>

namespace tarnel {

namespace {

using namespace std::chrono_literals;

Command command(const std::string& id) { return {.id = id, .action = ShellAction{"x"}}; }

std::string ids(const std::vector<Command>& commands)
{
    std::string text;
    for (const Command& each : commands)
        text += each.id + " ";
    return text;
}

std::string ids(const Outbox& outbox)
{
    std::string text;
    for (const Outbox::Entry& entry : outbox.entries())
        text += entry.command.id + " ";
    return text;
}

Outbox::Prediction renaming(const std::string& label)
{
    return [label](MachineSnapshot& snapshot) { Optimistic::renameSpace(snapshot, "w", label); };
}

MachineSnapshot labelled(const std::string& label)
{
    MachineSnapshot snapshot;
    snapshot.workspaces = {{.workspaceID = "w", .label = label}};
    return snapshot;
}

TEST(Outbox, followsReplies)
{
    Outbox outbox;
    outbox.add(command("a"), "m");
    outbox.add(command("b"), "other");
    outbox.add(command("c"), "m");
    using enum CommandReply::Status;

    EXPECT_FALSE(outbox.record({.id = "x", .status = done}));
    const auto afterHeld = outbox.record({.id = "a", .status = held});
    ASSERT_TRUE(afterHeld);
    EXPECT_EQ(afterHeld->status, held);
    EXPECT_TRUE(outbox.contains("a"));
    EXPECT_EQ(ids(outbox.unfinished("m")), "a c ");

    const auto afterDone = outbox.record({.id = "a", .status = queued});
    ASSERT_TRUE(afterDone);
    EXPECT_EQ(afterDone->status, held);
    EXPECT_EQ(afterDone->machine, "m");
    EXPECT_FALSE(outbox.contains("a"));
    EXPECT_EQ(ids(outbox), "b c ");
}

TEST(Outbox, appliesTheMachinesPredictionsInOrder)
{
    Outbox outbox;
    outbox.add(command("a"), "m", renaming("first"));
    outbox.add(command("b"), "m");
    outbox.add(command("c"), "m", [](MachineSnapshot& snapshot) { snapshot.workspaces[0].label += " second"; });
    outbox.add(command("d"), "other", renaming("wrong"));
    EXPECT_EQ(outbox.apply(labelled("old"), "m"), labelled("first second"));
    EXPECT_EQ(outbox.apply(labelled("old"), "none"), labelled("old"));
}

TEST(Outbox, letsAnsweredEntriesGo)
{
    const Timestamp answered = Timestamp(1000s);
    struct Case {
        const char* what;
        const char* label; // what the daemon's snapshot says
        Timestamp now;
        const char* afterSettling;
        const char* afterExpiring;
    };
    const Case cases[] = {
        {"not visible yet", "old", answered + 1s, "open visible elsewhere ", "open bare visible elsewhere "},
        {"visible", "new", answered + 1s, "open elsewhere ", "open bare visible elsewhere "},
        {"just in time", "old", answered + 10s - 1us, "open visible elsewhere ", "open bare visible elsewhere "},
        {"after its time", "old", answered + 10s, "open elsewhere ", "open elsewhere "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Outbox settling;
        settling.add(command("open"), "m", renaming(c.label)); // never answered
        settling.add(command("bare"), "m");
        settling.add(command("visible"), "m", renaming("new"));
        settling.add(command("elsewhere"), "other");
        for (const char* id : {"bare", "visible", "elsewhere", "unknown"})
            settling.answered(id, answered);
        Outbox expiring = settling;
        settling.settleAnswered("m", labelled(c.label), c.now, 10s);
        EXPECT_EQ(ids(settling), c.afterSettling);
        expiring.expireAnswered("m", c.now, 10s);
        EXPECT_EQ(ids(expiring), c.afterExpiring);
    }
}

} // namespace

} // namespace tarnel
