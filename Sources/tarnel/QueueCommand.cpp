#include "TarnelCore/Base/Clock.h"
#include "tarnel/Commands.h"
#include "tarnel/Output.h"
#include "tarnel/QueueTable.h"
#include "tarnel/SubCommand.h"
#include "tarnel/WholeQueue.h"

namespace tarnel {

namespace {

ExitStatus printQueue(const CommandLine& line)
{
    const WholeQueue queue = WholeQueue::ask(daemonsOf(line), line.patience());
    if (line.asJSON)
        Output::printJSON(jsonValue(queue.items));
    else if (queue.items.empty())
        Output::print(QueueTable::nothingWaits);
    else
        Output::print(QueueTable::lines(
            QueueTable::rows(queue.items, queue.severalMachines), Clock::system().now(), Style::ofStandardOutput()));
    return queue.status;
}

} // namespace

void addQueueCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "queue", "Print the agents that wait for you, the most urgent first");
    command.footer("Examples:\n"
                   "  tarnel queue\n"
                   "  tarnel queue --host studio --host mini    one queue over two machines\n"
                   "  tarnel queue --json | jq -r '.[].card.title'");
    command.run([&line] { return printQueue(line); });
}

} // namespace tarnel
