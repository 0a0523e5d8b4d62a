// TarnelCore/Records/ClaudeReader.h: understands the lines of a Claude session record.
#pragma once
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/Transcript.h"
#include <vector>

namespace tarnel {

/// Pure functions. Members that are missing or of another type than expected take their defaults.
namespace ClaudeReader {

/// Writes down what one decoded line says.
void readLine(const JSONView& line, StepWriter& out);

/// The questions in the input of a question tool, without identifiers.
std::vector<Question> questions(const JSONView& input);

} // namespace ClaudeReader

} // namespace tarnel
