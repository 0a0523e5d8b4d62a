// TarnelCore/Records/CodexReader.h: understands the lines of a Codex session record.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/Transcript.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Pure functions. Members that are missing or of another type than expected take their defaults.
namespace CodexReader {

/// Writes down what one decoded line says. What a record with completed items reports twice is marked as replaced by
/// them.
void readLine(const JSONView& line, StepWriter& out);

/// The questions in the arguments of a question tool, with their identifiers.
std::vector<Question> questions(const JSONView& arguments);

/// The trimmed text between the first "<proposed_plan>" and the first "</proposed_plan>", which may be empty; nothing
/// when one of the two is missing or they are out of order.
std::optional<std::string> proposedPlan(std::string_view text);

/// The arguments of a call: a string that holds JSON decoded, another value as it is. They live until the next call on
/// the same thread.
std::optional<JSONView> decodedArguments(const std::optional<JSONView>& arguments);

} // namespace CodexReader

} // namespace tarnel
