#include "muxle-tmux/ModelBuilder.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/QuestionMarkers.h"
#include "muxle-tmux/AgentCommand.h"
#include "muxle-tmux/ProcessTable.h"
#include <algorithm>
#include <limits>
#include <tuple>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr auto warmth = 3s; // a program may need so long after its last output to become an agent
constexpr auto redrawing = 1500ms; // how long a program may take to redraw when its pane changes
constexpr auto inspectionInterval = 5s; // of panes that do not move
constexpr auto sessionInterval = 2s;
constexpr std::size_t questionLines = 25; // dialogs stand at the end of the text

/// Whether an agent that has fallen quiet waits for an answer.
bool asks(const std::string& screen)
{
    static const std::vector<std::string> markers(defaultQuestionMarkers.begin(), defaultQuestionMarkers.end());
    auto lines = Text::split(screen, '\n');
    while (!lines.empty() && Text::isBlank(lines.back()))
        lines.pop_back();
    if (lines.size() > questionLines)
        lines.erase(lines.begin(), lines.end() - questionLines);
    const std::string end = Text::joined(lines, "\n");
    const auto menu = ScreenReading::menu(end);
    const auto isSelected = [](const ScreenReading::MenuOption& each) { return each.selected; };
    return std::any_of(menu.begin(), menu.end(), isSelected) || ScreenReading::isQuestionScreen(end, markers);
}

std::size_t fingerprintOf(const std::string& screen, const ListedPane& pane)
{
    std::size_t hash = std::hash<std::string>()(screen);
    for (const std::int64_t each : {pane.cursorX, pane.cursorY, pane.history})
        hash = hash * 31 + static_cast<std::size_t>(each);
    return hash * 31 + std::hash<std::string>()(pane.title);
}

/// The place that counts where a window has several: that in the oldest session.
std::map<std::int64_t, const ListedWindow*> placesOf(const std::vector<ListedWindow>& windows)
{
    std::map<std::int64_t, const ListedWindow*> places;
    for (const ListedWindow& each : windows) {
        const ListedWindow*& place = places[each.window];
        if (!place || std::tie(each.session, each.index) < std::tie(place->session, place->index))
            place = &each;
    }
    return places;
}

std::int64_t secondsOf(Timestamp time)
{
    return std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
}

Timestamp timestampOf(std::int64_t seconds) { return Timestamp(std::chrono::seconds(seconds)); }

} // namespace

ModelBuilder::ModelBuilder(std::string home)
    : sessionFinder(std::move(home))
{
}

std::vector<std::int64_t> ModelBuilder::panesToRead(
    const std::vector<ListedWindow>& windows, const std::vector<ListedPane>& panes) const
{
    std::set<std::int64_t> movedWindows;
    for (const ListedWindow& each : windows) {
        if (each.activity >= lastSurveySecond)
            movedWindows.insert(each.window);
    }
    std::vector<std::int64_t> wanted;
    for (const ListedPane& each : panes) {
        const auto state = states.find(each.pane);
        if (movedWindows.contains(each.window) || state == states.end() || state->second.width != each.width
            || state->second.height != each.height)
            wanted.push_back(each.pane);
    }
    return wanted;
}

void ModelBuilder::noteFocus(const FocusRequest& request)
{
    focusRequest = request;
    requestedPane = request.pane;
}

void ModelBuilder::noteOwnActivity(std::int64_t session, std::int64_t listed, std::int64_t really)
{
    ownActivity[session] = {listed, really};
}

bool ModelBuilder::isWarm(Clock::Instant now) const
{
    return isUnsettled || std::any_of(states.begin(), states.end(), [&](const auto& each) {
        return each.second.moved && now - *each.second.moved < warmth;
    });
}

void ModelBuilder::forgetAll()
{
    states.clear();
    layouts.clear();
    focusedSession.reset();
    focusRequest.reset();
    requestedPane.reset();
    recordSessions.clear();
    lastSurveySecond = 0;
}

Model ModelBuilder::build(const Survey& survey, const std::function<std::string(std::int64_t)>& readScreen)
{
    if (survey.server != server)
        forgetAll();
    server = survey.server;
    Model model;
    model.server = survey.server;
    buildSessions(survey, model);
    buildWindows(survey, model);
    chooseFocus(survey, model);
    for (const WindowModel& window : model.windows) {
        for (const ListedPane& listed : survey.panes) {
            if (listed.window == window.number)
                buildPane(survey, listed, model, readScreen);
        }
    }
    std::erase_if(states, [&](const auto& each) { return !model.pane(each.first); });
    findSessions(survey, model);
    requestedPane.reset();
    lastSurveySecond = secondsOf(survey.time);
    isUnsettled = std::any_of(survey.windows.begin(), survey.windows.end(),
        [&](const ListedWindow& each) { return each.activity >= lastSurveySecond; });
    return model;
}

