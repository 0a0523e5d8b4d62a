// TarnelCore/Records/Transcript.h: the conversation of one agent, whichever agent wrote it down.
#pragma once
#include "TarnelCore/JSON/Record.h"
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace tarnel {

using namespace std::string_view_literals;

/// Who produced a step of the conversation.
enum class EntryRole { user, assistant, tool, system };
constexpr auto namesOf(EntryRole) { return std::array{"user"sv, "assistant"sv, "tool"sv, "system"sv}; }

/// One step of the conversation.
struct TranscriptEntry {
    EntryRole role = EntryRole::user;
    std::string text;                    ///< For a tool step its one-line description.
    std::optional<std::string> toolName; ///< Tool steps only: the agent's own name of the tool.
    std::optional<Timestamp> timestamp;
    bool isError = false;
    std::optional<std::string> detail; ///< Tool steps only: the call in full, several lines.

    bool operator==(const TranscriptEntry&) const = default;
    static constexpr auto fields()
    {
        using T = TranscriptEntry;
        return std::tuple{Field{"role", &T::role}, Field{"text", &T::text}, Field{"toolName", &T::toolName},
            Field{"timestamp", &T::timestamp}, Field{"isError", &T::isError}, Field{"detail", &T::detail}};
    }
};

struct QuestionOption {
    std::string label;
    std::optional<std::string> detail;

    bool operator==(const QuestionOption&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"label", &QuestionOption::label}, Field{"detail", &QuestionOption::detail}};
    }
};

/// One question that the agent asks the user.
struct Question {
    std::optional<std::string> id;
    std::optional<std::string> header;
    std::string text;
    std::vector<QuestionOption> options;
    bool multiSelect = false;

    bool operator==(const Question&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"id", &Question::id}, Field{"header", &Question::header}, Field{"text", &Question::text},
            Field{"options", &Question::options}, Field{"multiSelect", &Question::multiSelect}};
    }
};

struct PendingQuestion {
    static constexpr std::string_view caseName = "question";
    std::vector<Question> questions;
    bool operator==(const PendingQuestion&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"_0", &PendingQuestion::questions}}; }
};

struct PendingPlan {
    static constexpr std::string_view caseName = "plan";
    std::string plan; ///< Markdown.
    bool operator==(const PendingPlan&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"_0", &PendingPlan::plan}}; }
};

/// A tool call that waits for the user's permission, or has not yet returned.
struct PendingPermission {
    static constexpr std::string_view caseName = "permission";
    std::string tool;
    std::string detail;
    bool operator==(const PendingPermission&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"tool", &PendingPermission::tool}, Field{"detail", &PendingPermission::detail}};
    }
};

/// What an agent waits for.
using Pending = std::variant<PendingQuestion, PendingPlan, PendingPermission>;

/// Tells one pending item from another: equal for the same question seen again.
std::string identityText(const Pending& pending);

/// One line for display.
std::string summary(const Pending& pending);

/// An agent's record as a reader understood it. The default is the empty transcript.
struct Transcript {
    std::vector<Shared<TranscriptEntry>> entries; ///< Shared between a transcript and the next of the same record.
    std::optional<Pending> pending;
    std::optional<Timestamp> pendingSince;
    std::optional<std::string> firstUserPrompt;
    std::optional<std::string> lastUserPrompt;
    std::optional<std::string> lastAssistantMessage;
    std::optional<std::string> title;
    bool turnFinished = false; ///< The agent has ended its turn and waits for the next prompt.
    std::optional<std::string> errorMessage;
    std::optional<Timestamp> lastActivity;
    std::optional<std::string> branch;
    std::optional<std::string> liveReply; ///< The reply being written on screen; readers leave it absent.

    bool operator==(const Transcript&) const = default;
    static constexpr auto fields()
    {
        using T = Transcript;
        return std::tuple{Field{"entries", &T::entries}, Field{"pending", &T::pending},
            Field{"pendingSince", &T::pendingSince}, Field{"firstUserPrompt", &T::firstUserPrompt},
            Field{"lastUserPrompt", &T::lastUserPrompt}, Field{"lastAssistantMessage", &T::lastAssistantMessage},
            Field{"title", &T::title}, Field{"turnFinished", &T::turnFinished}, Field{"errorMessage", &T::errorMessage},
            Field{"lastActivity", &T::lastActivity}, Field{"branch", &T::branch}, Field{"liveReply", &T::liveReply}};
    }

    /// The tool steps since the last user entry, in order; all of them when there is no user entry.
    [[nodiscard]] std::vector<Shared<TranscriptEntry>> stepsSinceLastPrompt() const;
};

/// User text without the blocks that agents insert; a typed command as its name and arguments.
std::string cleanUserText(std::string_view text);

/// A record's timestamp: an ISO 8601 date-time with or without fractional seconds.
std::optional<Timestamp> parseDate(const std::optional<std::string_view>& text);

} // namespace tarnel
