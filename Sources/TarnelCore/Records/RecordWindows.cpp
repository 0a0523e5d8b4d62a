#include "TarnelCore/Records/RecordWindows.h"
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>

namespace tarnel {

namespace {

/// Small enough to stay in a processor's cache between being read and being decoded.
constexpr std::size_t blockSize = 262'144;

/// How much is looked at when only a line feed is sought.
constexpr std::size_t seekSize = 16'384;

/// The block of the last reader: fresh memory costs more than reading into it. Exchanged whole, so it needs no lock.
std::atomic<char*> spareBlock = nullptr;

std::unique_ptr<char[]> allocate(std::size_t capacity)
{
    return std::make_unique_for_overwrite<char[]>(capacity + JSONDocument::padding);
}

/// Memory for the bytes that are being looked at, and the padding behind them.
class Block {
public:
    Block()
        : memory(spareBlock.exchange(nullptr))
    {
        if (!memory)
            memory = allocate(blockSize);
    }
    ~Block()
    {
        if (capacity == blockSize) // one that a huge line needed goes
            memory.reset(spareBlock.exchange(memory.release()));
    }
    Block(const Block&) = delete;
    Block& operator=(const Block&) = delete;

    [[nodiscard]] char* data() { return memory.get(); }
    [[nodiscard]] std::size_t size() const { return capacity; }

    /// Doubles the memory; its first `used` bytes stay.
    void grow(std::size_t used)
    {
        auto larger = allocate(2 * capacity);
        std::memcpy(larger.get(), memory.get(), used);
        memory = std::move(larger);
        capacity *= 2;
    }

private:
    std::unique_ptr<char[]> memory;
    std::size_t capacity = blockSize;
};

/// Calls `visit` for the lines of `text`, which starts at `offset` in its file, up to its last line feed. Returns what
/// stands behind that.
template <class Visit>
std::string_view visitFinishedLines(std::string_view text, std::uint64_t offset, const Visit& visit)
{
    while (const void* found = text.empty() ? nullptr : std::memchr(text.data(), '\n', text.size())) {
        const auto length = static_cast<std::size_t>(static_cast<const char*>(found) - text.data());
        if (length > 0)
            visit(RecordWindows::Line{.offset = offset, .text = text.substr(0, length), .isFinished = true});
        text.remove_prefix(length + 1);
        offset += length + 1;
    }
    return text;
}

/// The offset of the first line feed at or after `begin` and before `end`.
std::optional<std::uint64_t> firstLineFeed(const RecordFile& file, std::uint64_t begin, std::uint64_t end)
{
    std::array<char, seekSize> bytes;
    while (begin < end) {
        const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), end - begin);
        const std::string_view text(bytes.data(), file.read(begin, bytes.data(), wanted));
        if (const std::size_t found = text.find('\n'); found != text.npos)
            return begin + found;
        if (text.size() < wanted)
            break;
        begin += text.size();
    }
    return std::nullopt;
}

} // namespace

std::optional<RecordFile> RecordFile::open(const std::string& path)
{
    // O_NONBLOCK: without it, opening a named pipe would wait for its writer.
    FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY));
    if (!descriptor.isOpen())
        return std::nullopt;
    const auto status = Files::stamp(descriptor.get());
    if (!status || !status->isRegular)
        return std::nullopt;
    return RecordFile(std::move(descriptor), *status);
}

std::size_t RecordFile::read(std::uint64_t offset, char* into, std::size_t count) const
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = ::pread(descriptor.get(), into + done, count - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

namespace RecordWindows {

std::uint64_t lastLineStart(const RecordFile& file, std::uint64_t end)
{
    std::array<char, seekSize> bytes;
    bool isInLine = false;
    while (end > 0) {
        const std::size_t wanted = std::min<std::uint64_t>(bytes.size(), end);
        end -= wanted;
        std::string_view text(bytes.data(), file.read(end, bytes.data(), wanted));
        if (!isInLine) {
            const std::size_t last = text.find_last_not_of('\n');
            if (last == text.npos)
                continue;
            isInLine = true;
            text = text.substr(0, last + 1);
        }
        if (const std::size_t found = text.rfind('\n'); found != text.npos)
            return end + found + 1;
    }
    return 0;
}

Extent extent(const RecordFile& file, const Sizes& sizes)
{
    const std::uint64_t size = file.stamp().size;
    if (!sizes.leaveGap(size))
        return {};
    Extent extent{.headEnd = lastLineStart(file, sizes.head), .tailBegin = size - sizes.tail};
    if (const auto found = firstLineFeed(file, extent.tailBegin, size))
        extent.tailBegin = *found + 1;
    else
        extent.isFragment = true;
    return extent;
}

std::optional<std::uint64_t> visitLines(
    const RecordFile& file, std::uint64_t begin, std::uint64_t end, const Visit& visit)
{
    Block block;
    std::size_t kept = 0; // the bytes of an unfinished line, which starts at `begin`
    for (;;) {
        const std::size_t wanted = std::min<std::uint64_t>(block.size() - kept, end - begin - kept);
        const std::size_t got = file.read(begin + kept, block.data() + kept, wanted);
        const std::string_view text(block.data(), kept + got);
        const std::string_view rest = visitFinishedLines(text, begin, visit);
        begin += text.size() - rest.size();
        const bool isCut = got < wanted;
        if (isCut || begin + rest.size() == end) {
            if (!rest.empty())
                visit({.offset = begin, .text = rest, .isFinished = false});
            return isCut ? std::nullopt : std::optional(begin);
        }
        kept = rest.size();
        if (kept == block.size())
            block.grow(kept);
        else
            std::memmove(block.data(), rest.data(), kept);
    }
}

} // namespace RecordWindows

RecordLines::RecordLines(const std::string& path, const RecordWindows::Sizes& sizes)
{
    const auto file = RecordFile::open(path);
    if (!file)
        return;
    const RecordWindows::Extent extent = RecordWindows::extent(*file, sizes);
    const std::size_t tailSize = file->stamp().size - extent.tailBegin;
    buffer = allocate(extent.headEnd + tailSize);
    const auto split = [&](std::uint64_t offset, char* into, std::size_t count) {
        const std::string_view text(into, file->read(offset, into, count));
        const auto keep = [&](const RecordWindows::Line& line) { lines.push_back(line.text); };
        if (const std::string_view rest = visitFinishedLines(text, offset, keep); !rest.empty())
            lines.push_back(rest);
    };
    split(0, buffer.get(), extent.headEnd);
    split(extent.tailBegin, buffer.get() + extent.headEnd, tailSize);
}

} // namespace tarnel
