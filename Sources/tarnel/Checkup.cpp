#include "tarnel/Checkup.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/TarnelPaths.h"
#include "TarnelCore/UnixSocket/SocketError.h"
#include "tarnel/RemoteError.h"
#include <fmt/format.h>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace tarnel {

namespace {

using State = Finding::State;

constexpr unsigned forOthers = S_IRWXG | S_IRWXO;
constexpr unsigned writableByOthers = S_IWGRP | S_IWOTH;

/// A path so that a shell reads it as one word.
std::string quoted(const std::string& path)
{
    return path.find_first_of(" '\"$`\\*?;&|<>()#") == path.npos ? path
                                                                 : "'" + Text::replacingAll(path, "'", R"('\'')") + "'";
}

/// How the agents of one kind stand with their records.
struct Records {
    int read = 0;
    std::vector<std::string> missing; // panes
};

std::map<std::string, Records> recordsOf(
    const MachineSnapshot& snapshot, const Daemon& daemon, DaemonClient::Seconds timeout)
{
    std::map<std::string, Records> records;
    for (const MuxleAgent& agent : snapshot.agents) {
        if (!agent.isAgent())
            continue;
        const JSON item = daemon.client->call("card", {{"pane", agent.paneID}}, timeout);
        const JSON* card = item["card"];
        if (card && booleanOf((*card)["hasRecord"]) == true)
            ++records[agent.agent].read;
        else
            records[agent.agent].missing.push_back(agent.paneID);
    }
    return records;
}

bool hasReader(const std::string& agent)
{
    const AgentKind kind = agentKind(agent);
    return kind == AgentKind::claude || kind == AgentKind::codex || kind == AgentKind::grok;
}

Finding recordFinding(const std::string& agent, const Records& records)
{
    Finding finding{.subject = "Records of " + agent};
    const std::size_t all = static_cast<std::size_t>(records.read) + records.missing.size();
    finding.found = fmt::format("{} of {} agents have one", records.read, all);
    if (records.missing.empty())
        return finding;
    if (!hasReader(agent)) {
        finding.found = fmt::format("{} agents, seen by their screens only: no record of theirs can be read", all);
        return finding;
    }
    finding.state = State::warning;
    finding.found += "; none for " + Text::joined(records.missing, ", ") + ", seen by the screen only";
    finding.remedy = "tarnel screen " + records.missing.front();
    return finding;
}

std::vector<Finding> recordFindings(const Daemon& daemon, DaemonClient::Seconds timeout)
{
    try {
        const auto snapshot = decode<MachineSnapshot>(daemon.client->call("snapshot", {}, timeout));
        std::vector<Finding> findings;
        for (const auto& [agent, records] : recordsOf(snapshot, daemon, timeout))
            findings.push_back(recordFinding(agent, records));
        if (findings.empty())
            findings.push_back({.subject = "Records", .found = "no agent runs in any pane"});
        return findings;
    } catch (...) {
        return {{"Records", State::problem, inWords(daemon, std::current_exception()).what(), std::nullopt}};
    }
}

Finding multiplexer(const JSON& ping)
{
    const JSON* answer = ping["muxle"];
    if (answer && !answer->isNull())
        return {.subject = "Multiplexer", .found = "answers"};
    return {"Multiplexer", State::problem, "does not answer the daemon, which sees no agent without it",
        "muxle-tmux serve"};
}

Finding version(const JSON& ping, const Daemon& daemon)
{
    const std::string theirs = stringOf(ping["version"]).value_or("unknown");
    const std::string machine = stringOf(ping["machine"]).value_or("");
    Finding finding{
        .subject = "Daemon", .found = "version " + theirs + " answers for " + machine + " at " + daemon.label()};
    if (theirs != tarnelVersion) {
        finding.state = State::warning;
        finding.found += "; this is version " + std::string(tarnelVersion);
        finding.remedy = daemon.host.empty() ? "tarneld --version" : "ssh " + daemon.host + " tarneld --version";
    }
    return finding;
}

/// A daemon that does not answer, and what to do about it.
Finding unreachable(const Daemon& daemon, const std::exception_ptr& failure)
{
    Finding finding{.subject = "Daemon", .state = State::problem};
    finding.remedy =
        daemon.host.empty() ? "tarneld --socket " + quoted(daemon.label()) : "ssh " + daemon.host + " tarneld bridge";
    try {
        std::rethrow_exception(failure);
    } catch (const RemoteError& error) {
        finding.remedy = RemoteError::remedy(error.reason, daemon.host);
        finding.found = error.what();
    } catch (const std::exception& error) {
        finding.found = error.what();
    }
    finding.found = finding.found.substr(0, finding.found.find("; try: "));
    return finding;
}

} // namespace

Finding Checkup::configuration(const TarnelConfig& config)
{
    if (!Files::exists(config.path()))
        return {
            .subject = "Configuration", .found = "there is no " + config.path() + "; every setting has its default"};
    if (config.problems().empty())
        return {.subject = "Configuration", .found = config.path() + " is in order"};
    return {"Configuration", State::problem, Text::joined(config.problems(), "; ") + " (" + config.path() + ")",
        "tarnel config check"};
}

std::vector<Finding> Checkup::socket(const std::string& path)
{
    struct stat status { };
    if (::lstat(path.c_str(), &status) != 0)
        return {{"Socket", State::problem, "there is no " + path, "tarneld --socket " + quoted(path)}};
    if (!S_ISSOCK(status.st_mode))
        return {{"Socket", State::problem, path + " is no socket", "ls -l " + quoted(path)}};
    if (status.st_uid != ::geteuid())
        return {{"Socket", State::problem, path + " belongs to another user", "ls -l " + quoted(path)}};
    std::vector<Finding> findings;
    if ((status.st_mode & forOthers) != 0)
        findings.push_back({"Socket", State::problem,
            fmt::format("{} is open to other users (mode {:o})", path, status.st_mode & 0777U),
            "chmod 600 " + quoted(path)});
    const std::string folder = Files::parent(path);
    if (::stat(folder.c_str(), &status) == 0 && (status.st_mode & writableByOthers) != 0
        && (status.st_mode & S_ISVTX) == 0)
        findings.push_back({"Socket", State::problem,
            fmt::format("its folder {} is writable for other users (mode {:o})", folder, status.st_mode & 0777U),
            "chmod go-w " + quoted(folder)});
    if (findings.empty())
        findings.push_back({.subject = "Socket", .found = path + " is yours alone"});
    return findings;
}

std::vector<Finding> Checkup::daemon(const Daemon& daemon, DaemonClient::Seconds timeout)
{
    try {
        const JSON ping = daemon.client->call("ping", {}, timeout);
        std::vector<Finding> findings{version(ping, daemon), multiplexer(ping)};
        if (findings.back().state == State::ok) {
            for (Finding& finding : recordFindings(daemon, timeout))
                findings.push_back(std::move(finding));
        }
        return findings;
    } catch (...) {
        return {unreachable(daemon, std::current_exception())};
    }
}

} // namespace tarnel
