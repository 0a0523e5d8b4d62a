#include "muxle-tmux/SessionFinder.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/RecordLocator.h"
#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <fstream>
#include <set>
#include <sys/stat.h>

namespace tarnel::tmux {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t sessionIDLength = 36; // a UUID at the end of a Codex record's name
constexpr auto correlation = 3s; // between the writing of a record and the agent's output

Timestamp timestamp(std::int64_t seconds, std::int64_t nanoseconds)
{
    return Timestamp(std::chrono::seconds(seconds)
        + std::chrono::duration_cast<Timestamp::duration>(std::chrono::nanoseconds(nanoseconds)));
}

std::optional<Timestamp> birthTime(const std::string& path)
{
#if defined(__APPLE__)
    struct stat info { };
    if (::stat(path.c_str(), &info) != 0)
        return std::nullopt;
    return timestamp(info.st_birthtimespec.tv_sec, info.st_birthtimespec.tv_nsec);
#else
    struct statx info { };
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BTIME, &info) != 0 || (info.stx_mask & STATX_BTIME) == 0)
        return std::nullopt;
    return timestamp(info.stx_btime.tv_sec, info.stx_btime.tv_nsec);
#endif
}

void addRecord(std::vector<SessionRecord>& records, std::string session, const std::string& path, Timestamp since)
{
    const auto stamp = Files::stamp(path);
    if (!stamp)
        return;
    const Timestamp modified = timestamp(stamp->modifiedSeconds, stamp->modifiedNanoseconds);
    if (modified >= since)
        records.push_back({std::move(session), path, birthTime(path), modified});
}

std::vector<SessionRecord> claudeRecords(const std::string& home, const std::string& cwd, Timestamp since)
{
    const std::string directory = home + "/.claude/projects/" + RecordLocator::claudeSlug(cwd);
    std::vector<SessionRecord> records;
    for (const std::string& name : Files::list(directory)) {
        // Helpers of a session write files of their own beside it.
        if (name.ends_with(".jsonl") && !name.starts_with("agent-"))
            addRecord(records, name.substr(0, name.size() - 6), directory + "/" + name, since);
    }
    return records;
}

/// Letters and digits of any script stay, with "-._~"; all else becomes "%" and its bytes in hexadecimal.
std::string grokProject(std::string_view cwd)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string name;
    while (!cwd.empty()) {
        const Text::Scalar first = Text::firstScalar(cwd);
        const std::string_view bytes = cwd.substr(0, first.length);
        const bool isPlain = Text::isLetter(first.value) || Text::isDigit(first.value)
            || (first.value < 0x80 && std::string_view("-._~").find(bytes.front()) != std::string_view::npos);
        for (const char each : bytes) {
            const auto byte = static_cast<unsigned char>(each);
            if (isPlain)
                name += each;
            else
                name.append({'%', digits[byte >> 4], digits[byte & 15]});
        }
        cwd.remove_prefix(first.length);
    }
    return name;
}

std::vector<SessionRecord> grokRecords(const std::string& home, const std::string& cwd, Timestamp since)
{
    const std::string directory = home + "/.grok/sessions/" + grokProject(cwd);
    std::vector<SessionRecord> records;
    for (const std::string& name : Files::list(directory))
        addRecord(records, name, directory + "/" + name + "/chat_history.jsonl", since);
    return records;
}

std::optional<std::string> codexSession(std::string_view path)
{
    const std::string name = Files::lastComponent(path);
    constexpr std::string_view ending = ".jsonl";
    if (!name.ends_with(ending) || name.size() < sessionIDLength + ending.size())
        return std::nullopt;
    return name.substr(name.size() - ending.size() - sessionIDLength, sessionIDLength);
}

/// The folder of a day, in local time: "/2026/01/31".
std::string dayFolder(Timestamp time)
{
    const std::time_t seconds =
        std::chrono::system_clock::to_time_t(std::chrono::time_point_cast<std::chrono::system_clock::duration>(time));
    std::tm local{};
    ::localtime_r(&seconds, &local);
    char text[32];
    return std::string(text, std::strftime(text, sizeof text, "/%Y/%m/%d", &local));
}

