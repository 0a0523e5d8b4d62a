// TarnelCore/Attention/CardBuilder.h: fills the card that clients show of one agent.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Records/Transcript.h"
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions, in time linear in the texts they look at. Thread-safe.
namespace tarnel::CardBuilder {

/// The card of `agent`, in the workspace shown as `space`. `transcript` is null for an agent without a record.
Card build(const std::string& machine, const MuxleAgent& agent, const std::string& space, const Transcript* transcript,
    std::optional<std::string> screenTail);

/// What a prompt asks, in one line of at most 240 characters: its first sentence, when that is long enough to tell
/// something, else its first paragraph; the first line of a slash command.
std::string asked(std::string_view prompt);

/// The last eight links of the agent's latest messages, each once.
std::vector<Evidence> evidence(const Transcript& transcript);

/// A link in running text.
inline constexpr std::string_view urlPattern = R"(https?://[^\s)\]>"'`]+)";

/// Every match of `urlPattern`, in order. Matched by hand, since long texts are searched at every refresh.
std::vector<std::string_view> urls(std::string_view text);

/// What `url` leads to, told from its form alone.
Evidence classify(std::string_view url);

} // namespace tarnel::CardBuilder
