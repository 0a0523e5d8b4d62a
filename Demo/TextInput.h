// Demo/TextInput.h: the text that a user types into an agent's input.
#pragma once
#include "Demo/Drawing.h"
#include "Demo/Screen.h"
#include <string>
#include <string_view>

namespace demo {

class TextInput {
public:
    [[nodiscard]] const std::string& text() const { return typed; }

    /// Takes typed text, line breaks and backspaces; other keys do nothing.
    void key(const Key& key)
    {
        if (key.kind == Key::Kind::text)
            typed += key.text;
        else if (key.kind == Key::Kind::lineBreak)
            typed += '\n';
        else if (key.kind == Key::Kind::backspace)
            removeLastCharacter();
    }

    /// The text behind `prompt`, its further lines indented; `hint`, faint, while there is none.
    [[nodiscard]] Lines lines(std::string_view prompt, std::string_view hint) const
    {
        if (typed.empty())
            return {std::string(prompt) + (hint.empty() ? "" : faint(hint))};
        Lines lines{std::string(prompt)};
        for (const char c : typed) {
            if (c == '\n')
                lines.emplace_back("  ");
            else
                lines.back() += c;
        }
        return lines;
    }

private:
    void removeLastCharacter()
    {
        while (!typed.empty() && (static_cast<unsigned char>(typed.back()) & 0xC0) == 0x80)
            typed.pop_back();
        if (!typed.empty())
            typed.pop_back();
    }

    std::string typed;
};

} // namespace demo
