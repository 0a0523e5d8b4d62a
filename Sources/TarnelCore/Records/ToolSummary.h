// TarnelCore/Records/ToolSummary.h: one tool call as a line, a run of tool steps as a few.
#pragma once
#include "TarnelCore/JSON/JSON.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/Transcript.h"
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// One display line over consecutive tool steps.
struct ToolGroup {
    std::string title;
    std::vector<Shared<TranscriptEntry>> steps;

    bool operator==(const ToolGroup&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"title", &ToolGroup::title}, Field{"steps", &ToolGroup::steps}};
    }
};

/// Pure functions over tool names, their JSON input and transcript entries. Thread-safe.
namespace ToolSummary {

using Entries = std::vector<Shared<TranscriptEntry>>;

/// What a tool call did; the name is the word shown.
enum class Verb { read, ran, edited, searched, asked, planned, used };
constexpr auto namesOf(Verb)
{
    return std::array{"Read"sv, "Ran"sv, "Edited"sv, "Searched"sv, "Asked"sv, "Planned"sv, "Used"sv};
}

Verb verb(std::string_view toolName);

/// The tool's name for people: "github create issue" for "mcp__github__create_issue".
std::string displayName(std::string_view toolName);

/// What the call was about, in one line of at most 90 characters; may be empty. `home` is shown as "~".
std::string detail(const JSON& input, std::string_view home);
std::string detail(const JSONView& input, std::string_view home);

/// The one-line text of a tool step: "Ran npm test".
std::string describe(std::string_view toolName, const JSON& input, std::string_view home);

/// The same from the call's `detail`, with which the line ends.
std::string describe(std::string_view toolName, std::string_view detail);

/// The call in full, over several lines, at most 8,000 characters; absent when there is nothing to tell.
std::optional<std::string> fullDetail(const JSON& input);
std::optional<std::string> fullDetail(const JSONView& input);

/// The tool steps among `entries` as groups of the same verb, questions and plans left out; more than `limit` groups
/// are folded into that many, the earliest into one.
std::vector<ToolGroup> groups(const Entries& entries, std::size_t limit);

/// The titles of `groups`.
std::vector<std::string> fold(const Entries& entries, std::size_t limit);

/// All tool steps among `entries` as one group: "Read 3 files · Ran 1 command". Nothing when there are none.
std::optional<ToolGroup> chunk(const Entries& entries);

} // namespace ToolSummary

} // namespace tarnel
