#include "TarnelCore/Records/RecordLocator.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>

namespace tarnel {

namespace {

constexpr std::string_view recordEnding = ".jsonl";
constexpr std::size_t sessionIDLength = 36; // a UUID's
constexpr std::chrono::seconds indexLifetime{5};

/// Whether joining `text` to a folder gives a path directly inside it.
bool isFileName(std::string_view text)
{
    return !text.empty() && text != "." && text != ".." && text.find_first_of(std::string_view("/\0", 2)) == text.npos;
}

/// The first existing of root/project/entry + `proof`, for `project` and then for every name in root, without `proof`.
std::optional<std::string> findInProjects(
    const std::string& root, const std::string& project, const std::string& entry, const std::string& proof)
{
    const auto test = [&](const std::string& folder) -> std::optional<std::string> {
        std::string path = root + "/" + folder + "/" + entry;
        return Files::exists(path + proof) ? std::optional(std::move(path)) : std::nullopt;
    };
    if (!isFileName(entry))
        return std::nullopt;
    if (isFileName(project)) {
        if (auto found = test(project))
            return found;
    }
    for (const std::string& folder : Files::list(root)) {
        if (auto found = test(folder))
            return found;
    }
    return std::nullopt;
}

/// The name that Grok gives the folder of a working directory.
std::string percentEncoded(std::string_view text)
{
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string encoded;
    while (!text.empty()) {
        const Text::Scalar scalar = Text::firstScalar(text);
        const std::string_view bytes = text.substr(0, scalar.length);
        const bool isPlain = scalar.value == '-' || scalar.value == '.' || scalar.value == '_' || scalar.value == '~'
            || Text::isLetter(scalar.value) || Text::isDigit(scalar.value);
        text.remove_prefix(scalar.length);
        if (isPlain) {
            encoded += bytes;
            continue;
        }
        for (const char byte : bytes) {
            const auto value = static_cast<unsigned char>(byte);
            encoded += {'%', digits[value >> 4], digits[value & 15]};
        }
    }
    return encoded;
}

} // namespace

RecordLocator::RecordLocator(std::string home, Clock& clock)
    : home(std::move(home))
    , clock(clock)
{
}

std::optional<RecordPlace> RecordLocator::locate(
    AgentKind kind, const std::optional<std::string>& sessionID, const std::string& cwd)
{
    if (!sessionID || sessionID->empty())
        return std::nullopt;
    const auto place = [](RecordPlace::Kind form, std::optional<std::string> path) -> std::optional<RecordPlace> {
        return path ? std::optional(RecordPlace{form, *std::move(path)}) : std::nullopt;
    };
    switch (kind) {
    case AgentKind::claude:
        return place(RecordPlace::Kind::claude, claudePath(*sessionID, cwd));
    case AgentKind::codex:
        return place(RecordPlace::Kind::codex, codexPath(*sessionID));
    case AgentKind::grok:
        return place(RecordPlace::Kind::grok, grokDirectory(*sessionID, cwd));
    default:
        return std::nullopt;
    }
}

std::optional<std::string> RecordLocator::claudePath(const std::string& sessionID, const std::string& cwd) const
{
    if (!isFileName(sessionID))
        return std::nullopt;
    return findInProjects(home + "/.claude/projects", claudeSlug(cwd), sessionID + std::string(recordEnding), "");
}

std::optional<std::string> RecordLocator::grokDirectory(const std::string& sessionID, const std::string& cwd) const
{
    return findInProjects(home + "/.grok/sessions", percentEncoded(cwd), sessionID, "/chat_history.jsonl");
}

std::optional<std::string> RecordLocator::codexPath(const std::string& sessionID)
{
    MutexLock lock(mutex);
    const auto known = codexIndex.find(sessionID);
    if (known != codexIndex.end() && Files::exists(known->second))
        return known->second;
    if (codexIndexedAt && clock.elapsed() - *codexIndexedAt <= indexLifetime)
        return std::nullopt;
    rebuildCodexIndex();
    const auto found = codexIndex.find(sessionID);
    return found == codexIndex.end() ? std::nullopt : std::optional(found->second);
}

void RecordLocator::rebuildCodexIndex()
{
    codexIndexedAt = clock.elapsed(); // first: a walk that fails must wait, too
    codexIndex.clear(); // files that have gone are forgotten
    const std::string root = home + "/.codex/sessions";
    for (const std::string& path : Files::walk(root)) {
        if (!path.ends_with(recordEnding))
            continue;
        const std::string name = Files::lastComponent(path);
        const std::string_view stem = std::string_view(name).substr(0, name.size() - recordEnding.size());
        const std::string_view sessionID = Text::suffix(stem, sessionIDLength);
        if (Text::characterCount(sessionID) == sessionIDLength)
            codexIndex.insert_or_assign(std::string(sessionID), root + "/" + path);
    }
}

std::string RecordLocator::claudeSlug(std::string_view cwd)
{
    std::string slug(cwd);
    std::replace_if(
        slug.begin(), slug.end(), [](char c) { return c == '/' || c == '.' || c == '_'; }, '-');
    return slug;
}

} // namespace tarnel
