#include "muxle-tmux/ObserveCommand.h"
#include "TarnelCore/Muxle/MuxleClient.h"
#include "TarnelCore/UnixSocket/LineSocket.h"
#include <string_view>

namespace tarnel::tmux {

namespace {

constexpr std::string_view closed = R"({"type":"terminal.closed"})";

bool print(std::string_view line, std::FILE* output)
{
    return std::fwrite(line.data(), 1, line.size(), output) == line.size() && std::fputc('\n', output) != EOF
        && std::fflush(output) == 0;
}

JSON::Object parameters(const ObserveOptions& options)
{
    const bool isTmuxName = options.pane.starts_with('%');
    JSON::Object params{{"pane_id", isTmuxName ? "p" + options.pane.substr(1) : options.pane}};
    if (options.columns)
        params["cols"] = *options.columns;
    if (options.rows)
        params["rows"] = *options.rows;
    return params;
}

} // namespace

void observePane(const std::string& socketPath, const ObserveOptions& options, std::FILE* output)
{
    const auto socket = LineSocket::connect(socketPath);
    socket->writeJSON(JSON::object({{"id", "observe"}, {"method", "pane.observe"}, {"params", parameters(options)}}));
    try {
        while (const auto line = socket->readLine()) {
            const auto json = JSON::parseLine(*line);
            if (!json)
                continue;
            if (const JSON* error = (*json)["error"])
                throw MuxleError::fromReply(*error);
            const std::string type = stringOf((*json)["type"]).value_or("");
            if (type == "terminal.closed")
                break;
            if (type == "terminal.frame" && !print(*line, output))
                return;
        }
    } catch (const SocketError&) {
        // The serving process has gone: the end, as any other.
    }
    print(closed, output);
}

} // namespace tarnel::tmux
