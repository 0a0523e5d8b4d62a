#include "tarnel/Completion.h"
#include "TarnelCore/Base/Text.h"
#include <CLI/CLI.hpp>
#include <algorithm>
#include <utility>

namespace tarnel {

namespace {

using Completion::Candidate;
using Completion::Context;
using Candidates = std::vector<Candidate>;

/// The first sentence of a help text, or as much of it as a list has room for.
std::string brief(const std::string& help) { return help.substr(0, help.find_first_of(";:\n")); }

/// The kinds of value that an option or positional takes: of "ITEM|PANE", two.
std::vector<std::string> kindsOf(const CLI::Option& option)
{
    std::string type = option.get_type_name();
    type = type.substr(0, type.find(':')); // the checks that the parser adds
    const auto pieces = Text::splitNonEmpty(type, '|');
    return {pieces.begin(), pieces.end()};
}

/// The fixed values that a check names: of "TEXT:{bash,zsh}", two.
Candidates fixedValues(const CLI::Option& option)
{
    const std::string type = option.get_type_name();
    const std::size_t open = type.find('{');
    const std::size_t close = type.find('}', open == type.npos ? 0 : open);
    Candidates fixed;
    if (open == type.npos || close == type.npos)
        return fixed;
    for (const std::string_view value :
        Text::splitNonEmpty(std::string_view(type).substr(open + 1, close - open - 1), ','))
        fixed.push_back({std::string(value), ""});
    return fixed;
}

bool takesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

/// Follows the words that are complete.
class Walk {
public:
    explicit Walk(const CLI::App& root)
        : path{&root}
    {
    }

    void take(const std::string& word)
    {
        if (pending) {
            note(*std::exchange(pending, nullptr), word);
        } else if (!isOver && word == "--") {
            isOver = true;
        } else if (!isOver && word.size() > 1 && word.starts_with('-')) {
            const std::size_t equals = word.find('=');
            const CLI::Option* option = optionNamed(word.substr(0, equals));
            if (option && takesValue(*option) && equals == word.npos)
                pending = option;
            else if (option && equals != word.npos)
                note(*option, word.substr(equals + 1));
        } else if (const CLI::App* next = context.positionals.empty() && !isOver ? commandNamed(word) : nullptr) {
            path.push_back(next);
        } else {
            context.positionals.push_back(word);
        }
    }

    [[nodiscard]] Candidates complete(const std::string& word, const Completion::Values& values) const
    {
        if (pending)
            return valuesOf(*pending, values);
        const std::size_t equals = word.find('=');
        if (!isOver && word.starts_with("--") && equals != word.npos)
            return valuesBehind(word.substr(0, equals + 1), values);
        if (!isOver && word.starts_with('-'))
            return options();
        Candidates all = commands();
        if (const CLI::Option* positional = currentPositional()) {
            for (Candidate& each : valuesOf(*positional, values))
                all.push_back(std::move(each));
        }
        return all;
    }

private:
    void note(const CLI::Option& option, const std::string& value)
    {
        if (option.check_lname("host"))
            context.hosts.push_back(value);
        if (option.check_lname("socket"))
            context.socket = value;
    }

    [[nodiscard]] const CLI::App* commandNamed(const std::string& name) const
    {
        for (const CLI::App* command : path.back()->get_subcommands({})) {
            if (command->get_name() == name)
                return command;
        }
        return nullptr;
    }

    /// The option called "--name" or "-n", of the sub-command or of those above it.
    [[nodiscard]] const CLI::Option* optionNamed(const std::string& name) const
    {
        for (auto app = path.rbegin(); app != path.rend(); ++app) {
            for (const CLI::Option* option : (*app)->get_options({})) {
                if (!option->get_positional() && option->check_name(name))
                    return option;
            }
        }
        return nullptr;
    }

    [[nodiscard]] Candidates commands() const
    {
        Candidates all;
        for (const CLI::App* command : path.back()->get_subcommands({})) {
            if (context.positionals.empty() && !isOver && !command->get_group().empty())
                all.push_back({command->get_name(), brief(command->get_description())});
        }
        return all;
    }

    [[nodiscard]] Candidates options() const
    {
        Candidates all;
        for (auto app = path.rbegin(); app != path.rend(); ++app) {
            for (const CLI::Option* option : (*app)->get_options({})) {
                const bool isTold = std::any_of(
                    all.begin(), all.end(), [&](const Candidate& each) { return option->check_name(each.text); });
                for (const std::string& name : option->get_lnames()) {
                    if (!isTold)
                        all.push_back({"--" + name, brief(option->get_description())});
                }
            }
        }
        return all;
    }

    /// The positional that comes next; the last one again where it takes many.
    [[nodiscard]] const CLI::Option* currentPositional() const
    {
        std::size_t before = context.positionals.size();
        for (const CLI::Option* option : path.back()->get_options({})) {
            if (!option->get_positional())
                continue;
            const bool takesMany = option->get_items_expected_max() > 1;
            if (before == 0 || takesMany)
                return option;
            --before;
        }
        return nullptr;
    }

    [[nodiscard]] Candidates valuesOf(const CLI::Option& option, const Completion::Values& values) const
    {
        Candidates all = fixedValues(option);
        for (const std::string& kind : kindsOf(option)) {
            for (Candidate& each : values(kind, context))
                all.push_back(std::move(each));
        }
        return all;
    }

    [[nodiscard]] Candidates valuesBehind(const std::string& prefix, const Completion::Values& values) const
    {
        const CLI::Option* option = optionNamed(prefix.substr(0, prefix.size() - 1));
        Candidates all = option && takesValue(*option) ? valuesOf(*option, values) : Candidates();
        for (Candidate& each : all)
            each.text.insert(0, prefix);
        return all;
    }

    std::vector<const CLI::App*> path; // from the program to the sub-command that was named last
    const CLI::Option* pending = nullptr; // whose value comes next
    bool isOver = false; // behind "--" there are no options
    Context context;
};

} // namespace

std::vector<Candidate> Completion::candidates(
    const CLI::App& app, const std::vector<std::string>& words, const Values& values)
{
    const std::string last = words.empty() ? "" : words.back();
    Walk walk(app);
    for (std::size_t i = 0; i + 1 < words.size(); ++i)
        walk.take(words[i]);
    Candidates all = walk.complete(last, values);
    std::erase_if(all, [&](const Candidate& each) { return !each.text.starts_with(last); });
    return all;
}

} // namespace tarnel
