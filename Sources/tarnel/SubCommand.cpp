#include "tarnel/SubCommand.h"
#include <CLI/CLI.hpp>
#include <utility>

namespace tarnel {

SubCommand::Option& SubCommand::Option::kind(const char* name)
{
    option->type_name(name);
    return *this;
}

SubCommand::Option& SubCommand::Option::required()
{
    option->required();
    return *this;
}

SubCommand::Option& SubCommand::Option::within(std::int64_t least, std::int64_t most)
{
    option->check(CLI::Range(least, most));
    return *this;
}

SubCommand::Option& SubCommand::Option::oneOf(const std::vector<std::string>& values)
{
    option->check(CLI::IsMember(values));
    return *this;
}

SubCommand::Option& SubCommand::Option::oneEach()
{
    option->allow_extra_args(false);
    return *this;
}

SubCommand::Option& SubCommand::Option::allWords()
{
    // Where the parser is told that an option may take more arguments, it makes two of a word like "[a,b]"; so it is
    // told that many are needed, and to be content with fewer.
    option->multi_option_policy(CLI::MultiOptionPolicy::TakeAll)->expected(1 << 28, -1)->allow_extra_args(false);
    return *this;
}

SubCommand::SubCommand(CLI::App& parent, CommandLine& parsed, const std::string& name, const std::string& help)
    : app(parent.add_subcommand(name, help))
    , line(&parsed)
{
}

SubCommand::Option SubCommand::option(const std::string& names, std::string& into, const std::string& help)
{
    return Option(app->add_option(names, into, help));
}

SubCommand::Option SubCommand::option(
    const std::string& names, std::optional<std::string>& into, const std::string& help)
{
    return Option(app->add_option(names, into, help));
}

SubCommand::Option SubCommand::option(
    const std::string& names, std::optional<std::int64_t>& into, const std::string& help)
{
    return Option(app->add_option(names, into, help));
}

SubCommand::Option SubCommand::option(const std::string& names, std::vector<std::string>& into, const std::string& help)
{
    return Option(app->add_option(names, into, help));
}

void SubCommand::flag(const std::string& names, bool& into, const std::string& help)
{
    app->add_flag(names, into, help);
}

void SubCommand::footer(const std::string& text) { app->footer(text); }

void SubCommand::run(std::function<ExitStatus()> body)
{
    app->callback([to = line, body = std::move(body)] { to->run = body; });
}

SubCommand SubCommand::part(const std::string& name, const std::string& help)
{
    app->require_subcommand(1);
    return {*app, *line, name, help};
}

} // namespace tarnel
