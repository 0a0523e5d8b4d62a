#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Commands/Optimistic.h"
#include "tarnel/TopCard.h"
#include "tarnel/TopLayout.h"
#include "tarnel/TopReplies.h"
#include "tarnel/TopState.h"
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

using Name = TopKey::Name;
using Mode = TopState::Mode;

constexpr Timestamp anyTime; // how long an agent waits changes no number of lines

/// One event's way through the state.
class Stepper {
public:
    explicit Stepper(TopState before)
        : step{.state = std::move(before)}
        , state(step.state)
    {
    }

    void take(const TopKey& key);
    void take(const TopNews& news);
    void take(const ScreenSize& size)
    {
        state.size = size;
        step.repaints = true;
    }

    TopStep step;

private:
    // Keys, by mode
    void browse(const TopKey& key);
    void move(const TopKey& key);
    void editFilter(const TopKey& key);
    void editLine(const TopKey& key);

    // The choice of an item
    void select(const AttentionItem* item);
    void selectRow(std::ptrdiff_t row);
    void moveBy(std::ptrdiff_t rows);
    void next(std::ptrdiff_t direction);
    void keepSelection(bool wasEmpty);
    [[nodiscard]] std::optional<std::size_t> rowOfSelected() const;

    // Answers and prompts
    void answerByNumber(std::size_t number);
    void open(Mode mode, SendMode sendMode);
    void submitLine();
    void releaseHeld();
    void focus();
    void askToClose();
    void confirmClose(const TopKey& key);
    void send(TopSent what, CommandAction action, Outbox::Prediction predict = {});
    void replied(const CommandReply& reply);

    void scrollCard(std::ptrdiff_t lines);
    [[nodiscard]] bool showsCard() const { return state.isWide() || state.pane == TopState::Pane::card; }
    [[nodiscard]] TopTarget target() const;
    void say(std::string text, Paint paint = Paint::none) { state.notice = {std::move(text), paint}; }

    TopState& state;
};

void Stepper::take(const TopKey& key)
{
    if (key.isControl("l"))
        step.repaints = true;
    else if (state.mode == Mode::help)
        state.mode = Mode::browse; // any key closes it
    else if (state.mode == Mode::filter)
        editFilter(key);
    else if (state.mode == Mode::confirmClose)
        confirmClose(key);
    else if (state.mode == Mode::answer || state.mode == Mode::prompt)
        editLine(key);
    else
        browse(key);
}

void Stepper::browse(const TopKey& key)
{
    if (key.name == Name::paste) {
        say("Pasted text was not taken: press t to answer with it, or p to prompt.", Paint::yellow);
        return;
    }
    state.notice = {};
    const bool isDigit =
        key.name == Name::character && key.text.size() == 1 && key.text[0] >= '1' && key.text[0] <= '9';
    if (isDigit)
        answerByNumber(static_cast<std::size_t>(key.text[0] - '0'));
    else if (key.is("q") || key.isControl("d"))
        step.quits = true;
    else if (key.is("?"))
        state.mode = Mode::help;
    else if (key.is("t"))
        open(Mode::answer, SendMode::afterTurn);
    else if (key.is("p"))
        open(Mode::prompt, SendMode::afterTurn);
    else if (key.is("P"))
        open(Mode::prompt, SendMode::steerNow);
    else if (key.is("s"))
        releaseHeld();
    else if (key.is("o"))
        focus();
    else if (key.is("X"))
        askToClose();
    else if (key.is("/")) {
        state.mode = Mode::filter;
        state.line = LineEditor::holding(state.filter);
    } else
        move(key);
}

