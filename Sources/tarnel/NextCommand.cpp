#include "TarnelCore/Attention/AttentionEngine.h"
#include "TarnelCore/Base/Clock.h"
#include "tarnel/CardText.h"
#include "tarnel/Commands.h"
#include "tarnel/QueueTable.h"
#include "tarnel/SubCommand.h"
#include "tarnel/WholeQueue.h"
#include <algorithm>
#include <memory>

namespace tarnel {

namespace {

struct Options {
    std::optional<std::string> after;
    bool includeFinished = false;
};

/// The item to look at after that of a pane, which may be named with its machine.
const AttentionItem* nextItem(const std::vector<AttentionItem>& items, const Options& options)
{
    // Named with their machines, panes of several machines are told apart.
    std::vector<AttentionItem> named;
    std::optional<std::string> after;
    for (const AttentionItem& item : items) {
        AttentionItem& copy = named.emplace_back(AttentionItem{.kind = item.kind});
        copy.card.paneID = QueueTable::paneName(item, true);
        if (options.after == QueueTable::paneName(item, true) || options.after == item.card.paneID)
            after = copy.card.paneID;
    }
    const AttentionItem* next = AttentionEngine::next(named, after, options.includeFinished);
    return next ? &items[static_cast<std::size_t>(next - named.data())] : nullptr;
}

std::string nothing(const std::vector<AttentionItem>& items)
{
    if (items.empty())
        return std::string(QueueTable::nothingWaits);
    return "Nothing waits for an answer; see finished turns with: tarnel next --finished";
}

ExitStatus printNext(const CommandLine& line, const Options& options)
{
    const WholeQueue queue = WholeQueue::ask(daemonsOf(line), line.patience());
    const AttentionItem* item = nextItem(queue.items, options);
    if (line.asJSON)
        Output::printJSON(item ? jsonValue(*item) : JSON());
    else if (!item)
        Output::print(nothing(queue.items));
    else
        Output::print(CardText::lines(item->card, item,
            {.quickReplies = TarnelConfig(TarnelConfig::defaultPath()).list("quick_replies.finished"),
                .now = Clock::system().now()},
            Style::ofStandardOutput()));
    return queue.status;
}

} // namespace

void addNextCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "next", "Print the card of the agent to look at next");
    command.footer("Examples:\n"
                   "  tarnel next\n"
                   "  tarnel next --after p3        the one after that of pane p3\n"
                   "  tarnel next --json | jq -r .choices[]");
    const auto options = std::make_shared<Options>();
    command.option("--after", options->after, "Go on behind this pane's, and round").kind("PANE");
    command.flag("--finished", options->includeFinished, "Finished turns too");
    command.run([&line, options] { return printNext(line, *options); });
}

} // namespace tarnel
