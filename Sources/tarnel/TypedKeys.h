// tarnel/TypedKeys.h: what a terminal sends for what is typed, as text and keys for a pane.
#pragma once
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Text to type, then keys to press, by the multiplexer's names.
struct PaneTyping {
    std::string text;
    std::vector<std::string> keys;
    bool operator==(const PaneTyping&) const = default;
};

/// Reads what a terminal sends, in any chunking: characters, control characters, the key sequences of ECMA-48 and
/// xterm, and those of terminals that send a key as "CSI code ; modifiers u". What the terminal itself answers to
/// queries is passed over: nobody has typed it.
/// Thread-safety: none.
class TypedKeys {
public:
    struct Typed {
        std::vector<PaneTyping> pieces; ///< To be typed one after another.
        bool leaves = false; ///< ctrl+] was pressed; what stood behind it is dropped.
        bool operator==(const Typed&) const = default;
    };

    /// Takes what was read. The start of a sequence waits for its rest.
    Typed take(std::string_view bytes);

    /// Whether the start of a sequence waits.
    [[nodiscard]] bool isWaiting() const { return !unread.empty(); }

    /// Takes what waits for what it is: no more of it has come in a while. An escape is then the key of that name.
    Typed flush();

private:
    Typed read(bool isComplete);

    std::string unread;
    bool isPasting = false;
};

} // namespace tarnel
