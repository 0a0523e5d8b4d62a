#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Attention/PhraseSearch.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace tarnel::ScreenReading {

namespace {

constexpr std::array boxEdges{"│"sv, "┃"sv, "|"sv};
constexpr std::array selectionMarkers{"❯"sv, "›"sv, ">"sv, "▶"sv, "→"sv, "●"sv};
constexpr std::string_view promptMark = "❯";
constexpr char escape = '\x1b';

bool isDecimal(char c) { return c >= '0' && c <= '9'; }

void skipWhitespace(std::string_view& text)
{
    while (!text.empty()) {
        if (text[0] == ' ') { // nearly all there is
            text.remove_prefix(1);
            continue;
        }
        const Text::Scalar scalar = Text::firstScalar(text);
        if (!Text::isWhitespace(scalar.value))
            return;
        text.remove_prefix(scalar.length);
    }
}

template <class Literals> bool skipOne(std::string_view& text, const Literals& literals)
{
    for (const std::string_view literal : literals) {
        if (text.starts_with(literal)) {
            text.remove_prefix(literal.size());
            return true;
        }
    }
    return false;
}

/// Whether a menu line can go on with this byte: a digit, a box edge or a marker. Most lines are told apart here.
bool canStartOption(char c) { return isDecimal(c) || c == '|' || c == '>' || static_cast<unsigned char>(c) >= 0x80; }

/// `text`, which starts with the label, without the white space and the box edge behind it. The label keeps at least
/// its first character, though that be a box edge.
std::string_view withoutClosingEdge(std::string_view text)
{
    text = Text::trimmed(text);
    for (const std::string_view edge : boxEdges) {
        if (text.ends_with(edge) && text.size() > edge.size())
            return Text::trimmed(text.substr(0, text.size() - edge.size()));
    }
    return text;
}

bool contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

/// `screen` from the first line on that can hold a menu's first entry; empty when none can.
std::string_view fromFirstEntry(std::string_view screen)
{
    for (std::size_t one = screen.find('1'); one < screen.size(); one = screen.find('1', one + 1)) {
        if (one + 1 < screen.size() && (screen[one + 1] == '.' || screen[one + 1] == ')')) {
            const std::size_t feed = screen.rfind('\n', one);
            return screen.substr(feed == screen.npos ? 0 : feed + 1);
        }
    }
    return {};
}

/// Calls `visit` for each line of `text`, the empty ones included.
template <class Visit> void forEachLine(std::string_view text, const Visit& visit)
{
    for (;;) {
        const std::size_t end = text.find('\n');
        visit(text.substr(0, end));
        if (end == text.npos)
            return;
        text.remove_prefix(end + 1);
    }
}

/// The last line of `text` that passes `test`; nothing when none does.
template <class Test> std::optional<std::string_view> lastLine(std::string_view text, const Test& test)
{
    for (;;) {
        const std::size_t feed = text.rfind('\n');
        const std::string_view line = feed == text.npos ? text : text.substr(feed + 1);
        if (test(line))
            return line;
        if (feed == text.npos)
            return std::nullopt;
        text = text.substr(0, feed);
    }
}

/// The options with their labels in the form in which they are compared.
class Labels {
public:
    explicit Labels(const std::vector<MenuOption>& all)
        : options(all)
    {
        for (const MenuOption& option : options)
            labels.push_back(normalize(option.label));
    }

