// TarnelCore/Attention/Attention.h: the attention queue and the machine snapshot that clients are sent.
#pragma once
#include "TarnelCore/Config/QuestionMarkers.h"
#include "TarnelCore/JSON/Record.h"
#include "TarnelCore/Muxle/MuxleModels.h"
#include "TarnelCore/Muxle/TabLayout.h"
#include "TarnelCore/Records/StatusLine.h"
#include "TarnelCore/Records/Transcript.h"
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// Why an agent needs the user.
enum class AttentionKind { question, plan, permission, blocked, asking, finished, error };
constexpr auto namesOf(AttentionKind)
{
    return std::array{"question"sv, "plan"sv, "permission"sv, "blocked"sv, "asking"sv, "finished"sv, "error"sv};
}

/// The kind in words for people: "Plan ready".
std::string_view title(AttentionKind kind);

/// The urgency by which the queue is ordered, smaller first.
int group(AttentionKind kind);

/// The identity of one queue item. Two items are the same only when all five fields are.
struct Fingerprint {
    std::string machine;
    std::string paneID;
    std::int64_t stateChangeSeq = 0; ///< The agent's, when the item was made.
    AttentionKind kind = AttentionKind::question;
    std::string contentHash; ///< Of what the agent waits for.

    auto operator<=>(const Fingerprint&) const = default;
    static constexpr auto fields()
    {
        using T = Fingerprint;
        return std::tuple{Field{"machine", &T::machine}, Field{"paneID", &T::paneID},
            Field{"stateChangeSeq", &T::stateChangeSeq}, Field{"kind", &T::kind}, Field{"contentHash", &T::contentHash}};
    }

    /// "studio-mini/p_3#41/question/9ae0c2e1d11b0f77"
    [[nodiscard]] std::string description() const;

    /// The 64-bit FNV-1a hash of the text's bytes, in lower-case hexadecimal without leading zeros.
    /// The algorithm: Fowler, Noll, Vo, draft-eastlake-fnv.
    static std::string hash(std::string_view text);
};

/// A link found in an agent's output.
struct Evidence {
    enum class Kind { pullRequest, ci, ticket, image, link };
    friend constexpr auto namesOf(Kind)
    {
        return std::array{"pullRequest"sv, "ci"sv, "ticket"sv, "image"sv, "link"sv};
    }

    Kind kind = Kind::link;
    std::string label; ///< Short text for the link.
    std::string url;

    bool operator==(const Evidence&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{
            Field{"kind", &Evidence::kind}, Field{"label", &Evidence::label}, Field{"url", &Evidence::url}};
    }
};

/// What a client shows of one agent.
struct Card {
    std::string machine;
    std::string paneID;
    std::string workspaceID;
    std::string space; ///< The workspace's label, or its id when it has none.
    std::string title;
    AgentKind agentKind = AgentKind::other;
    AgentStatus status = AgentStatus::unknown;
    std::string cwd;
    std::optional<std::string> branch;
    std::optional<std::string> asked; ///< By the user, last.
    std::vector<std::string> did;     ///< The agent's recent steps.
    std::optional<Pending> pending;
    std::optional<std::string> lastMessage;
    std::optional<std::string> screenTail; ///< The last lines of the pane's screen.
    std::vector<Evidence> evidence;
    bool hasRecord = false;
    std::optional<Timestamp> lastActivity;

    bool operator==(const Card&) const = default;
    static constexpr auto fields()
    {
        using T = Card;
        return std::tuple{Field{"machine", &T::machine}, Field{"paneID", &T::paneID},
            Field{"workspaceID", &T::workspaceID}, Field{"space", &T::space}, Field{"title", &T::title},
            Field{"agentKind", &T::agentKind}, Field{"status", &T::status}, Field{"cwd", &T::cwd},
            Field{"branch", &T::branch}, Field{"asked", &T::asked}, Field{"did", &T::did}, Field{"pending", &T::pending},
            Field{"lastMessage", &T::lastMessage}, Field{"screenTail", &T::screenTail}, Field{"evidence", &T::evidence},
            Field{"hasRecord", &T::hasRecord}, Field{"lastActivity", &T::lastActivity}};
    }
};