void Stepper::move(const TopKey& key)
{
    const bool down = key.is("j") || key.name == Name::down;
    const bool up = key.is("k") || key.name == Name::up;
    const bool readsCard = !state.isWide() && state.pane == TopState::Pane::card;
    const auto page = static_cast<std::ptrdiff_t>(std::max<std::size_t>(TopLayout::of(state).paneRows, 2) - 1);
    if (down || up) {
        if (readsCard)
            scrollCard(down ? 1 : -1);
        else
            moveBy(down ? 1 : -1);
    } else if (key.is("J") || key.is("K"))
        scrollCard(key.is("J") ? 1 : -1);
    else if (key.name == Name::pageDown || key.is(" ") || key.isControl("f"))
        scrollCard(page);
    else if (key.name == Name::pageUp || key.isControl("b"))
        scrollCard(-page);
    else if (key.name == Name::tab || key.is("n"))
        next(1);
    else if (key.name == Name::backTab || key.is("N"))
        next(-1);
    else if (key.name == Name::home || key.is("g"))
        selectRow(0);
    else if (key.name == Name::end || key.is("G"))
        selectRow(static_cast<std::ptrdiff_t>(state.visible().size()) - 1);
    else if (key.name == Name::enter || key.name == Name::right || key.is("l"))
        state.pane = TopState::Pane::card;
    else if (readsCard && (key.name == Name::escape || key.name == Name::left || key.is("h")))
        state.pane = TopState::Pane::queue;
    else if (key.name == Name::escape && !state.filter.empty()) {
        state.filter.clear();
        say("The whole queue is shown again.");
    }
}

void Stepper::editFilter(const TopKey& key)
{
    if (key.name == Name::enter || key.name == Name::down || key.name == Name::up) {
        state.mode = Mode::browse;
        if (key.name != Name::enter)
            move(key);
        return;
    }
    if (key.name == Name::escape) {
        state.mode = Mode::browse;
        state.line = {};
    } else {
        state.line.take(key);
    }
    state.filter = state.line.text;
    const auto items = state.visible();
    if (!rowOfSelected() && !items.empty())
        select(items.front());
    keepSelection(false);
}

void Stepper::editLine(const TopKey& key)
{
    if (key.name == Name::enter) {
        submitLine();
    } else if (key.name == Name::escape) {
        if (!state.line.text.empty())
            state.drafts[state.target.place] = state.line.text;
        state.mode = Mode::browse;
    } else if (key.name == Name::tab && state.mode == Mode::answer && !state.target.choices.empty()) {
        const std::size_t following = state.lineChoice ? *state.lineChoice + 1 : 0;
        state.lineChoice = following < state.target.choices.size() ? std::optional(following) : std::nullopt;
    } else {
        state.line.take(key);
    }
}

std::optional<std::size_t> Stepper::rowOfSelected() const
{
    const auto items = state.visible();
    for (std::size_t row = 0; row < items.size(); ++row) {
        if (TopPlace::of(*items[row]) == state.selectedPlace)
            return row;
    }
    return std::nullopt;
}

void Stepper::select(const AttentionItem* item)
{
    if (state.selectedPlace != TopPlace::of(*item))
        state.cardTop = std::nullopt;
    state.selectedPlace = TopPlace::of(*item);
    state.selectedTitle = nameOf(item->card);
    state.selectedRow = rowOfSelected().value_or(0);
}

void Stepper::selectRow(std::ptrdiff_t row)
{
    const auto items = state.visible();
    if (!items.empty())
        select(items[static_cast<std::size_t>(
            std::clamp<std::ptrdiff_t>(row, 0, static_cast<std::ptrdiff_t>(items.size()) - 1))]);
}

void Stepper::moveBy(std::ptrdiff_t rows)
{
    const auto row = rowOfSelected();
    // Where the chosen item has gone, the next one stands in its place.
    const std::ptrdiff_t missing = !row && rows > 0 ? 1 : 0;
    selectRow(static_cast<std::ptrdiff_t>(row.value_or(state.selectedRow)) + rows - missing);
}

void Stepper::next(std::ptrdiff_t direction)
{
    const auto count = static_cast<std::ptrdiff_t>(state.visible().size());
    if (count == 0) {
        say("Nothing else waits for you.");
        return;
    }
    const auto row = rowOfSelected();
    const std::ptrdiff_t missing = !row && direction > 0 ? 1 : 0;
    const auto from = static_cast<std::ptrdiff_t>(row.value_or(state.selectedRow));
    selectRow(((from + direction - missing) % count + count) % count);
}

/// Brings what is remembered of the chosen item in line with the queue.
void Stepper::keepSelection(bool wasEmpty)
{
    const auto items = state.visible();
    const bool hasGone = !state.selected();
    if (hasGone && !items.empty() && (!state.selectedPlace || wasEmpty))
        select(items.front());
    if (const AttentionItem* item = state.selected()) {
        state.selectedTitle = nameOf(item->card);
        state.selectedRow = rowOfSelected().value_or(state.selectedRow);
    }
}