    /// The first option whose label passes `test`.
    template <class Test> std::optional<MenuOption> first(Test test) const
    {
        const auto found = std::find_if(labels.begin(), labels.end(), test);
        if (found == labels.end())
            return std::nullopt;
        return options[static_cast<std::size_t>(found - labels.begin())];
    }

private:
    const std::vector<MenuOption>& options;
    std::vector<std::string> labels;
};

bool isAny(std::string_view text, std::initializer_list<std::string_view> words)
{
    return std::find(words.begin(), words.end(), text) != words.end();
}

/// The option that means `want`, in whatever words the agent puts it.
std::optional<MenuOption> optionMeaning(std::string_view want, const Labels& labels)
{
    const auto isYes = [](std::string_view label) { return label.starts_with("yes"); };
    const auto isForGood = [](std::string_view label) {
        return contains(label, "dont ask") || contains(label, "always");
    };

    if (isAny(want, {"implement the plan", "allow", "yes", "approve"})) {
        const auto once = labels.first([&](std::string_view label) { return isYes(label) && !isForGood(label); });
        return once ? once : labels.first(isYes);
    }
    if (isAny(want, {"allow for session", "yes for this session", "approve for session"})) {
        return labels.first([&](std::string_view label) {
            return isForGood(label) || contains(label, "session") || contains(label, "allow all");
        });
    }
    if (isAny(want, {"deny", "no"}))
        return labels.first([](std::string_view label) { return label.starts_with("no"); });
    if (isAny(want, {"critique", "revise"})) {
        return labels.first([](std::string_view label) {
            return label.starts_with("no") || contains(label, "keep planning") || contains(label, "tell");
        });
    }
    return labels.first([&](std::string_view label) { return contains(label, want); });
}

/// The bytes of the control sequence (escape, "[", digits and ";", a letter) that `text` starts with; 0 for none.
std::size_t controlSequenceLength(std::string_view text)
{
    if (!text.starts_with("\x1b["))
        return 0;
    std::size_t end = 2;
    while (end < text.size() && (isDecimal(text[end]) || text[end] == ';'))
        ++end;
    const bool isClosed =
        end < text.size() && static_cast<unsigned char>(text[end]) < 0x80 && Text::isLetter(char32_t(text[end]));
    return isClosed ? end + 1 : 0;
}

/// Whether the line shows the prompt mark first, control sequences, spaces and tabs aside.
bool isInputLine(std::string_view line)
{
    while (!line.empty()) {
        const std::size_t skipped = line[0] == ' ' || line[0] == '\t' ? 1 : controlSequenceLength(line);
        if (skipped == 0)
            break;
        line.remove_prefix(skipped);
    }
    return line.starts_with(promptMark);
}

/// The offset of the first letter of `text`; its size when there is none.
std::size_t firstLetter(std::string_view text)
{
    std::size_t at = 0;
    while (at < text.size()) {
        const Text::Scalar scalar = Text::firstScalar(text.substr(at));
        if (Text::isLetter(scalar.value))
            break;
        at += scalar.length;
    }
    return at;
}

/// The faint text of an input line, given behind its prompt mark; nothing when there is other text.
std::optional<std::string> onlyFaintText(std::string_view line)
{
    std::string text;
    bool isFaint = false;
    while (!line.empty()) {
        if (line.starts_with("\x1b[")) {
            line.remove_prefix(2);
            const std::size_t end = firstLetter(line);
            if (end == line.size())
                break; // cut off inside the sequence
            if (line[end] == 'm')
                isFaint = faintAfter(line.substr(0, end), isFaint);
            line.remove_prefix(end + Text::firstScalar(line.substr(end)).length);
            continue;
        }
        const Text::Scalar scalar = Text::firstScalar(line);
        if (scalar.value != char32_t(escape)) {
            if (isFaint)
                text += line.substr(0, scalar.length);
            else if (!Text::isWhitespace(scalar.value))
                return std::nullopt;
        }
        line.remove_prefix(scalar.length);
    }
    return text;
}

} // namespace

std::optional<MenuOption> menuOption(std::string_view line)
{
    skipWhitespace(line);
    if (line.empty() || !canStartOption(line[0]))
        return std::nullopt;
    skipOne(line, boxEdges);
    skipWhitespace(line);
    MenuOption option;
    option.selected = skipOne(line, selectionMarkers);
    skipWhitespace(line);

    std::size_t digits = 0;
    for (; digits < 2 && digits < line.size() && isDecimal(line[digits]); ++digits)
        option.number = 10 * option.number + (line[digits] - '0');
    if (digits == 0 || digits == line.size() || (line[digits] != '.' && line[digits] != ')'))
        return std::nullopt;
    line.remove_prefix(digits + 1);

    const std::string_view space = line;
    skipWhitespace(line);
    if (line.size() == space.size())
        return std::nullopt;
    if (line.empty()) { // of white space alone, the last is the label when another stands before it
        const std::size_t last = Text::lastScalar(space).length;
        if (last == space.size())
            return std::nullopt;
        option.label = space.substr(space.size() - last);
    } else {
        option.label = withoutClosingEdge(line);
    }
    return option;
}

