// tarnel/TopKey.h: what is typed into the full-screen view.
#pragma once
#include <string>
#include <utility>

namespace tarnel {

/// One key, or one piece of text that was pasted.
struct TopKey {
    enum class Name {
        character, ///< `text` is the character.
        control, ///< With ctrl held; `text` is the letter.
        paste, ///< `text` is what was pasted.
        enter,
        escape,
        tab,
        backTab,
        up,
        down,
        left,
        right,
        home,
        end,
        pageUp,
        pageDown,
        backspace,
        deleteKey,
    };

    Name name = Name::character;
    std::string text = {};

    bool operator==(const TopKey&) const = default;

    static TopKey character(std::string text) { return {Name::character, std::move(text)}; }
    static TopKey control(std::string letter) { return {Name::control, std::move(letter)}; }
    static TopKey paste(std::string text) { return {Name::paste, std::move(text)}; }

    /// Whether this is the character `wanted`, with no modifier.
    [[nodiscard]] bool is(const char* wanted) const { return name == Name::character && text == wanted; }
    [[nodiscard]] bool isControl(const char* letter) const { return name == Name::control && text == letter; }
};

} // namespace tarnel
