#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Attention/CardBuilder.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <map>
#include <set>
#include <tuple>
#include <utility>

namespace tarnel {

namespace {

constexpr std::size_t screenTailLines = 14; // shown on the card
constexpr std::size_t identityLines = 8;    // tell one screen from another
constexpr std::size_t modeLines = 8;        // where an agent's footer stands

/// Adds up the time spent between `start` and `stop`.
class Stopwatch {
public:
    explicit Stopwatch(const Clock& time)
        : clock(time)
    {
    }
    template <class Work>
    auto time(Work work)
    {
        struct Stop {
            Stopwatch& watch;
            Clock::Instant began;
            ~Stop() { watch.total += watch.clock.elapsed() - began; }
        };
        const Stop stop{*this, clock.elapsed()};
        return work();
    }
    [[nodiscard]] std::string milliseconds() const
    {
        return std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(total).count());
    }

private:
    const Clock& clock;
    std::chrono::nanoseconds total{0};
};

/// The member `name` of the object in the result of "session.snapshot".
const JSON* snapshotMember(const JSON& result, std::string_view name)
{
    const JSON* snapshot = result["snapshot"];
    return snapshot ? (*snapshot)[name] : nullptr;
}

std::vector<std::string> labels(const std::vector<ScreenReading::MenuOption>& menu)
{
    std::vector<std::string> result;
    for (const auto& option : menu)
        result.push_back(option.label);
    return result;
}

AttentionKind kindOf(const std::optional<Pending>& pending)
{
    if (!pending)
        return AttentionKind::blocked;
    struct {
        AttentionKind operator()(const PendingQuestion&) const { return AttentionKind::question; }
        AttentionKind operator()(const PendingPlan&) const { return AttentionKind::plan; }
        AttentionKind operator()(const PendingPermission&) const { return AttentionKind::permission; }
    } kind;
    return std::visit(kind, *pending);
}

int rank(const AttentionItem& item) { return item.card.status == AgentStatus::blocked ? 0 : group(item.kind); }

} // namespace

/// What the multiplexer lists.
struct AttentionEngine::Listing {
    std::vector<MuxleAgent> agents;
    std::vector<MuxleWorkspace> workspaces;
    std::optional<std::vector<MuxleTab>> tabs;
    std::optional<std::vector<TabLayout>> layouts;
};

/// Why an agent needs the user, and the screen that was looked at.
struct AttentionEngine::Finding {
    AttentionKind kind = AttentionKind::blocked;
    bool screenAsking = false;
    std::optional<std::string> screen;
};

AttentionEngine::AttentionEngine(MuxleClient muxle, std::string machine, QueueOptions queueOptions, World surroundings)
    : client(std::move(muxle))
    , machineName(std::move(machine))
    , options(std::move(queueOptions))
    , world(std::move(surroundings))
    , locator(world.home, world.clock)
    , transcripts(world.home)
{
}

std::string AttentionEngine::localMachineName()
{
    const std::string host = hostName();
    const auto pieces = Text::splitNonEmpty(host, '.');
    return pieces.empty() ? std::string() : Text::lowercased(pieces.front());
}

AttentionEngine::Listing AttentionEngine::list(const MuxleClient& muxle) const
{
    // The agent list has newer counts of state changes; it goes along, and is not needed when the snapshot fails.
    const auto outcomes = muxle.requestAll({{"session.snapshot", {}}, {"agent.list", {}}});
    const JSON* session = std::get_if<JSON>(&outcomes[0]);
    const JSON* panes = session ? snapshotMember(*session, "panes") : nullptr;
    if (!panes || !panes->array()) {
        const auto lists = muxle.requestAll({{"pane.list", {}}, {"workspace.list", {}}});
        if (const auto* failure = std::get_if<std::exception_ptr>(&lists[0]))
            std::rethrow_exception(*failure);
        const JSON* workspaces = std::get_if<JSON>(&lists[1]);
        return {.agents = MuxleClient::decodeList<MuxleAgent>(std::get<JSON>(lists[0])["panes"]),
            .workspaces = MuxleClient::decodeList<MuxleWorkspace>(workspaces ? (*workspaces)["workspaces"] : nullptr)};
    }
    Listing listing{.agents = MuxleClient::decodeList<MuxleAgent>(panes),
        .workspaces = MuxleClient::decodeList<MuxleWorkspace>(snapshotMember(*session, "workspaces")),
        .tabs = MuxleClient::decodeList<MuxleTab>(snapshotMember(*session, "tabs")),
        .layouts = MuxleClient::decodeList<TabLayout>(snapshotMember(*session, "layouts"))};
    std::map<std::string, std::int64_t> stateChanges;
    const JSON* agents = std::get_if<JSON>(&outcomes[1]);
    for (const MuxleAgent& agent : MuxleClient::decodeList<MuxleAgent>(agents ? (*agents)["agents"] : nullptr))
        stateChanges.emplace(agent.paneID, agent.stateChangeSeq);
    for (MuxleAgent& agent : listing.agents) {
        if (const auto newer = stateChanges.find(agent.paneID); newer != stateChanges.end())
            agent.stateChangeSeq = newer->second;
    }
    return listing;
}

