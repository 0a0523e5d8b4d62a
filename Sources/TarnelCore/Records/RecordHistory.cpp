#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/ClaudeReader.h"
#include "TarnelCore/Records/CodexReader.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/TranscriptFold.h"
#include <algorithm>
#include <array>

namespace tarnel {

namespace {

/// How much is compared to know a file again: at its beginning, and before its former end, where any change of length
/// further up shows.
constexpr std::uint64_t headSample = 1'024;
constexpr std::uint64_t endSample = 4'096;

/// Texts in the table that no step needs any more are bounded by this many and twice the steps.
constexpr std::size_t spareNames = 4'096;

void readLine(RecordPlace::Kind kind, std::uint64_t offset, const std::optional<JSONView>& line, StepWriter& out)
{
    if (!line)
        return;
    out.beginLine(offset);
    switch (kind) {
    case RecordPlace::Kind::claude:
        ClaudeReader::readLine(*line, out);
        break;
    case RecordPlace::Kind::codex:
        CodexReader::readLine(*line, out);
        break;
    case RecordPlace::Kind::grok:
        GrokReader::readLine(*line, out);
        break;
    }
    out.endLine();
}

RecordStyle styleOf(RecordPlace::Kind kind)
{
    return kind == RecordPlace::Kind::codex ? RecordStyle::turns : RecordStyle::calls;
}

} // namespace

void RecordHistory::Sample::take(const RecordFile& file, std::uint64_t from, std::uint64_t size)
{
    offset = from;
    bytes.resize(size);
    bytes.resize(file.read(offset, bytes.data(), size));
}

bool RecordHistory::Sample::stillStands(const RecordFile& file) const
{
    std::array<char, std::max(headSample, endSample)> now;
    return std::string_view(now.data(), file.read(offset, now.data(), bytes.size())) == bytes;
}

RecordHistory::RecordHistory(RecordPlace::Kind kind, std::string home, const RecordWindows::Sizes& sizes)
    : kind(kind)
    , home(std::move(home))
    , sizes(sizes)
{
}

void RecordHistory::update(const RecordFile& file)
{
    const bool isKnown = hasOnlyGrown(file);
    read.reset(); // so that nothing half-done is taken for the file when memory runs out
    // Before the lines: what is rewritten while they are read must not look like what they were read from.
    const std::uint64_t size = file.stamp().size;
    if (!isKnown || firstBytes.bytes.size() < headSample) // else they have just been compared
        firstBytes.take(file, 0, std::min(size, headSample));
    const std::uint64_t length = std::min(size, endSample);
    lastBytes.take(file, size - length, length);
    if (!isKnown || !extend(file))
        readAfresh(file);
    read = isComplete ? std::optional(file.stamp()) : std::nullopt;
}

void RecordHistory::clear()
{
    names = {};
    head.clear();
    tail.clear();
    dropped = 0;
    resumeAt.reset();
    hasGap = false;
    isComplete = false;
    read.reset();
}

bool RecordHistory::hasOnlyGrown(const RecordFile& file) const
{
    const Files::Stamp& now = file.stamp();
    return read && resumeAt && now.device == read->device && now.inode == read->inode && now.size > read->size
        && firstBytes.stillStands(file) && lastBytes.stillStands(file);
}

void RecordHistory::readAfresh(const RecordFile& file)
{
    clear();
    const RecordWindows::Extent extent = RecordWindows::extent(file, sizes);
    hasGap = sizes.leaveGap(file.stamp().size);
    visit(file, 0, extent.headEnd);
    const bool isHeadRead = resumeAt.has_value();
    visit(file, extent.tailBegin, file.stamp().size);
    isComplete = isHeadRead && resumeAt;
    head.shrink_to_fit(); // it grows no more
    if (tail.capacity() > tail.size() + tail.size() / 4)
        tail.shrink_to_fit();
    // What starts within a line cannot be continued: it is no line once it goes on.
    if (!isComplete || extent.isFragment)
        resumeAt.reset();
}

bool RecordHistory::extend(const RecordFile& file)
{
    const std::uint64_t size = file.stamp().size;
    const bool leavesGap = sizes.leaveGap(size);
    if (leavesGap && *resumeAt < size - sizes.tail)
        return false;
    // An unfinished line may have gone on.
    for (std::vector<RecordStep>* steps : {&head, &tail}) {
        while (!steps->empty() && steps->back().offset >= *resumeAt)
            steps->pop_back();
    }
    dropped = std::min(dropped, tail.size());
    visit(file, *resumeAt, size);
    if (!resumeAt)
        return false;
    if (leavesGap) {
        // Without a line feed in the tail window, it lies within one line.
        if (*resumeAt <= size - sizes.tail)
            return false;
        leaveOutGap(file);
    }
    return names.bound() < 2 * (head.size() + tail.size()) + spareNames;
}

void RecordHistory::leaveOutGap(const RecordFile& file)
{
    if (!hasGap) {
        const std::uint64_t headEnd = RecordWindows::lastLineStart(file, sizes.head);
        while (!head.empty() && head.back().offset >= headEnd)
            head.pop_back();
        hasGap = true;
    }
    const std::uint64_t tailBegin = file.stamp().size - sizes.tail;
    while (dropped < tail.size() && tail[dropped].offset <= tailBegin)
        tail[dropped++] = {}; // gives its memory back now
    if (2 * dropped > tail.size()) {
        tail.erase(tail.begin(), tail.begin() + static_cast<std::ptrdiff_t>(dropped));
        dropped = 0;
    }
}

void RecordHistory::visit(const RecordFile& file, std::uint64_t begin, std::uint64_t end)
{
    StepWriter headWriter(head, names, home);
    StepWriter tailWriter(tail, names, home);
    JSONDocument& document = JSONDocument::shared();
    resumeAt = RecordWindows::visitLines(file, begin, end, [&](const RecordWindows::Line& line) {
        StepWriter& out = line.offset < sizes.head ? headWriter : tailWriter;
        readLine(kind, line.offset, document.parsePadded(line.text), out);
    });
}

std::span<const RecordStep> RecordHistory::tailSteps() const { return std::span(tail).subspan(dropped); }

Transcript RecordHistory::transcript() const { return foldTranscript(head, tailSteps(), names, styleOf(kind)); }

Transcript parseTranscript(RecordPlace::Kind kind, std::span<const std::string_view> lines, std::string_view home)
{
    NameTable names;
    std::vector<RecordStep> steps;
    StepWriter out(steps, names, home);
    for (const std::string_view line : lines)
        readLine(kind, 0, JSONDocument::shared().parse(line), out);
    return foldTranscript(steps, {}, names, styleOf(kind));
}

Transcript readTranscript(const RecordPlace& place, const std::string& home)
{
    const bool isGrok = place.kind == RecordPlace::Kind::grok;
    RecordHistory history(place.kind, home, RecordWindows::transcript);
    if (const auto file = RecordFile::open(isGrok ? place.path + std::string(GrokReader::historyFile) : place.path))
        history.update(*file);
    Transcript transcript = history.transcript();
    if (isGrok)
        GrokReader::readSummary(place.path + std::string(GrokReader::summaryFile)).apply(transcript);
    return transcript;
}

} // namespace tarnel