void ModelBuilder::buildSessions(const Survey& survey, Model& model)
{
    static constexpr auto behindAll = std::numeric_limits<std::int64_t>::max();
    std::vector<const ListedSession*> sessions;
    for (const ListedSession& each : survey.sessions)
        sessions.push_back(&each);
    std::sort(sessions.begin(), sessions.end(), [](const ListedSession* a, const ListedSession* b) {
        return std::pair(a->place.value_or(behindAll), a->session)
            < std::pair(b->place.value_or(behindAll), b->session);
    });
    for (const ListedSession* each : sessions)
        model.sessions.push_back({.number = each->session, .name = each->name});
    for (SessionModel& session : model.sessions) {
        for (const ListedWindow& each : survey.windows) {
            if (each.session == session.number && each.isActive)
                session.activeWindow = each.window;
        }
    }
}

void ModelBuilder::buildWindows(const Survey& survey, Model& model)
{
    std::vector<const LayoutCell*> former;
    for (const auto& each : layouts)
        former.push_back(&each.second);
    for (const auto& [number, place] : placesOf(survey.windows)) {
        auto layout = Layout::parse(place->layout);
        if (!layout)
            continue; // cannot be, short of a form of layouts that we do not know
        const auto known = layouts.find(number);
        Layout::takeMarks(*layout, former, known == layouts.end() ? nullptr : &known->second);
        model.windows.push_back({.number = number,
            .session = place->session,
            .index = place->index,
            .name = place->name,
            .isZoomed = place->isZoomed,
            .activePane = place->activePane,
            .layout = *std::move(layout)});
    }
    layouts.clear();
    for (const WindowModel& each : model.windows)
        layouts[each.number] = each.layout;
    std::sort(model.windows.begin(), model.windows.end(), [](const WindowModel& a, const WindowModel& b) {
        return std::tie(a.session, a.index, a.number) < std::tie(b.session, b.index, b.number);
    });
}

void ModelBuilder::chooseFocus(const Survey& survey, Model& model)
{
    // Ranked by who tells: a terminal, a program that shows tmux's windows as its own, the sessions themselves.
    struct Claim {
        int rank = 0;
        Timestamp time = {};
        bool isPresent = false; // holds the focus already: it stays where two claims are equal
        std::int64_t session = 0;
        auto operator<=>(const Claim&) const = default;
    };
    Claim best{.rank = -1};
    std::int64_t newestClient = -1;
    const auto consider = [&](int rank, Timestamp time, std::int64_t session) {
        best = std::max(best, Claim{rank, time, session == focusedSession, session});
    };
    isWatched = false;
    for (const ListedClient& each : survey.clients) {
        if (each.process == survey.ownProcess)
            continue;
        consider(each.isControl ? 1 : 2, timestampOf(each.activity), each.session);
        isWatched = isWatched || !each.isControl;
        if (!each.isControl && each.activity > newestClient) {
            newestClient = each.activity;
            model.userClient = each.name;
        }
    }
    for (const ListedSession& each : survey.sessions) {
        const auto own = ownActivity.find(each.session);
        const bool isOwn = own != ownActivity.end() && own->second.first == each.activity;
        Timestamp time = timestampOf(isOwn ? own->second.second : each.activity);
        if (focusRequest && focusRequest->session == each.session)
            time = std::max(time, focusRequest->time);
        consider(0, time, each.session);
    }
    focusedSession = best.rank >= 0 ? std::optional(best.session) : std::nullopt;
    for (SessionModel& each : model.sessions)
        each.isFocused = each.number == focusedSession;
}

