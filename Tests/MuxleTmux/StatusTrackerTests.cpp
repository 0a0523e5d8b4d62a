#include "muxle-tmux/StatusTracker.h"
#include <gtest/gtest.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

TEST(MuxleTmuxStatusTracker, followsAnAgent)
{
    struct Step {
        std::chrono::milliseconds at;
        const char* sight; // letters: m has moved, r was told to redraw, s spinner, f is seen, ? its screen asks
        AgentStatus status;
    };
    struct Case {
        const char* what;
        std::vector<Step> steps;
    };
    using enum AgentStatus;
    const Case cases[] = {
        {"works and is done", {{0ms, "", idle}, {1000ms, "m", working}, {2900ms, "", working}, {3100ms, "", done}}},
        {"asks at first sight", {{0ms, "?", blocked}}},
        {"asks when it falls quiet", {{0ms, "", idle}, {1s, "m?", working}, {3s, "?", blocked}}},
        {"is seen when done", {{0ms, "", idle}, {1s, "m", working}, {3s, "", done}, {4s, "f", idle}, {5s, "", idle}}},
        {"the focus while it works is not after it", {{0ms, "mf", working}, {1s, "f", working}, {2s, "", done}}},
        {"is done under the user's eyes", {{0ms, "m", working}, {2s, "f", idle}}},
        {"spins without moving", {{0ms, "ms", working}, {9s, "s", working}, {10s, "", done}}},
        {"an answered question", {{0ms, "?", blocked}, {1s, "m", working}, {3s, "", done}}},
        {"a question that goes away by redrawing", {{0ms, "?", blocked}, {1s, "mr", blocked}, {3s, "", idle}}},
        {"redraws are no work", {{0ms, "", idle}, {1s, "mr", idle}, {5s, "", idle}}},
        {"a question among redraws", {{0ms, "", idle}, {1s, "mr?", idle}, {3s, "?", blocked}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        StatusTracker tracker;
        for (const Step& step : c.steps) {
            const std::string_view sight = step.sight;
            const auto has = [&](char letter) { return sight.find(letter) != sight.npos; };
            const StatusTracker::Sight seen{.now = StatusTracker::Instant(step.at),
                .hasMoved = has('m'),
                .isOwnMove = !has('r'),
                .hasSpinner = has('s'),
                .isSeen = has('f')};
            EXPECT_EQ(tracker.update(seen, [&] { return has('?'); }), step.status) << "at " << step.at.count() << " ms";
        }
    }
}

} // namespace

} // namespace tarnel::tmux
