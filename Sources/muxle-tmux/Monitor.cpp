#include "muxle-tmux/Monitor.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/Thread.h"
#include "TarnelCore/Base/UUID.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/TmuxError.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <exception>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr auto probeInterval = 250ms; // while panes move
constexpr auto restingInterval = 400ms; // while none does
constexpr auto fullInterval = 5s; // of surveys when no probe tells of a change
constexpr auto debounce = 30ms; // after a hint: changes come in groups
constexpr auto retryInterval = 500ms; // while there is no server
constexpr auto reattachPause = 50ms;
constexpr auto patience = 5s; // with a server that does not answer

/// Hints that something has changed which a survey tells. Output and messages are no such hint.
constexpr std::array<std::string_view, 15> hints{"layout-change", "window-add", "window-close", "window-renamed",
    "unlinked-window-add", "unlinked-window-close", "unlinked-window-renamed", "session-changed", "session-renamed",
    "session-window-changed", "sessions-changed", "window-pane-changed", "client-session-changed", "client-detached",
    "pane-mode-changed"};

ControlClient::Deadline deadline() { return std::chrono::steady_clock::now() + patience; }

std::string randomWord()
{
    const std::string id = randomUUID();
    return std::string("z").append(id, 0, 8);
}

} // namespace

Monitor::Monitor(TmuxAddress address, std::string home, Handlers given)
    : server(std::move(address))
    , handlers(std::move(given))
    , listing(randomWord())
    , builder(std::move(home))
    , model(std::make_shared<const Model>())
{
    thread = std::thread([this] { follow(); });
}

Monitor::~Monitor()
{
    {
        MutexLock lock(mutex);
        isStopping = true;
    }
    changed.notifyAll();
    thread.join();
}

ModelPointer Monitor::freshModel(Deadline limit)
{
    MutexLock lock(mutex);
    const std::uint64_t wanted = ++requested;
    changed.notifyAll();
    while (answered < wanted) {
        if (isStopping || !changed.waitUntil(mutex, limit))
            throw TmuxError::timeout();
    }
    return model;
}

ModelPointer Monitor::latestModel()
{
    MutexLock lock(mutex);
    return model;
}

std::shared_ptr<ControlClient> Monitor::client()
{
    MutexLock lock(mutex);
    if (!current || current->hasEnded())
        throw TmuxError::unavailable("no tmux server is running on " + server.socketPath());
    return current;
}

std::string Monitor::run(const std::string& command, Deadline limit) { return client()->run(command, limit); }

void Monitor::noteFocus(std::int64_t session, std::optional<std::int64_t> pane)
{
    MutexLock lock(mutex);
    focus = FocusRequest{session, pane, Clock::system().now()};
}

void Monitor::leaveSession(std::int64_t session, Deadline limit)
{
    const auto control = client();
    if (control->run("display-message -p \"#{session_id}\"", limit) != numbered("$", session))
        return;
    const ModelPointer now = freshModel(limit);
    for (const SessionModel& other : now->sessions) {
        if (other.number != session) {
            control->run("switch-client -t " + sessionTarget(other.number), limit);
            return;
        }
    }
}

void Monitor::setClient(std::shared_ptr<ControlClient> client)
{
    std::shared_ptr<ControlClient> former; // is destroyed without the lock
    MutexLock lock(mutex);
    former = std::exchange(current, std::move(client));
}

void Monitor::notified(const ControlNotification& notification)
{
    if (std::find(hints.begin(), hints.end(), notification.name) == hints.end())
        return;
    {
        MutexLock lock(mutex);
        if (!hinted)
            hinted = Clock::system().elapsed();
    }
    changed.notifyAll();
}

bool Monitor::wait(std::chrono::milliseconds longest)
{
    const Clock::Instant end = Clock::system().elapsed() + longest;
    MutexLock lock(mutex);
    for (;;) {
        if (isStopping || requested > answered || (current && current->hasEnded()))
            break;
        const Clock::Instant due = hinted ? std::min(end, *hinted + debounce) : end;
        if (Clock::system().elapsed() >= due)
            break;
        changed.waitUntil(mutex, due);
    }
    return !isStopping;
}

void Monitor::follow()
{
    setThreadName("tmux.monitor");
    do {
        try {
            if (const auto attachment = chooseSession())
                followSession(*attachment);
            else
                publishNothing();
        } catch (const std::exception& error) {
            if (error.what() != lastComplaint)
                handlers.log(error.what());
            lastComplaint = error.what();
        }
    } while (wait(retryInterval));
}

void Monitor::followSession(const Attachment& attachment)
{
    const auto control =
        std::make_shared<ControlClient>(server, numbered("$", attachment.session), "ignore-size,no-output",
            ControlClient::Handlers{
                [this](const ControlNotification& each) { notified(each); }, [this] { changed.notifyAll(); }});
    setClient(control);
    try {
        followClient(*control, attachment);
    } catch (const TmuxError& error) {
        if (error.code == TmuxError::timeout().code) {
            setClient(nullptr);
            throw;
        } // else the session has gone while it was asked about
    }
    setClient(nullptr);
    pause(reattachPause);
}

/// Without this, requests that wait would make us attach over and over to a session that will not have us.
void Monitor::pause(std::chrono::milliseconds duration)
{
    const Clock::Instant end = Clock::system().elapsed() + duration;
    MutexLock lock(mutex);
    while (!isStopping && changed.waitUntil(mutex, end)) { }
}

