#include "TarnelCore/Records/Attachments.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/UUID.h"
#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace tarnel::Attachments {

namespace {

constexpr std::chrono::seconds lifetime{7 * 24 * 60 * 60};
constexpr std::size_t longestName = 80;
constexpr std::size_t longestExtension = 5;
constexpr std::size_t randomDigits = 8;

[[noreturn]] void fail(const std::string& what, const std::string& path)
{
    throw std::system_error(errno, std::generic_category(), what + " " + path);
}

/// Opens the folder, after making sure that only this user can have put it there and can write to it.
FileDescriptor openPrivate(const std::string& directory)
{
    FileDescriptor folder(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.isOpen() && (errno == ELOOP || errno == ENOTDIR))
        throw std::runtime_error("attachments folder is a link or no folder: " + directory);
    struct stat status { };
    if (!folder.isOpen() || ::fstat(folder.get(), &status) != 0)
        fail("cannot open", directory);
    if (status.st_uid != ::geteuid())
        throw std::runtime_error("attachments folder belongs to another user: " + directory);
    if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        throw std::runtime_error("attachments folder is writable for other users: " + directory);
    return folder;
}

bool isOlder(const Files::Stamp& stamp, Timestamp cutoff)
{
    const auto seconds = std::chrono::floor<std::chrono::seconds>(cutoff);
    const std::chrono::nanoseconds rest = cutoff - seconds;
    return std::pair(stamp.modifiedSeconds, stamp.modifiedNanoseconds)
        < std::pair(std::int64_t{seconds.time_since_epoch().count()}, std::int64_t{rest.count()});
}

void pruneIn(int folder, const std::string& directory, Timestamp cutoff)
{
    for (const std::string& name : Files::list(directory)) {
        const auto stamp = Files::linkStamp(folder, name);
        if (stamp && isOlder(*stamp, cutoff))
            ::unlinkat(folder, name.c_str(), stamp->isDirectory ? AT_REMOVEDIR : 0); // a failure leaves it there
    }
}

/// "20250131-091502", in local time.
std::string localTime(Timestamp time)
{
    const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
    std::tm local{};
    ::localtime_r(&seconds, &local);
    std::array<char, 64> text{};
    return {text.data(), std::strftime(text.data(), text.size(), "%Y%m%d-%H%M%S", &local)};
}

std::string fileName(std::string_view type, const std::optional<std::string>& name, Timestamp now)
{
    const std::string base = localTime(now) + "-" + randomUUID().substr(0, randomDigits);
    const std::string safe = name ? safeName(*name) : "";
    if (!safe.empty())
        return base + "-" + safe;
    const std::string letters = Text::alphanumericKey(type);
    const std::string_view extension = Text::prefix(letters, longestExtension);
    return base + "." + (extension.empty() ? "png" : std::string(extension));
}

/// Writes under another name first, then gives the whole file its own, which must be new.
void writeNew(int folder, const std::string& name, std::string_view data, const std::string& path)
{
    const std::string partial = randomUUID() + ".part";
    const FileDescriptor file(
        ::openat(folder, partial.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        fail("cannot write", path);
    struct Removal {
        int folder;
        const std::string& name;
        ~Removal() { ::unlinkat(folder, name.c_str(), 0); }
    } const removal{folder, partial};
    Files::writeAll(file.get(), data, path);
    // The mode once more, since the process's mask may have taken bits from it.
    if (::fchmod(file.get(), S_IRUSR | S_IWUSR) != 0 || ::fsync(file.get()) != 0)
        fail("cannot write", path);
    if (::linkat(folder, partial.c_str(), folder, name.c_str(), 0) == 0)
        return;
    // A second name never replaces another file, but not every file system has them.
    if (errno == EEXIST || ::renameat(folder, partial.c_str(), folder, name.c_str()) != 0)
        fail("cannot write", path);
}

} // namespace

std::string directory(const std::string& home) { return home + "/.config/tarnel/attachments"; }

std::string save(const std::string& directory, std::string_view data, std::string_view type,
    const std::optional<std::string>& name, Timestamp now)
{
    Files::createDirectories(directory, S_IRWXU);
    const FileDescriptor folder = openPrivate(directory);
    pruneIn(folder.get(), directory, now - lifetime);
    const std::string file = fileName(type, name, now);
    std::string path = directory + "/" + file;
    writeNew(folder.get(), file, data, path);
    return path;
}

void prune(const std::string& directory, Timestamp cutoff) noexcept
{
    try {
        pruneIn(openPrivate(directory).get(), directory, cutoff);
    } catch (const std::exception&) {
        // It will be tried again by the next one who saves.
    }
}

std::string safeName(std::string_view name)
{
    const std::string last = Files::lastComponent(name);
    std::string safe;
    for (std::string_view rest = last; !rest.empty();) {
        const std::size_t length = Text::firstCharacterLength(rest);
        const auto scalar = static_cast<unsigned char>(rest.front());
        const bool isSafe = length == 1 && scalar < 0x80
            && (Text::isLetter(scalar) || Text::isDigit(scalar) || scalar == '.' || scalar == '_' || scalar == '-');
        safe += isSafe ? rest.front() : '-';
        rest.remove_prefix(length);
    }
    safe.erase(0, safe.find_first_not_of('.'));
    return safe.size() > longestName ? safe.substr(safe.size() - longestName) : safe;
}

} // namespace tarnel::Attachments
