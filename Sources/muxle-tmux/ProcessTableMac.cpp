#include "muxle-tmux/ProcessTable.h"
#include <algorithm>
#include <cstring>
#include <libproc.h>
#include <sys/proc_info.h>
#include <sys/sysctl.h>

namespace tarnel::tmux {

std::optional<ProcessInfo> ProcessTable::info(std::int64_t process)
{
    proc_bsdinfo raw{};
    if (::proc_pidinfo(static_cast<int>(process), PROC_PIDTBSDINFO, 0, &raw, sizeof raw) != sizeof raw)
        return std::nullopt;
    const auto started = std::chrono::seconds(raw.pbi_start_tvsec) + std::chrono::microseconds(raw.pbi_start_tvusec);
    return ProcessInfo{.id = process,
        .parent = raw.pbi_ppid,
        .group = raw.pbi_pgid,
        .foregroundGroup = static_cast<std::int32_t>(raw.e_tpgid),
        .started = Timestamp(started)};
}

std::vector<std::string> ProcessTable::arguments(std::int64_t process)
{
    int name[] = {CTL_KERN, KERN_PROCARGS2, static_cast<int>(process)};
    std::size_t size = 0;
    if (::sysctl(name, 3, nullptr, &size, nullptr, 0) != 0)
        return {};
    std::string raw(size, '\0');
    if (::sysctl(name, 3, raw.data(), &size, nullptr, 0) != 0 || size < sizeof(int))
        return {};
    raw.resize(size);
    int count = 0;
    std::memcpy(&count, raw.data(), sizeof count);
    // The executable's path stands first, padded with NUL bytes, then each word with its end.
    std::size_t at = raw.find('\0', sizeof count);
    at = at == raw.npos ? raw.npos : raw.find_first_not_of('\0', at);
    std::vector<std::string> words;
    while (count-- > 0 && at != raw.npos && at < raw.size()) {
        const std::size_t end = std::min(raw.find('\0', at), raw.size());
        words.push_back(raw.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

std::optional<std::string> ProcessTable::workingDirectory(std::int64_t process)
{
    proc_vnodepathinfo raw{};
    if (::proc_pidinfo(static_cast<int>(process), PROC_PIDVNODEPATHINFO, 0, &raw, sizeof raw) != sizeof raw)
        return std::nullopt;
    const std::string path(raw.pvi_cdir.vip_path, ::strnlen(raw.pvi_cdir.vip_path, sizeof raw.pvi_cdir.vip_path));
    return path.empty() ? std::nullopt : std::optional(path);
}

std::vector<std::string> ProcessTable::openFiles(std::int64_t process)
{
    const int id = static_cast<int>(process);
    const int size = ::proc_pidinfo(id, PROC_PIDLISTFDS, 0, nullptr, 0);
    if (size <= 0)
        return {};
    std::vector<proc_fdinfo> descriptors(static_cast<std::size_t>(size) / sizeof(proc_fdinfo));
    const int filled = ::proc_pidinfo(
        id, PROC_PIDLISTFDS, 0, descriptors.data(), static_cast<int>(descriptors.size() * sizeof(proc_fdinfo)));
    descriptors.resize(static_cast<std::size_t>(std::max(filled, 0)) / sizeof(proc_fdinfo));
    std::vector<std::string> files;
    for (const proc_fdinfo& each : descriptors) {
        vnode_fdinfowithpath raw{};
        if (each.proc_fdtype == PROX_FDTYPE_VNODE
            && ::proc_pidfdinfo(id, each.proc_fd, PROC_PIDFDVNODEPATHINFO, &raw, sizeof raw) == sizeof raw)
            files.emplace_back(raw.pvip.vip_path, ::strnlen(raw.pvip.vip_path, sizeof raw.pvip.vip_path));
    }
    return files;
}

std::vector<std::int64_t> ProcessTable::members(std::int64_t group)
{
    std::vector<pid_t> raw(256);
    const int count =
        ::proc_listpgrppids(static_cast<pid_t>(group), raw.data(), static_cast<int>(raw.size() * sizeof(pid_t)));
    raw.resize(static_cast<std::size_t>(std::clamp(count, 0, static_cast<int>(raw.size()))));
    std::vector<std::int64_t> found(raw.begin(), raw.end());
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace tarnel::tmux
