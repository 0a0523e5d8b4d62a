#include "tarnel/SSHOpener.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/RemoteError.h"
#include "tarnel/SSHChannel.h"
#include <system_error>

namespace tarnel {

namespace {

/// `word` so that a shell reads it as one.
std::string quoted(const std::string& word)
{
    constexpr std::string_view plain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:@%+=,";
    if (!word.empty() && word.find_first_not_of(plain) == word.npos)
        return word;
    return "'" + Text::replacingAll(word, "'", R"('\'')") + "'";
}

} // namespace

SSHOpener::SSHOpener(std::string host, const std::optional<std::string>& remoteSocket, Environment variables)
    : target(std::move(host))
    , environment(std::move(variables))
{
    if (const auto given = nonEmpty(environment, "TARNEL_SSH")) {
        const auto pieces = Text::words(*given);
        words.assign(pieces.begin(), pieces.end());
    }
    if (words.empty())
        words = {"ssh", "-T", "-o", "BatchMode=yes", "-o", "ConnectTimeout=10", "-o", "ServerAliveInterval=15"};
    words.insert(words.end(), {target, "tarneld", "bridge"});
    if (remoteSocket)
        words.insert(words.end(), {"--socket", quoted(*remoteSocket)});
}

std::shared_ptr<LineChannel> SSHOpener::open(std::chrono::duration<double> timeout)
{
    const auto program = findProgram(words.front(), environment);
    if (!program)
        throw RemoteError(RemoteError::Reason::noClient, target, "there is no " + words.front());
    try {
        return std::make_shared<SSHChannel>(target,
            Process::Options{
                .executable = *program, .arguments = {words.begin() + 1, words.end()}, .environment = environment},
            timeout);
    } catch (const std::system_error& error) {
        throw RemoteError(RemoteError::Reason::noClient, target, error.what());
    }
}

std::optional<std::string> findProgram(const std::string& name, const Environment& environment)
{
    if (name.find('/') != name.npos)
        return Files::isExecutable(name) ? std::optional(name) : std::nullopt;
    const std::string path = nonEmpty(environment, "PATH").value_or("/usr/bin:/bin");
    for (const std::string_view folder : Text::split(path, ':')) {
        std::string candidate = std::string(folder.empty() ? "." : folder) + "/" + name;
        if (Files::isExecutable(candidate))
            return candidate;
    }
    return std::nullopt;
}

} // namespace tarnel
