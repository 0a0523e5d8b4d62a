// tarnel/TerminalCapability.h: what the terminal at hand is to be sent.
#pragma once
#include <string>

namespace tarnel {

/// The bytes of a capability of the terminal that ncurses has been started on, by its terminfo name ("rmcup"); empty
/// where it has none. Thread-safety: none.
std::string terminalCapability(const char* name);

} // namespace tarnel
