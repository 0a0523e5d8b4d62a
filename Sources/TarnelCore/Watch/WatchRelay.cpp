#include "TarnelCore/Watch/WatchRelay.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <compare>
#include <stdexcept>

namespace tarnel {

namespace {

struct Place {
    int rank = 0;
    std::string title;
    auto operator<=>(const Place&) const = default;
};

int rank(const WatchAgent& agent)
{
    if (agent.waiting && *agent.waiting != AttentionKind::finished)
        return 0;
    switch (agent.status) {
    case AgentStatus::blocked:
        return 0;
    case AgentStatus::done:
        return 1;
    case AgentStatus::working:
        return 2;
    case AgentStatus::idle:
        return 3;
    case AgentStatus::unknown:
        break;
    }
    return 4;
}

std::size_t atLeastNone(std::int64_t count) { return static_cast<std::size_t>(std::max<std::int64_t>(count, 0)); }

bool isLonger(std::string_view text, std::size_t characters)
{
    return text.size() > characters && Text::characterCount(text) > characters; // never more characters than bytes
}

/// Removes the oldest entries, an eighth at a time, until the encoded view fits. An entry's own size does not depend on
/// its neighbours, so each is encoded only once.
void dropOldestEntries(WatchPane& view, std::size_t bytes)
{
    std::vector<Shared<TranscriptEntry>> entries = std::move(view.entries);
    view.entries.clear();
    std::size_t size = WatchRelay::encoded(view).size();
    std::vector<std::size_t> sizes;
    for (const auto& entry : entries) {
        sizes.push_back(WatchRelay::encoded(entry).size() + 1); // with a comma
        size += sizes.back();
    }
    std::size_t first = 0;
    while (first < entries.size() && size - 1 > bytes) { // the last entry has no comma
        const std::size_t batch = std::max<std::size_t>(entries.size() - first, 8) / 8;
        for (const std::size_t end = first + batch; first < end; ++first)
            size -= sizes[first];
    }
    view.entries.assign(entries.begin() + static_cast<std::ptrdiff_t>(first), entries.end());
}

} // namespace

std::vector<WatchRequest> WatchRequest::voice(std::string_view audio, const std::string& clip, std::int64_t partBytes)
{
    if (partBytes < 1)
        throw std::invalid_argument("partBytes must be at least 1, got " + std::to_string(partBytes));
    std::vector<WatchRequest> parts;
    do {
        const std::string_view piece = audio.substr(0, static_cast<std::size_t>(partBytes));
        audio.remove_prefix(piece.size());
        parts.push_back({.kind = Kind::voice,
            .clip = clip,
            .part = static_cast<std::int64_t>(parts.size()),
            .last = audio.empty(),
            .audio = Bytes{std::string(piece)}});
    } while (!audio.empty());
    return parts;
}

std::vector<WatchAgent> WatchAgent::ordered(std::vector<WatchAgent> agents)
{
    std::vector<std::pair<Place, WatchAgent>> placed;
    for (WatchAgent& agent : agents) {
        Place place{rank(agent), Text::lowercased(agent.title)};
        placed.emplace_back(std::move(place), std::move(agent));
    }
    std::stable_sort(placed.begin(), placed.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    std::transform(placed.begin(), placed.end(), agents.begin(), [](auto& each) { return std::move(each.second); });
    return agents;
}

WatchPane WatchPane::fitting(std::int64_t bytes, std::int64_t entryLimit) const
{
    const std::size_t budget = atLeastNone(bytes);
    const std::size_t limit = atLeastNone(entryLimit);
    WatchPane view = *this;
    for (auto& entry : view.entries) {
        if (!isLonger(entry->text, limit))
            continue;
        TranscriptEntry shortened = *entry;
        shortened.text = "…" + std::string(Text::suffix(entry->text, limit));
        entry = std::move(shortened);
    }
    if (view.screen && view.screen->size() > budget / 2)
        view.screen = std::string(Text::suffix(*view.screen, budget / 4));
    dropOldestEntries(view, budget);
    return view;
}

} // namespace tarnel
