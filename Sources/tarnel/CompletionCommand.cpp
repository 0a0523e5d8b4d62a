#include "tarnel/Commands.h"
#include "tarnel/CompletionScripts.h"
#include "tarnel/Output.h"
#include "tarnel/SubCommand.h"
#include <memory>

namespace tarnel {

void addCompletionCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "completion", "Print a shell's completions, panes and items included");
    command.footer("Examples:\n"
                   "  bash:  echo 'source <(tarnel completion bash)' >> ~/.bashrc\n"
                   "  zsh:   tarnel completion zsh > \"${fpath[1]}/_tarnel\"\n"
                   "  fish:  tarnel completion fish > ~/.config/fish/completions/tarnel.fish");
    const auto shell = std::make_shared<std::string>();
    command.option("shell", *shell, "The shell").required().oneOf({"bash", "zsh", "fish"});
    command.run([&line, shell] {
        const std::string_view script = CompletionScripts::of(*shell);
        if (line.asJSON)
            Output::printJSON(JSON(script));
        else
            Output::print(script);
        return ExitStatus::success;
    });
}

} // namespace tarnel
