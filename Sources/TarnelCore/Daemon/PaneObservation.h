// TarnelCore/Daemon/PaneObservation.h: streams a pane's terminal output to a client.
#pragma once
#include "TarnelCore/Base/Environment.h"
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/LineChannel.h"
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

/// The multiplexer's own command-line tool writes the output as JSON lines; each is passed on as an event.
namespace tarnel::PaneObservation {

struct Request {
    JSON id; ///< The client's, for the reply.
    std::string pane;
    std::optional<std::int64_t> columns; ///< The pane's own size unless both are given.
    std::optional<std::int64_t> rows;
};

/// A longer line of the tool ends the stream: it is no frame of any terminal.
inline constexpr std::size_t longestLine = std::size_t{64} << 20;

/// Replies `{"id":...,"result":{"observing":<pane>}}`, or an error when the tool is missing or does not start. Then
/// each object that the tool writes follows with a member "event" added: "closed" where its "type" is
/// "terminal.closed", else "frame"; and at last `{"event":"closed"}`. Lines of the tool that are no objects are
/// skipped.
///
/// Blocks on the thread that reads `client`, until the client closes its connection, which ends the tool, or sends a
/// line after the stream's end. That line is returned, to be answered as the next request; nothing is returned when the
/// next one is still to be read. What the client sends during the stream is ignored. Failed writes end the stream;
/// nothing is thrown for them. Throws std::system_error when the system has no thread left.
std::optional<std::string> run(const Request& request, const MuxleClient& muxle, const std::string& machine,
    const Environment& environment, LineChannel& client);

} // namespace tarnel::PaneObservation
