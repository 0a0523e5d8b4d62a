#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Base/UUID.h"
#include "tarnel/AnswerText.h"
#include "tarnel/CardText.h"
#include "tarnel/Commands.h"
#include "tarnel/ItemID.h"
#include "tarnel/PaneItem.h"
#include "tarnel/StandardInput.h"
#include "tarnel/SubCommand.h"
#include <algorithm>
#include <memory>

namespace tarnel {

namespace {

constexpr DaemonClient::Seconds answerTimeout{30}; // the daemon watches the pane for a while

struct Options {
    std::string target;
    std::optional<std::string> choice;
    std::optional<std::string> text;
};

/// What is to be answered.
struct Target {
    PanePlace place;
    Fingerprint fingerprint;
    std::optional<AttentionItem> item; ///< What the pane asks, when that is the fingerprint's item.
};

Target itemTarget(const CommandLine& line, const Fingerprint& fingerprint)
{
    const std::vector<Daemon> daemons = daemonsOf(line);
    const std::string named = daemons.size() > 1 ? fingerprint.machine + "/" + fingerprint.paneID : fingerprint.paneID;
    return {daemons.size() > 1 ? PanePlace::find(daemons, named, line.patience())
                               : PanePlace{daemons.front(), fingerprint.paneID},
        fingerprint, std::nullopt};
}

Target paneTarget(const CommandLine& line, const std::string& pane)
{
    PanePlace place = PanePlace::find(daemonsOf(line), pane, line.patience());
    // What it asks now, not what the daemon told last. Where it asks nothing, the second says whether there is a pane.
    std::optional<AttentionItem> current = itemAfterRefresh(place, line.patience());
    if (!current)
        current = PaneItem::ask(place, line.patience()).item;
    if (!current)
        throw CommandError(ExitStatus::failure,
            "the agent in pane " + pane + " asks nothing; give it a prompt with: tarnel prompt " + pane + " TEXT");
    const Fingerprint fingerprint = current->fingerprint;
    return {std::move(place), fingerprint, std::move(current)};
}

/// The item of the pane as it is now; nothing when it needs no one or cannot be asked.
std::optional<AttentionItem> currentItem(const PanePlace& place, DaemonClient::Seconds timeout)
{
    try {
        return PaneItem::ask(place, timeout).item;
    } catch (const CommandError&) {
        return std::nullopt; // what follows says why
    }
}

void showQuestion(const AttentionItem& item)
{
    std::vector<std::string> lines = CardText::question(item, Style::ofStandardOutput());
    Output::print(lines);
}

/// Lets the user answer at the terminal.
void askUser(const AttentionItem& item, Options& options)
{
    if (!canAskUser())
        throw CommandError(ExitStatus::usage, "say what to answer: a choice or its number, --text TEXT, or both");
    Output::note(
        item.choices.empty() ? "type the answer, or nothing to leave" : "type a number, a choice, or nothing to leave");
    const std::string given(Text::trimmed(readAnswerLine().value_or("")));
    if (given.empty())
        throw CommandError(ExitStatus::failure, "nothing was answered");
    if (item.choices.empty())
        options.text = given;
    else
        options.choice = given;
}

/// Sends the answer. One whose fate is unknown is told of in a way that cannot answer anything twice.
AnswerOutcome send(const Target& target, const AnswerRequest& request, const CommandLine& line)
{
    try {
        return decode<AnswerOutcome>(target.place.daemon.client->call(
            "answer", *jsonValue(request).object(), std::max(line.patience(), answerTimeout)));
    } catch (const DecodingError&) {
        throw inWords(target.place.daemon, std::current_exception());
    } catch (...) {
        const CommandError error = inWords(target.place.daemon, std::current_exception());
        const bool isUnknown = error.status == ExitStatus::timeout || error.status == ExitStatus::unreachable;
        throw CommandError(error.status,
            std::string(error.what())
                + (isUnknown ? "; should the answer not have gone in, answer '" + request.fingerprint.description()
                            + "' again: it is refused if it has"
                             : ""));
    }
}

ExitStatus report(const Target& target, const AnswerOutcome& outcome, const CommandLine& line)
{
    const ExitStatus status = AnswerText::statusOf(outcome);
    std::optional<AttentionItem> instead;
    if (status == ExitStatus::stale)
        instead = itemAfterRefresh(target.place, line.patience());
    if (line.asJSON) {
        JSON json = JSON::object({{"item", target.fingerprint.description()}, {"outcome", jsonValue(outcome)}});
        if (instead)
            (*json.object())["current"] = jsonValue(*instead);
        Output::printJSON(json);
        return status;
    }
    const std::string words = AnswerText::outcome(outcome, target.place.pane);
    if (status == ExitStatus::success) {
        Output::print(TerminalText::plainLine(words));
        return status;
    }
    Output::note(words);
    if (instead)
        showQuestion(*instead);
    return status;
}

ExitStatus answer(const CommandLine& line, Options options)
{
    const auto fingerprint = ItemID::parse(options.target);
    Target target = fingerprint ? itemTarget(line, *fingerprint) : paneTarget(line, options.target);
    const bool isSaid = options.choice || options.text;
    if (fingerprint) { // what it asks gives numbers their meaning
        target.item = currentItem(target.place, line.patience());
        if (target.item && target.item->fingerprint != *fingerprint)
            target.item = std::nullopt;
    }
    if (target.item && !line.asJSON && (!fingerprint || !isSaid))
        showQuestion(*target.item);
    if (!isSaid && target.item)
        askUser(*target.item, options);
    const auto offered = target.item
        ? CardText::choices(*target.item, TarnelConfig(TarnelConfig::defaultPath()).list("quick_replies.finished"))
        : std::vector<std::string>();
    if (options.choice)
        options.choice = AnswerText::choiceMeant(*options.choice, offered);
    const AnswerRequest request{.fingerprint = target.fingerprint,
        .choice = options.choice,
        .text = options.text,
        .idempotencyKey = randomUUID()};
    return report(target, send(target, request, line), line);
}

} // namespace

void addAnswerCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "answer", "Answer what an agent asks");
    command.footer(
        "Examples:\n"
        "  tarnel answer p3                 shows what it asks, then asks you\n"
        "  tarnel answer p3 1               the first choice\n"
        "  tarnel answer p3 No --text \"use the other one\"\n"
        "  tarnel answer 'studio/p3#41/question/9ae0c2e1d11b0f77' Redis\n"
        "An item's id answers that question only: once the agent asks another, nothing is sent and the exit\n"
        "status is 5. A pane means what its agent asks now.");
    const auto options = std::make_shared<Options>();
    command.option("target", options->target, "The item's id, as `tarnel show` prints it, or the agent's pane")
        .kind("ITEM|PANE")
        .required();
    command.option("choice", options->choice, "One of the choices, or its number").kind("CHOICE");
    command.option("--text", options->text, "Words after the choice, or the whole answer").kind("TEXT");
    command.run([&line, options] { return answer(line, *options); });
}

} // namespace tarnel
