// Demo/Screen.h: one state of an agent: what its terminal shows, and what leads to the next state.
#pragma once
#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace demo {

/// A key or a piece of text that was typed.
struct Key {
    enum class Kind { text, enter, lineBreak, backspace, escape, up, down, altUp };
    Kind kind = Kind::text;
    std::string text = {}; ///< Of `text`: one character, or all that was pasted.
};

class Screen {
public:
    using Next = std::unique_ptr<Screen>; ///< The state that follows; null to stay.

    virtual ~Screen() = default;

    /// The lines from the top, in the agent's colours. `age` is how long the state has been shown.
    [[nodiscard]] virtual std::vector<std::string> lines(std::size_t columns, std::chrono::milliseconds age) const = 0;

    /// The terminal's title.
    [[nodiscard]] virtual std::string title(std::chrono::milliseconds age) const = 0;

    virtual Next key([[maybe_unused]] const Key& key) { return nullptr; }
    virtual Next tick([[maybe_unused]] std::chrono::milliseconds age) { return nullptr; }
};

} // namespace demo
