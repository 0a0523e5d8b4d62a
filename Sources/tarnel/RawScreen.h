// tarnel/RawScreen.h: the terminal while another one is shown on it.
#pragma once
#include "tarnel/TerminalRescue.h"
#include <optional>
#include <string>
#include <termios.h>

namespace tarnel {

/// Takes the terminal for the length of its life: a screen of its own and keys as the raw bytes that it sends, ctrl+c
/// too. At the end every mode that a program may have set through it is reset; a crash is no exception.
/// Thread-safety: none; one at a time.
class RawScreen {
public:
    /// `title` stands in the window's frame meanwhile: one line of plain words.
    explicit RawScreen(std::string title);
    ~RawScreen();
    RawScreen(const RawScreen&) = delete;
    RawScreen& operator=(const RawScreen&) = delete;

    /// Gives the terminal back and stops the process until it is continued, then takes it again, empty.
    void suspend();

    /// Takes the terminal again, empty, after the process was continued.
    void resume();

private:
    void enter();
    void leave() noexcept;

    const std::string title;
    const std::optional<termios> before;
    TerminalRescue rescue;
};

} // namespace tarnel
