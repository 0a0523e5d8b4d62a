#include "muxle-tmux/Observer.h"
#include "TarnelCore/Base/Base64.h"
#include "TarnelCore/Base/Thread.h"
#include "muxle-tmux/Names.h"
#include "muxle-tmux/TmuxError.h"
#include <exception>
#include <utility>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr auto patience = 5s;
constexpr std::size_t mostPending = std::size_t{1} << 20; // bytes of output; a redraw takes far less

/// tmux's news after which the pane may have another size or place, or be gone.
bool isHint(std::string_view name)
{
    for (const std::string_view each : {"layout-change", "window-close", "unlinked-window-close", "window-add",
             "unlinked-window-add", "session-changed", "sessions-changed"}) {
        if (name == each)
            return true;
    }
    return false;
}

} // namespace

Observer::Observer(
    const TmuxAddress& address, std::int64_t observed, std::int64_t itsSession, Send sending, Ended ending)
    : pane(observed)
    , send(std::move(sending))
    , ended(std::move(ending))
    , session(itsSession)
{
    ControlClient::Handlers handlers;
    handlers.notification = [this](const ControlNotification& each) { notified(each); };
    handlers.answered = [this] { answered(); };
    handlers.ended = [this] {
        {
            MutexLock lock(mutex);
            hasEnded = true;
        }
        changed.notifyAll();
    };
    tmux.emplace(address, numbered("$", session), "ignore-size", std::move(handlers));
    thread = std::thread([this] { stream(); });
}

Observer::~Observer()
{
    {
        MutexLock lock(mutex);
        hasEnded = true;
    }
    changed.notifyAll();
    thread.join();
    tmux.reset();
}

void Observer::notified(const ControlNotification& notification)
{
    const std::string own = paneTarget(pane) + " ";
    const bool isOutput = notification.name == "output";
    if (isOutput ? !notification.arguments.starts_with(own) : !isHint(notification.name))
        return;
    {
        MutexLock lock(mutex);
        if (!isOutput) {
            isHinted = true;
        } else if (!hasOverflowed) {
            pending += unescapedOutput(std::string_view(notification.arguments).substr(own.size()));
            if (pending.size() > mostPending) {
                pending.clear();
                hasOverflowed = true;
            }
        }
    }
    changed.notifyAll();
}

/// The redraw shows all that was written before it was made.
void Observer::answered()
{
    {
        MutexLock lock(mutex);
        pending.clear();
        hasOverflowed = false;
        isHinted = false;
        isAnswered = true;
    }
    changed.notifyAll();
}

Observer::Batch Observer::nextBatch()
{
    MutexLock lock(mutex);
    // While a redraw is on its way, output waits: what comes before it is in it.
    while (
        !hasEnded && !isAnswered && !(isHinted && !asked) && !(hasOverflowed && !asked) && (pending.empty() || asked))
        changed.wait(mutex);
    Batch batch{.isAnswered = std::exchange(isAnswered, false), .hasEnded = hasEnded};
    if (!asked)
        batch.isHinted = std::exchange(isHinted, false) || hasOverflowed;
    if (!asked || batch.isAnswered)
        batch.output = std::exchange(pending, {});
    return batch;
}

void Observer::stream()
{
    setThreadName("tmux.observe");
    try {
        follow();
    } catch (const std::exception&) {
        // The pane, the server or the viewer has gone: in each case this is the end.
    }
    try {
        send(JSON::object({{"type", "terminal.closed"}}));
    } catch (const std::exception&) {
    }
    ended();
}

void Observer::follow()
{
    askRedraw();
    for (;;) {
        const Batch batch = nextBatch();
        if (batch.hasEnded)
            return;
        if (batch.isAnswered && asked)
            redraw();
        if (!batch.output.empty() && !asked)
            update(batch.output);
        if (batch.isHinted && !asked)
            askRedraw();
    }
}

void Observer::askRedraw(const std::vector<std::string>& before)
{
    const std::string target = " -t " + paneTarget(pane);
    std::vector<std::string> commands = before;
    commands.push_back("display-message -p" + target + " " + quoted(ScreenFrame::format()));
    commands.push_back("capture-pane -P -p" + target);
    commands.push_back("capture-pane -p -e" + target);
    asked = tmux->startAll(commands);
}

void Observer::redraw()
{
    ControlClient::Pending answer = *std::exchange(asked, std::nullopt);
    const auto parts = ControlClient::results(answer, std::chrono::steady_clock::now() + patience);
    const auto state = parts.size() >= 3 ? ScreenFrame::parse(parts[parts.size() - 3]) : std::nullopt;
    if (!state)
        throw TmuxError::notFound("no pane " + paneID(pane));
    if (state->session != session) { // the pane has moved to where we would get none of its output
        session = state->session;
        askRedraw({"switch-client -t " + sessionTarget(session)});
        return;
    }
    shown = state;
    sendFrame(ScreenFrame::redraw(*state, parts.back(), unescapedOutput(parts[parts.size() - 2])), true);
}

void Observer::update(const std::string& output)
{
    if (ScreenFrame::switchesScreen(output))
        askRedraw();
    else
        sendFrame(output, false);
}

void Observer::sendFrame(const std::string& bytes, bool isFull)
{
    send(JSON::object({{"type", "terminal.frame"}, {"bytes", encodeBase64(bytes)}, {"full", isFull},
        {"width", shown ? shown->width : 0}, {"height", shown ? shown->height : 0}}));
}

} // namespace tarnel::tmux
