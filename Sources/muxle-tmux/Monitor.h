// muxle-tmux/Monitor.h: follows the tmux server and keeps the model of it up to date.
#pragma once
#include "TarnelCore/Base/Mutex.h"
#include "muxle-tmux/ControlClient.h"
#include "muxle-tmux/Model.h"
#include "muxle-tmux/ModelBuilder.h"
#include "muxle-tmux/TmuxAddress.h"
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace tarnel::tmux {

/// Holds the one control-mode client, attached to whatever session there is, and asks it what has changed: at once when
/// tmux tells of a change, else with a cheap question a few times a second. Follows a server that goes and comes back.
/// Thread-safety: every operation may be called from any thread.
/// Lifetime: the thread runs from construction to destruction.
class Monitor {
public:
    using Deadline = ControlClient::Deadline;

    struct Handlers {
        std::function<void(const std::vector<JSON::Object>&)> events; ///< On the monitor's thread; must not block.
        std::function<void(const std::string&)> log; ///< One line for people, without line feed.
    };

    Monitor(TmuxAddress address, std::string home, Handlers handlers);
    ~Monitor();
    Monitor(const Monitor&) = delete;
    Monitor& operator=(const Monitor&) = delete;

    /// A model that was taken after this call; an empty one while there is no server. Throws TmuxError::timeout.
    ModelPointer freshModel(Deadline deadline) TARNEL_EXCLUDES(mutex);

    /// The model that was taken last, at most half a second old while tmux answers.
    ModelPointer latestModel() TARNEL_EXCLUDES(mutex);

    /// What one tmux command writes. Throws TmuxError: refused, timeout, unavailable.
    std::string run(const std::string& command, Deadline deadline) TARNEL_EXCLUDES(mutex);

    /// The client itself, for several commands at once. Throws TmuxError::unavailable when there is none.
    std::shared_ptr<ControlClient> client() TARNEL_EXCLUDES(mutex);

    /// The user's focus goes to the session, and to the pane when there is one.
    void noteFocus(std::int64_t session, std::optional<std::int64_t> pane) TARNEL_EXCLUDES(mutex);

    /// Moves the monitor's client to another session, if there is one, before the session ends and the client with it.
    void leaveSession(std::int64_t session, Deadline deadline) TARNEL_EXCLUDES(mutex);

    [[nodiscard]] const TmuxAddress& address() const { return server; }

private:
    struct Attachment {
        std::int64_t session = 0;
        std::int64_t activity = 0; // before we attached
    };

    void follow();
    [[nodiscard]] std::optional<Attachment> chooseSession() const;
    void followSession(const Attachment& attachment);
    void followClient(ControlClient& control, const Attachment& attachment);
    void publishNothing() TARNEL_EXCLUDES(mutex);
    void pause(std::chrono::milliseconds duration) TARNEL_EXCLUDES(mutex);
    bool survey(ControlClient& control);
    void publish(Model model, std::uint64_t answered) TARNEL_EXCLUDES(mutex);
    bool wait(std::chrono::milliseconds longest) TARNEL_EXCLUDES(mutex);
    void notified(const ControlNotification& notification) TARNEL_EXCLUDES(mutex);
    void setClient(std::shared_ptr<ControlClient> client) TARNEL_EXCLUDES(mutex);

    const TmuxAddress server;
    const Handlers handlers;
    const Listing listing;

    // Of the monitor's thread.
    ModelBuilder builder;
    std::string serverID;
    std::set<std::string> hostNames;
    std::int64_t ownProcess = 0;
    std::string lastProbe;
    Clock::Instant lastSurvey = {};
    std::optional<Attachment> unsettled; // attached, and not surveyed since
    std::string lastComplaint;

    Mutex mutex;
    Condition changed; // notified after any field below changes
    ModelPointer model TARNEL_GUARDED_BY(mutex);
    std::shared_ptr<ControlClient> current TARNEL_GUARDED_BY(mutex);
    std::uint64_t requested TARNEL_GUARDED_BY(mutex) = 0; // fresh models
    std::uint64_t answered TARNEL_GUARDED_BY(mutex) = 0;
    std::optional<Clock::Instant> hinted TARNEL_GUARDED_BY(mutex); // when tmux first told of a change not yet surveyed
    std::optional<FocusRequest> focus TARNEL_GUARDED_BY(mutex);
    bool isStopping TARNEL_GUARDED_BY(mutex) = false;
    std::thread thread; // last: all that it uses exists before it starts
};

} // namespace tarnel::tmux