/// Reads, side by side, the screens that the decisions below are sure to look at.
void AttentionEngine::readScreens(
    const MuxleClient& muxle, const std::vector<MuxleAgent>& agents, std::vector<PaneScreens>& screens) const
{
    using Set = void (PaneScreens::*)(const MuxleTransport::Outcome&);
    std::vector<MuxleTransport::Call> calls;
    std::vector<std::pair<PaneScreens*, Set>> takers;
    for (std::size_t i = 0; i < agents.size(); ++i) {
        const MuxleAgent& agent = agents[i];
        if (!agent.isAgent())
            continue;
        const bool isQuiet = agent.status == AgentStatus::idle || agent.status == AgentStatus::unknown;
        const bool decides = agent.status == AgentStatus::blocked || (isQuiet && options.checkIdleScreens);
        if (agent.kind() == AgentKind::claude || (decides && !isMuted(agent))) {
            calls.push_back(screens[i].visibleCall());
            takers.emplace_back(&screens[i], &PaneScreens::setVisible);
        }
        if (agent.status == AgentStatus::done && !isMuted(agent)) {
            calls.push_back(screens[i].detectionCall());
            takers.emplace_back(&screens[i], &PaneScreens::setDetection);
        }
    }
    const auto outcomes = muxle.requestAll(calls);
    for (std::size_t i = 0; i < outcomes.size(); ++i)
        (takers[i].first->*takers[i].second)(outcomes[i]);
}

MachineSnapshot AttentionEngine::snapshot()
{
    const MuxleClient muxle = client.limited(world.clock, MuxleClient::usualTimeout);
    Stopwatch listTime(world.clock);
    Stopwatch itemTime(world.clock);
    Stopwatch lineTime(world.clock);
    Stopwatch modeTime(world.clock);

    Listing listing = listTime.time([&] { return list(muxle); });
    std::vector<PaneScreens> screens;
    screens.reserve(listing.agents.size());
    for (const MuxleAgent& agent : listing.agents)
        screens.emplace_back(muxle, agent.paneID);
    itemTime.time([&] { readScreens(muxle, listing.agents, screens); });

    std::map<std::string, std::string> spaces;
    for (const MuxleWorkspace& workspace : listing.workspaces)
        spaces.emplace(workspace.workspaceID, workspace.label);
    std::vector<AttentionItem> queue;
    std::map<std::string, StatusLine> lines;
    std::set<RecordPlace> records;
    for (std::size_t i = 0; i < listing.agents.size(); ++i) {
        const MuxleAgent& agent = listing.agents[i];
        if (!agent.isAgent())
            continue;
        const auto space = spaces.find(agent.workspaceID);
        const std::string& spaceLabel = space != spaces.end() ? space->second : agent.workspaceID;
        const auto record = itemTime.time([&] { return place(agent); });
        if (record)
            records.insert(*record);
        if (auto found = itemTime.time([&] { return item(agent, record, spaceLabel, screens[i]); }))
            queue.push_back(*std::move(found));
        StatusLine line;
        if (record)
            line = lineTime.time([&] { return statusLines.statusLine(*record); }).value_or(StatusLine());
        if (agent.kind() == AgentKind::claude) {
            modeTime.time([&] {
                if (const auto& text = screens[i].visible()) {
                    const auto all = Text::split(*text, '\n');
                    const std::size_t first = all.size() > modeLines ? all.size() - modeLines : 0;
                    const auto start = static_cast<std::size_t>(all[first].data() - text->data());
                    line.mode = ScreenReading::claudeMode(std::string_view(*text).substr(start));
                }
            });
        }
        if (!line.isEmpty())
            lines.insert_or_assign(agent.paneID, std::move(line));
        else
            lines.erase(agent.paneID);
    }
    world.diagnostics("TMP stages items " + itemTime.milliseconds() + " lines " + lineTime.milliseconds() + " mode "
        + modeTime.milliseconds() + " muxle-lists " + listTime.milliseconds());
    transcripts.retain(records); // what panes that are gone had read is dropped
    statusLines.retain(records);
    order(queue, options.order == "oldest");
    return {.machine = machineName,
        .takenAt = world.clock.now(),
        .workspaces = std::move(listing.workspaces),
        .agents = std::move(listing.agents),
        .queue = std::move(queue),
        .tabs = std::move(listing.tabs),
        .layouts = std::move(listing.layouts),
        .statusLines = std::move(lines)};
}

