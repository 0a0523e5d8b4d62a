#include "TarnelCore/Base/Clock.h"
#include "tarnel/CardText.h"
#include "tarnel/Commands.h"
#include "tarnel/PaneItem.h"
#include "tarnel/SubCommand.h"
#include <memory>

namespace tarnel {

namespace {

/// The status line of the pane, from the machine's snapshot; absent when there is none.
std::optional<StatusLine> statusLineOf(const PanePlace& place, DaemonClient::Seconds timeout)
{
    const JSON snapshot = place.daemon.call("snapshot", {}, timeout);
    const JSON* all = snapshot["statusLines"];
    const JSON* found = all ? (*all)[place.pane] : nullptr;
    try {
        return found ? std::optional(decode<StatusLine>(*found)) : std::nullopt;
    } catch (const DecodingError&) {
        return std::nullopt; // a card is worth showing without it
    }
}

ExitStatus show(const CommandLine& line, const std::string& pane)
{
    const PanePlace place = PanePlace::find(daemonsOf(line), pane, line.patience());
    const auto status = statusLineOf(place, line.patience()); // its refresh makes the card a fresh one
    const PaneItem shown = PaneItem::ask(place, line.patience());
    if (line.asJSON) {
        JSON json = shown.json;
        if (status)
            (*json.object())["statusLine"] = jsonValue(*status);
        Output::printJSON(json);
        return ExitStatus::success;
    }
    const CardText::Context context{.statusLine = status,
        .quickReplies = TarnelConfig(TarnelConfig::defaultPath()).list("quick_replies.finished"),
        .now = Clock::system().now()};
    Output::print(CardText::lines(shown.card, shown.item ? &*shown.item : nullptr, context, Style::ofStandardOutput()));
    return ExitStatus::success;
}

} // namespace

void addShowCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "show",
        "Print an agent's card: what you asked, what it did, what it asks with its choices, its last words");
    command.footer("Examples:\n"
                   "  tarnel show p3\n"
                   "  tarnel show studio/p3 --host studio --host mini\n"
                   "  tarnel show p3 --json | jq .card.lastMessage");
    const auto pane = std::make_shared<std::string>();
    command.option("pane", *pane, std::string(paneHelp)).kind("PANE").required();
    command.run([&line, pane] { return show(line, *pane); });
}

} // namespace tarnel