TopTarget Stepper::target() const
{
    TopTarget shown{.place = state.selectedPlace.value_or(TopPlace()), .title = state.selectedTitle};
    if (const AttentionItem* item = state.selected()) {
        shown.fingerprint = item->fingerprint;
        shown.choices = state.choicesOf(*item);
    }
    return shown;
}

void Stepper::answerByNumber(std::size_t number)
{
    const AttentionItem* item = state.selected();
    if (!item) {
        say(state.selectedPlace ? state.selectedTitle + " waits for nothing any more; n goes to the next."
                                : "Nothing waits for you.");
        return;
    }
    const TopTarget shown = target();
    if (!showsCard()) {
        state.pane = TopState::Pane::card;
        say("This is what " + shown.title + " asks: press the number again to answer.");
        return;
    }
    if (state.answerUnderWay(*item)) {
        say("Your answer to " + shown.title + " is on its way.", Paint::yellow);
        return;
    }
    if (number > shown.choices.size()) {
        say("There is no choice " + std::to_string(number) + "; t answers in your own words.", Paint::yellow);
        return;
    }
    const std::string& choice = shown.choices[number - 1];
    send({.kind = TopSent::Kind::answer, .target = shown, .choice = choice},
        AnswerAction{.request = {.fingerprint = *shown.fingerprint, .choice = choice}});
}

void Stepper::open(Mode mode, SendMode sendMode)
{
    const TopTarget shown = target();
    if (!state.selectedPlace || (mode == Mode::answer && !shown.fingerprint)) {
        say(!state.selectedPlace ? "Nothing waits for you." : shown.title + " waits for no answer; p prompts it.");
        return;
    }
    const AttentionItem* item = state.selected();
    if (mode == Mode::answer && state.answerUnderWay(*item)) {
        say("Your answer to " + shown.title + " is on its way.", Paint::yellow);
        return;
    }
    state.mode = mode;
    state.target = shown;
    state.sendMode = sendMode;
    state.lineChoice = std::nullopt;
    const auto draft = state.drafts.find(shown.place);
    state.line = LineEditor::holding(draft == state.drafts.end() ? "" : draft->second);
    if (!state.isWide())
        state.pane = TopState::Pane::card;
}

void Stepper::submitLine()
{
    const bool answers = state.mode == Mode::answer;
    state.mode = Mode::browse;
    const std::string text(Text::trimmed(state.line.text));
    const std::optional<std::string> choice =
        answers && state.lineChoice ? std::optional(state.target.choices[*state.lineChoice]) : std::nullopt;
    state.drafts.erase(state.target.place);
    if (text.empty() && !choice) {
        say("Nothing was typed, so nothing was sent.");
        return;
    }
    TopSent what{.kind = answers ? TopSent::Kind::answer : TopSent::Kind::prompt,
        .target = state.target,
        .choice = choice,
        .text = text};
    if (answers) {
        AnswerRequest request{.fingerprint = *state.target.fingerprint, .choice = choice};
        if (!text.empty())
            request.text = text;
        send(std::move(what), AnswerAction{.request = std::move(request)});
    } else {
        send(std::move(what), PromptAction{.pane = state.target.place.paneID, .text = text, .mode = state.sendMode});
    }
}

void Stepper::releaseHeld()
{
    for (const auto& [id, each] : state.sent) {
        if (each.isHeld && each.target.place == state.selectedPlace) {
            send({.kind = TopSent::Kind::release, .target = each.target}, SendNowAction{.message = id});
            return;
        }
    }
    say("No prompt is held for " + (state.selectedPlace ? state.selectedTitle : std::string("anyone")) + ".");
}

void Stepper::focus()
{
    if (!state.selectedPlace) {
        say("Nothing waits for you.");
        return;
    }
    const std::string pane = state.selectedPlace->paneID;
    send({.kind = TopSent::Kind::focus, .target = target()},
        MuxleAction{.method = "pane.focus", .params = {{"pane_id", pane}}},
        [pane](MachineSnapshot& snapshot) { Optimistic::focusPane(snapshot, pane); });
}

