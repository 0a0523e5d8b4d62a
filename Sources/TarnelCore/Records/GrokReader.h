// TarnelCore/Records/GrokReader.h: understands the files of a Grok session.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/Transcript.h"
#include <optional>
#include <string>
#include <string_view>

namespace tarnel {

/// Pure functions but for `readSummary`. Members that are missing or of another type than expected take their defaults.
namespace GrokReader {

/// The session's conversation and its metadata, below the session's directory.
constexpr std::string_view historyFile = "/chat_history.jsonl";
constexpr std::string_view summaryFile = "/summary.json";

/// Writes down what one decoded line of the conversation says.
void readLine(const JSONView& line, StepWriter& out);

/// What the metadata say about the session; absent where they leave the transcript as it is.
struct Summary {
    std::optional<std::string> title;
    std::optional<std::string> branch;
    std::optional<Timestamp> lastActivity;

    void apply(Transcript& transcript) const;
};

/// Reads the metadata file at `path`; an empty summary when it is missing or no JSON object.
Summary readSummary(const std::string& path);

} // namespace GrokReader

} // namespace tarnel