void ModelBuilder::buildPane(const Survey& survey, const ListedPane& listed, Model& model,
    const std::function<std::string(std::int64_t)>& readScreen)
{
    const WindowModel& window = *model.window(listed.window);
    const SessionModel* focused = focusedSession ? model.session(*focusedSession) : nullptr;
    const bool isNew = !states.contains(listed.pane);
    PaneState& state = states[listed.pane];
    PaneModel pane{.number = listed.pane,
        .window = listed.window,
        .session = window.session,
        .title = survey.hostNames.contains(listed.title) ? std::string() : listed.title,
        .name = listed.name,
        .isFocused = focused && focused->activeWindow == listed.window && window.activePane == listed.pane,
        .isActive = window.activePane == listed.pane,
        .isDead = listed.isDead,
        .isAlternate = listed.isAlternate,
        .history = listed.history,
        .width = listed.width,
        .height = listed.height};

    const bool isResized = !isNew && (state.width != listed.width || state.height != listed.height);
    state.width = listed.width;
    state.height = listed.height;
    if (isResized || (!isNew && pane.isFocused != state.wasFocused))
        state.disturbed = survey.now;
    bool hasMoved = false;
    if (const auto screen = survey.screens.find(listed.pane); screen != survey.screens.end()) {
        const std::size_t fingerprint = fingerprintOf(screen->second, listed);
        hasMoved = !isNew && fingerprint != state.fingerprint;
        state.fingerprint = fingerprint;
    }
    if (hasMoved) {
        ++state.revision;
        state.moved = survey.now;
        state.movedAt = survey.time;
    }
    pane.revision = state.revision;

    const bool isWarm = state.moved && survey.now - *state.moved < warmth;
    if (listed.isDead) {
        state.foreground = {};
    } else if (isWarm || !state.inspected || survey.now - *state.inspected >= inspectionInterval) {
        state.foreground = inspector.inspect(listed.process, survey.now);
        state.inspected = survey.now;
    }
    pane.cwd = state.foreground.cwd;
    pane.foregroundCwd = state.foreground.foregroundCwd;
    updateStatus(survey, listed, pane, state, hasMoved, readScreen);
    state.wasFocused = pane.isFocused;
    model.panes.push_back(std::move(pane));
}

void ModelBuilder::updateStatus(const Survey& survey, const ListedPane& listed, PaneModel& pane, PaneState& state,
    bool hasMoved, const std::function<std::string(std::int64_t)>& readScreen)
{
    if (!listed.isDead)
        pane.agent = listed.agent.empty() ? state.foreground.agent : listed.agent;
    if (pane.agent != state.agent)
        state.tracker = {};
    if (pane.agent) {
        const bool isComeTo = (pane.isFocused && !state.wasFocused) || requestedPane == pane.number;
        const bool isOwnMove = !state.disturbed || survey.now - *state.disturbed >= redrawing;
        const StatusTracker::Sight sight{.now = survey.now,
            .hasMoved = hasMoved,
            .isOwnMove = isOwnMove,
            .hasSpinner = reconciledStatus("idle", listed.title) == AgentStatus::working,
            .isSeen = isComeTo || (pane.isFocused && isWatched)};
        const AgentStatus seen = state.tracker.update(sight, [&] { return asks(readScreen(pane.number)); });
        pane.status = enumNamed<AgentStatus>(listed.agentStatus).value_or(seen);
    }
    if (pane.status != state.status || pane.agent != state.agent)
        state.stateChangeSeq = ++statusChanges;
    state.status = pane.status;
    state.agent = pane.agent;
    pane.stateChangeSeq = state.stateChangeSeq;
}

void ModelBuilder::findSessions(const Survey& survey, Model& model)
{
    std::vector<SessionSeeker> seekers;
    std::set<std::string> taken;
    std::map<std::int64_t, const ListedPane*> listed;
    for (const ListedPane& each : survey.panes)
        listed[each.pane] = &each;
    bool isNew = false;
    for (PaneModel& pane : model.panes) {
        if (!pane.agent)
            continue;
        const PaneState& state = states[pane.number];
        const Foreground& foreground = state.foreground;
        if (const std::string& option = listed[pane.number]->agentSession; !option.empty()) {
            pane.agentSession = option;
            pane.agentSessionSource = "option";
        } else if (auto session = AgentCommand::session(foreground.arguments)) {
            pane.agentSession = std::move(session);
            pane.agentSessionSource = "arguments";
        }
        if (pane.agentSession) {
            taken.insert(*pane.agentSession);
            continue;
        }
        if (foreground.process == 0 || foreground.isShell) // the option names an agent that does not run
            continue;
        isNew = isNew || !recordSessions.contains(foreground.process);
        seekers.push_back({.process = foreground.process,
            .kind = agentKind(*pane.agent),
            .cwd = foreground.foregroundCwd.value_or(foreground.cwd),
            .started = foreground.started,
            .moved = state.movedAt});
    }
    const bool isDue = !sessionsFound || survey.now - *sessionsFound >= sessionInterval;
    if (isDue && (isNew || isWarm(survey.now))) {
        for (SessionSeeker& each : seekers)
            each.openFiles = ProcessTable::openFiles(each.process);
        recordSessions = sessionFinder.find(seekers, taken);
        sessionsFound = survey.now;
    }
    for (PaneModel& pane : model.panes) {
        const auto found = recordSessions.find(states[pane.number].foreground.process);
        if (pane.agent && !pane.agentSession && found != recordSessions.end()) {
            pane.agentSession = found->second;
            pane.agentSessionSource = "record";
        }
    }
}

} // namespace tarnel::tmux
