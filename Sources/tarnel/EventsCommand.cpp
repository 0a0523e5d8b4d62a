#include "tarnel/Commands.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/EventStream.h"
#include "tarnel/FollowLink.h"
#include "tarnel/Mailbox.h"
#include "tarnel/Output.h"
#include "tarnel/SignalWatch.h"
#include "tarnel/SubCommand.h"
#include <array>
#include <memory>
#include <poll.h>

namespace tarnel {

namespace {

/// What a link has to say that is no event.
struct Trouble {
    std::size_t daemon = 0;
    std::exception_ptr failure;
    bool wasConnected = false; ///< The daemon was there, so that it may come again.
    bool isOutput = false; ///< Nothing can be printed any more.
};

/// One daemon's events, printed by the link's own thread: while the output takes nothing the daemon is not read, which
/// it answers by leaving snapshots out.
class EventLink {
public:
    EventLink(const Daemon& daemon, std::size_t index, Mutex& printing, Mailbox<Trouble>& troubles)
        : link(daemon.opener, listener(index, printing, troubles), configuredBackoff())
    {
    }

private:
    FollowLink::Listener listener(std::size_t index, Mutex& printing, Mailbox<Trouble>& troubles)
    {
        DaemonClient::Subscriber subscriber;
        subscriber.onOpen = [this](const std::shared_ptr<DaemonLink>&) { wasConnected = true; };
        subscriber.onEvent = [this, index, &printing, &troubles](const JSON& event) {
            if (!stream.isNews(event))
                return;
            MutexLock lock(printing);
            try {
                Output::printJSON(event);
            } catch (const std::exception&) {
                troubles.put({index, std::current_exception(), true, true});
            }
        };
        const auto onLost = [this, index, &troubles](std::exception_ptr failure) {
            troubles.put({index, std::move(failure), wasConnected});
            return true; // the main thread sees when there is no use in it
        };
        return {std::move(subscriber), onLost};
    }

    EventStream stream; // the link's thread's own, as is the next
    bool wasConnected = false;
    FollowLink link; // last: it uses the above
};

ExitStatus follow(const std::vector<Daemon>& daemons)
{
    SignalWatch signals{SIGINT, SIGTERM, SIGHUP};
    Mutex printing;
    Mailbox<Trouble> troubles;
    std::vector<std::unique_ptr<EventLink>> links;
    for (std::size_t i = 0; i < daemons.size(); ++i)
        links.push_back(std::make_unique<EventLink>(daemons[i], i, printing, troubles));
    std::vector<bool> isMissing(daemons.size());
    for (;;) {
        std::array<pollfd, 2> watched{{{troubles.descriptor(), POLLIN, 0}, {signals.descriptor(), POLLIN, 0}}};
        ::poll(watched.data(), watched.size(), -1);
        if (signals.take())
            return ExitStatus::success;
        while (const auto trouble = troubles.take()) {
            if (trouble->isOutput)
                std::rethrow_exception(trouble->failure);
            const CommandError error = inWords(daemons[trouble->daemon], trouble->failure);
            isMissing[trouble->daemon] = !trouble->wasConnected;
            if (std::find(isMissing.begin(), isMissing.end(), false) == isMissing.end())
                throw error;
            Output::note(std::string(error.what()) + "; trying again ...");
        }
    }
}

} // namespace

void addEventsCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(
        app, line, "events", "Print every event that the daemon pushes, one line of JSON each, until ctrl+c");
    command.footer("Examples:\n"
                   "  tarnel events | jq -r '.snapshot.queue | length'\n"
                   "  tarnel events --host studio --host mini\n"
                   "When the daemon restarts the events go on; nothing is printed twice.");
    command.run([&line] { return follow(daemonsOf(line)); });
}

} // namespace tarnel
