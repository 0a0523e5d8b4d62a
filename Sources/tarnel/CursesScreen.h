// tarnel/CursesScreen.h: shows rows on the terminal and reads its keys, through ncurses.
#pragma once
#include "tarnel/Terminal.h"
#include "tarnel/TerminalRescue.h"
#include "tarnel/TopKey.h"
#include "tarnel/TopScreen.h"
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarnel {

/// Takes the terminal at standard input and output for the length of its life, and gives it back however it ends.
/// Signals are left alone, faults excepted: the owner watches for them, and must do so before this is made.
/// Thread-safety: none; one at a time.
class CursesScreen {
public:
    /// Throws std::runtime_error when the terminal cannot show a full screen.
    explicit CursesScreen(bool hasColor);
    ~CursesScreen();
    CursesScreen(const CursesScreen&) = delete;
    CursesScreen& operator=(const CursesScreen&) = delete;

    /// Brings the terminal to show `screen`, writing only what differs from what it shows.
    void draw(const TopScreen& screen);

    /// Forgets what the terminal shows and how big it was.
    void repaint(const ScreenSize& size);

    /// All keys that were typed. Blocks for the twentieth of a second in which a lone escape is told from the start of
    /// a longer key.
    std::vector<TopKey> keys();

    /// Gives the terminal back and stops the process until it is continued, then takes it again.
    void suspend();

private:
    class Session;

    const std::unique_ptr<Session> session;
    std::optional<std::string> pasted; // while the terminal sends what is pasted
};

} // namespace tarnel
