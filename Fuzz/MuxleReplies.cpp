// What the multiplexer replies, taken over into a snapshot of the machine.
#include "Fuzz/Target.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Daemon/EventWatch.h"
#include <map>
#include <memory>
#include <set>

namespace tarnel::fuzz {

namespace {

/// Replies with the lines of the input, each to one method; as a multiplexer that fails where there is none.
class RepliesFromLines final : public MuxleTransport {
public:
    explicit RepliesFromLines(std::string_view input)
    {
        const auto lines = Text::split(input, '\n');
        std::size_t at = 0;
        for (const char* method : {"session.snapshot", "agent.list", "pane.list", "workspace.list", "pane.read"}) {
            if (at < lines.size())
                replies[method] = lines[at++];
        }
    }
    JSON request(std::string_view method, const JSON::Object&, Seconds) override
    {
        const auto reply = replies.find(method);
        if (reply == replies.end())
            throw MuxleError::fromReply(JSON(method));
        JSON message = JSON::parse(reply->second);
        if (const JSON* error = message["error"])
            throw MuxleError::fromReply(*error);
        return message;
    }
    void subscribe(const JSON::Array&, const std::function<void(std::shared_ptr<LineChannel>)>&,
        const std::function<void(const JSON&)>&) override
    {
    }
    [[nodiscard]] std::string socketPath() const override { return "input"; }

private:
    std::map<std::string_view, std::string_view> replies;
};

/// A day at which every input finds the machine.
class StandingClock final : public Clock {
public:
    [[nodiscard]] Timestamp now() const override { return Timestamp(std::chrono::seconds(1'760'000'000)); }
    [[nodiscard]] Instant elapsed() const override { return Instant(); }
    void sleep(std::chrono::nanoseconds) override { }
};

void check(const MachineSnapshot& snapshot)
{
    const std::string form = encoded(snapshot);
    const MachineSnapshot again = decode<MachineSnapshot>(JSON::parse(form));
    require(encoded(again) == form, "a snapshot's JSON form reads as another one");
    const auto watched = EventWatch::agentPanes(snapshot);
    std::set<std::string> panes;
    for (const MuxleAgent& agent : snapshot.agents) {
        panes.insert(agent.paneID);
        require(!agent.isAgent() || watched.contains(agent.paneID), "an agent that is not watched");
    }
    for (const AttentionItem& item : snapshot.queue) {
        require(panes.contains(item.fingerprint.paneID), "a queue item of no pane");
        require(item.kind == item.fingerprint.kind && !item.id().empty(), "an item that is another one");
    }
    for (const MuxleWorkspace& workspace : snapshot.workspaces)
        require(workspace.attentionLabel() != "", "a workspace with an empty label");
}

} // namespace

void fuzzMuxleReplies(std::string_view input)
{
    static const TemporaryFolder home;
    static StandingClock clock;
    AttentionEngine engine(MuxleClient(std::make_shared<RepliesFromLines>(input)), "studio", QueueOptions(),
        {.clock = clock, .home = home.path()});
    std::optional<MachineSnapshot> snapshot;
    try {
        snapshot = engine.snapshot();
    } catch (const MuxleError&) {
        return;
    } catch (const DecodingError&) {
        return;
    }
    check(*snapshot);
    require(engine.snapshot() == *snapshot, "the same replies give another snapshot");
}

} // namespace tarnel::fuzz
