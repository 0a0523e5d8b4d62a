#include "TarnelCore/Records/LiveReply.h"
#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <array>

namespace tarnel::LiveReply {

namespace {

constexpr std::string_view claudePrompt = "❯";
constexpr std::string_view claudeBullet = "⏺";
constexpr std::string_view codexPrompt = "›";
constexpr std::string_view codexBullet = "•";
constexpr std::string_view rule = "─";
constexpr std::string_view indentation = "  ";
constexpr std::size_t leastRule = 4; // of the rules above an input box
constexpr std::size_t asideIndentation = 20; // lines so far to the right are no part of a reply

/// A Codex block that starts with one of these is a step.
constexpr std::array<std::string_view, 18> codexSteps = {"Ran ", "Running ", "Called ", "Calling ", "Explored",
    "Exploring", "Edited ", "Editing ", "Added ", "Deleted ", "Read ", "Searched ", "Search ", "Listed ", "Waited",
    "Waiting", "Updated Plan", "Working"};

bool isBlankLine(std::string_view line) { return Text::trimmedBlanks(line).empty(); }

/// The index of the last line that `isWanted`; nothing when there is none.
template <class Predicate> std::optional<std::size_t> lastIndex(const Lines& lines, Predicate isWanted)
{
    for (std::size_t i = lines.size(); i > 0; --i) {
        if (isWanted(lines[i - 1]))
            return i - 1;
    }
    return std::nullopt;
}

std::optional<std::size_t> lastStartingWith(const Lines& lines, std::string_view start)
{
    return lastIndex(lines, [&](std::string_view line) { return line.starts_with(start); });
}

Lines firstLines(const Lines& lines, std::size_t count)
{
    return {lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(count)};
}

bool isRule(std::string_view line)
{
    line = Text::trimmedBlanks(line);
    std::size_t length = 0;
    for (; line.starts_with(rule); ++length)
        line.remove_prefix(rule.size());
    return line.empty() && length >= leastRule;
}

std::string_view withoutBullet(std::string_view line)
{
    line.remove_prefix(Text::firstCharacterLength(line));
    if (line.starts_with(' '))
        line.remove_prefix(1);
    return line;
}

/// Without the notices that Claude draws over a line of its reply when there is more below.
std::string withoutNotices(std::string_view line)
{
    // A match starts where blanks or digits do: said by the look-behinds, so that a long run of either is passed over
    // at once and not tried from each of its places.
    static const Regex notice(R"((?:\G|(?<!\s))\s*+(?<!\d)\d++ new messages? \(click\) ↓\s*+)");
    return notice.replacingAll(line, " ");
}

/// The block whose head is `lines[bullet]`. `outputMarks` start, after the indentation, a line of a tool's output.
template <class Clean>
Reply block(const Lines& lines, std::size_t bullet, std::initializer_list<std::string_view> outputMarks, Clean clean)
{
    std::vector<std::string> reply{std::string(withoutBullet(lines[bullet]))};
    for (std::size_t i = bullet + 1; i < lines.size(); ++i) {
        std::string_view line = lines[i];
        if (isBlankLine(line)) {
            reply.emplace_back();
            continue;
        }
        if (!line.starts_with(indentation))
            break;
        line.remove_prefix(indentation.size());
        if (std::any_of(outputMarks.begin(), outputMarks.end(), [&](auto mark) { return line.starts_with(mark); }))
            return std::nullopt;
        reply.push_back(clean(line));
    }
    return reply;
}

/// Whether a line from `from` on starts with `prompt`: then what stands before was said earlier.
bool hasPromptAfter(const Lines& lines, std::size_t from, std::string_view prompt)
{
    const auto at = lastStartingWith(lines, prompt);
    return at && *at > from;
}

} // namespace

std::optional<std::string> read(std::string_view screen, AgentKind kind, const Transcript* transcript)
{
    if (kind != AgentKind::claude && kind != AgentKind::codex)
        return std::nullopt;
    const std::string text = Text::replacingAll(screen, "\r", "");
    const Lines lines = Text::split(text, '\n');
    const Reply reply = kind == AgentKind::claude ? claude(lines) : codex(lines);
    if (!reply)
        return std::nullopt;
    const std::string joined = Text::joined(*reply, "\n");
    const std::string_view shown = Text::trimmed(joined);
    if (shown.empty() || recorded(shown, transcript))
        return std::nullopt;
    return std::string(shown);
}

Reply claude(const Lines& lines)
{
    const auto prompt = lastStartingWith(lines, claudePrompt);
    if (!prompt || *prompt == 0 || !isRule(lines[*prompt - 1]))
        return std::nullopt;
    const Lines above = trimmedEnd(firstLines(lines, *prompt - 1));
    const auto bullet = lastStartingWith(above, claudeBullet);
    if (!bullet || hasPromptAfter(above, *bullet, claudePrompt) || isClaudeStep(withoutBullet(above[*bullet])))
        return std::nullopt;
    return block(above, *bullet, {"⎿"}, withoutNotices);
}

Reply codex(const Lines& lines)
{
    const auto prompt = lastStartingWith(lines, codexPrompt);
    if (!prompt)
        return std::nullopt;
    const Lines above = firstLines(lines, *prompt);
    const auto bullet = lastIndex(above, [](std::string_view line) {
        return line.starts_with(codexBullet) && line.find("esc to interrupt") == line.npos;
    });
    if (!bullet || hasPromptAfter(above, *bullet, codexPrompt))
        return std::nullopt;
    const std::string_view head = withoutBullet(above[*bullet]);
    if (std::any_of(codexSteps.begin(), codexSteps.end(), [&](auto step) { return head.starts_with(step); }))
        return std::nullopt;
    return block(above, *bullet, {"└", "│"}, [](std::string_view line) { return std::string(line); });
}

Lines trimmedEnd(Lines lines)
{
    const std::string aside(asideIndentation, ' ');
    while (!lines.empty() && (isBlankLine(lines.back()) || Text::prefix(lines.back(), asideIndentation) == aside))
        lines.pop_back();
    return lines;
}

bool isClaudeStep(std::string_view line)
{
    static const Regex elapsed(R"( · (\d+m )?\d+s$)");
    if (elapsed.matches(line) || line.find(" (MCP)(") != line.npos)
        return true;
    const std::size_t parenthesis = line.find('(');
    if (parenthesis == line.npos || parenthesis == 0 || line[parenthesis - 1] == ' ')
        return false;
    return Text::isLetter(Text::firstScalar(line).value) && (line.ends_with(')') || line.ends_with("…"));
}

bool recorded(std::string_view text, const Transcript* transcript)
{
    if (!transcript)
        return false;
    const std::string key = Text::alphanumericKey(text);
    // The order does not matter, so from the end back to the user's last entry.
    for (auto entry = transcript->entries.rbegin(); entry != transcript->entries.rend(); ++entry) {
        if ((*entry)->role == EntryRole::user)
            return false;
        if ((*entry)->role != EntryRole::assistant)
            continue;
        const std::string said = Text::alphanumericKey((*entry)->text);
        if (!said.empty() && (said.starts_with(key) || key.starts_with(said)))
            return true;
    }
    return false;
}

} // namespace tarnel::LiveReply

namespace tarnel::StreamReveal {

namespace {

constexpr std::size_t leastStep = 10;
constexpr std::size_t fraction = 8;

} // namespace

std::size_t next(std::size_t shown, std::string_view text)
{
    const std::size_t total = Text::characterCount(text);
    if (shown >= total)
        return total;
    const std::size_t remaining = total - shown;
    std::size_t at = shown + (remaining < leastStep * fraction ? leastStep : remaining / fraction);
    if (at >= total)
        return total;
    for (text.remove_prefix(Text::prefix(text, at).size()); !text.empty(); ++at) {
        if (Text::isWhitespace(Text::firstScalar(text).value))
            return at;
        text.remove_prefix(Text::firstCharacterLength(text));
    }
    return total;
}

bool continues(std::string_view previous, std::string_view current)
{
    const std::string before = Text::alphanumericKey(previous);
    return !before.empty() && Text::alphanumericKey(current).starts_with(before);
}

} // namespace tarnel::StreamReveal
