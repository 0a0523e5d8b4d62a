#include "muxle-tmux/Keys.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>

namespace tarnel::tmux {

namespace {

/// How a key's bytes are made (ECMA-48 and xterm's control sequences): "ESC [ letter" or "ESC [ number ~"; F1 to F4 are
/// "ESC O letter" while no modifier is held.
struct NamedKey {
    std::string_view name;
    std::string_view tmuxName;
    char letter = 0;
    int number = 0;
};

constexpr std::array<NamedKey, 24> sequenceKeys{{
    {"up", "Up", 'A'},
    {"down", "Down", 'B'},
    {"right", "Right", 'C'},
    {"left", "Left", 'D'},
    {"home", "Home", 0, 1},
    {"insert", "IC", 0, 2},
    {"delete", "DC", 0, 3},
    {"end", "End", 0, 4},
    {"pageup", "PageUp", 0, 5},
    {"pagedown", "PageDown", 0, 6},
    {"f1", "F1", 'P'},
    {"f2", "F2", 'Q'},
    {"f3", "F3", 'R'},
    {"f4", "F4", 'S'},
    {"f5", "F5", 0, 15},
    {"f6", "F6", 0, 17},
    {"f7", "F7", 0, 18},
    {"f8", "F8", 0, 19},
    {"f9", "F9", 0, 20},
    {"f10", "F10", 0, 21},
    {"f11", "F11", 0, 23},
    {"f12", "F12", 0, 24},
    {"del", "DC", 0, 3},
    {"ins", "IC", 0, 2},
}};

struct ByteKey {
    std::string_view name;
    std::string_view tmuxName;
    char byte;
};

constexpr std::array<ByteKey, 8> byteKeys{
    {{"enter", "Enter", '\r'}, {"return", "Enter", '\r'}, {"esc", "Escape", '\033'}, {"escape", "Escape", '\033'},
        {"tab", "Tab", '\t'}, {"space", "Space", ' '}, {"backspace", "BSpace", '\177'}, {"bspace", "BSpace", '\177'}}};

struct Modifiers {
    bool ctrl = false;
    bool alt = false;
    bool shift = false;

    [[nodiscard]] bool any() const { return ctrl || alt || shift; }
    [[nodiscard]] std::string tmuxPrefix() const
    {
        return std::string(ctrl ? "C-" : "") + (alt ? "M-" : "") + (shift ? "S-" : "");
    }
    /// xterm's number for the modifiers that are held.
    [[nodiscard]] int number() const { return 1 + (shift ? 1 : 0) + (alt ? 2 : 0) + (ctrl ? 4 : 0); }
};

/// Takes the modifiers off the front of `name`. A lone "+" at the end is the key itself.
Modifiers takeModifiers(std::string_view& name)
{
    Modifiers held;
    for (;;) {
        const std::size_t plus = name.find('+');
        if (plus == name.npos || plus == 0 || plus + 1 == name.size())
            return held;
        const std::string word = Text::lowercased(name.substr(0, plus));
        if (word == "ctrl" || word == "control" || word == "c")
            held.ctrl = true;
        else if (word == "alt" || word == "meta" || word == "option" || word == "m")
            held.alt = true;
        else if (word == "shift" || word == "s")
            held.shift = true;
        else
            return held;
        name.remove_prefix(plus + 1);
    }
}

Key sequenceKey(const NamedKey& key, const Modifiers& held)
{
    const std::string modifier = held.any() ? ";" + std::to_string(held.number()) : "";
    Key result{.tmuxName = held.tmuxPrefix() + std::string(key.tmuxName)};
    if (key.number != 0) {
        result.bytes = "\033[" + std::to_string(key.number) + modifier + "~";
    } else if (held.any()) {
        result.bytes = "\033[1" + modifier + key.letter;
    } else {
        const bool isCursor = key.letter <= 'D';
        result.bytes = std::string(isCursor ? "\033[" : "\033O") + key.letter;
        result.applicationFinal = isCursor ? key.letter : '\0';
    }
    return result;
}

/// The control character of `letter`; nothing where terminals have none.
std::optional<char> controlByte(char letter)
{
    if (letter >= 'a' && letter <= 'z')
        return static_cast<char>(letter - 'a' + 1);
    constexpr std::string_view others = "[\\]^_";
    if (const std::size_t place = others.find(letter); place != others.npos)
        return static_cast<char>(27 + place);
    return std::nullopt;
}

std::optional<Key> characterKey(std::string_view character, Modifiers held)
{
    std::string name(character);
    if (held.shift) { // as the keyboard does with letters; what it does with other keys is not ours to know
        const bool isLetter = name.size() == 1 && name[0] >= 'a' && name[0] <= 'z';
        if (!isLetter || held.ctrl)
            return std::nullopt;
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
        held.shift = false;
    }
    std::string bytes = name;
    if (held.ctrl) {
        name = Text::lowercased(name);
        const auto control = name.size() == 1 ? controlByte(name[0]) : std::nullopt;
        if (!control)
            return std::nullopt;
        bytes = std::string(1, *control);
    }
    // tmux has no name for a character that takes several scalars, and would type others out by halves.
    if (Text::firstScalar(name).length != name.size())
        return std::nullopt;
    return Key{.tmuxName = held.tmuxPrefix() + name, .bytes = (held.alt ? "\033" : "") + bytes};
}

} // namespace

std::optional<Key> keyNamed(std::string_view name)
{
    if (name.empty() || !Text::isValidUTF8(name))
        return std::nullopt;
    const Modifiers held = takeModifiers(name);
    if (Text::firstScalar(name).length == name.size()) {
        const char32_t value = Text::firstScalar(name).value;
        if (value < 0x20 || (value >= 0x7F && value < 0xA0))
            return std::nullopt; // control characters go as text
        if (value != ' ')
            return characterKey(name, held);
    }
    const std::string word = name == " " ? "space" : Text::lowercased(name);
    for (const NamedKey& key : sequenceKeys) {
        if (word == key.name)
            return sequenceKey(key, held);
    }
    if (word == "backtab" && !held.any())
        return keyNamed("shift+tab");
    for (const ByteKey& key : byteKeys) {
        if (word != key.name)
            continue;
        if (key.byte == '\t' && held.shift && !held.ctrl && !held.alt)
            return Key{.tmuxName = "BTab", .bytes = "\033[Z"};
        if (key.byte == ' ' && held.ctrl && !held.alt && !held.shift)
            return Key{.tmuxName = "C-Space", .bytes = std::string(1, '\0')};
        if (held.ctrl || held.shift)
            return std::nullopt; // no terminal can tell it from the key alone
        return Key{.tmuxName = held.tmuxPrefix() + std::string(key.tmuxName),
            .bytes = std::string(held.alt ? "\033" : "") + key.byte};
    }
    return std::nullopt;
}

} // namespace tarnel::tmux
