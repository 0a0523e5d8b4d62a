#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/ClaudeReader.h"
#include "TarnelCore/Records/CodexReader.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/TranscriptFold.h"
#include <algorithm>
#include <array>
#include <utility>

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
    told.reset();
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
    head.shrink();
    tail.shrink();
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
    for (StepList* steps : {&head, &tail}) {
        if (steps->takeBackFrom(*resumeAt))
            told.reset();
    }
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
        if (head.takeBackFrom(RecordWindows::lastLineStart(file, sizes.head)))
            told.reset();
        hasGap = true;
    }
    if (tail.dropUpTo(file.stamp().size - sizes.tail))
        told.reset();
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

void RecordHistory::tell(Transcript& transcript)
{
    const bool hasItems = head.hasItems() || tail.hasItems();
    std::optional<Told> going = std::exchange(told, std::nullopt); // nothing remains half told when memory runs out
    if (!going || going->fold.isForItems() != hasItems) {
        transcript = {};
        transcript.entries.reserve(head.end().entry + tail.end().entry);
        going = Told{TranscriptFold(styleOf(kind), hasItems), head.begin(), tail.begin()};
    }
    going->fold.add(head, going->head, names, transcript);
    going->fold.add(tail, going->tail, names, transcript);
    going->fold.finish(names, transcript);
    going->head = head.end();
    going->tail = tail.end();
    told = std::move(going);
}

Transcript parseTranscript(RecordPlace::Kind kind, std::span<const std::string_view> lines, std::string_view home)
{
    NameTable names;
    StepList steps;
    StepWriter out(steps, names, home);
    for (const std::string_view line : lines)
        readLine(kind, 0, JSONDocument::shared().parse(line), out);
    TranscriptFold fold(styleOf(kind), steps.hasItems());
    Transcript transcript;
    fold.add(steps, steps.begin(), names, transcript);
    fold.finish(names, transcript);
    return transcript;
}

Transcript readTranscript(const RecordPlace& place, const std::string& home)
{
    const bool isGrok = place.kind == RecordPlace::Kind::grok;
    RecordHistory history(place.kind, home, RecordWindows::transcript);
    if (const auto file = RecordFile::open(isGrok ? place.path + std::string(GrokReader::historyFile) : place.path))
        history.update(*file);
    Transcript transcript;
    history.tell(transcript);
    if (isGrok)
        GrokReader::readSummary(place.path + std::string(GrokReader::summaryFile)).apply(transcript);
    return transcript;
}

} // namespace tarnel
