// TarnelCore/Records/RecordWindows.h: a record file's lines, or only those of its beginning and its end when it is
// large.
#pragma once
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// A record file open for reading. Another program may append to it, cut it or replace it at any moment; none of that
/// is an error here. Thread-safety: none needed, it never changes.
class RecordFile {
public:
    /// Never blocks, whatever stands at `path`; nothing when it cannot be opened or is no regular file.
    static std::optional<RecordFile> open(const std::string& path);

    /// As it was when the file was opened; its size is how far this file is read.
    [[nodiscard]] const Files::Stamp& stamp() const { return opened; }

    /// Reads `count` bytes from `offset` on. Returns how many there were: fewer when the file has become shorter, or
    /// cannot be read.
    std::size_t read(std::uint64_t offset, char* into, std::size_t count) const;

private:
    RecordFile(FileDescriptor owned, const Files::Stamp& status)
        : descriptor(std::move(owned))
        , opened(status)
    {
    }

    FileDescriptor descriptor;
    Files::Stamp opened;
};

namespace RecordWindows {

/// How many bytes count of a file that is larger than both windows together; a smaller file counts whole.
struct Sizes {
    std::uint64_t head = 0; ///< Bytes at the beginning; the last line that starts in them is left out.
    std::uint64_t tail = 0; ///< Bytes at the end; what they hold of the line before the first line feed is left out.

    /// Whether a file of `size` bytes has bytes that lie in neither window.
    [[nodiscard]] bool leaveGap(std::uint64_t size) const { return head < size && tail < size - head; }
};

constexpr Sizes transcript{524'288, 4'194'304};
constexpr Sizes recent{0, 524'288};

/// The bytes whose lines count: those before `headEnd`, and those from `tailBegin` to the file's end.
struct Extent {
    std::uint64_t headEnd = 0;
    std::uint64_t tailBegin = 0;
    bool isFragment = false; ///< The tail window lies within one line, and is taken for a line as it is.
};

Extent extent(const RecordFile& file, const Sizes& sizes);

/// Where the last line that starts before `end` and is not empty starts; 0 when there is none.
std::uint64_t lastLineStart(const RecordFile& file, std::uint64_t end);

/// A line as it passes by.
struct Line {
    std::uint64_t offset = 0; ///< Of its first byte in the file.
    std::string_view text; ///< Without line feed, never empty; `JSONDocument::padding` readable bytes behind it.
    bool isFinished = false; ///< A line feed follows.
};
using Visit = std::function<void(const Line& line)>;

/// Calls `visit` for the lines of the bytes from `begin` up to `end`, in file order, reading block by block. Returns
/// how far it came: the offset behind the last line feed. Nothing when the file did not have all of these bytes any
/// more.
std::optional<std::uint64_t> visitLines(
    const RecordFile& file, std::uint64_t begin, std::uint64_t end, const Visit& visit);

} // namespace RecordWindows

/// The lines of a record's windows in file order, without their line feeds and without empty ones. An unfinished last
/// line counts as one. They are text as it stands, not checked to be JSON. A file that is missing, unreadable or no
/// regular file has none; one that shrinks while it is read has those that were still there. Random access, so that the
/// latest can be had first: `for (auto line = lines.rbegin(); ...)`. Thread-safety: none needed, it never changes.
/// Lifetime: the lines end with it.
class RecordLines {
public:
    /// Reads both windows into memory of its own.
    RecordLines(const std::string& path, const RecordWindows::Sizes& sizes);

    /// Each line has `JSONDocument::padding` readable bytes behind it, as `JSONDocument::parsePadded` wants.
    [[nodiscard]] std::vector<std::string_view>::const_iterator begin() const { return lines.begin(); }
    [[nodiscard]] std::vector<std::string_view>::const_iterator end() const { return lines.end(); }
    [[nodiscard]] std::vector<std::string_view>::const_reverse_iterator rbegin() const { return lines.rbegin(); }
    [[nodiscard]] std::vector<std::string_view>::const_reverse_iterator rend() const { return lines.rend(); }
    [[nodiscard]] std::size_t size() const { return lines.size(); }
    [[nodiscard]] bool empty() const { return lines.empty(); }

private:
    std::unique_ptr<char[]> buffer; // both windows, one behind the other, and the padding; stays in place when moved
    std::vector<std::string_view> lines;
};

} // namespace tarnel
