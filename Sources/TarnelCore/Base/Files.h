// TarnelCore/Base/Files.h: reading and writing files, tolerant of other programs that change them meanwhile.
#pragma once
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Nothing here throws unless it says so. Thread-safe.
namespace tarnel::Files {

/// What tells that a file is not the one that was read before.
struct Stamp {
    std::int64_t modifiedSeconds = 0;
    std::int64_t modifiedNanoseconds = 0;
    std::uint64_t size = 0; // bytes
    std::uint64_t device = 0; // with `inode`: which file it is
    std::uint64_t inode = 0;
    bool isDirectory = false;
    bool isRegular = false;
    bool operator==(const Stamp&) const = default;
};

/// The stamp of what stands at `path`, links followed; one system call.
std::optional<Stamp> stamp(const std::string& path);

/// The stamp of an open descriptor.
std::optional<Stamp> stamp(int descriptor);

/// The stamp of what is named `name` in an open directory; of a link itself, not of what it leads to.
std::optional<Stamp> linkStamp(int directory, const std::string& name);

/// Whether anything stands at `path`, links followed.
bool exists(const std::string& path);

/// Whether the calling process may execute the regular file at `path`.
bool isExecutable(const std::string& path);

/// The whole file; nothing when it cannot be opened or read, is no regular file, or is larger than `limit` bytes.
std::optional<std::string> read(const std::string& path, std::uint64_t limit = std::uint64_t{64} << 20);

/// The first `limit` bytes of a file, or all of a shorter one; nothing when it cannot be opened or read, or is no
/// regular file.
std::optional<std::string> readStart(const std::string& path, std::size_t limit);

/// The names directly inside a directory, "." and ".." left out, in the system's order; empty when it cannot be read.
std::vector<std::string> list(const std::string& directory);

/// Every entry below `directory`, at any depth, as paths relative to it ("2026/01/a.jsonl"), in no fixed order. Links
/// to directories are listed but not entered. Empty when it cannot be read. Ends early once there are `limit` entries.
std::vector<std::string> walk(
    const std::string& directory, std::size_t limit = std::numeric_limits<std::size_t>::max());

/// Creates `directory` and its missing parents, each new one with `mode`.
/// Throws std::system_error, whose text names the path, when one cannot be created.
void createDirectories(const std::string& directory, unsigned mode = 0777);

/// How another user could put something else in the place of what this process keeps in `directory`, and what mends that:
/// "other users may write to /x (mode 777); chmod go-w /x ends that". Nothing when nobody else could, or nothing is
/// known. A folder such as "/tmp", in which only its owner may remove a file, is no problem. "" is the current one.
std::optional<std::string> intrusion(const std::string& directory);

/// Writes all of `text` to an open descriptor. Throws std::system_error, whose text names `path`.
void writeAll(int descriptor, std::string_view text, const std::string& path);

/// Replaces the file at `path` by one holding `text`, so that a reader or a crash finds the old file or the new one
/// whole. Throws std::system_error, whose text names the path; the old file then still stands.
void writeAtomically(const std::string& path, std::string_view text, unsigned mode = 0644);

/// The text after the last "/" that is followed by something: "b" of "/a/b" and of "/a/b/"; "" of "/" and of "".
std::string lastComponent(std::string_view path);

/// The text before the last "/"; "" when there is none, "/" for a path directly below the root.
std::string parent(std::string_view path);

} // namespace tarnel::Files
