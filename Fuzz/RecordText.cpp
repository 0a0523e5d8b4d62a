#include "Fuzz/RecordText.h"
#include "Fuzz/Target.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/JSON/Record.h"
#include "TarnelCore/Records/GrokReader.h"
#include "TarnelCore/Records/RecordHistory.h"
#include "TarnelCore/Records/TranscriptCache.h"
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <vector>

namespace tarnel::fuzz {

namespace {

constexpr std::size_t usualCuts = 8;
constexpr std::string_view home = "/home/me";

/// A record in a folder of the process's own, and the two caches that follow it.
class FollowedRecord {
public:
    FollowedRecord(RecordPlace::Kind kind, const RecordWindows::Sizes& small)
        : place{kind, kind == RecordPlace::Kind::grok ? folder().path() : folder() / GrokReader::historyFile.substr(1)}
        , file(folder() / GrokReader::historyFile.substr(1))
        , smallWindows(small)
        , whole(std::string(home))
        , windowed(std::string(home), small)
    {
        std::filesystem::remove(file);
    }

    void append(std::string_view text)
    {
        folder().append(GrokReader::historyFile.substr(1), text);
        check();
    }

    void shorten(std::size_t size)
    {
        std::filesystem::resize_file(file, size);
        check();
    }

private:
    static const TemporaryFolder& folder()
    {
        static const TemporaryFolder made;
        return made;
    }

    void check()
    {
        // Two changes within one tick of the file system's clock would look like one.
        std::filesystem::last_write_time(file, std::filesystem::file_time_type(std::chrono::seconds(++changes)));
        const RecordWindows::Sizes all{std::uint64_t{1} << 40, std::uint64_t{1} << 40};
        require(*whole.transcript(place) == fresh(all), "a record that was followed reads as another one");
        require(
            *windowed.transcript(place) == fresh(smallWindows), "a large record that was followed reads as another");
    }

    [[nodiscard]] Transcript fresh(const RecordWindows::Sizes& sizes) const
    {
        const RecordLines lines(file, sizes);
        return parseTranscript(place.kind, std::vector<std::string_view>(lines.begin(), lines.end()), home);
    }

    const RecordPlace place;
    const std::string file;
    const RecordWindows::Sizes smallWindows;
    TranscriptCache whole;
    TranscriptCache windowed;
    int changes = 0;
};

std::vector<std::size_t> cuts(std::size_t size, Choices& choices)
{
    std::vector<std::size_t> found;
    for (std::size_t i = 1; i < size && isThorough; ++i)
        found.push_back(i);
    for (std::size_t i = 0; i < usualCuts && !isThorough; ++i)
        found.push_back(choices.below(size));
    found.push_back(size);
    std::sort(found.begin(), found.end());
    return found;
}

void checkForm(const Transcript& transcript)
{
    const std::string form = encoded(transcript);
    require(encoded(decode<Transcript>(JSON::parse(form))) == form, "a transcript's JSON form reads as another one");
    for (const auto& entry : transcript.entries) {
        require(Text::isValidUTF8(entry->text), "an entry is not UTF-8");
        require(entry->toolName.has_value() == (entry->role == EntryRole::tool), "a tool's name in the wrong place");
    }
}

} // namespace

void checkRecord(RecordPlace::Kind kind, std::string_view text)
{
    Choices choices(text);
    const Transcript transcript = parseTranscript(kind, Text::splitNonEmpty(text, '\n'), home);
    checkForm(transcript);

    const RecordWindows::Sizes windows{choices.below(400), 1 + choices.below(800)};
    FollowedRecord record(kind, windows);
    std::size_t written = 0;
    for (const std::size_t cut : cuts(text.size(), choices)) {
        record.append(text.substr(written, cut - written));
        written = cut;
    }
    const std::size_t kept = choices.below(text.size() + 1);
    record.shorten(kept);
    record.append(text.substr(kept));
}

} // namespace tarnel::fuzz