/// A Codex record tells near its start where the agent works.
bool tellsDirectory(const std::string& path, const std::string& cwd)
{
    std::string start(16384, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(start.data(), static_cast<std::streamsize>(start.size()));
    start.resize(static_cast<std::size_t>(file.gcount()));
    return start.find("\"cwd\":\"" + cwd + "\"") != start.npos || start.find("\"cwd\": \"" + cwd + "\"") != start.npos;
}

/// The folders of the days since then on which the agent may have begun a record; of a long run the first and the last.
std::vector<SessionRecord> codexRecords(const std::string& home, const std::string& cwd, Timestamp since)
{
    const auto now = std::chrono::time_point_cast<Timestamp::duration>(std::chrono::system_clock::now());
    std::set<std::string> folders{dayFolder(since), dayFolder(now), dayFolder(now - 24h)};
    std::vector<SessionRecord> records;
    for (const std::string& folder : folders) {
        const std::string directory = home + "/.codex/sessions" + folder;
        for (const std::string& name : Files::list(directory)) {
            if (auto session = codexSession(name))
                addRecord(records, *std::move(session), directory + "/" + name, since);
        }
    }
    std::erase_if(records, [&](const SessionRecord& each) { return !tellsDirectory(each.path, cwd); });
    return records;
}

/// The record that the process has open.
std::optional<std::string> openSession(const std::string& home, const SessionSeeker& seeker)
{
    for (const std::string& path : seeker.openFiles) {
        if (seeker.kind == AgentKind::codex && path.starts_with(home + "/.codex/sessions/"))
            return codexSession(path);
        if (seeker.kind == AgentKind::claude && path.starts_with(home + "/.claude/projects/")
            && path.ends_with(".jsonl"))
            return Files::lastComponent(path.substr(0, path.size() - 6));
        if (seeker.kind == AgentKind::grok && path.starts_with(home + "/.grok/sessions/")
            && path.ends_with("/chat_history.jsonl"))
            return Files::lastComponent(Files::parent(path));
    }
    return std::nullopt;
}

/// A record that nobody has yet, and the seekers that may write it.
struct Candidate {
    SessionRecord record;
    std::vector<const SessionSeeker*> writers;
};

/// The one that writes it; none while more than one may.
const SessionSeeker* writerOf(const Candidate& candidate)
{
    const SessionRecord& record = candidate.record;
    auto writers = candidate.writers;
    const auto isYounger = [&](const SessionSeeker* each) { return !record.born || each->started > *record.born; };
    if (!std::all_of(writers.begin(), writers.end(), isYounger))
        std::erase_if(writers, isYounger); // one that was there already has made it
    const auto wasQuiet = [&](const SessionSeeker* each) {
        return !each->moved || *each->moved < record.modified - correlation
            || *each->moved > record.modified + correlation;
    };
    if (writers.size() > 1)
        std::erase_if(writers, wasQuiet);
    return writers.size() == 1 ? writers.front() : nullptr;
}

} // namespace

std::vector<SessionRecord> sessionRecords(
    const std::string& home, AgentKind kind, const std::string& cwd, Timestamp since)
{
    switch (kind) {
    case AgentKind::claude:
        return claudeRecords(home, cwd, since);
    case AgentKind::codex:
        return codexRecords(home, cwd, since);
    case AgentKind::grok:
        return grokRecords(home, cwd, since);
    default:
        return {};
    }
}

SessionFinder::SessionFinder(std::string userHome)
    : home(std::move(userHome))
{
}

std::map<std::int64_t, std::string> SessionFinder::find(
    const std::vector<SessionSeeker>& seekers, const std::set<std::string>& taken)
{
    std::vector<std::vector<SessionRecord>> records;
    for (const SessionSeeker& each : seekers) {
        auto& own = records.emplace_back(sessionRecords(home, each.kind, each.cwd, each.started));
        std::erase_if(own, [&](const SessionRecord& record) { return taken.contains(record.session); });
    }
    return assign(seekers, records);
}

std::map<std::int64_t, std::string> SessionFinder::assign(
    const std::vector<SessionSeeker>& seekers, const std::vector<std::vector<SessionRecord>>& records)
{
    std::erase_if(owners, [&](const auto& owned) {
        return std::none_of(
            seekers.begin(), seekers.end(), [&](const SessionSeeker& each) { return each.process == owned.second; });
    });
    std::map<std::string, Candidate> unowned;
    for (std::size_t i = 0; i < seekers.size(); ++i) {
        for (const SessionRecord& record : records[i]) {
            if (owners.contains(record.path))
                continue;
            Candidate& candidate = unowned[record.path];
            candidate.record = record;
            candidate.writers.push_back(&seekers[i]);
        }
    }
    for (const auto& [path, candidate] : unowned) {
        if (const SessionSeeker* writer = writerOf(candidate))
            owners[path] = writer->process;
    }

    std::map<std::int64_t, std::string> sessions;
    for (std::size_t i = 0; i < seekers.size(); ++i) {
        const SessionRecord* latest = nullptr;
        for (const SessionRecord& record : records[i]) {
            const auto owner = owners.find(record.path);
            if (owner != owners.end() && owner->second == seekers[i].process
                && (!latest || record.modified > latest->modified))
                latest = &record;
        }
        if (auto session = openSession(home, seekers[i]))
            sessions[seekers[i].process] = *std::move(session);
        else if (latest)
            sessions[seekers[i].process] = latest->session;
    }
    return sessions;
}

} // namespace tarnel::tmux
