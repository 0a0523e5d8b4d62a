#include "tarnel/TypedKeys.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <optional>

namespace tarnel {

namespace {

constexpr char escape = '\x1b';
constexpr std::string_view pasteStart = "\x1b[200~";
constexpr std::string_view pasteEnd = "\x1b[201~";
constexpr int leavingCode = ']';

struct LetterKey {
    char letter;
    std::string_view name;
};
constexpr std::array<LetterKey, 10> letterKeys{{{'A', "up"}, {'B', "down"}, {'C', "right"}, {'D', "left"},
    {'H', "home"}, {'F', "end"}, {'P', "f1"}, {'Q', "f2"}, {'R', "f3"}, {'S', "f4"}}};

struct NumberKey {
    int number;
    std::string_view name;
};
constexpr std::array<NumberKey, 20> numberKeys{{{1, "home"}, {2, "insert"}, {3, "delete"}, {4, "end"}, {5, "pageup"},
    {6, "pagedown"}, {7, "home"}, {8, "end"}, {11, "f1"}, {12, "f2"}, {13, "f3"}, {14, "f4"}, {15, "f5"}, {17, "f6"},
    {18, "f7"}, {19, "f8"}, {20, "f9"}, {21, "f10"}, {23, "f11"}, {24, "f12"}}};

template <class Keys, class Code> std::string nameIn(const Keys& keys, Code code)
{
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const auto& key) {
        if constexpr (requires { key.letter; })
            return key.letter == code;
        else
            return key.number == code;
    });
    return found == keys.end() ? std::string() : std::string(found->name);
}

/// xterm's number for the modifiers as a prefix: 1 and a sum of 1 for shift, 2 for alt, 4 for ctrl.
std::string modifiers(int number)
{
    const int held = std::max(number, 1) - 1;
    return std::string(held & 4 ? "ctrl+" : "") + (held & 2 ? "alt+" : "") + (held & 1 ? "shift+" : "");
}

/// The key that a control character stands for.
std::string controlName(char byte)
{
    switch (byte) {
    case '\r':
        return "enter";
    case '\t':
        return "tab";
    case escape:
        return "esc";
    case '\x7f':
        return "backspace";
    case '\0':
        return "ctrl+space";
    default:
        break;
    }
    const char letter = static_cast<char>(byte + 0x40);
    return "ctrl+" + std::string(1, letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + 0x20) : letter);
}

/// The key of a character that comes with its modifiers beside it.
std::string codedName(int code, int held)
{
    const std::string prefix = modifiers(held);
    if (code < 0x20 || code == 0x7F)
        return prefix + controlName(static_cast<char>(code));
    if (code == ' ')
        return prefix + "space";
    std::string name = prefix;
    Text::append(name, static_cast<char32_t>(code));
    return name;
}

/// One sequence at the start of what was read.
struct Sequence {
    std::size_t length = 0; ///< 0: its rest has not come.
    std::string key; ///< Empty: it is no key.
    std::string text; ///< To be typed as it is.
    bool leaves = false;
};

std::vector<int> numbersIn(std::string_view parameters)
{
    std::vector<int> numbers;
    for (const std::string_view each : Text::split(parameters, ';')) {
        int number = 0;
        std::from_chars(each.data(), each.data() + each.size(), number);
        numbers.push_back(number);
    }
    return numbers;
}

/// Whether `bytes` is the start of a character whose rest has not come.
bool isCutCharacter(std::string_view bytes)
{
    const auto lead = static_cast<unsigned char>(bytes[0]);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : lead >= 0xC0 ? 2 : 1;
    return bytes.size() < length;
}

/// "CSI parameters final".
Sequence controlSequence(std::string_view bytes)
{
    std::size_t end = 2;
    while (end < bytes.size() && bytes[end] >= 0x20 && bytes[end] < 0x40)
        ++end;
    if (end == bytes.size())
        return {};
    Sequence made{.length = end + 1};
    const std::string_view parameters = bytes.substr(2, end - 2);
    const char final = bytes[end];
    const bool isMouse = parameters.starts_with('<') && (final == 'M' || final == 'm');
    if (isMouse) {
        made.text = bytes.substr(0, made.length); // the pane's program has asked for it
        return made;
    }
    if (!parameters.empty() && (parameters[0] < '0' || parameters[0] > '9'))
        return made; // an answer of the terminal
    const std::vector<int> numbers = numbersIn(parameters);
    const int first = numbers[0];
    const int second = numbers.size() > 1 ? numbers[1] : 1;
    if (final == 'u') {
        made.leaves = first == leavingCode && ((std::max(second, 1) - 1) & 4) != 0;
        made.key = codedName(first, second);
    } else if (final == '~' && first == 27 && numbers.size() > 2) {
        made.leaves = numbers[2] == leavingCode && ((std::max(second, 1) - 1) & 4) != 0;
        made.key = codedName(numbers[2], second);
    } else if (final == '~') {
        const std::string name = nameIn(numberKeys, first);
        made.key = name.empty() ? "" : modifiers(second) + name;
    } else if (final == 'Z') {
        made.key = "shift+tab";
    } else if (final != 'R') { // which is where the cursor stands, not F3
        const std::string name = nameIn(letterKeys, final);
        made.key = name.empty() ? "" : modifiers(second) + name;
    }
    return made;
}

