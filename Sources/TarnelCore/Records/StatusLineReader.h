// TarnelCore/Records/StatusLineReader.h: an agent's status line, read from the end of its record.
#pragma once
#include "TarnelCore/Records/RecordPlace.h"
#include "TarnelCore/Records/StatusLine.h"
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tarnel {

/// Stateless; thread-safe. Nothing throws: what a record does not tell, or tells in another form, stays absent. Numbers
/// that do not fit a 64-bit integer are absent where one is expected. None of the readers fills `mode`.
namespace StatusLineReader {

/// Lines of a record in their order, each with `JSONDocument::padding` readable bytes behind it. They are read from the
/// last to the first, no further than needed.
using Lines = std::span<const std::string_view>;

/// The status line of the record; nothing when it would be empty.
std::optional<StatusLine> read(const RecordPlace& place);

/// Model and context use, from the latest reply of the main conversation that names a model.
StatusLine claude(Lines lines);

/// Model and effort from the latest turn's context; context use and the tightest limit from the latest token count.
StatusLine codex(Lines lines);

/// Model and effort from the summary in the session's directory.
StatusLine grok(const std::string& directory);

} // namespace StatusLineReader

} // namespace tarnel
