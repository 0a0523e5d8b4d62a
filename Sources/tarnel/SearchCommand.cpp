#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/Commands.h"
#include "tarnel/DaemonAccess.h"
#include "tarnel/Output.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Table.h"
#include <memory>

namespace tarnel {

namespace {

std::string cell(const JSON& match, std::string_view name)
{
    return TerminalText::plainLine(stringOf(match[name]).value_or(""));
}

ExitStatus search(const CommandLine& line, const std::vector<std::string>& words)
{
    const std::string query = Text::joined(words, " ");
    if (Text::isBlank(query))
        throw CommandError(ExitStatus::usage, "give a text to search for");
    const std::vector<Daemon> daemons = daemonsOf(line);
    ExitStatus status = ExitStatus::success;
    Table table{.columns = {{.heading = "PANE"}, {.heading = "TITLE", .weight = 2, .dropped = 2},
                    {.heading = "WHO", .dropped = 1}, {.heading = "TEXT", .weight = 5}}};
    JSON::Array all;
    for (const Answer& answer : answersOf(daemons, "search", {{"query", query}}, line.patience(), status)) {
        const JSON::Array* matches = answer.result.array();
        for (const JSON& match : matches ? *matches : JSON::Array()) {
            const std::string host = daemons.size() > 1 ? answer.daemon->label() + "/" : "";
            table.rows.push_back({{host + cell(match, "pane")}, {cell(match, "title"), Paint::bold},
                {cell(match, "role"), Paint::dim}, {cell(match, "snippet")}});
            JSON& kept = all.emplace_back(match);
            if (!host.empty() && kept.object())
                (*kept.object())["host"] = answer.daemon->label();
        }
    }
    if (line.asJSON)
        Output::printJSON(JSON(std::move(all)));
    else if (table.rows.empty())
        Output::print("No agent's record holds \"" + TerminalText::plainLine(query) + "\".");
    else
        Output::print(table.lines(Style::ofStandardOutput()));
    return status;
}

} // namespace

void addSearchCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "search", "Find the agents whose conversations hold a text, in any case");
    command.footer("Examples:\n"
                   "  tarnel search flaky test\n"
                   "  tarnel search TICKET-42 --json | jq -r '.[].pane'");
    const auto words = std::make_shared<std::vector<std::string>>();
    command.option("text", *words, "What to search for; several words are one text").kind("TEXT").required().allWords();
    command.run([&line, words] { return search(line, *words); });
}

} // namespace tarnel
