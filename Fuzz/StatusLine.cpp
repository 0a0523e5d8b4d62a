// Status lines, from the end of every agent's record.
#include "TarnelCore/Records/StatusLine.h"
#include "Fuzz/Target.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/StatusLineReader.h"
#include <vector>

namespace tarnel::fuzz {

namespace {

void check(const StatusLine& line)
{
    const std::string form = encoded(line);
    require(encoded(decode<StatusLine>(JSON::parse(form))) == form, "a status line's JSON form reads as another one");
    const auto percent = line.contextPercent();
    require(!percent || (*percent >= 0 && *percent <= 100), "more context used than there is");
    for (const auto& label : {line.modelLabel(), line.contextLabel(), line.limitLabel(), line.modeLabel()})
        require(!label || label->find('\n') == label->npos || line.model || line.mode, "a label of several lines");
    StatusLine merged = line;
    merged.merge(line);
    require(merged == line, "merging a status line with itself changes it");
    StatusLine filled;
    filled.merge(line);
    require(filled == line, "an empty status line does not take over everything");
}

} // namespace

void fuzzStatusLine(std::string_view input)
{
    static const TemporaryFolder folder;
    const std::string padded = std::string(input) + std::string(JSONDocument::padding, '\n');
    const auto lines = Text::splitNonEmpty(std::string_view(padded).substr(0, input.size()), '\n');
    folder.write("record", input);
    const auto agree = [](const std::optional<StatusLine>& read, const StatusLine& expected) {
        require(read.value_or(StatusLine()) == (expected.isEmpty() ? StatusLine() : expected),
            "a record's file tells another status line than its lines");
        check(expected);
    };
    agree(StatusLineReader::read({RecordPlace::Kind::claude, folder / "record"}), StatusLineReader::claude(lines));
    agree(StatusLineReader::read({RecordPlace::Kind::codex, folder / "record"}), StatusLineReader::codex(lines));
    folder.write(GrokReader::summaryFile.substr(1), input);
    check(StatusLineReader::grok(folder.path()));
    check(StatusLineReader::read({RecordPlace::Kind::grok, folder.path()}).value_or(StatusLine()));
}

} // namespace tarnel::fuzz
