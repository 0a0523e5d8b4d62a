#include "tarnel/Commands.h"
#include "tarnel/CompletionScripts.h"
#include "tarnel/Output.h"
#include <memory>

namespace tarnel {

void addCompletionCommand(CLI::App& app, CommandLine& line)
{
    CLI::App* command = app.add_subcommand("completion", "Print a shell's completions, panes and items included");
    command->footer("Examples:\n"
                    "  bash:  echo 'source <(tarnel completion bash)' >> ~/.bashrc\n"
                    "  zsh:   tarnel completion zsh > \"${fpath[1]}/_tarnel\"\n"
                    "  fish:  tarnel completion fish > ~/.config/fish/completions/tarnel.fish");
    const auto shell = std::make_shared<std::string>();
    command->add_option("shell", *shell, "The shell")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
    command->callback([&line, shell] {
        line.run = [&line, shell] {
            const std::string_view script = CompletionScripts::of(*shell);
            if (line.asJSON)
                Output::printJSON(JSON(script));
            else
                Output::print(script);
            return ExitStatus::success;
        };
    });
}

} // namespace tarnel