bool AttentionEngine::isMuted(const MuxleAgent& agent) const
{
    return options.mutedPanes.contains(agent.paneID) || (agent.name && options.mutedAgentNames.contains(*agent.name));
}

std::optional<AttentionItem> AttentionEngine::item(
    const MuxleAgent& agent, const std::string& space, PaneScreens& screens)
{
    return item(agent, place(agent), space, screens);
}

std::optional<AttentionItem> AttentionEngine::item(const MuxleAgent& agent, const std::optional<RecordPlace>& recordPlace,
    const std::string& space, PaneScreens& screens)
{
    if (isMuted(agent) || agent.status == AgentStatus::working)
        return std::nullopt;
    if (agent.status == AgentStatus::idle || agent.status == AgentStatus::unknown)
        return idleAskingItem(agent, recordPlace, space, screens);

    const std::shared_ptr<const Transcript> record = read(recordPlace);
    std::optional<Finding> finding = find(agent, record.get(), screens);
    if (!finding)
        return std::nullopt;
    const std::string screen = finding->screen.value_or("");
    const std::optional<Pending> pending = record ? record->pending : std::nullopt;
    const std::string identity = pending ? identityText(*pending)
        : finding->kind == AttentionKind::finished
        ? (record ? record->lastAssistantMessage.value_or("") : "")
        : tail(screen, identityLines);
    AttentionItem item = makeItem(agent, space, record.get(), *finding, identity);
    if (finding->kind == AttentionKind::finished && agent.kind() == AgentKind::claude) {
        const auto colored = screens.colored();
        if (const auto suggestion = colored ? ScreenReading::suggestion(*colored) : std::nullopt)
            item.choices = AttentionItem::choicesFor(pending, {*suggestion});
    }
    if (record)
        item.waitingSince = record->pendingSince ? record->pendingSince : record->lastActivity;
    return item;
}

/// The item without the time since which it waits.
AttentionItem AttentionEngine::makeItem(const MuxleAgent& agent, const std::string& space, const Transcript* record,
    const Finding& finding, const std::string& identity) const
{
    std::optional<std::string> screenTail;
    if (finding.screen)
        screenTail = tail(*finding.screen, screenTailLines);
    AttentionItem item;
    item.kind = finding.kind;
    item.fingerprint = {machineName, agent.paneID, agent.stateChangeSeq, finding.kind, Fingerprint::hash(identity)};
    item.card = CardBuilder::build(machineName, agent, space, record, std::move(screenTail));
    item.stateChangeSeq = agent.stateChangeSeq;
    item.revision = agent.revision;
    item.screenAsking = finding.screenAsking;
    item.choices = AttentionItem::choicesFor(
        item.card.pending, labels(ScreenReading::menu(finding.screen ? std::string_view(*finding.screen) : "")));
    return item;
}

std::optional<AttentionEngine::Finding> AttentionEngine::find(
    const MuxleAgent& agent, const Transcript* record, PaneScreens& screens) const
{
    if (agent.status == AgentStatus::done)
        return findDone(record, screens);
    return Finding{kindOf(record ? record->pending : std::nullopt), false, screens.visible()};
}