void Monitor::publishNothing()
{
    std::uint64_t asked = 0;
    {
        MutexLock lock(mutex);
        asked = requested;
    }
    publish(Model(), asked);
}

std::optional<Monitor::Attachment> Monitor::chooseSession() const
{
    if (!server.isServed())
        return std::nullopt;
    const auto text = server.output({"list-sessions", "-F", "#{session_id} #{session_activity}"}, patience);
    if (!text)
        return std::nullopt;
    // The one that was used last: attaching counts as use, and so changes nothing in the order of the sessions.
    std::optional<Attachment> best;
    for (const std::string_view line : Text::splitNonEmpty(*text, '\n')) {
        const auto words = Text::splitNonEmpty(line, ' ');
        Attachment each;
        if (words.size() != 2)
            continue;
        const auto session = numberOf('$', words[0]);
        std::from_chars(words[1].data(), words[1].data() + words[1].size(), each.activity);
        if (!session)
            continue;
        each.session = *session;
        if (!best || each.activity > best->activity)
            best = each;
    }
    return best;
}

void Monitor::followClient(ControlClient& control, const Attachment& attachment)
{
    // A suspended client does not count as attached: the session looks to its user, to its programs and to tmux itself
    // as if we were not there. Switching to where we are makes tmux count anew.
    control.run("suspend-client", deadline());
    control.run("switch-client -t " + sessionTarget(attachment.session), deadline());
    const std::string about =
        control.run("display-message -p \"#{client_pid}|#{pid}-#{start_time}|#{host}|#{host_short}\"", deadline());
    const auto fields = Text::split(about, '|');
    if (fields.size() != 4)
        throw TmuxError::unavailable("cannot understand what tmux says of itself");
    std::from_chars(fields[0].data(), fields[0].data() + fields[0].size(), ownProcess);
    serverID = std::string(fields[1]);
    hostNames = {std::string(fields[2]), std::string(fields[3])};
    unsettled = attachment;
    lastProbe.clear();
    lastComplaint.clear();
    do {
        if (!survey(control))
            return;
    } while (wait(builder.isWarm(Clock::system().elapsed()) ? probeInterval : restingInterval));
}

/// Asks what has changed. Returns false once the client has ended.
bool Monitor::survey(ControlClient& control)
{
    std::uint64_t asked = 0;
    bool isHinted = false;
    std::optional<FocusRequest> focused;
    {
        MutexLock lock(mutex);
        if (isStopping || control.hasEnded())
            return false;
        isHinted = hinted.has_value() || requested > answered || focus.has_value();
        asked = requested;
        hinted.reset();
        focused = std::exchange(focus, {});
    }
    if (focused)
        builder.noteFocus(*focused);
    const Clock::Instant now = Clock::system().elapsed();
    const Timestamp time = Clock::system().now();
    ControlClient::Pending probe = control.start(Listing::probeCommand());
    ControlClient::Pending clients = control.start(listing.clientsCommand());
    std::string probed = ControlClient::result(probe, deadline());
    const std::string clientList = ControlClient::result(clients, deadline());
    probed += clientList;
    const bool isDue = isHinted || probed != lastProbe || builder.isWarm(now) || now - lastSurvey >= fullInterval;
    if (!isDue)
        return true;
    lastProbe = std::move(probed);
    lastSurvey = now;

    ControlClient::Pending sessions = control.start(listing.sessionsCommand());
    ControlClient::Pending windows = control.start(listing.windowsCommand());
    ControlClient::Pending panes = control.start(listing.panesCommand());
    Survey found{.server = serverID, .hostNames = hostNames, .ownProcess = ownProcess, .now = now, .time = time};
    found.clients = listing.clients(clientList);
    found.sessions = listing.sessions(ControlClient::result(sessions, deadline()));
    found.windows = listing.windows(ControlClient::result(windows, deadline()));
    found.panes = listing.panes(ControlClient::result(panes, deadline()));
    if (unsettled) {
        for (const ListedSession& each : found.sessions) {
            if (each.session == unsettled->session)
                builder.noteOwnActivity(each.session, each.activity, unsettled->activity);
        }
        unsettled.reset();
    }

    std::vector<std::pair<std::int64_t, ControlClient::Pending>> screens;
    for (const std::int64_t pane : builder.panesToRead(found.windows, found.panes))
        screens.emplace_back(pane, control.start("capture-pane -p -e -t " + paneTarget(pane)));
    for (auto& [pane, pending] : screens) {
        try {
            found.screens[pane] = ControlClient::result(pending, deadline());
        } catch (const TmuxError& error) {
            if (error.code == TmuxError::timeout().code)
                throw;
            // Else it has just been closed.
        }
    }
    const auto readScreen = [&](std::int64_t pane) {
        try {
            return control.run("capture-pane -p -t " + paneTarget(pane), deadline());
        } catch (const TmuxError&) {
            return std::string();
        }
    };
    publish(builder.build(found, readScreen), asked);
    return true;
}

void Monitor::publish(Model next, std::uint64_t answer)
{
    const auto fresh = std::make_shared<const Model>(std::move(next));
    ModelPointer former;
    {
        MutexLock lock(mutex);
        former = std::exchange(model, fresh);
        answered = std::max(answered, answer);
    }
    changed.notifyAll();
    // Told after the model can be asked for: whoever hears of a change finds it.
    const auto events = eventsBetween(*former, *fresh);
    if (!events.empty())
        handlers.events(events);
}

} // namespace tarnel::tmux
