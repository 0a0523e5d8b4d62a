// Bench/Redis.h: a redis server to compare with.
#pragma once
#include "Bench/Servers.h"
#include "TarnelCore/Base/FileDescriptor.h"
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel::bench {

/// The path of the program `name` on the search path; nothing when it is not installed.
std::optional<std::string> installed(std::string_view name);

/// A server at a Unix socket that keeps nothing on disk.
class Redis {
public:
    /// Null when redis is not installed.
    static std::unique_ptr<Redis> start(const std::string& folder);

    [[nodiscard]] const std::string& socket() const { return path; }

    /// Milliseconds until so many subscribers have a message of `bytes` bytes, the median of some.
    double push(std::size_t subscribers, std::size_t bytes) const;

private:
    Redis(const std::string& program, const std::string& folder);

    const std::string path;
    Server server;
};

} // namespace tarnel::bench
