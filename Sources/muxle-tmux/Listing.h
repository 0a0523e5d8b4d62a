// muxle-tmux/Listing.h: what tmux lists of its sessions, windows, panes and clients.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::tmux {

/// Numbers are those of tmux's ids; times are whole seconds since the Unix epoch, as tmux keeps them.
struct ListedSession {
    std::int64_t session = 0;
    std::int64_t activity = 0;
    std::string name;
    std::optional<std::int64_t> place; ///< Among the sessions, where a client has ordered them.
    bool operator==(const ListedSession&) const = default;
};

/// One place of a window in a session; a window may have several.
struct ListedWindow {
    std::int64_t session = 0;
    std::int64_t window = 0;
    std::int64_t index = 0;
    bool isActive = false; ///< In its session.
    bool isZoomed = false;
    std::int64_t activity = 0; ///< When one of its panes last wrote something.
    std::int64_t activePane = 0;
    std::string layout; ///< Of all panes, zoomed or not.
    std::string name;
    bool operator==(const ListedWindow&) const = default;
};

struct ListedPane {
    std::int64_t pane = 0;
    std::int64_t window = 0;
    std::int64_t process = 0; ///< That was started in it.
    std::int64_t width = 0;
    std::int64_t height = 0;
    std::int64_t cursorX = 0;
    std::int64_t cursorY = 0;
    std::int64_t history = 0; ///< Lines above the screen.
    bool isAlternate = false; ///< It shows the alternate screen, which has no history.
    bool isDead = false; ///< Its process has ended, and it stays.
    std::string title;
    std::string agent; ///< The pane's user options; empty when not set.
    std::string agentSession;
    std::string agentStatus;
    std::string name;
    bool operator==(const ListedPane&) const = default;
};

struct ListedClient {
    std::int64_t process = 0;
    bool isControl = false;
    std::int64_t activity = 0;
    std::int64_t session = 0;
    std::string name;
    bool operator==(const ListedClient&) const = default;
};

/// The commands that list, and readers of what they write. Fields are set apart by a word that nobody else knows, since
/// titles, names and options may hold anything. Immutable; thread-safe.
class Listing {
public:
    /// `separator`: some letters and digits, hard to guess.
    explicit Listing(std::string separator);

    [[nodiscard]] std::string sessionsCommand() const;
    [[nodiscard]] std::string windowsCommand() const;
    [[nodiscard]] std::string panesCommand() const;
    [[nodiscard]] std::string clientsCommand() const;

    /// Cheap to run: its text changes when anything does that the lists tell, apart from the clients and from what goes
    /// with a pane's output, of which it tells when each window last had some.
    static std::string probeCommand();

    /// Lines that have another form are left out; a pane is listed once.
    [[nodiscard]] std::vector<ListedSession> sessions(std::string_view text) const;
    [[nodiscard]] std::vector<ListedWindow> windows(std::string_view text) const;
    [[nodiscard]] std::vector<ListedPane> panes(std::string_view text) const;
    [[nodiscard]] std::vector<ListedClient> clients(std::string_view text) const;

private:
    [[nodiscard]] std::string format(std::string_view numbers, const std::vector<std::string_view>& texts) const;

    const std::string recordMark;
    const std::string fieldMark;
};

} // namespace tarnel::tmux
