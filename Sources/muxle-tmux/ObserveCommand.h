// muxle-tmux/ObserveCommand.h: prints what a pane shows, for other programs to relay.
#pragma once
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

namespace tarnel::tmux {

struct ObserveOptions {
    std::string pane; ///< As clients know it ("p3"), or as tmux does ("%3").
    std::optional<std::int64_t> columns = {};
    std::optional<std::int64_t> rows = {};
};

/// Writes the frames of the pane that the process at `socketPath` serves to `output`, a JSON object a line, until the
/// pane closes, the serving process goes, or `output` takes no more; last a line {"type":"terminal.closed"}.
/// Throws SocketError when nobody serves the socket, MuxleError when the pane cannot be observed.
void observePane(const std::string& socketPath, const ObserveOptions& options, std::FILE* output);

} // namespace tarnel::tmux
