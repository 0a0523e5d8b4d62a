#include "TarnelCore/Base/Environment.h"
#include <array>
#include <cstdlib>
#include <pwd.h>
#include <unistd.h>
#if defined(__APPLE__)
#include <crt_externs.h>
#endif

namespace tarnel {

namespace {

char** variables()
{
#if defined(__APPLE__)
    return *_NSGetEnviron();
#else
    return environ;
#endif
}

/// Apart from `homeDirectory`, which seldom needs its room.
[[gnu::noinline]] std::string homeOfUser()
{
    std::array<char, 16384> room{};
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, room.data(), room.size(), &found) == 0 && found && found->pw_dir)
        return found->pw_dir;
    return "/";
}

} // namespace

Environment processEnvironment()
{
    Environment result;
    for (char** variable = variables(); variable && *variable; ++variable) {
        const std::string_view entry(*variable);
        const std::size_t equals = entry.find('=');
        if (equals != entry.npos)
            result.emplace(entry.substr(0, equals), entry.substr(equals + 1));
    }
    return result;
}

std::optional<std::string> nonEmpty(const Environment& environment, std::string_view name)
{
    const auto found = environment.find(name);
    if (found == environment.end() || found->second.empty())
        return std::nullopt;
    return found->second;
}

std::string homeDirectory()
{
    if (const char* home = std::getenv("HOME"); home && *home)
        return home;
    return homeOfUser();
}

std::string hostName()
{
    std::array<char, 256> name{};
    if (gethostname(name.data(), name.size() - 1) != 0)
        return {};
    return name.data();
}

} // namespace tarnel
