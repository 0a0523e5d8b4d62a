// Bench/ScreenWork.h: all that a snapshot does with the text of one screen.
#pragma once
#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Text.h"
#include <string>
#include <string_view>

namespace tarnel::bench {

/// Whether it asks, what its menu offers, what its footer says, its two tails and their hash; the sizes of the results
/// added up, so that none is left out.
inline std::size_t readScreen(std::string_view screen)
{
    static const std::vector<std::string> markers = QueueOptions().questionMarkers;
    std::size_t sum = ScreenReading::isQuestionScreen(screen, markers) ? 1 : 0;
    for (const auto& option : ScreenReading::menu(screen))
        sum += option.label.size();
    const std::string end = AttentionEngine::tail(screen, 8);
    sum += Fingerprint::hash(end).size() + AttentionEngine::tail(screen, 14).size();
    if (const auto mode = ScreenReading::claudeMode(end))
        sum += mode->size();
    if (const auto suggestion = ScreenReading::suggestion(screen))
        sum += suggestion->size();
    return sum;
}

} // namespace tarnel::bench