std::optional<AttentionEngine::Finding> AttentionEngine::findDone(const Transcript* record, PaneScreens& screens) const
{
    Finding finding{.screen = screens.detection().value_or("")};
    const auto found = [&](AttentionKind kind) {
        finding.kind = kind;
        return finding;
    };
    if (ScreenReading::isQuestionScreen(*finding.screen, options.questionMarkers)) {
        finding.screenAsking = true;
        return found(AttentionKind::asking);
    }
    const bool holdsQuestion = record && record->pending && !std::holds_alternative<PendingPermission>(*record->pending);
    if (options.askingFromRecords && holdsQuestion)
        return found(AttentionKind::asking);
    if (record && record->errorMessage)
        return found(AttentionKind::error);
    if (!options.includeFinished)
        return std::nullopt;
    if (record && record->lastActivity) {
        const std::chrono::duration<double> since = world.clock.now() - *record->lastActivity;
        if (since.count() < options.finishedAfterSeconds)
            return std::nullopt;
    }
    return found(AttentionKind::finished);
}

std::optional<AttentionItem> AttentionEngine::idleAskingItem(const MuxleAgent& agent,
    const std::optional<RecordPlace>& recordPlace, const std::string& space, PaneScreens& screens)
{
    if (!options.checkIdleScreens)
        return std::nullopt;
    const std::optional<std::string>& screen = screens.visible();
    if (!screen || !ScreenReading::isQuestionScreen(*screen, options.questionMarkers))
        return std::nullopt;
    const std::shared_ptr<const Transcript> record = read(recordPlace);
    AttentionItem item = makeItem(
        agent, space, record.get(), {AttentionKind::asking, true, screen}, tail(*screen, identityLines));
    if (record)
        item.waitingSince = record->lastActivity;
    return item;
}

std::optional<RecordPlace> AttentionEngine::place(const MuxleAgent& agent)
{
    return locator.locate(agent.kind(), agent.sessionID, agent.cwd);
}

std::shared_ptr<const Transcript> AttentionEngine::read(const std::optional<RecordPlace>& record)
{
    return record ? transcripts.transcript(*record) : nullptr;
}

std::shared_ptr<const Transcript> AttentionEngine::transcript(const MuxleAgent& agent) { return read(place(agent)); }

std::optional<StatusLine> AttentionEngine::statusLine(const MuxleAgent& agent)
{
    const auto record = place(agent);
    return record ? statusLines.statusLine(*record) : std::nullopt;
}

std::string AttentionEngine::spaceName(const MuxleAgent& agent, const std::vector<MuxleWorkspace>& workspaces)
{
    for (const MuxleWorkspace& workspace : workspaces) {
        if (workspace.workspaceID == agent.workspaceID)
            return workspace.label;
    }
    return agent.workspaceID;
}

void AttentionEngine::order(std::vector<AttentionItem>& items, bool oldestFirst)
{
    std::stable_sort(items.begin(), items.end(), [&](const AttentionItem& a, const AttentionItem& b) {
        if (rank(a) != rank(b))
            return rank(a) < rank(b);
        if (a.stateChangeSeq != b.stateChangeSeq)
            return oldestFirst ? a.stateChangeSeq < b.stateChangeSeq : a.stateChangeSeq > b.stateChangeSeq;
        // The rest is the same for both orders: the most recent output first.
        return std::tie(b.revision, b.card.paneID) < std::tie(a.revision, a.card.paneID);
    });
}

const AttentionItem* AttentionEngine::next(
    const std::vector<AttentionItem>& items, const std::optional<std::string>& after, bool includeFinished)
{
    std::vector<const AttentionItem*> candidates;
    for (const AttentionItem& item : items) {
        if (includeFinished || item.kind != AttentionKind::finished)
            candidates.push_back(&item);
    }
    if (candidates.empty())
        return nullptr;
    for (std::size_t i = 0; after && i < candidates.size(); ++i) {
        if (candidates[i]->card.paneID == *after)
            return candidates[(i + 1) % candidates.size()];
    }
    return candidates.front();
}

std::string AttentionEngine::tail(std::string_view text, std::size_t count)
{
    std::size_t end = text.size();
    const auto lineStart = [&](std::size_t lineEnd) {
        const std::size_t feed = lineEnd == 0 ? text.npos : text.rfind('\n', lineEnd - 1);
        return feed == text.npos ? 0 : feed + 1;
    };
    while (Text::trimmedBlanks(text.substr(lineStart(end), end - lineStart(end))).empty()) {
        if (lineStart(end) == 0)
            return {};
        end = lineStart(end) - 1;
    }
    std::size_t start = lineStart(end);
    for (std::size_t taken = 1; taken < count && start > 0; ++taken)
        start = lineStart(start - 1);
    return std::string(text.substr(start, end - start));
}

} // namespace tarnel