/// One entry of the queue.
struct AttentionItem {
    AttentionKind kind = AttentionKind::question; ///< The fingerprint's too.
    Fingerprint fingerprint;
    Card card;
    std::optional<Timestamp> waitingSince;
    std::int64_t stateChangeSeq = 0;
    std::int64_t revision = 0;
    bool screenAsking = false;        ///< Recognised from the screen, not from the record.
    std::vector<std::string> choices; ///< Answers that a client can offer.

    bool operator==(const AttentionItem&) const = default;
    static constexpr auto fields()
    {
        using T = AttentionItem;
        return std::tuple{Field{"kind", &T::kind}, Field{"fingerprint", &T::fingerprint}, Field{"card", &T::card},
            Field{"waitingSince", &T::waitingSince}, Field{"stateChangeSeq", &T::stateChangeSeq},
            Field{"revision", &T::revision}, Field{"screenAsking", &T::screenAsking}, Field{"choices", &T::choices}};
    }

    /// What a client can offer for `pending` when the screen shows the labels `menu`.
    static std::vector<std::string> choicesFor(
        const std::optional<Pending>& pending, const std::vector<std::string>& menu);

    [[nodiscard]] std::string id() const { return fingerprint.description(); }
    /// One line that says what is asked; absent when nothing is pending.
    [[nodiscard]] std::optional<std::string> questionText() const;
    /// Replies to offer after a finished turn: its choices, then each quick reply that none of them equals but for case.
    [[nodiscard]] std::vector<std::string> followUps(const std::vector<std::string>& quickReplies) const;
};

/// The engine's settings.
struct QueueOptions {
    std::string order = "recent"; ///< "oldest" puts the oldest state change first, anything else the newest.
    bool includeFinished = true;
    double finishedAfterSeconds = 60; ///< A finished turn enters the queue so long after the record's last activity.
    std::vector<std::string> questionMarkers{defaultQuestionMarkers.begin(), defaultQuestionMarkers.end()};
    std::set<std::string> mutedPanes;
    std::set<std::string> mutedAgentNames;
    bool askingFromRecords = true; ///< A done agent whose record holds a question or plan is queued as asking.
    bool checkIdleScreens = true;  ///< Idle agents whose screen shows a question are queued as asking.

    bool operator==(const QueueOptions&) const = default;
    static constexpr auto fields()
    {
        using T = QueueOptions;
        return std::tuple{Field{"order", &T::order}, Field{"includeFinished", &T::includeFinished},
            Field{"finishedAfterSeconds", &T::finishedAfterSeconds}, Field{"questionMarkers", &T::questionMarkers},
            Field{"mutedPanes", &T::mutedPanes}, Field{"mutedAgentNames", &T::mutedAgentNames},
            Field{"askingFromRecords", &T::askingFromRecords}, Field{"checkIdleScreens", &T::checkIdleScreens}};
    }
};

/// The state of one machine at one moment.
struct MachineSnapshot {
    std::string machine;
    Timestamp takenAt;
    std::vector<MuxleWorkspace> workspaces;
    std::vector<MuxleAgent> agents; ///< Every pane, shells included.
    std::vector<AttentionItem> queue;
    std::optional<std::vector<MuxleTab>> tabs;
    std::optional<std::vector<TabLayout>> layouts;
    std::optional<std::map<std::string, StatusLine>> statusLines; ///< By pane id; only those that are not empty.

    bool operator==(const MachineSnapshot&) const = default;
    static constexpr auto fields()
    {
        using T = MachineSnapshot;
        return std::tuple{Field{"machine", &T::machine}, Field{"takenAt", &T::takenAt},
            Field{"workspaces", &T::workspaces}, Field{"agents", &T::agents}, Field{"queue", &T::queue},
            Field{"tabs", &T::tabs}, Field{"layouts", &T::layouts}, Field{"statusLines", &T::statusLines}};
    }

    /// Whether the two are equal in all but the time.
    [[nodiscard]] bool sameContent(const MachineSnapshot& other) const;
};

} // namespace tarnel
