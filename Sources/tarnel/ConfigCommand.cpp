#include "TarnelCore/Base/Files.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Config/TarnelConfig.h"
#include "tarnel/Commands.h"
#include "tarnel/Output.h"
#include "tarnel/SettingText.h"
#include "tarnel/SubCommand.h"
#include "tarnel/Table.h"
#include "tarnel/Wrap.h"
#include <algorithm>
#include <memory>

namespace tarnel {

namespace {

struct Options {
    std::string key;
    std::vector<std::string> words;
    bool toDefault = false;
    bool changedOnly = false;
};

TarnelConfig userConfig() { return TarnelConfig(TarnelConfig::defaultPath()); }

/// Settings whose problems are not told here would seem to be ignored without a reason.
void noteProblems(const TarnelConfig& config)
{
    if (!config.problems().empty())
        Output::note("parts of " + config.path() + " do not count; see why with: tarnel config check");
}

/// The value in one line that is never empty.
std::string shown(const JSON& value)
{
    const std::string text = TerminalText::plainLine(SettingText::write(value));
    return text.empty() ? "(empty)" : text;
}

/// Whether `list` shows the setting when the user asks for `filter`, a part of its key or its category.
bool isAskedFor(const SettingSpec& spec, std::string_view filter)
{
    return Text::findIgnoringCase(spec.key, filter) || Text::findIgnoringCase(spec.category, filter) || filter.empty();
}

ExitStatus list(const CommandLine& line, const Options& options)
{
    const TarnelConfig config = userConfig();
    const Style style = Style::ofStandardOutput();
    JSON::Array all;
    std::vector<std::string> lines;
    std::string_view category;
    for (const SettingSpec& spec : SettingsSchema::all()) {
        const JSON& value = *config[spec.key];
        const bool isChanged = value != spec.defaultValue;
        if (!isAskedFor(spec, options.key) || (options.changedOnly && !isChanged))
            continue;
        all.push_back(SettingText::describe(spec, value));
        if (category != spec.category) {
            if (!category.empty())
                lines.emplace_back();
            category = spec.category;
            lines.push_back(style.painted(category, Paint::bold));
        }
        lines.push_back(TerminalText::cut(
            std::string(spec.key) + " = " + shown(value) + (isChanged ? "  (changed)" : ""), style.width));
        for (const std::string& help :
            labelled("    ", std::string(spec.help) + " (" + SettingText::allowed(spec) + ")", style.width))
            lines.push_back(style.painted(help, Paint::dim));
    }
    if (line.asJSON)
        Output::printJSON(JSON(std::move(all)));
    else if (lines.empty())
        Output::print(options.changedOnly ? "Every setting has its default." : "No setting is called so.");
    else
        Output::print(lines);
    noteProblems(config);
    return ExitStatus::success;
}

ExitStatus get(const CommandLine& line, const Options& options)
{
    const SettingSpec& spec = SettingText::named(options.key);
    const TarnelConfig config = userConfig();
    const JSON& value = *config[spec.key];
    noteProblems(config);
    if (line.asJSON) {
        Output::printJSON(value);
    } else if (const JSON::Array* elements = value.array()) {
        std::vector<std::string> lines;
        for (const JSON& element : *elements)
            lines.push_back(TerminalText::plainLine(SettingText::write(element)));
        Output::print(lines);
    } else {
        Output::print(TerminalText::plainLine(SettingText::write(value)));
    }
    return ExitStatus::success;
}

/// Keeps a copy of the file when it holds what writing it anew would lose; the copy's path, if one was made.
std::optional<std::string> keepComments(const std::string& path)
{
    const auto text = Files::read(path);
    const auto lines = text ? Text::split(*text, '\n') : std::vector<std::string_view>();
    const bool hasComments = std::any_of(lines.begin(), lines.end(),
        [](std::string_view each) { return TOML::stripComment(each).size() < each.size(); });
    if (!hasComments)
        return std::nullopt;
    Files::writeAtomically(path + ".before", *text, 0600);
    return path + ".before";
}

ExitStatus set(const CommandLine& line, const Options& options)
{
    const SettingSpec& spec = SettingText::named(options.key);
    if (options.toDefault != options.words.empty())
        throw CommandError(ExitStatus::usage, "give either a value (" + SettingText::allowed(spec) + ") or --default");
    const JSON value = options.toDefault ? spec.defaultValue : SettingText::read(spec, options.words);
    if (const auto problem = TarnelConfig::validate(spec.key, value))
        throw CommandError(ExitStatus::usage, *problem);
    TarnelConfig config = userConfig();
    try {
        const auto copy = keepComments(config.path());
        config.set(spec.key, value);
        if (copy)
            Output::note("the file was written anew without its comments; as it was it is kept in " + *copy);
    } catch (const TOMLError& error) {
        throw CommandError(ExitStatus::failure,
            std::string(error.what()) + "; mend that line of " + config.path() + ", or see: tarnel config check");
    }
    if (line.asJSON)
        Output::printJSON(SettingText::describe(spec, value));
    else
        Output::print(
            std::string(spec.key) + " = " + shown(value) + "  (a running tarneld takes it up when it is restarted)");
    return ExitStatus::success;
}

ExitStatus check(const CommandLine& line)
{
    const TarnelConfig config = userConfig();
    const bool exists = Files::exists(config.path());
    if (line.asJSON) {
        JSON::Array problems;
        for (const std::string& problem : config.problems())
            problems.emplace_back(problem);
        Output::printJSON(
            JSON::object({{"path", config.path()}, {"exists", exists}, {"problems", std::move(problems)}}));
    } else if (config.problems().empty()) {
        Output::print(
            TerminalText::plainLine(exists ? config.path() + " is in order."
                                           : "There is no " + config.path() + "; every setting has its default."));
    }
    if (config.problems().empty())
        return ExitStatus::success;
    if (!line.asJSON) {
        for (const std::string& problem : config.problems())
            Output::print(TerminalText::plainLine(problem));
        Output::note("mend " + config.path() + "; what is wrong in it counts as its default");
    }
    return ExitStatus::failure;
}

ExitStatus path(const CommandLine& line)
{
    if (line.asJSON)
        Output::printJSON(JSON(TarnelConfig::defaultPath()));
    else
        Output::print(TerminalText::plainLine(TarnelConfig::defaultPath()));
    return ExitStatus::success;
}

} // namespace

void addConfigCommand(CLI::App& app, CommandLine& line)
{
    SubCommand command(app, line, "config", "Show, check and change the settings");
    command.footer("Examples:\n"
                   "  tarnel config list attention\n"
                   "  tarnel config get machines.hub\n"
                   "  tarnel config set attention.order oldest\n"
                   "  tarnel config check && echo fine");
    const auto options = std::make_shared<Options>();
    const auto add = [&](const char* name, const char* help, ExitStatus (*run)(const CommandLine&, const Options&)) {
        SubCommand part = command.part(name, help);
        part.run([&line, options, run] { return run(line, *options); });
        return part;
    };
    SubCommand part = add("list", "All settings with their values and what they do", list);
    part.option("part", options->key, "Only those whose key or category holds this").kind("KEY");
    part.flag("--changed", options->changedOnly, "Only those that differ from their defaults");
    part.footer("Examples:\n  tarnel config list --changed\n  tarnel config list notifications");
    part = add("get", "One value; a list has one line for each element", get);
    part.option("key", options->key, "The setting").kind("KEY").required();
    part.footer("Example:\n  tarnel config get quick_replies.finished");
    part = add("set", "Change one value in the file", set);
    part.option("key", options->key, "The setting").kind("KEY").required();
    part.option("value", options->words, "The value; of a list, each element").kind("VALUE").allWords();
    part.flag("--default", options->toDefault, "Back to the default");
    part.footer("Examples:\n"
                "  tarnel config set machines.hub studio-mini\n"
                "  tarnel config set attention.muted_agents night-shift \"slow one\"\n"
                "  tarnel config set attention.muted_agents '[]'\n"
                "  tarnel config set attention.order --default");
    part = add("check", "Tell what in the file does not count; the exit status is 1 then",
        [](const CommandLine& given, const Options&) { return check(given); });
    part.footer("Example:\n  tarnel config check");
    part = add("path", "Where the file is", [](const CommandLine& given, const Options&) { return path(given); });
    part.footer("Example:\n  $EDITOR \"$(tarnel config path)\"");
}

} // namespace tarnel