std::vector<MenuOption> menu(std::string_view screen)
{
    constexpr int mostLinesBetween = 3;
    std::vector<MenuOption> lowest;
    std::vector<MenuOption> current;
    int linesBetween = 0;
    const auto close = [&] {
        if (current.size() >= 2)
            lowest.swap(current);
        current.clear();
    };
    forEachLine(fromFirstEntry(screen), [&](std::string_view line) {
        std::optional<MenuOption> option = menuOption(line);
        if (!option) {
            if (!current.empty() && ++linesBetween > mostLinesBetween)
                close();
            return;
        }
        if (!current.empty() && option->number != current.back().number + 1)
            close();
        if (!current.empty() || option->number == 1) {
            current.push_back(*std::move(option));
            linesBetween = 0;
        }
    });
    close();
    return lowest;
}

bool isQuestionScreen(std::string_view screen, const std::vector<std::string>& markers)
{
    return PhraseSearch(markers).isAnyIn(screen);
}

std::optional<MenuOption> option(std::string_view choice, AttentionKind, const std::vector<MenuOption>& options)
{
    const std::string want = normalize(choice);
    if (want.empty())
        return std::nullopt;
    const Labels labels(options);
    if (auto found = labels.first([&](std::string_view label) { return label == want; }))
        return found;
    const bool isLong = Text::characterCount(want) > 3;
    const auto isCutShort = [&](std::string_view label) {
        return label.starts_with(want) || (isLong && !label.empty() && want.starts_with(label));
    };
    if (auto found = labels.first(isCutShort))
        return found;
    return optionMeaning(want, labels);
}

std::optional<MenuOption> freeTextOption(const std::vector<MenuOption>& options)
{
    return Labels(options).first([](std::string_view label) {
        return contains(label, "type something") || label.starts_with("other") || contains(label, "tell")
            || contains(label, "chat about");
    });
}

std::optional<std::vector<std::string>> openQuestionKeys(std::string_view screen)
{
    const std::string text = Text::lowercased(screen);
    if (!contains(text, "to answer"))
        return std::nullopt;
    if (!contains(text, "⌥ + ↑") && !contains(text, "alt+up") && !contains(text, "⌥+↑"))
        return std::nullopt;
    return std::vector<std::string>{"alt+up"};
}

std::optional<std::string> suggestion(std::string_view ansiScreen)
{
    const auto line = lastLine(ansiScreen, isInputLine);
    if (!line)
        return std::nullopt;
    const auto text = onlyFaintText(line->substr(line->find(promptMark) + promptMark.size()));
    if (!text)
        return std::nullopt;
    const std::string_view suggested = Text::trimmed(*text);
    if (suggested.empty() || suggested.starts_with("Try \""))
        return std::nullopt;
    return std::string(suggested);
}

std::optional<std::string> claudeMode(std::string_view screen)
{
    std::optional<std::string> mode;
    lastLine(screen, [&](std::string_view line) {
        line = Text::trimmedBlanks(line);
        if (!line.starts_with("⏵⏵") && !line.starts_with("⏸"))
            return false;
        line.remove_prefix(firstLetter(line));
        const std::size_t end = line.find(" on");
        if (end != line.npos)
            mode = line.substr(0, end);
        return end != line.npos;
    });
    return mode;
}

std::string normalize(std::string_view text)
{
    std::string rest = Text::lowercased(text);
    for (const std::string_view dropped : {"(recommended)"sv, "recommended"sv, "…"sv, "..."sv})
        rest = Text::replacingAll(rest, dropped, "");
    std::string kept;
    for (std::string_view left = rest; !left.empty();) {
        const std::size_t length = Text::firstCharacterLength(left);
        const char32_t first = Text::firstScalar(left).value; // what follows in the character are its marks
        if (Text::isLetter(first) || Text::isDigit(first) || left.substr(0, length) == " ")
            kept += left.substr(0, length);
        left.remove_prefix(length);
    }
    return Text::joined(Text::splitNonEmpty(kept, ' '), " ");
}

bool faintAfter(std::string_view parameters, bool was)
{
    std::vector<int> codes;
    for (const std::string_view piece : Text::split(parameters, ';')) {
        int code = 0;
        const auto [end, error] = std::from_chars(piece.data(), piece.data() + piece.size(), code);
        codes.push_back(error == std::errc() && end == piece.data() + piece.size() ? code : 0);
    }
    bool isFaint = was;
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const int code = codes[i];
        if (code == 38 || code == 48 || code == 58)
            i += i + 1 < codes.size() && codes[i + 1] == 5 ? 2u : 4u;
        else if (code == 0 || code == 22)
            isFaint = false;
        else if (code == 2)
            isFaint = true;
    }
    return isFaint;
}

} // namespace tarnel::ScreenReading
