#include "Bench/MemoryUse.h"
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

namespace tarnel::bench {

namespace {

/// The number behind `name` in the status of `process`, in KiB.
double statusField(const std::string& process, const std::string& name)
{
    std::ifstream status("/proc/" + process + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":"))
            return std::stod(line.substr(name.size() + 1));
    }
    throw std::runtime_error("no " + name + " in the status of process " + process);
}

} // namespace

double residentMiB(pid_t process) { return statusField(std::to_string(process), "VmRSS") / 1024; }

double anonymousMiB() { return statusField("self", "RssAnon") / 1024; }

double processorTime(pid_t process)
{
    double sum = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
        double nanoseconds = 0;
        std::ifstream(task.path() / "schedstat") >> nanoseconds;
        sum += nanoseconds / 1e6;
    }
    return sum;
}

} // namespace tarnel::bench
