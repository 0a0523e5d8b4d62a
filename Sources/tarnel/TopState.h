// tarnel/TopState.h: all that the full-screen view knows, and how it changes.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/Commands/Command.h"
#include "TarnelCore/Commands/Outbox.h"
#include "tarnel/LineEditor.h"
#include "tarnel/Paint.h"
#include "tarnel/Terminal.h"
#include "tarnel/TopKey.h"
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace tarnel {

/// What stays the same while the view is open.
struct TopSettings {
    std::string commandPrefix; ///< Starts the ids of the view's commands; nobody else uses it.
    std::vector<std::string> quickReplies; ///< Offered after a finished turn.
    bool advancesAfterAnswer = true;
};

/// A line for the user, until the next key.
struct TopNotice {
    std::string text;
    Paint paint = Paint::none;
    bool operator==(const TopNotice&) const = default;
};

/// One daemon and what it has told.
struct TopMachine {
    std::string label; ///< Where the daemon is, for messages.
    std::shared_ptr<const MachineSnapshot> snapshot; ///< Its newest; null before the first.
    bool isConnected = false;
};

/// A pane among those of all machines.
struct TopPlace {
    std::string machine;
    std::string paneID;
    auto operator<=>(const TopPlace&) const = default;

    static TopPlace of(const AttentionItem& item) { return {item.card.machine, item.card.paneID}; }
};

/// What to call an agent, in one line of plain words.
std::string nameOf(const Card& card);

/// An agent as it was shown when a key was pressed.
struct TopTarget {
    TopPlace place;
    std::string title;
    std::optional<Fingerprint> fingerprint; ///< Of the item; absent when the agent waited for nothing.
    std::vector<std::string> choices;
    bool operator==(const TopTarget&) const = default;
};

/// A command that has no final reply yet.
struct TopSent {
    enum class Kind { answer, prompt, release, focus, close };
    Kind kind = Kind::answer;
    TopTarget target;
    std::optional<std::string> choice;
    std::string text;
    bool isHeld = false;
};

/// The state of the view. A value.
struct TopState {
    enum class Mode { browse, filter, answer, prompt, confirmClose, help };
    enum class Pane { queue, card };

    TopSettings settings;
    ScreenSize size;

    std::vector<TopMachine> machines;
    std::shared_ptr<const std::vector<AttentionItem>> queue; ///< Of all machines; null before the first.

    std::optional<TopPlace> selectedPlace; ///< It stays chosen when its item goes, so that no key hits another one.
    std::string selectedTitle; ///< Its agent's, as last shown.
    std::size_t selectedRow = 0; ///< The row where it stands, or stood.
    std::optional<std::size_t> cardTop; ///< The first line of the card that is shown; absent until it is scrolled.
    Pane pane = Pane::queue; ///< The one that is shown where there is no room for both.

    Mode mode = Mode::browse;
    std::string filter;
    LineEditor line; ///< Of the modes in which text is typed.
    TopTarget target; ///< Whom the line, or the closing, is for.
    std::optional<std::size_t> lineChoice; ///< The choice that goes with an answer in words.
    SendMode sendMode = SendMode::afterTurn; ///< Of a prompt.

    TopNotice notice;
    std::map<std::string, TopSent> sent; ///< By command id.
    std::map<TopPlace, std::string> drafts; ///< What was typed and not sent, or has not arrived.
    std::uint64_t counter = 0; ///< Of commands.

    /// The items that pass the filter.
    [[nodiscard]] std::vector<const AttentionItem*> visible() const;
    /// The chosen item; null when its agent waits for nothing.
    [[nodiscard]] const AttentionItem* selected() const;
    /// The machine of that name; null when no daemon has told of it.
    [[nodiscard]] const TopMachine* machineNamed(const std::string& name) const;
    /// Whether list and card stand side by side.
    [[nodiscard]] bool isWide() const { return size.columns >= 72; }
    /// What can be answered by number.
    [[nodiscard]] std::vector<std::string> choicesOf(const AttentionItem& item) const;
    /// The answer on its way to exactly this item; null when there is none.
    [[nodiscard]] const TopSent* answerUnderWay(const AttentionItem& item) const;
};

/// What the daemons have told.
struct TopNews {
    std::vector<TopMachine> machines;
    std::shared_ptr<const std::vector<AttentionItem>> queue; ///< Theirs as one; null while there is none.
    std::vector<CommandReply> replies; ///< In the order of arrival, none of which runs ahead of the queue.
};

using TopEvent = std::variant<TopKey, TopNews, ScreenSize>;

/// A command for one machine's daemon.
struct TopOrder {
    std::string machine;
    Command command;
    Outbox::Prediction predict = {}; ///< What it will change in the machine's snapshot.
};

struct TopStep {
    TopState state;
    std::vector<TopOrder> orders = {}; ///< To be sent.
    bool quits = false;
    bool repaints = false; ///< The whole screen is to be drawn anew.
};

/// The state after `event`. Pure.
TopStep step(TopState state, const TopEvent& event);

} // namespace tarnel
