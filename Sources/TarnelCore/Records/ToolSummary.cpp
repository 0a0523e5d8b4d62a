#include "TarnelCore/Records/ToolSummary.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <iterator>

namespace tarnel::ToolSummary {

namespace {

constexpr std::size_t detailCharacters = 90;
constexpr std::size_t memberCharacters = 2'000;
constexpr std::size_t fullDetailCharacters = 8'000;
constexpr std::string_view ellipsis = "…";

/// Room for what stands behind the first member of a full detail, which is mostly short.
constexpr std::size_t usualRest = 128;

/// The members that say what a call is about, the most telling first; the last one says too little to lead a full
/// detail.
constexpr std::string_view detailKeys[] = {"command", "cmd", "file_path", "path", "pattern", "query", "description", "url",
    "prompt", "plan", "purpose"};
constexpr std::size_t primaryKeyCount = std::size(detailKeys) - 1;

struct ToolNames {
    Verb verb;
    std::array<std::string_view, 8> exact;
    std::array<std::string_view, 2> suffixes;
};

constexpr std::array toolNames{
    ToolNames{Verb::asked, {"askuserquestion", "request_user_input"}, {}},
    ToolNames{Verb::planned, {"exitplanmode"}, {}},
    ToolNames{Verb::read, {"read", "read_file", "view", "notebookread", "list_dir", "ls", "list_files"}, {"__read"}},
    ToolNames{Verb::ran,
        {"bash", "exec_command", "shell", "run_terminal_command", "local_shell", "write_stdin", "killshell",
            "bashoutput"},
        {}},
    ToolNames{Verb::edited,
        {"edit", "write", "multiedit", "notebookedit", "apply_patch", "search_replace", "str_replace", "create_file"},
        {"__apply", "__plan"}},
    ToolNames{Verb::searched, {"grep", "glob", "search", "search_tool", "websearch", "codebase_search", "file_search"},
        {"__find"}},
};

// An input is a value of its own or a view into a decoded line; these make the two look alike.

std::optional<std::string_view> stringIn(const JSON& value)
{
    const std::string* text = value.string();
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
}
std::optional<std::string_view> stringIn(const JSONView& value) { return value.string(); }

bool isArray(const JSON& value) { return value.array() != nullptr; }
bool isArray(const JSONView& value) { return value.isArray(); }

bool isObject(const JSON& value) { return value.object() != nullptr; }
bool isObject(const JSONView& value) { return value.isObject(); }

const JSON& valueOf(const JSON& value) { return value; }
JSON valueOf(const JSONView& value) { return value.value(); }

template <class Visit> void forEachElement(const JSON& value, Visit visit)
{
    for (const JSON& element : *value.array())
        visit(element);
}
template <class Visit> void forEachElement(const JSONView& value, Visit visit) { value.forEachElement(visit); }

/// The members under `detailKeys`, in the order of the keys, as pointers or what is used like them.
auto detailMembers(const JSON& value)
{
    std::array<const JSON*, std::size(detailKeys)> found;
    std::transform(std::begin(detailKeys), std::end(detailKeys), found.begin(),
        [&](std::string_view key) { return value[key]; });
    return found;
}
auto detailMembers(const JSONView& value) { return value.members(detailKeys); }

/// Calls `visit(key, value)` for the members in ascending order of their keys, each key once.
template <class Visit> void forEachSortedMember(const JSON& value, Visit visit)
{
    for (const JSON::Member& member : *value.object())
        visit(std::string_view(member.key), member.value);
}
template <class Visit> void forEachSortedMember(const JSONView& value, Visit visit)
{
    std::vector<std::pair<std::string_view, JSONView>> members;
    value.forEachMember([&](std::string_view key, const JSONView& member) {
        const auto place = std::lower_bound(
            members.begin(), members.end(), key, [](const auto& each, std::string_view k) { return each.first < k; });
        if (place != members.end() && place->first == key)
            place->second = member; // of a repeated key the last counts
        else
            members.emplace(place, key, member);
    });
    for (const auto& [key, member] : members)
        visit(key, member);
}

/// The strings of an array joined with spaces, other elements left out.
template <class Value> std::string joinedStrings(const Value& array)
{
    std::vector<std::string_view> strings;
    forEachElement(array, [&](const Value& element) {
        if (const auto text = stringIn(element))
            strings.push_back(*text);
    });
    return Text::joined(strings, " ");
}

/// Whether `text` has more than `count` characters.
bool isLonger(std::string_view text, std::size_t count)
{
    return text.size() > count && Text::prefix(text, count).size() < text.size();
}

/// Appends `text` with each run of spaces and line feeds as one space.
void appendWithSingleSpaces(std::string& line, std::string_view text)
{
    const std::size_t start = line.size();
    line.resize(start + text.size());
    char* end = line.data() + start;
    bool isBehindSpace = start > 0 && line[start - 1] == ' ';
    for (const char c : text) {
        const bool isSpace = c == ' ' || c == '\n';
        *end = isSpace ? ' ' : c;
        end += isSpace && isBehindSpace ? 0 : 1;
        isBehindSpace = isSpace;
    }
    line.resize(static_cast<std::size_t>(end - line.data()));
}

/// `text` as one line of at most 90 characters.
std::string oneLine(std::string_view text, std::string_view home)
{
    text = Text::trimmedOf(text, " \t\n");
    std::string line;
    if (!home.empty() && text.starts_with(home)) {
        line += '~';
        text.remove_prefix(home.size());
    }
    // Of a long text only the beginning is worth the work: it is enough once the line is sure to be cut, with room for
    // a character of which only some bytes are there yet.
    for (std::size_t wanted = detailCharacters + 9; !text.empty(); wanted *= 2) {
        while (line.size() < wanted && !text.empty()) {
            const std::size_t taken = std::min(wanted - line.size(), text.size());
            appendWithSingleSpaces(line, text.substr(0, taken));
            text.remove_prefix(taken);
        }
        if (isLonger(line, detailCharacters + 8))
            break;
    }
    if (isLonger(line, detailCharacters)) {
        line.resize(Text::prefix(line, detailCharacters - 1).size());
        line += ellipsis;
    }
    return line;
}

template <class Value> std::string detailOf(const Value& input, std::string_view home)
{
    if (const auto text = stringIn(input))
        return oneLine(*text, home);
    if (!isObject(input))
        return "";
    for (const auto& value : detailMembers(input)) {
        if (!value)
            continue;
        if (const auto text = stringIn(*value)) {
            if (!text->empty())
                return oneLine(*text, home);
        } else if (isArray(*value)) {
            bool isEmpty = true;
            forEachElement(*value, [&](const Value&) { isEmpty = false; });
            if (!isEmpty)
                return oneLine(joinedStrings(*value), home);
        }
    }
    return "";
}

/// A member's value for people; the text lives in `value` or in `memory`.
template <class Value> std::string_view rendered(const Value& value, std::string& memory)
{
    if (const auto text = stringIn(value))
        return *text;
    if (const auto truth = value.boolean())
        return *truth ? "true" : "false";
    bool isAllStrings = isArray(value);
    if (isAllStrings)
        forEachElement(value, [&](const Value& element) { isAllStrings = isAllStrings && stringIn(element); });
    if (isAllStrings)
        return memory = joinedStrings(value);
    return memory = valueOf(value).serialized();
}

template <class Value> std::optional<std::string> fullDetailOf(const Value& input)
{
    std::string detail;
    std::string memory;
    if (const auto whole = stringIn(input)) {
        detail = whole->size() > fullDetailCharacters ? Text::prefix(*whole, fullDetailCharacters) : *whole;
    } else if (isObject(input)) {
        std::optional<std::string_view> primary;
        std::string_view primaryText;
        const auto members = detailMembers(input);
        for (std::size_t i = 0; i < primaryKeyCount && !primary; ++i) {
            if (members[i])
                primaryText = rendered(*members[i], memory);
            if (!primaryText.empty())
                primary = detailKeys[i];
        }
        detail.reserve(std::min(primaryText.size() + usualRest, fullDetailCharacters + usualRest));
        detail = primaryText;
        forEachSortedMember(input, [&](std::string_view key, const Value& value) {
            const std::string_view text = key == primary ? "" : rendered(value, memory);
            if (text.empty())
                return;
            if (!detail.empty())
                detail += '\n';
            (detail += key) += ": ";
            const bool isCut = isLonger(text, memberCharacters);
            detail += isCut ? Text::prefix(text, memberCharacters) : text;
            if (isCut)
                detail += ellipsis;
        });
        if (isLonger(detail, fullDetailCharacters))
            detail.resize(Text::prefix(detail, fullDetailCharacters).size());
        if (detail.capacity() - detail.size() > detail.size() / 8)
            detail.shrink_to_fit(); // it is kept for as long as its record is
    }
    return detail.empty() ? std::nullopt : std::optional(std::move(detail));
}

/// "3 files" and the like, as it stands in titles.
std::string counted(Verb verb, std::size_t count)
{
    const std::string number = std::to_string(count);
    const std::string_view plural = count == 1 ? "" : "s";
    switch (verb) {
    case Verb::read:
    case Verb::edited:
        return std::string(nameOf(verb)).append(" " + number + " file").append(plural);
    case Verb::ran:
        return ("Ran " + number + " command").append(plural);
    case Verb::searched:
        return count == 1 ? "Searched once" : "Searched " + number + " times";
    case Verb::asked:
    case Verb::planned:
    case Verb::used:
        break;
    }
    return (number + " tool call").append(plural);
}

/// The verb of a tool step that counts as work; nothing for other entries, questions and plans.
std::optional<Verb> workVerb(const TranscriptEntry& entry)
{
    if (entry.role != EntryRole::tool)
        return std::nullopt;
    const Verb found = verb(entry.toolName ? std::string_view(*entry.toolName) : "");
    return found == Verb::asked || found == Verb::planned ? std::nullopt : std::optional(found);
}

} // namespace

Verb verb(std::string_view toolName)
{
    const std::string name = Text::lowercased(toolName);
    for (const ToolNames& row : toolNames) {
        for (const std::string_view exact : row.exact) {
            if (!exact.empty() && name == exact)
                return row.verb;
        }
        for (const std::string_view suffix : row.suffixes) {
            if (!suffix.empty() && name.ends_with(suffix))
                return row.verb;
        }
    }
    return Verb::used;
}

std::string displayName(std::string_view toolName)
{
    if (!toolName.starts_with("mcp__"))
        return std::string(toolName);
    auto pieces = Text::splitNonEmpty(toolName, '_');
    pieces.erase(pieces.begin());
    return Text::joined(pieces, " ");
}

std::string detail(const JSON& input, std::string_view home) { return detailOf(input, home); }
std::string detail(const JSONView& input, std::string_view home) { return detailOf(input, home); }

std::string describe(std::string_view toolName, std::string_view detail)
{
    const Verb found = verb(toolName);
    std::string line;
    const std::string name = found == Verb::used ? displayName(toolName) : std::string(nameOf(found));
    line.reserve(name.size() + (detail.empty() ? 0 : 1 + detail.size()));
    line = name;
    if (!detail.empty())
        (line += ' ') += detail;
    return line;
}

std::string describe(std::string_view toolName, const JSON& input, std::string_view home)
{
    return describe(toolName, detail(input, home));
}

std::optional<std::string> fullDetail(const JSON& input) { return fullDetailOf(input); }
std::optional<std::string> fullDetail(const JSONView& input) { return fullDetailOf(input); }

std::vector<ToolGroup> groups(const Entries& entries, std::size_t limit)
{
    std::vector<ToolGroup> runs;
    std::vector<Verb> verbs; // of the runs
    for (const Shared<TranscriptEntry>& entry : entries) {
        const auto found = workVerb(*entry);
        if (!found)
            continue;
        if (verbs.empty() || verbs.back() != *found) {
            runs.emplace_back();
            verbs.push_back(*found);
        }
        runs.back().steps.push_back(entry);
    }
    for (std::size_t i = 0; i < runs.size(); ++i) {
        const Entries& steps = runs[i].steps;
        runs[i].title = steps.size() == 1 ? steps.front()->text : counted(verbs[i], steps.size());
    }
    if (runs.size() <= limit)
        return runs;
    if (limit == 0)
        return {};
    const std::size_t folded = runs.size() - (limit - 1);
    ToolGroup earlier{.title = "… " + std::to_string(folded) + " earlier steps", .steps = {}};
    const auto firstKept = runs.begin() + static_cast<std::ptrdiff_t>(folded);
    std::for_each(runs.begin(), firstKept,
        [&](const ToolGroup& run) { earlier.steps.insert(earlier.steps.end(), run.steps.begin(), run.steps.end()); });
    runs.erase(runs.begin(), firstKept);
    runs.insert(runs.begin(), std::move(earlier));
    return runs;
}

std::vector<std::string> fold(const Entries& entries, std::size_t limit)
{
    std::vector<std::string> titles;
    for (ToolGroup& group : groups(entries, limit))
        titles.push_back(std::move(group.title));
    return titles;
}

std::optional<ToolGroup> chunk(const Entries& entries)
{
    ToolGroup all;
    std::vector<std::pair<Verb, std::size_t>> counts; // in the order of first appearance
    for (const Shared<TranscriptEntry>& entry : entries) {
        const auto found = workVerb(*entry);
        if (!found)
            continue;
        all.steps.push_back(entry);
        const auto known =
            std::find_if(counts.begin(), counts.end(), [&](const auto& each) { return each.first == *found; });
        if (known == counts.end())
            counts.emplace_back(*found, 1);
        else
            ++known->second;
    }
    if (all.steps.empty())
        return std::nullopt;
    std::vector<std::string> phrases;
    for (const auto& [verb, count] : counts)
        phrases.push_back(counted(verb, count));
    all.title = Text::joined(phrases, " · ");
    return all;
}

} // namespace tarnel::ToolSummary
