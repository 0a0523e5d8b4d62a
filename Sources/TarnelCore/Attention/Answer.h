// TarnelCore/Attention/Answer.h: the user's answer to a queue item, and what became of it.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/JSON/Record.h"
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tarnel {

/// An answer as a client sends it.
struct AnswerRequest {
    Fingerprint fingerprint; ///< Of the item that is answered.
    std::optional<std::string> choice; ///< One of the item's choices, or any label of the menu on screen.
    std::optional<std::string> text; ///< Typed after the choice, or the whole answer.
    std::optional<std::string> idempotencyKey; ///< The client's; equal keys are one answer.

    bool operator==(const AnswerRequest&) const = default;
    static constexpr auto fields()
    {
        using T = AnswerRequest;
        return std::tuple{Field{"fingerprint", &T::fingerprint}, Field{"choice", &T::choice}, Field{"text", &T::text},
            Field{"idempotencyKey", &T::idempotencyKey}};
    }
};

/// The answer was sent and the pane changed its state.
struct AnswerApplied {
    static constexpr std::string_view caseName = "applied";
    std::string method; ///< How it went in: "prompt", "text", or "menu " and the option's number.
    bool operator==(const AnswerApplied&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"method", &AnswerApplied::method}}; }
};

/// The answer was sent, but the pane did not change in time.
struct AnswerUnverified {
    static constexpr std::string_view caseName = "unverified";
    std::string method; ///< As of `AnswerApplied`.
    bool operator==(const AnswerUnverified&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"method", &AnswerUnverified::method}}; }
};

/// The pane waits for something else by now; nothing was sent.
struct AnswerStale {
    static constexpr std::string_view caseName = "stale";
    std::optional<Fingerprint> current; ///< Absent when the pane needs nothing.
    bool operator==(const AnswerStale&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"current", &AnswerStale::current}}; }
};

/// Nothing, or not everything, could be sent.
struct AnswerFailed {
    static constexpr std::string_view caseName = "failed";
    std::string message; ///< For people.
    bool operator==(const AnswerFailed&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"_0", &AnswerFailed::message}}; }
};

/// The pane does not exist, or the multiplexer did not say.
struct AnswerNotFound {
    static constexpr std::string_view caseName = "notFound";
    bool operator==(const AnswerNotFound&) const = default;
    static constexpr auto fields() { return std::tuple<>{}; }
};

struct AnswerDuplicate;

/// What became of an answer.
using AnswerOutcome =
    std::variant<AnswerApplied, AnswerUnverified, AnswerStale, AnswerFailed, AnswerDuplicate, AnswerNotFound>;

/// Holds one constant outcome, so that an outcome can hold another. Copies share it; compared by content. Never empty.
class AnswerOutcomeBox {
public:
    AnswerOutcomeBox(); ///< Holds `AnswerNotFound`.
    explicit AnswerOutcomeBox(std::shared_ptr<const AnswerOutcome> held); ///< Not null.

    [[nodiscard]] const AnswerOutcome& value() const;

    bool operator==(const AnswerOutcomeBox& other) const;
    static constexpr auto fields() { return std::tuple{Field{"value", &AnswerOutcomeBox::outcome}}; }

private:
    std::shared_ptr<const AnswerOutcome> outcome;
};

/// The same idempotency key was answered before; nothing was sent.
struct AnswerDuplicate {
    static constexpr std::string_view caseName = "duplicate";
    AnswerOutcomeBox earlier;
    bool operator==(const AnswerDuplicate&) const = default;
    static constexpr auto fields() { return std::tuple{Field{"_0", &AnswerDuplicate::earlier}}; }
};

/// The outcome of repeating an answer whose outcome was `earlier`.
AnswerOutcome duplicate(AnswerOutcome earlier);

/// Whether the answer, or the earlier one that it repeats, was applied.
bool succeeded(const AnswerOutcome& outcome);

} // namespace tarnel
