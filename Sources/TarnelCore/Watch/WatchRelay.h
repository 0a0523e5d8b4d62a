// TarnelCore/Watch/WatchRelay.h: the messages between the app and the user's phone and watch.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/JSON/Bytes.h"
#include "TarnelCore/JSON/Record.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Records/Transcript.h"
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// What the phone asks for: all agents, one pane, or that something be sent.
struct WatchRequest {
    enum class Kind {
        fleet, ///< Answered with `WatchReply::fleet`.
        pane, ///< Answered with `WatchReply::pane`.
        send, ///< Types `text` into a pane.
        answer, ///< Answers what a pane's agent asks with `text`.
        voice, ///< One part of a voice clip; the last one is answered with `WatchReply::transcript`.
    };
    friend constexpr auto namesOf(Kind) { return std::array{"fleet"sv, "pane"sv, "send"sv, "answer"sv, "voice"sv}; }

    Kind kind = Kind::fleet;
    std::optional<std::string> machine; ///< Of the agent that is meant, like `pane`.
    std::optional<std::string> pane;
    std::optional<std::string> text;
    std::optional<std::string> clip; ///< The voice clip's identifier, the same in all its parts.
    std::optional<std::int64_t> part; ///< The part's index, from 0.
    std::optional<bool> last; ///< Whether it is the clip's last part.
    std::optional<Bytes> audio; ///< The part's own bytes.

    bool operator==(const WatchRequest&) const = default;
    static constexpr auto fields()
    {
        using T = WatchRequest;
        return std::tuple{Field{"kind", &T::kind}, Field{"machine", &T::machine}, Field{"pane", &T::pane},
            Field{"text", &T::text}, Field{"clip", &T::clip}, Field{"part", &T::part}, Field{"last", &T::last},
            Field{"audio", &T::audio}};
    }

    /// The requests that carry a voice clip, in parts of `partBytes` bytes, the last one shorter; one empty part for an
    /// empty clip. Throws std::invalid_argument when `partBytes` is not at least 1.
    static std::vector<WatchRequest> voice(std::string_view audio, const std::string& clip, std::int64_t partBytes);
};

/// One agent at a glance.
struct WatchAgent {
    std::string machine;
    std::string pane;
    std::string title;
    std::string space; ///< The workspace's name.
    AgentKind kind = AgentKind::other;
    AgentStatus status = AgentStatus::unknown;
    std::optional<AttentionKind> waiting; ///< What the agent waits for, if anything.
    std::optional<std::string> question;
    std::vector<std::string> choices;
    std::optional<std::int64_t> context; ///< How much of its context the agent has used.

    bool operator==(const WatchAgent&) const = default;
    static constexpr auto fields()
    {
        using T = WatchAgent;
        return std::tuple{Field{"machine", &T::machine}, Field{"pane", &T::pane}, Field{"title", &T::title},
            Field{"space", &T::space}, Field{"kind", &T::kind}, Field{"status", &T::status},
            Field{"waiting", &T::waiting}, Field{"question", &T::question}, Field{"choices", &T::choices},
            Field{"context", &T::context}};
    }

    /// Tells the agent from those of all machines.
    [[nodiscard]] std::string id() const { return machine + "/" + pane; }

    /// Those that need the user first, then by status, each group by title without regard to case; otherwise in their
    /// order.
    static std::vector<WatchAgent> ordered(std::vector<WatchAgent> agents);
};

/// All agents, in the order in which they are shown.
struct WatchFleet {
    std::vector<WatchAgent> agents;
    std::string status; ///< A line for display.

    bool operator==(const WatchFleet&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"agents", &WatchFleet::agents}, Field{"status", &WatchFleet::status}};
    }
};

/// One pane: its agent and the recent conversation.
struct WatchPane {
    std::optional<WatchAgent> agent;
    std::vector<Shared<TranscriptEntry>> entries; ///< Oldest first.
    std::vector<std::string> outgoing; ///< Texts that were sent and do not yet stand in the record.
    std::optional<std::string> error;
    std::optional<std::string> screen;
    bool working = false;

    bool operator==(const WatchPane&) const = default;
    static constexpr auto fields()
    {
        using T = WatchPane;
        return std::tuple{Field{"agent", &T::agent}, Field{"entries", &T::entries}, Field{"outgoing", &T::outgoing},
            Field{"error", &T::error}, Field{"screen", &T::screen}, Field{"working", &T::working}};
    }

    /// A copy whose encoded form takes at most `bytes` bytes, as far as these steps get: entries longer than
    /// `entryLimit` characters keep their ends, a long screen keeps its end, and the oldest entries go.
    [[nodiscard]] WatchPane fitting(std::int64_t bytes, std::int64_t entryLimit) const;
};

/// The answer to a request; what does not belong to it is absent.
struct WatchReply {
    std::optional<WatchFleet> fleet;
    std::optional<WatchPane> pane;
    std::optional<std::string> outcome; ///< Of a text or an answer that was sent.
    std::optional<std::string> error;
    std::optional<std::string> transcript; ///< The words of a voice clip.

    bool operator==(const WatchReply&) const = default;
    static constexpr auto fields()
    {
        using T = WatchReply;
        return std::tuple{Field{"fleet", &T::fleet}, Field{"pane", &T::pane}, Field{"outcome", &T::outcome},
            Field{"error", &T::error}, Field{"transcript", &T::transcript}};
    }
};

/// The form of the messages on the link: JSON with slashes escaped.
namespace WatchRelay {

template <class Message> std::string encoded(const Message& message)
{
    JSONWriter writer(JSONWriter::Slashes::escaped);
    encode(writer, message);
    return writer.take();
}

/// Throws DecodingError when `text` is no such message.
template <class Message> Message decoded(std::string_view text) { return decode<Message>(JSON::parse(text)); }

} // namespace WatchRelay

} // namespace tarnel
