#include "tarnel/QueueMerge.h"
#include <algorithm>
#include <iterator>
#include <utility>

namespace tarnel {

namespace {

using Queue = std::vector<AttentionItem>;

struct Head {
    Queue::iterator next;
    Queue::iterator end;
};

/// The urgency by which the daemons order too.
int rank(const AttentionItem& item) { return item.card.status == AgentStatus::blocked ? 0 : group(item.kind); }

bool comesFirst(const AttentionItem& a, const AttentionItem& b, bool oldestFirst)
{
    if (rank(a) != rank(b))
        return rank(a) < rank(b);
    if (!a.waitingSince || !b.waitingSince)
        return a.waitingSince.has_value() && !b.waitingSince;
    return oldestFirst ? *a.waitingSince < *b.waitingSince : *a.waitingSince > *b.waitingSince;
}

} // namespace

std::vector<AttentionItem> QueueMerge::merged(std::vector<Queue> queues, bool oldestFirst)
{
    std::vector<Head> heads;
    for (Queue& queue : queues)
        heads.push_back({queue.begin(), queue.end()});
    Queue all;
    for (;;) {
        std::erase_if(heads, [](const Head& head) { return head.next == head.end; });
        if (heads.empty())
            return all;
        const auto first = std::min_element(heads.begin(), heads.end(),
            [&](const Head& a, const Head& b) { return comesFirst(*a.next, *b.next, oldestFirst); });
        all.push_back(std::move(*first->next++));
    }
}

} // namespace tarnel
