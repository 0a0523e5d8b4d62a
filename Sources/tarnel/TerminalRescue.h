// tarnel/TerminalRescue.h: gives the terminal back even when the program crashes.
#pragma once
#include <optional>
#include <string_view>
#include <termios.h>

namespace tarnel {

/// For the length of its life, a signal that ends the process by a fault of its own (SIGSEGV, SIGABRT and the like)
/// first restores the terminal; then it takes the course that it had before.
/// Thread-safety: none; at most one exists at a time.
class TerminalRescue {
public:
    /// `farewell`, at most 1000 bytes, is written to standard output; `keyboard`, where there is one, is what standard
    /// input is set to.
    TerminalRescue(std::string_view farewell, const std::optional<termios>& keyboard);
    ~TerminalRescue();
    TerminalRescue(const TerminalRescue&) = delete;
    TerminalRescue& operator=(const TerminalRescue&) = delete;
};

} // namespace tarnel
