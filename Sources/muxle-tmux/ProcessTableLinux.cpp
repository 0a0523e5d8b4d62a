#include "TarnelCore/Base/FileDescriptor.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/ProcessTable.h"
#include <algorithm>
#include <charconv>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

namespace tarnel::tmux {

namespace {

/// Files of this file system tell no size, so they are read to their end.
std::string readAll(const std::string& path)
{
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    std::string text;
    char chunk[4096];
    for (ssize_t count = 1; file.isOpen() && count > 0 && text.size() < (std::size_t{1} << 20);) {
        count = ::read(file.get(), chunk, sizeof chunk);
        if (count > 0)
            text.append(chunk, static_cast<std::size_t>(count));
    }
    return text;
}

std::optional<std::string> linkTarget(const std::string& path)
{
    char target[4096];
    const ssize_t length = ::readlink(path.c_str(), target, sizeof target);
    return length > 0 ? std::optional(std::string(target, static_cast<std::size_t>(length))) : std::nullopt;
}

std::string directory(std::int64_t process) { return "/proc/" + std::to_string(process); }

std::chrono::nanoseconds clockTime(clockid_t clock)
{
    timespec time{};
    ::clock_gettime(clock, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// The time of day at which a process that was started so many clock ticks after booting was started.
Timestamp startTime(std::int64_t ticks)
{
    const auto sinceBoot = std::chrono::nanoseconds(std::chrono::seconds(1)) / ::sysconf(_SC_CLK_TCK) * ticks;
    const auto sinceEpoch = clockTime(CLOCK_REALTIME) - (clockTime(CLOCK_BOOTTIME) - sinceBoot);
    return Timestamp(std::chrono::duration_cast<Timestamp::duration>(sinceEpoch));
}

} // namespace

std::optional<ProcessInfo> ProcessTable::info(std::int64_t process)
{
    const std::string text = readAll(directory(process) + "/stat");
    const std::size_t name = text.rfind(") "); // the name before it may hold anything
    if (name == text.npos)
        return std::nullopt;
    std::istringstream words(text.substr(name + 2));
    words.imbue(std::locale::classic());
    ProcessInfo info{.id = process};
    std::string state;
    std::int64_t skipped = 0;
    std::int64_t ticks = 0;
    words >> state >> info.parent >> info.group >> skipped >> skipped >> info.foregroundGroup;
    for (int i = 0; i < 13; ++i) // from the flags to the time of the next alarm
        words >> skipped;
    words >> ticks;
    if (!words)
        return std::nullopt;
    info.started = startTime(ticks);
    return info;
}

std::vector<std::string> ProcessTable::arguments(std::int64_t process)
{
    const std::string text = readAll(directory(process) + "/cmdline");
    std::vector<std::string> words;
    for (const std::string_view word : Text::split(text, '\0'))
        words.emplace_back(word);
    if (!words.empty() && words.back().empty())
        words.pop_back(); // what stands behind the last word's end
    return words;
}

std::optional<std::string> ProcessTable::workingDirectory(std::int64_t process)
{
    return linkTarget(directory(process) + "/cwd");
}

std::vector<std::string> ProcessTable::openFiles(std::int64_t process)
{
    const std::string descriptors = directory(process) + "/fd";
    std::vector<std::string> files;
    for (const std::string& number : Files::list(descriptors)) {
        if (auto target = linkTarget(descriptors + "/" + number); target && target->starts_with('/'))
            files.push_back(*std::move(target));
    }
    return files;
}

std::vector<std::int64_t> ProcessTable::members(std::int64_t group)
{
    std::vector<std::int64_t> found;
    for (const std::string& name : Files::list("/proc")) {
        std::int64_t process = 0;
        const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), process);
        if (error != std::errc() || end != name.data() + name.size())
            continue;
        if (const auto each = info(process); each && each->group == group)
            found.push_back(process);
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace tarnel::tmux
