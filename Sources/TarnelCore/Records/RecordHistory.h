// TarnelCore/Records/RecordHistory.h: what has been understood of one record file, kept from reading to reading.
#pragma once
#include "TarnelCore/Records/RecordPlace.h"
#include "TarnelCore/Records/RecordWindows.h"
#include "TarnelCore/Records/StepWriter.h"
#include "TarnelCore/Records/Transcript.h"
#include "TarnelCore/Records/TranscriptFold.h"
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tarnel {

/// The steps of the lines in a record's windows. A file that has grown costs the reading of what was appended; any
/// other change has it read afresh. Either way the result is that of reading both windows now.
///
/// That a file has only grown is taken from its being the same one, larger, with the same bytes at its beginning and
/// before its former end. Bytes in between that another program exchanged for as many others, appending to the file
/// before it was read again, go unnoticed until the file is read afresh.
///
/// Thread-safety: none.
class RecordHistory {
public:
    /// `home` is shown as "~" in the descriptions of tool steps.
    RecordHistory(RecordPlace::Kind kind, std::string home, const RecordWindows::Sizes& sizes);

    /// Takes over what `file` holds now, up to the size that it had when it was opened.
    void update(const RecordFile& file);

    /// Forgets everything: the file is gone.
    void clear();

    /// Makes `transcript` that of what was read last: an empty one, the one that this has made last, or a copy of that.
    /// What has only been appended costs no look at what stands before it.
    void tell(Transcript& transcript);

    /// The stamp of the file that was read last; nothing when there is none, or when it shrank while it was read.
    [[nodiscard]] const std::optional<Files::Stamp>& stamp() const { return read; }

private:
    /// Some bytes of the file by which it is known again.
    struct Sample {
        std::uint64_t offset = 0;
        std::string bytes;

        void take(const RecordFile& file, std::uint64_t from, std::uint64_t size);
        [[nodiscard]] bool stillStands(const RecordFile& file) const;
    };

    void readAfresh(const RecordFile& file);
    [[nodiscard]] bool hasOnlyGrown(const RecordFile& file) const;
    /// Returns false when the windows cannot be made up from what was understood before.
    bool extend(const RecordFile& file);
    void visit(const RecordFile& file, std::uint64_t begin, std::uint64_t end);
    void leaveOutGap(const RecordFile& file);

    const RecordPlace::Kind kind;
    const std::string home;
    const RecordWindows::Sizes sizes;

    NameTable names;
    StepList head; // of the lines that start in the head window
    StepList tail; // of the others
    struct Told {
        TranscriptFold fold;
        StepList::Place head; // it has come so far
        StepList::Place tail;
    };
    std::optional<Told> told; // nothing when what was told is not the beginning of what there is now
    std::optional<std::uint64_t>
        resumeAt; // behind the last line feed that was read; nothing when it cannot go on there
    bool hasGap = false;
    bool isComplete = false; // the file had all the bytes that it should have had
    std::optional<Files::Stamp> read;
    Sample firstBytes;
    Sample lastBytes;
};

/// The transcript of decoded or undecodable `lines` in file order, as the record's reader understands them. Each line
/// is copied to be decoded.
Transcript parseTranscript(RecordPlace::Kind kind, std::span<const std::string_view> lines, std::string_view home);

/// Reads the windows of the record at `place`. A missing one gives the empty transcript.
Transcript readTranscript(const RecordPlace& place, const std::string& home);

} // namespace tarnel
