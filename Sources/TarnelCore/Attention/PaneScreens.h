// TarnelCore/Attention/PaneScreens.h: the screens of one pane, each read at most once.
#pragma once
#include "TarnelCore/Muxle/MuxleClient.h"
#include <optional>
#include <string>

namespace tarnel {

/// Reads a pane's screens when they are first asked for and keeps them: make a new one for every look at a pane.
/// A screen that cannot be read is absent, and not tried again. Thread-safety: none. The client outlives it.
class PaneScreens {
public:
    PaneScreens(const MuxleClient& muxle, std::string paneID);

    /// The last 30 lines that the pane shows.
    const std::optional<std::string>& visible();
    /// The 40 lines that the multiplexer itself looks at to tell an agent's state.
    const std::optional<std::string>& detection();
    /// The last 15 lines that the pane shows, with colours. Read anew each time.
    [[nodiscard]] std::optional<std::string> colored() const;

    /// The calls that read `visible` and `detection`, and their outcomes put in place of reading.
    [[nodiscard]] MuxleTransport::Call visibleCall() const;
    [[nodiscard]] MuxleTransport::Call detectionCall() const;
    void setVisible(const MuxleTransport::Outcome& outcome);
    void setDetection(const MuxleTransport::Outcome& outcome);

private:
    using Screen = std::optional<std::string>;

    const MuxleClient& muxle;
    const std::string paneID;
    std::optional<Screen> visibleScreen; // absent: not read yet
    std::optional<Screen> detectionScreen;
};

} // namespace tarnel
