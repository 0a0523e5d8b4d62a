#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/Commands.h"
#include "tarnel/Output.h"
#include "tarnel/PanePlace.h"
#include <memory>

namespace tarnel {

namespace {

struct Options {
    std::string pane;
    std::optional<std::int64_t> lines;
    bool withHistory = false;
};

ExitStatus printScreen(const CommandLine& line, const Options& options)
{
    const PanePlace place = PanePlace::find(daemonsOf(line), options.pane, line.patience());
    const auto usual = static_cast<std::int64_t>(TarnelConfig(TarnelConfig::defaultPath()).number("terminal.lines"));
    const JSON text = place.call("screen",
        {{"source", options.withHistory ? "recent_unwrapped" : "visible"}, {"lines", options.lines.value_or(usual)}},
        line.patience());
    if (line.asJSON) {
        Output::printJSON(text);
        return ExitStatus::success;
    }
    std::string plain = TerminalText::plainText(stringOf(&text).value_or(""));
    plain.erase(plain.find_last_not_of(" \n") + 1);
    Output::print(plain);
    return ExitStatus::success;
}

} // namespace

void addScreenCommand(CLI::App& app, CommandLine& line)
{
    CLI::App* command = app.add_subcommand("screen", "Print what a pane shows");
    command->footer("Examples:\n"
                    "  tarnel screen p3\n"
                    "  tarnel screen p3 --history -n 400    what has scrolled away too");
    const auto options = std::make_shared<Options>();
    command->add_option("pane", options->pane, std::string(paneHelp))->type_name("PANE")->required();
    command->add_option("-n,--lines", options->lines, "Its last lines; as many as the setting terminal.lines says")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, std::int64_t{1'000'000}));
    command->add_flag("--history", options->withHistory, "Also what has scrolled away, without the pane's line breaks");
    command->callback([&line, options] { line.run = [&line, options] { return printScreen(line, *options); }; });
}

} // namespace tarnel
