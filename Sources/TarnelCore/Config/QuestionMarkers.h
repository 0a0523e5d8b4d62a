// TarnelCore/Config/QuestionMarkers.h: the screen phrases that mean an agent is asking, unless the user sets others.
#pragma once
#include <array>
#include <string_view>

namespace tarnel {

/// Phrases, in lower case, that mark a screen as asking; some are cut as a narrow pane cuts them.
inline constexpr std::array<std::string_view, 10> defaultQuestionMarkers{
    "enter to submit answer",
    "press ente",
    "press enter to co",
    "press enter to confirm or esc to go ba",
    "implement this plan?",
    "resume paused goal?",
    "would you like to proceed?",
    "do you want to proceed?",
    "trust this folder?",
    "do you trust the files",
};

} // namespace tarnel
