// muxle-tmux/ControlProtocol.h: the line protocol of tmux's control mode, both ways.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// Pure. The protocol: tmux(1), "CONTROL MODE".
namespace tarnel::tmux {

/// The block that answers one command. They come in the order of the commands.
struct ControlReply {
    bool isOurs = false; ///< It answers a line that this client sent, not the attaching itself or a hook.
    bool isError = false;
    std::string text; ///< The lines of the block, each but the last ended by a line feed.
    bool operator==(const ControlReply&) const = default;
};

/// A line outside of any block: "%layout-change @1 ..." has the name "layout-change" and the rest as its arguments.
struct ControlNotification {
    std::string name;
    std::string arguments;
    bool operator==(const ControlNotification&) const = default;
};

using ControlMessage = std::variant<ControlReply, ControlNotification>;

/// Splits what tmux writes into messages, however it is cut into pieces.
class ControlParser {
public:
    /// Appends the messages that `bytes` complete.
    void feed(std::string_view bytes, std::vector<ControlMessage>& messages);

private:
    void line(std::string_view text, std::vector<ControlMessage>& messages);

    std::string unfinished; // the start of a line
    std::optional<std::string> guard; // "<time> <number> <flags>" of the open block
    ControlReply block;
};

/// One argument of a command, whatever its bytes: in double quotes, everything special as an octal escape. NUL cannot
/// be said; the caller keeps it out.
std::string quoted(std::string_view argument);

/// `text` where tmux expands formats ("#{...}", "#(...)") and must not.
std::string formatLiteral(std::string_view text);

/// A pane's output as a notification "output" carries it, with its octal escapes undone.
std::string unescapedOutput(std::string_view text);

} // namespace tarnel::tmux
