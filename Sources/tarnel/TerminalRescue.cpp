#include "tarnel/TerminalRescue.h"
#include <algorithm>
#include <array>
#include <cassert>
#include <csignal>
#include <cstddef>
#include <unistd.h>

namespace tarnel {

namespace {

constexpr std::array fatalSignals{SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP, SIGSYS};

/// All that the handler touches: fixed memory, since a crashed program's heap is not to be trusted.
struct Plan {
    std::array<char, 1000> farewell{};
    std::size_t length = 0;
    termios keyboard{};
    bool hasKeyboard = false;
    std::array<struct sigaction, fatalSignals.size()> before{};
};
Plan plan;

// A stack that has overflowed cannot run the handler.
alignas(std::max_align_t) std::array<std::byte, 65536> spareStack;

extern "C" void restoreTerminal(int number)
{
    [[maybe_unused]] const ssize_t count = ::write(STDOUT_FILENO, plan.farewell.data(), plan.length);
    if (plan.hasKeyboard)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &plan.keyboard);
    for (std::size_t i = 0; i < fatalSignals.size(); ++i)
        ::sigaction(fatalSignals[i], &plan.before[i], nullptr);
    ::raise(number);
}

} // namespace

TerminalRescue::TerminalRescue(std::string_view farewell, const std::optional<termios>& keyboard)
{
    assert(farewell.size() <= plan.farewell.size());
    plan.length = std::min(farewell.size(), plan.farewell.size());
    std::copy_n(farewell.begin(), plan.length, plan.farewell.begin());
    plan.hasKeyboard = keyboard.has_value();
    plan.keyboard = keyboard.value_or(termios{});

    stack_t present{};
    if (::sigaltstack(nullptr, &present) == 0 && (present.ss_flags & SS_DISABLE) != 0) {
        stack_t spare{};
        spare.ss_sp = spareStack.data();
        spare.ss_size = spareStack.size();
        ::sigaltstack(&spare, nullptr);
    }
    for (std::size_t i = 0; i < fatalSignals.size(); ++i) {
        struct sigaction action { };
        action.sa_handler = restoreTerminal;
        action.sa_flags = SA_ONSTACK | SA_NODEFER;
        ::sigaction(fatalSignals[i], &action, &plan.before[i]);
    }
}

TerminalRescue::~TerminalRescue()
{
    for (std::size_t i = 0; i < fatalSignals.size(); ++i)
        ::sigaction(fatalSignals[i], &plan.before[i], nullptr);
}

} // namespace tarnel
