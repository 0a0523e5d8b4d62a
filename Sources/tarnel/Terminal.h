// tarnel/Terminal.h: the terminal that the program writes to.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <termios.h>
#include <vector>

namespace tarnel {

/// What standard output can show.
struct OutputTraits {
    bool isTerminal = false; ///< A screen that can be redrawn.
    bool hasColor = false; ///< A terminal whose user has not asked for plain text.

    static OutputTraits ofStandardOutput(const Environment& environment);
};

struct ScreenSize {
    std::size_t columns = 80;
    std::size_t rows = 24;

    /// Of the terminal at standard output; without one, `COLUMNS` of `environment` and 24 rows. What is unknown keeps
    /// its default.
    static ScreenSize ofStandardOutput(const Environment& environment);
};

/// Writes all of `text` to standard output at once. Throws std::system_error when it cannot be written.
void writeOutput(std::string_view text);

/// Takes the terminal's whole screen for the length of its life: a screen of its own, no cursor, no line wrap, and keys
/// that arrive one by one without an echo. What stood there before comes back at the end.
/// Thread-safety: none; one at a time.
class FullScreen {
public:
    FullScreen();
    ~FullScreen();
    FullScreen(const FullScreen&) = delete;
    FullScreen& operator=(const FullScreen&) = delete;

    /// Shows `lines` from the top; lines beyond the screen's last row must not be passed.
    void draw(const std::vector<std::string>& lines);

    /// Gives the screen back and stops the process until it is continued, then takes it again, empty.
    void suspend();

private:
    void enter();
    void leave() noexcept;

    std::optional<termios> before; // the keyboard's settings; absent when standard input is no terminal
};

} // namespace tarnel
