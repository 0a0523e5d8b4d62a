#include "Faults/ProcessUsage.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include <cstdio>
#include <ctime>
#include <fstream>

namespace tarnel {

namespace {

std::string fileOf(pid_t id, const std::string& name) { return "/proc/" + std::to_string(id) + "/" + name; }

/// The number behind `field` in the process's status.
double number(const std::string& status, const std::string& field)
{
    const std::size_t at = status.find("\n" + field + ":");
    return at == status.npos ? 0 : std::stod(status.substr(at + field.size() + 2));
}

} // namespace

std::optional<ProcessUsage> ProcessUsage::of(pid_t id)
{
    const auto status = Files::read(fileOf(id, "status"));
    clockid_t clock = 0;
    timespec spent{};
    if (!status || ::clock_getcpuclockid(id, &clock) != 0 || ::clock_gettime(clock, &spent) != 0)
        return std::nullopt;
    constexpr double kibibytes = 1024;
    return ProcessUsage{.memory = number(*status, "VmRSS") / kibibytes,
        .peakMemory = number(*status, "VmHWM") / kibibytes,
        .threads = static_cast<std::size_t>(number(*status, "Threads")),
        .descriptors = Files::list(fileOf(id, "fd")).size(),
        .processor = std::chrono::seconds(spent.tv_sec) + std::chrono::nanoseconds(spent.tv_nsec)};
}

void ProcessUsage::resetPeak(pid_t id) { std::ofstream(fileOf(id, "clear_refs")) << "5"; }

std::size_t ProcessUsage::childrenOf(pid_t id)
{
    std::size_t found = 0;
    for (const std::string& name : Files::list("/proc")) {
        const std::string status = Files::read("/proc/" + name + "/status").value_or("");
        if (status.find("\nPPid:\t" + std::to_string(id) + "\n") != status.npos)
            ++found;
    }
    return found;
}

void printFigure(const std::string& text)
{
    std::printf("figure: %s\n", text.c_str());
    std::fflush(stdout);
}

} // namespace tarnel
