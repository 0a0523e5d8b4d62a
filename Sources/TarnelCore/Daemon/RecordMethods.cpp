#include "TarnelCore/Attention/CardBuilder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Daemon/Methods.h"
#include "TarnelCore/Records/LiveReply.h"
#include "TarnelCore/Records/SlashCommands.h"
#include <algorithm>
#include <exception>
#include <optional>

namespace tarnel::Methods {

namespace {

constexpr std::int64_t usualEntries = 200;
constexpr std::int64_t liveReplyLines = 200;
constexpr std::int64_t cardScreenLines = 14;
constexpr std::size_t charactersBefore = 40; // of a match, in its snippet
constexpr std::size_t snippetCharacters = 140;

/// One record that holds the text searched for.
struct Match {
    std::string pane;
    std::string title;
    std::string snippet;
    EntryRole role = EntryRole::user;

    static constexpr auto fields()
    {
        return std::tuple{Field{"pane", &Match::pane}, Field{"title", &Match::title}, Field{"snippet", &Match::snippet},
            Field{"role", &Match::role}};
    }
};

std::string snippet(std::string_view text, std::size_t at)
{
    const std::string_view before = Text::suffix(text.substr(0, at), charactersBefore);
    return std::string(Text::prefix(text.substr(at - before.size()), snippetCharacters));
}

/// The last entry that holds `query`, shown around its first occurrence there.
std::optional<Match> lastMatch(const MuxleAgent& agent, const Transcript& transcript, std::string_view query)
{
    for (auto entry = transcript.entries.rbegin(); entry != transcript.entries.rend(); ++entry) {
        const std::string& text = (*entry)->text;
        if (const auto at = Text::findIgnoringCase(text, query))
            return Match{agent.paneID, agent.title(), snippet(text, *at), (*entry)->role};
    }
    return std::nullopt;
}

/// The reply that the agent is writing on its screen; absent when the screen cannot be read.
std::optional<std::string> liveReply(const MuxleClient& muxle, const MuxleAgent& agent, const Transcript& transcript)
{
    try {
        return LiveReply::read(
            muxle.read(agent.paneID, "recent_unwrapped", liveReplyLines), agent.kind(), &transcript);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

/// The last lines that the pane shows; absent when they cannot be read.
std::optional<std::string> screenTail(const MuxleClient& muxle, const std::string& pane)
{
    try {
        return muxle.read(pane, "visible", cardScreenLines);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

} // namespace

std::string conversation(DaemonServices& services, const Params& params)
{
    const MuxleClient& muxle = services.engine.muxle();
    const MuxleAgent agent = MethodTable::agentIn(muxle, params.requiredString("pane"));
    const auto record = services.engine.transcript(agent);
    Transcript transcript = record ? *record : Transcript();
    if (agent.status == AgentStatus::working)
        transcript.liveReply = liveReply(muxle, agent, transcript);
    const std::int64_t limit = std::max<std::int64_t>(params.integer("limit").value_or(usualEntries), 0);
    auto& entries = transcript.entries;
    if (entries.size() > static_cast<std::size_t>(limit))
        entries.erase(entries.begin(), entries.end() - limit);
    return encoded(transcript);
}

std::string commands(DaemonServices& services, const Params& params)
{
    const MuxleAgent agent = MethodTable::agentIn(services.engine.muxle(), params.requiredString("pane"));
    return encoded(SlashCommands::list(agent.kind(), agent.cwd, services.engine.home()));
}

std::string card(DaemonServices& services, const Params& params)
{
    const std::string pane = params.requiredString("pane");
    if (const auto snapshot = services.publisher.current()) {
        for (const AttentionItem& item : snapshot->queue) {
            if (item.fingerprint.paneID == pane)
                return encoded(item);
        }
    }
    AttentionEngine& engine = services.engine;
    const MuxleAgent agent = MethodTable::agentIn(engine.muxle(), pane);
    const std::string space = AttentionEngine::spaceName(agent, engine.muxle().workspaces());
    PaneScreens screens(engine.muxle(), pane);
    if (const auto item = engine.item(agent, space, screens))
        return encoded(*item);
    const Card made = CardBuilder::build(
        engine.machine(), agent, space, engine.transcript(agent).get(), screenTail(engine.muxle(), pane));
    return JSON::object({{"card", jsonValue(made)}}).serialized();
}

std::string search(DaemonServices& services, const Params& params)
{
    const std::string query = params.requiredString("query");
    std::vector<Match> matches;
    if (query.empty())
        return encoded(matches);
    for (const MuxleAgent& agent : services.engine.muxle().agents()) {
        const auto record = services.engine.transcript(agent);
        if (auto match = record ? lastMatch(agent, *record, query) : std::nullopt)
            matches.push_back(*std::move(match));
    }
    return encoded(matches);
}

} // namespace tarnel::Methods