/// A string for the terminal's other side, which ends with BEL or "ESC \".
Sequence commandString(std::string_view bytes)
{
    for (std::size_t at = 2; at < bytes.size(); ++at) {
        if (bytes[at] == '\a')
            return {.length = at + 1};
        if (bytes[at] == escape && at + 1 < bytes.size())
            return {.length = bytes[at + 1] == '\\' ? at + 2 : at};
    }
    return {};
}

Sequence escapeSequence(std::string_view bytes)
{
    if (bytes.size() < 2)
        return {};
    switch (bytes[1]) {
    case '[':
        return controlSequence(bytes);
    case 'O': {
        if (bytes.size() < 3)
            return {};
        return {.length = 3, .key = nameIn(letterKeys, bytes[2])};
    }
    case ']':
    case 'P':
    case '_':
        return commandString(bytes);
    default:
        break;
    }
    if (static_cast<unsigned char>(bytes[1]) < 0x20 || bytes[1] == '\x7f')
        return bytes[1] == escape ? Sequence{.length = 1, .key = "esc"}
                                  : Sequence{.length = 2, .key = "alt+" + controlName(bytes[1])};
    if (isCutCharacter(bytes.substr(1)))
        return {};
    const std::size_t length = Text::firstScalar(bytes.substr(1)).length;
    const std::string character(bytes.substr(1, length));
    return {.length = 1 + length, .key = "alt+" + (character == " " ? "space" : character)};
}

void addText(std::vector<PaneTyping>& pieces, std::string_view text)
{
    if (text.empty())
        return;
    if (pieces.empty() || !pieces.back().keys.empty())
        pieces.emplace_back();
    pieces.back().text += text;
}

void addKey(std::vector<PaneTyping>& pieces, std::string key)
{
    if (pieces.empty())
        pieces.emplace_back();
    pieces.back().keys.push_back(std::move(key));
}

} // namespace

TypedKeys::Typed TypedKeys::take(std::string_view bytes)
{
    unread += bytes;
    return read(false);
}

TypedKeys::Typed TypedKeys::flush() { return read(true); }

TypedKeys::Typed TypedKeys::read(bool isComplete)
{
    Typed typed;
    while (!unread.empty()) {
        const std::string_view rest = unread;
        const bool isControl = static_cast<unsigned char>(rest[0]) < 0x20 || rest[0] == '\x7f';
        if (rest.starts_with(pasteStart) || rest.starts_with(pasteEnd)) {
            isPasting = rest.starts_with(pasteStart);
            addText(typed.pieces, rest.substr(0, pasteStart.size())); // the pane's program has asked for the marks
            unread.erase(0, pasteStart.size());
        } else if (rest[0] == escape) {
            Sequence sequence = escapeSequence(rest);
            if (sequence.length == 0 && !isComplete)
                break;
            if (sequence.length == 0)
                sequence = {.length = 1, .key = "esc"};
            if (sequence.leaves) {
                unread.clear();
                typed.leaves = true;
                break;
            }
            addText(typed.pieces, sequence.text);
            if (!sequence.key.empty())
                addKey(typed.pieces, std::move(sequence.key));
            unread.erase(0, sequence.length);
        } else if (isControl && !isPasting) {
            if (rest[0] == leavingCode - 0x40) {
                unread.clear();
                typed.leaves = true;
                break;
            }
            addKey(typed.pieces, controlName(rest[0]));
            unread.erase(0, 1);
        } else {
            if (isCutCharacter(rest) && !isComplete)
                break;
            const std::size_t length = Text::firstScalar(rest).length;
            addText(typed.pieces, Text::repaired(rest.substr(0, length)));
            unread.erase(0, length);
        }
    }
    return typed;
}

} // namespace tarnel
