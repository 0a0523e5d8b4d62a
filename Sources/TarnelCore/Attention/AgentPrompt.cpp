#include "TarnelCore/Attention/AgentPrompt.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel::AgentPrompt {

namespace {

constexpr char escape = '\x1b';
constexpr char bell = '\a';
constexpr char del = '\x7f';
constexpr std::string_view noBreakSpace = "\u00A0";
constexpr std::string_view claudeMark = "❯";
constexpr std::string_view codexMark = "›";
constexpr std::size_t indentation = 2; // of a prompt's lines but the first

bool isBetween(char c, char low, char high) { return c >= low && c <= high; }

/// The end of the escape sequence whose second byte stands at `at`: intermediate bytes and a final one.
std::size_t endOfPlainSequence(std::string_view line, std::size_t at)
{
    while (at < line.size() && isBetween(line[at], ' ', '/'))
        ++at;
    return at < line.size() && isBetween(line[at], '0', '~') ? at + 1 : at;
}

/// The first line of a prompt: `typed` without the mark and one blank behind it.
std::string_view withoutMark(std::string_view typed, std::string_view mark)
{
    if (typed.starts_with(mark))
        typed.remove_prefix(mark.size());
    if (typed.starts_with(' '))
        typed.remove_prefix(1);
    else if (typed.starts_with(noBreakSpace))
        typed.remove_prefix(noBreakSpace.size());
    return typed;
}

std::string_view withoutIndentation(std::string_view typed)
{
    return typed.substr(std::min(leadingSpaces(typed), indentation));
}

/// The index of the last line that starts with `mark`.
std::optional<std::size_t> lastMarked(const std::vector<Line>& lines, std::string_view mark)
{
    for (std::size_t i = lines.size(); i-- > 0;) {
        if (lines[i].plain.starts_with(mark))
            return i;
    }
    return std::nullopt;
}

std::optional<std::string> readClaude(const std::vector<Line>& lines)
{
    const auto first = lastMarked(lines, claudeMark);
    if (!first || *first == 0 || !isRule(lines[*first - 1].plain))
        return std::nullopt;
    std::vector<std::string_view> prompt{withoutMark(lines[*first].typed, claudeMark)};
    for (std::size_t i = *first + 1; i < lines.size(); ++i) {
        if (isRule(lines[i].plain))
            return clean(std::move(prompt));
        prompt.push_back(withoutIndentation(lines[i].typed));
    }
    return std::nullopt; // the box is not closed
}

std::optional<std::string> readCodex(const std::vector<Line>& lines)
{
    const auto first = lastMarked(lines, codexMark);
    if (!first)
        return std::nullopt;
    std::vector<std::string_view> prompt{withoutMark(lines[*first].typed, codexMark)};
    for (std::size_t i = *first + 1; i < lines.size(); ++i) {
        const std::string& plain = lines[i].plain;
        if (leadingSpaces(plain) < indentation || Text::isBlank(plain))
            break;
        prompt.push_back(withoutIndentation(lines[i].typed));
    }
    return clean(std::move(prompt));
}

} // namespace

std::optional<std::string> read(std::string_view screen, AgentKind kind)
{
    if (kind != AgentKind::claude && kind != AgentKind::codex)
        return std::nullopt;
    const std::string text = Text::replacingAll(screen, "\r", "");
    std::vector<Line> lines;
    for (const std::string_view line : Text::split(text, '\n'))
        lines.push_back(visible(line));
    return kind == AgentKind::claude ? readClaude(lines) : readCodex(lines);
}

bool shows(std::string_view text, std::string_view typed) { return clean(Text::split(typed, '\n')) == text; }

std::string keystrokes(std::string_view current, std::string_view desired, AgentKind kind)
{
    while (!current.empty()) {
        const std::size_t length = Text::firstCharacterLength(current);
        if (current.substr(0, length) != desired.substr(0, Text::firstCharacterLength(desired)))
            break;
        current.remove_prefix(length);
        desired.remove_prefix(length);
    }
    const std::string_view lineBreak = kind == AgentKind::claude ? "\x1b\r" : "\n"; // in Claude's box a return sends
    return std::string(Text::characterCount(current), del) + Text::replacingAll(desired, "\n", lineBreak);
}

Line visible(std::string_view line)
{
    Line result;
    bool isFaint = false;
    std::size_t at = 0;
    while (at < line.size()) {
        if (line[at] != escape) {
            const std::size_t end = std::min(line.find(escape, at), line.size());
            const std::string_view text = line.substr(at, end - at);
            result.plain += text;
            if (!isFaint)
                result.typed += text;
            at = end;
            continue;
        }
        ++at;
        const char kind = at < line.size() ? line[at] : '\0';
        if (kind == '[') {
            const std::size_t start = ++at;
            while (at < line.size() && !isBetween(line[at], '@', '~'))
                ++at;
            if (at < line.size() && line[at] == 'm')
                isFaint = ScreenReading::faintAfter(line.substr(start, at - start), isFaint);
            at = std::min(at + 1, line.size());
        } else if (kind == ']') {
            while (at < line.size() && line[at] != bell && line[at] != escape)
                ++at;
            if (at < line.size() && line[at] == bell)
                ++at;
        } else {
            at = endOfPlainSequence(line, at);
        }
    }
    return result;
}

bool isRule(std::string_view text)
{
    constexpr std::string_view dash = "─";
    constexpr int fewest = 20;
    int count = 0;
    for (std::size_t at = 0; count < fewest && (at = text.find(dash, at)) != text.npos; at += dash.size())
        ++count;
    return count == fewest;
}

std::size_t leadingSpaces(std::string_view text) { return std::min(text.find_first_not_of(' '), text.size()); }

std::string clean(std::vector<std::string_view> lines)
{
    for (std::string_view& line : lines) {
        for (;;) {
            if (line.ends_with(' '))
                line.remove_suffix(1);
            else if (line.ends_with(noBreakSpace))
                line.remove_suffix(noBreakSpace.size());
            else
                break;
        }
    }
    while (lines.size() > 1 && lines.back().empty())
        lines.pop_back();
    return Text::joined(lines, "\n");
}

} // namespace tarnel::AgentPrompt
