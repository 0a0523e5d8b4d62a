#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <system_error>

namespace tarnel::Files {

namespace {

Stamp stampOf(const struct stat& status)
{
#if defined(__APPLE__)
    const timespec& modified = status.st_mtimespec;
#else
    const timespec& modified = status.st_mtim;
#endif
    return {.modifiedSeconds = modified.tv_sec,
        .modifiedNanoseconds = modified.tv_nsec,
        .size = static_cast<std::uint64_t>(status.st_size),
        .device = static_cast<std::uint64_t>(status.st_dev),
        .inode = static_cast<std::uint64_t>(status.st_ino),
        .isDirectory = S_ISDIR(status.st_mode),
        .isRegular = S_ISREG(status.st_mode)};
}

[[noreturn]] void fail(const std::string& what, const std::string& path)
{
    throw std::system_error(errno, std::generic_category(), what + " " + path);
}

struct Entry {
    std::string name;
    bool isDirectory = false; // a real one, no link to one
};

std::vector<Entry> entries(const std::string& directory)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> open(opendir(directory.c_str()), closedir);
    std::vector<Entry> found;
    while (const dirent* next = open ? readdir(open.get()) : nullptr) {
        std::string name = next->d_name;
        if (name == "." || name == "..")
            continue;
        bool isDirectory = next->d_type == DT_DIR;
        if (next->d_type == DT_UNKNOWN) { // some file systems do not tell
            struct stat status { };
            isDirectory = lstat((directory + "/" + name).c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        }
        found.push_back({std::move(name), isDirectory});
    }
    return found;
}

struct OpenFile {
    FileDescriptor descriptor;
    Stamp stamp;
};

std::optional<OpenFile> openRegular(const std::string& path)
{
    // Without O_NONBLOCK, opening a FIFO that nobody writes to would never return.
    FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    const auto found = file.isOpen() ? stamp(file.get()) : std::nullopt;
    if (!found || !found->isRegular)
        return std::nullopt;
    return OpenFile{std::move(file), *found};
}

/// The bytes from the start to the end of the file, but at most `limit`; nothing when reading fails.
std::optional<std::string> readUpTo(const OpenFile& file, std::uint64_t limit)
{
    // One byte more than the file held, to see its end at once.
    std::string text(static_cast<std::size_t>(std::min(limit, file.stamp.size + 1)), '\0');
    std::size_t length = 0;
    while (length < limit) {
        if (length == text.size())
            text.resize(static_cast<std::size_t>(std::min<std::uint64_t>(limit, text.size() * 2)));
        const ssize_t count = ::read(file.descriptor.get(), text.data() + length, text.size() - length);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            return std::nullopt;
        if (count == 0)
            break;
        length += static_cast<std::size_t>(count);
    }
    text.resize(length);
    return text;
}

} // namespace

std::optional<Stamp> stamp(const std::string& path)
{
    struct stat status { };
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return stampOf(status);
}

std::optional<Stamp> stamp(int descriptor)
{
    struct stat status { };
    if (::fstat(descriptor, &status) != 0)
        return std::nullopt;
    return stampOf(status);
}

std::optional<Stamp> linkStamp(int directory, const std::string& name)
{
    struct stat status { };
    if (::fstatat(directory, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return std::nullopt;
    return stampOf(status);
}

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

bool isExecutable(const std::string& path)
{
    const auto found = stamp(path);
    return found && found->isRegular && ::access(path.c_str(), X_OK) == 0;
}

std::optional<std::string> read(const std::string& path, std::uint64_t limit)
{
    const std::optional<OpenFile> file = openRegular(path);
    if (!file || file->stamp.size > limit)
        return std::nullopt;
    // It may grow meanwhile: one byte beyond the limit tells that it is larger.
    std::optional<std::string> text = readUpTo(*file, limit + 1);
    return text && text->size() <= limit ? std::move(text) : std::nullopt;
}

std::optional<std::string> readStart(const std::string& path, std::size_t limit)
{
    const std::optional<OpenFile> file = openRegular(path);
    return file ? readUpTo(*file, limit) : std::nullopt;
}

std::vector<std::string> list(const std::string& directory)
{
    std::vector<std::string> names;
    for (Entry& entry : entries(directory))
        names.push_back(std::move(entry.name));
    return names;
}

std::vector<std::string> walk(const std::string& directory, std::size_t limit)
{
    std::vector<std::string> paths;
    std::vector<std::string> pending{""}; // relative paths of directories, each with its "/"
    while (!pending.empty()) {
        const std::string relative = std::move(pending.back());
        pending.pop_back();
        for (const Entry& entry : entries(directory + "/" + relative)) {
            if (paths.size() == limit)
                return paths;
            paths.push_back(relative + entry.name);
            if (entry.isDirectory)
                pending.push_back(paths.back() + "/");
        }
    }
    return paths;
}

void createDirectories(const std::string& directory, unsigned mode)
{
    if (directory.empty() || ::mkdir(directory.c_str(), static_cast<mode_t>(mode)) == 0)
        return;
    if (errno == ENOENT) {
        createDirectories(parent(directory), mode);
        if (::mkdir(directory.c_str(), static_cast<mode_t>(mode)) == 0)
            return;
    }
    const int error = errno;
    const auto standing = stamp(directory);
    if (standing && standing->isDirectory)
        return;
    errno = error;
    fail("cannot create directory", directory);
}

std::optional<std::string> intrusion(const std::string& directory)
{
    const std::string path = directory.empty() ? "." : directory;
    struct stat status { };
    if (::stat(path.c_str(), &status) != 0)
        return std::nullopt;
    const bool keepsOwners = (status.st_mode & S_ISVTX) != 0;
    const bool isOurs = status.st_uid == ::geteuid();
    if (!isOurs && !(status.st_uid == 0 && keepsOwners))
        return path + " belongs to another user (" + std::to_string(status.st_uid) + "); choose a folder of your own";
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) == 0 || keepsOwners)
        return std::nullopt;
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%03o", static_cast<unsigned>(status.st_mode & 0777));
    return "other users may write to " + path + " (mode " + mode.data() + "); chmod go-w " + path + " ends that";
}

void writeAll(int descriptor, std::string_view text, const std::string& path)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            fail("cannot write", path);
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

void writeAtomically(const std::string& path, std::string_view text, unsigned mode)
{
    std::string temporary = path + ".XXXXXX";
    FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.isOpen())
        fail("cannot write", path);
    try {
        writeAll(file.get(), text, path);
        if (::fchmod(file.get(), static_cast<mode_t>(mode)) != 0 || ::fsync(file.get()) != 0
            || ::rename(temporary.c_str(), path.c_str()) != 0)
            fail("cannot write", path);
    } catch (...) {
        ::unlink(temporary.c_str());
        throw;
    }
}

std::string lastComponent(std::string_view path)
{
    while (!path.empty() && path.back() == '/')
        path.remove_suffix(1);
    return std::string(path.substr(path.rfind('/') + 1));
}

std::string parent(std::string_view path)
{
    const std::size_t slash = path.rfind('/');
    if (slash == path.npos)
        return {};
    return std::string(slash == 0 ? "/" : path.substr(0, slash));
}

} // namespace tarnel::Files
