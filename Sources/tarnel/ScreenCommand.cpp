#include "TarnelCore/Base/TerminalText.h"
#include "tarnel/Commands.h"
#include "tarnel/Output.h"
#include "tarnel/PanePlace.h"
#include "tarnel/SubCommand.h"
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
    SubCommand command(app, line, "screen", "Print what a pane shows");
    command.footer("Examples:\n"
                   "  tarnel screen p3\n"
                   "  tarnel screen p3 --history -n 400    what has scrolled away too");
    const auto options = std::make_shared<Options>();
    command.option("pane", options->pane, std::string(paneHelp)).kind("PANE").required();
    command.option("-n,--lines", options->lines, "Its last lines; as many as the setting terminal.lines says")
        .kind("N")
        .within(1, 1'000'000);
    command.flag("--history", options->withHistory, "Also what has scrolled away, without the pane's line breaks");
    command.run([&line, options] { return printScreen(line, *options); });
}

} // namespace tarnel
