#include "tarnel/WholeQueue.h"
#include "tarnel/QueueMerge.h"
#include <utility>

namespace tarnel {

WholeQueue WholeQueue::ask(const std::vector<Daemon>& daemons, DaemonClient::Seconds timeout)
{
    WholeQueue whole{.severalMachines = daemons.size() > 1};
    std::vector<std::vector<AttentionItem>> queues;
    for (const Answer& answer : answersOf(daemons, "queue", {}, timeout, whole.status)) {
        try {
            queues.push_back(decode<std::vector<AttentionItem>>(answer.result));
        } catch (const DecodingError&) {
            throw inWords(*answer.daemon, std::current_exception());
        }
    }
    // One queue is in order already: the configuration need not be read for it.
    whole.items =
        queues.size() == 1 ? std::move(queues.front()) : QueueMerge::merged(std::move(queues), wantsOldestFirst());
    return whole;
}

bool wantsOldestFirst() { return TarnelConfig(TarnelConfig::defaultPath()).string("attention.order") == "oldest"; }

} // namespace tarnel
