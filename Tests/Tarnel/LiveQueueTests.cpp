#include "Support/TemporaryFolder.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include "tarnel/LiveQueue.h"
#include <gtest/gtest.h>
#include <poll.h>

namespace tarnel {

namespace {

const std::string agreed = R"({"id":1,"result":{"subscribed":true}})";

std::string snapshotEvent(const std::string& machine)
{
    return R"({"event":"snapshot","snapshot":{"agents":[],"machine":")" + machine
        + R"(","queue":[],"takenAt":"2026-03-02T09:15:04Z","workspaces":[]}})";
}

/// Takes views until one `holds`; the last one when none does in time.
template <class Condition> LiveQueue::View await(LiveQueue& queue, Condition holds)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (;;) {
        const LiveQueue::View view = queue.take();
        if (holds(view) || std::chrono::steady_clock::now() > deadline)
            return view;
        pollfd news{queue.descriptor(), POLLIN, 0};
        ::poll(&news, 1, 1000);
    }
}

class LiveQueueOverASocket : public ::testing::Test {
protected:
    std::unique_ptr<LiveQueue> follow() const
    {
        return std::make_unique<LiveQueue>(
            std::vector{Daemon::here(path)}, false, Backoff(std::chrono::milliseconds(20)));
    }

    const TemporaryFolder folder;
    const std::string path = folder / "d.sock";
    std::shared_ptr<LineSocket> listener = LineSocket::listen(path);
};

TEST_F(LiveQueueOverASocket, keepsTheNewestSnapshotAcrossALoss)
{
    const auto queue = follow();
    auto daemon = listener->accept();
    for (const std::string& line : {agreed, snapshotEvent("first"), snapshotEvent("second")})
        daemon->writeLine(line);
    LiveQueue::View view = await(*queue, [](const LiveQueue::View& now) {
        return now.hasSnapshot() && now.machines[0].snapshot->machine == "second";
    });
    EXPECT_TRUE(view.isConnected());
    daemon->close();
    view = await(*queue, [](const LiveQueue::View& now) { return !now.isConnected(); });
    ASSERT_TRUE(view.hasSnapshot());
    EXPECT_EQ(view.machines[0].snapshot->machine, "second");
    EXPECT_TRUE(view.machines[0].failure);
    EXPECT_FALSE(view.hasEnded());
    daemon = listener->accept();
    daemon->writeLine(agreed);
    view = await(*queue, [](const LiveQueue::View& now) { return now.isConnected(); });
    EXPECT_TRUE(view.isConnected());
    EXPECT_FALSE(view.machines[0].failure);
}

TEST_F(LiveQueueOverASocket, canBeGivenUpWhileTheDaemonIsSilent)
{
    auto queue = follow();
    const auto daemon = listener->accept();
    ASSERT_TRUE(daemon->readLine());
    queue = nullptr;
    EXPECT_FALSE(daemon->readLine());
}

TEST_F(LiveQueueOverASocket, endsAtOnceWhereNoDaemonEverWas)
{
    listener->close();
    EXPECT_TRUE(await(*follow(), [](const LiveQueue::View& now) { return now.hasEnded(); }).hasEnded());
}

} // namespace

} // namespace tarnel
