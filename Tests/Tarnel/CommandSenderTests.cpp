#include "Support/Eventually.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include "tarnel/CommandSender.h"
#include <gmock/gmock.h>

namespace tarnel {

namespace {

using ::testing::ElementsAre;

/// Keeps what is written; a broken one takes nothing.
class Written final : public LineChannel {
public:
    explicit Written(bool isBroken = false)
        : breaks(isBroken)
    {
    }
    std::optional<std::string> readLine() override { return std::nullopt; }
    void writeLine(std::string_view line) override TARNEL_EXCLUDES(mutex)
    {
        if (breaks)
            throw SocketError::closed();
        const JSON request = JSON::parse(std::string(line));
        MutexLock lock(mutex);
        taken.push_back(*(*request["params"])["id"]->string());
    }
    void close() noexcept override { }
    std::vector<std::string> ids() TARNEL_EXCLUDES(mutex)
    {
        MutexLock lock(mutex);
        return taken;
    }

private:
    const bool breaks;
    Mutex mutex;
    std::vector<std::string> taken TARNEL_GUARDED_BY(mutex);
};

TEST(CommandSender, sendsAgainWhatIsUnfinished)
{
    const auto broken = std::make_shared<Written>(true);
    const auto first = std::make_shared<Written>();
    const auto second = std::make_shared<Written>();
    const auto send = [](CommandSender& sender, const std::string& id) {
        sender.send({.id = id, .action = PromptAction{.pane = "p1", .text = "x"}});
    };
    CommandSender sender;
    send(sender, "before any link");
    sender.follow(std::make_shared<DaemonLink>(broken));
    const auto link = std::make_shared<DaemonLink>(first);
    sender.follow(link);
    sender.follow(link);
    send(sender, "held");
    send(sender, "done");
    EXPECT_TRUE(eventually([&] { return first->ids().size() == 3; }));
    EXPECT_THAT(first->ids(), ElementsAre("before any link", "held", "done"));
    sender.settle({.id = "done", .status = CommandReply::Status::done});
    sender.settle({.id = "before any link", .status = CommandReply::Status::failed});
    sender.settle({.id = "held", .status = CommandReply::Status::held});
    sender.follow(nullptr);
    sender.follow(std::make_shared<DaemonLink>(second));
    EXPECT_TRUE(eventually([&] { return second->ids().size() == 1; }));
    EXPECT_THAT(second->ids(), ElementsAre("held"));
}

TEST(CommandSender, predictsUntilTheFinalReply)
{
    CommandSender sender;
    const auto snapshot = std::make_shared<const MachineSnapshot>(MachineSnapshot{.machine = "before"});
    EXPECT_EQ(sender.predicted(nullptr), nullptr);
    sender.send({.id = "1", .action = PromptAction{.pane = "p1", .text = "x"}});
    EXPECT_EQ(sender.predicted(snapshot), snapshot);
    sender.send({.id = "2", .action = MuxleAction{.method = "pane.close"}},
        [](MachineSnapshot& now) { now.machine += " after"; });
    EXPECT_EQ(sender.predicted(snapshot)->machine, "before after");
    sender.settle({.id = "2", .status = CommandReply::Status::failed});
    EXPECT_EQ(sender.predicted(snapshot), snapshot);
}

} // namespace

} // namespace tarnel
