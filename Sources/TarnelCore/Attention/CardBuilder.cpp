#include "TarnelCore/Attention/CardBuilder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/ToolSummary.h"
#include <algorithm>
#include <array>
#include <unordered_set>

namespace tarnel::CardBuilder {

namespace {

constexpr std::size_t mostSteps = 8;
constexpr std::size_t mostEvidence = 8;
constexpr std::size_t entriesWithEvidence = 80; // looked at, from the end
constexpr std::size_t messageCharacters = 1200; // kept of the last message
constexpr std::size_t askedCharacters = 240; // of a prompt
constexpr std::size_t commandCharacters = 160; // of a slash command
constexpr std::size_t sentenceCharacters = 12; // at least, before the mark that ends it
constexpr std::string_view issueTracker = "linear.app";

bool contains(std::string_view text, std::string_view part) { return text.find(part) != text.npos; }

/// The first sentence of `paragraph` by whichever of the marks makes it shortest, or all of it.
std::string_view firstSentence(std::string_view paragraph)
{
    const std::size_t earliest = Text::prefix(paragraph, sentenceCharacters).size();
    std::string_view shortest = paragraph;
    for (const std::string_view mark : {". "sv, "? "sv, "! "sv}) {
        const std::size_t at = paragraph.find(mark);
        if (at == paragraph.npos || at < earliest)
            continue;
        const std::string_view sentence = Text::trimmedOf(paragraph.substr(0, at + mark.size()), " ");
        if (sentence.size() < shortest.size())
            shortest = sentence;
    }
    return shortest;
}

/// Whether this ASCII character ends a link.
bool endsLink(char c) { return Text::isWhitespace(static_cast<unsigned char>(c)) || contains(")]>\"'`", {&c, 1}); }

/// The bytes from the start of `text` that can stand in a link.
std::size_t linkLength(std::string_view text)
{
    std::size_t end = 0;
    while (end < text.size()) {
        if (static_cast<unsigned char>(text[end]) < 0x80) {
            if (endsLink(text[end]))
                break;
            ++end;
            continue;
        }
        const Text::Scalar scalar = Text::firstScalar(text.substr(end));
        if (Text::isWhitespace(scalar.value))
            break;
        end += scalar.length;
    }
    return end;
}

/// The host of `url` without user and port; nothing when there is none or the form is none of a link's (RFC 3986, 3.2).
std::optional<std::string_view> host(std::string_view url)
{
    const std::size_t scheme = url.find("://");
    if (scheme == url.npos)
        return std::nullopt;
    std::string_view authority = url.substr(scheme + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    if (const std::size_t user = authority.rfind('@'); user != authority.npos)
        authority.remove_prefix(user + 1);
    const std::size_t colon = authority.find(':');
    const std::string_view name = authority.substr(0, colon);
    const std::string_view port = colon == authority.npos ? "" : authority.substr(colon + 1);
    if (name.empty() || port.find_first_not_of("0123456789") != port.npos
        || name.find_first_of("\\^{}|<[") != name.npos)
        return std::nullopt;
    return name;
}

/// The first piece of a link that looks like an issue's number: "ENG-142".
std::optional<std::string_view> ticket(const std::vector<std::string_view>& pieces)
{
    const auto found = std::find_if(pieces.begin(), pieces.end(),
        [](std::string_view piece) { return contains(piece, "-") && !Text::hasLowercase(piece); });
    return found == pieces.end() ? std::nullopt : std::optional(*found);
}

} // namespace

Card build(const std::string& machine, const MuxleAgent& agent, const std::string& space, const Transcript* transcript,
    std::optional<std::string> screenTail)
{
    Card card{
        .machine = machine,
        .paneID = agent.paneID,
        .workspaceID = agent.workspaceID,
        .space = space,
        .title = agent.title(),
        .agentKind = agent.kind(),
        .status = agent.status,
        .cwd = agent.foregroundCwd.value_or(agent.cwd),
        .screenTail = std::move(screenTail),
        .hasRecord = transcript != nullptr,
    };
    if (!transcript)
        return card;
    if (transcript->title && !transcript->title->empty())
        card.title = *transcript->title;
    if (const auto& prompt = transcript->lastUserPrompt ? transcript->lastUserPrompt : transcript->firstUserPrompt)
        card.asked = asked(*prompt);
    if (const auto& message = transcript->lastAssistantMessage)
        card.lastMessage = Text::prefix(*message, messageCharacters);
    card.branch = transcript->branch;
    card.did = ToolSummary::fold(transcript->stepsSinceLastPrompt(), mostSteps);
    card.pending = transcript->pending;
    card.evidence = evidence(*transcript);
    card.lastActivity = transcript->lastActivity;
    return card;
}

std::string asked(std::string_view prompt)
{
    prompt = Text::trimmed(prompt);
    if (prompt.starts_with('/'))
        return std::string(Text::prefix(prompt.substr(0, prompt.find_first_of("\r\n")), commandCharacters));
    const std::string_view sentence = firstSentence(prompt.substr(0, prompt.find("\n\n")));
    // One more than fits tells that there is more, however much it is.
    std::string line = Text::replacingAll(Text::prefix(sentence, askedCharacters + 1), "\n", " ");
    if (Text::prefix(line, askedCharacters).size() < line.size())
        return std::string(Text::prefix(line, askedCharacters - 1)) + "…";
    return line;
}

std::vector<std::string_view> urls(std::string_view text)
{
    constexpr std::string_view separator = "://"; // rarer than "http", so searched for first
    std::vector<std::string_view> found;
    std::size_t from = 0;
    for (std::size_t at = 0; (at = text.find(separator, at)) != text.npos;) {
        const std::string_view before = text.substr(from, at - from);
        at += separator.size();
        const std::size_t scheme = before.ends_with("https") ? 5 : before.ends_with("http") ? 4 : 0;
        const std::size_t length = scheme > 0 ? linkLength(text.substr(at)) : 0;
        if (length == 0)
            continue;
        const std::size_t start = at - separator.size() - scheme;
        at += length;
        found.push_back(text.substr(start, at - start));
        from = at;
    }
    return found;
}

std::vector<Evidence> evidence(const Transcript& transcript)
{
    std::vector<std::string_view> links; // each once, in the order of first appearance
    std::unordered_set<std::string_view> seen;
    const auto& entries = transcript.entries;
    for (std::size_t i = entries.size() - std::min(entries.size(), entriesWithEvidence); i < entries.size(); ++i) {
        if (entries[i]->role != EntryRole::assistant)
            continue;
        for (std::string_view url : urls(entries[i]->text)) {
            url = url.substr(0, url.find_last_not_of(".,;:") + 1);
            if (seen.insert(url).second)
                links.push_back(url);
        }
    }
    std::vector<Evidence> last;
    for (std::size_t i = links.size() - std::min(links.size(), mostEvidence); i < links.size(); ++i)
        last.push_back(classify(links[i]));
    return last;
}

Evidence classify(std::string_view url)
{
    const auto evidence = [&](Evidence::Kind kind, std::string_view label) {
        return Evidence{kind, std::string(label), std::string(url)};
    };
    const std::vector<std::string_view> pieces = Text::splitNonEmpty(url, '/');
    if (contains(url, "/pull/"))
        return evidence(Evidence::Kind::pullRequest, "PR #" + std::string(pieces.back()));
    if (contains(url, "/actions/runs/") || contains(url, "/checks"))
        return evidence(Evidence::Kind::ci, "CI run");
    if (contains(url, issueTracker)) {
        if (const auto issue = ticket(pieces))
            return evidence(Evidence::Kind::ticket, *issue);
    }
    if (url.ends_with(".png") || url.ends_with(".jpg"))
        return evidence(Evidence::Kind::image, "Screenshot");
    return evidence(Evidence::Kind::link, host(url).value_or(url));
}

} // namespace tarnel::CardBuilder
