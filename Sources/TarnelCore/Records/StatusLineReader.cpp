#include "TarnelCore/Records/StatusLineReader.h"
#include "TarnelCore/Base/Files.h"
#include "TarnelCore/JSON/JSONDocument.h"
#include "TarnelCore/Records/RecordWindows.h"

namespace tarnel::StatusLineReader {

namespace {

using View = std::optional<JSONView>;

View member(const View& object, std::string_view key) { return object ? (*object)[key] : std::nullopt; }

std::optional<std::string_view> text(const View& value) { return value ? value->string() : std::nullopt; }

std::optional<double> number(const View& value) { return value ? value->number() : std::nullopt; }

std::optional<std::int64_t> integer(const View& value) { return value ? value->integer() : std::nullopt; }

std::optional<std::string> copied(const View& value)
{
    const auto found = text(value);
    return found ? std::optional(std::string(*found)) : std::nullopt;
}

Lines all(const RecordLines& lines) { return {lines.begin(), lines.end()}; }

/// The tokens that a reply took; a sum that fits no integer leaves out what would burst it.
std::int64_t tokensUsed(const View& usage)
{
    std::int64_t sum = 0;
    for (const std::string_view key : {"input_tokens", "cache_read_input_tokens", "cache_creation_input_tokens"}) {
        const std::int64_t count = integer(member(usage, key)).value_or(0);
        if (std::int64_t larger = 0; !__builtin_add_overflow(sum, count, &larger))
            sum = larger;
    }
    return sum;
}

/// The context window of models that do not tell it in the record.
std::optional<std::int64_t> knownWindow(std::string_view model)
{
    return model.starts_with("claude-opus-5") ? std::optional<std::int64_t>(1'000'000) : std::nullopt;
}

/// Fills in a token count's tightest limit.
void readLimits(const View& limits, StatusLine& status)
{
    for (const std::string_view key : {"primary", "secondary"}) {
        const View window = member(limits, key);
        const auto used = number(member(window, "used_percent"));
        if (!used || (status.limitUsedPercent && *status.limitUsedPercent >= *used))
            continue;
        const auto resetsAt = number(member(window, "resets_at"));
        status.limitUsedPercent = used;
        status.limitWindowMinutes = integer(member(window, "window_minutes"));
        status.limitResetsAt = resetsAt ? timestampFromSeconds(*resetsAt) : std::nullopt;
    }
}

} // namespace

std::optional<StatusLine> read(const RecordPlace& place)
{
    StatusLine status;
    switch (place.kind) {
    case RecordPlace::Kind::claude:
        status = claude(all(RecordLines(place.path, RecordWindows::recent)));
        break;
    case RecordPlace::Kind::codex:
        status = codex(all(RecordLines(place.path, RecordWindows::recent)));
        if (!status.model) // a long turn: its context stands further up
            status.merge(codex(all(RecordLines(place.path, RecordWindows::transcript))));
        break;
    case RecordPlace::Kind::grok:
        status = grok(place.path);
        break;
    }
    return status.isEmpty() ? std::nullopt : std::optional(std::move(status));
}

StatusLine claude(Lines lines)
{
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) {
        const View entry = JSONDocument::shared().parsePadded(*line);
        if (text(member(entry, "type")) != "assistant")
            continue;
        const View sidechain = member(entry, "isSidechain");
        const View message = member(entry, "message");
        const View usage = member(message, "usage");
        const auto model = text(member(message, "model"));
        // A model in angle brackets stands for what the agent itself wrote, such as an error.
        if ((sidechain && sidechain->boolean() == true) || !usage || !model || model->starts_with('<'))
            continue;
        return {.model = std::string(*model), .contextUsed = tokensUsed(usage), .contextWindow = knownWindow(*model)};
    }
    return {};
}

StatusLine codex(Lines lines)
{
    StatusLine status;
    bool hasUsage = false;
    for (auto line = lines.rbegin(); line != lines.rend() && !(status.model && hasUsage); ++line) {
        const View entry = JSONDocument::shared().parsePadded(*line);
        const auto type = text(member(entry, "type"));
        const View payload = member(entry, "payload");
        if (type == "turn_context" && !status.model) {
            status.model = copied(member(payload, "model"));
            status.effort = status.model ? copied(member(payload, "effort")) : std::nullopt;
        } else if (type == "event_msg" && !hasUsage && text(member(payload, "type")) == "token_count") {
            const View info = member(payload, "info");
            status.contextUsed = integer(member(member(info, "last_token_usage"), "total_tokens"));
            status.contextWindow = integer(member(info, "model_context_window"));
            readLimits(member(payload, "rate_limits"), status);
            hasUsage = true; // the latest count decides, even when it tells nothing
        }
    }
    return status;
}

StatusLine grok(const std::string& directory)
{
    const auto summary = Files::read(directory + "/summary.json");
    if (!summary)
        return {};
    const View session = JSONDocument::shared().parse(*summary);
    return {
        .model = copied(member(session, "current_model_id")), .effort = copied(member(session, "reasoning_effort"))};
}

} // namespace tarnel::StatusLineReader