void Stepper::askToClose()
{
    if (!state.selectedPlace) {
        say("Nothing waits for you.");
        return;
    }
    state.target = target();
    state.mode = Mode::confirmClose;
    say("Close the pane of " + state.target.title + " and end what runs in it? y closes it, any other key does not.",
        Paint::yellow);
}

void Stepper::confirmClose(const TopKey& key)
{
    state.mode = Mode::browse;
    if (!key.is("y")) {
        say("The pane of " + state.target.title + " stays open.");
        return;
    }
    const std::string pane = state.target.place.paneID;
    send({.kind = TopSent::Kind::close, .target = state.target},
        MuxleAction{.method = "pane.close", .params = {{"pane_id", pane}}},
        [pane](MachineSnapshot& snapshot) { Optimistic::removePane(snapshot, pane); });
}

void Stepper::send(TopSent what, CommandAction action, Outbox::Prediction predict)
{
    const TopMachine* machine = state.machineNamed(what.target.place.machine);
    if (!machine) { // its daemon has come back under another name
        if (!what.text.empty())
            state.drafts[what.target.place] = what.text;
        say("No daemon tells of " + what.target.title + " any more; nothing was sent.", Paint::red);
        return;
    }
    const std::string id = state.settings.commandPrefix + std::to_string(++state.counter);
    if (auto* answer = std::get_if<AnswerAction>(&action))
        answer->request.idempotencyKey = id;
    const std::string words = TerminalText::cut(TerminalText::plainLine(what.choice.value_or(what.text)), 40);
    say("Sending " + (words.empty() ? "" : "\"" + words + "\" ") + "to " + what.target.title
            + (machine->isConnected ? " ..." : " as soon as the daemon is back ..."),
        machine->isConnected ? Paint::none : Paint::yellow);
    step.orders.push_back({.machine = what.target.place.machine,
        .command = {.id = id, .action = std::move(action)},
        .predict = std::move(predict)});
    state.sent.emplace(id, std::move(what));
}

void Stepper::take(const TopNews& news)
{
    const bool wasEmpty = state.visible().empty();
    const std::optional<Fingerprint> before = target().fingerprint;
    state.machines = news.machines;
    if (news.queue)
        state.queue = news.queue;
    if (target().fingerprint != before)
        state.cardTop = std::nullopt;
    keepSelection(wasEmpty);
    for (const CommandReply& reply : news.replies)
        replied(reply);
}

void Stepper::replied(const CommandReply& reply)
{
    const auto found = state.sent.find(reply.id);
    if (found == state.sent.end())
        return;
    state.notice = noticeOf(found->second, reply);
    found->second.isHeld = reply.status == CommandReply::Status::held;
    if (!reply.isFinal())
        return;
    const TopSent done = found->second;
    state.sent.erase(found);
    const TopPlace& place = done.target.place;
    const bool arrived = hasArrived(done, reply);
    if (!arrived && !done.text.empty())
        state.drafts.try_emplace(place, done.text);
    if (done.kind != TopSent::Kind::answer || state.mode != Mode::browse)
        return;
    const AttentionItem* item = state.selected();
    const bool isOver = state.selectedPlace == place && (!item || item->fingerprint == done.target.fingerprint);
    if (arrived && isOver && state.settings.advancesAfterAnswer && state.notice.paint == Paint::green) {
        if (!state.visible().empty())
            next(1);
    } else if (!arrived) {
        // What it asks instead must be in sight.
        for (const AttentionItem* each : state.visible()) {
            if (TopPlace::of(*each) == place)
                select(each);
        }
    }
}

void Stepper::scrollCard(std::ptrdiff_t lines)
{
    const TopLayout layout = TopLayout::of(state);
    const TopCard card = TopCard::of(state, anyTime, layout.cardColumns, layout.paneRows);
    const std::size_t room = layout.paneRows - std::min(layout.paneRows, card.foot.size());
    const auto top = static_cast<std::ptrdiff_t>(card.top(state, room)) + lines;
    state.cardTop = static_cast<std::size_t>(std::max<std::ptrdiff_t>(top, 0));
    state.cardTop = card.top(state, room); // not beyond the last line
}

} // namespace

TopStep step(TopState state, const TopEvent& event)
{
    Stepper stepper(std::move(state));
    std::visit([&](const auto& each) { stepper.take(each); }, event);
    return std::move(stepper.step);
}

} // namespace tarnel
