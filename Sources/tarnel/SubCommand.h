// tarnel/SubCommand.h: how a sub-command joins the command line.
//
// What is declared is the parser's from then on. Few sources know the parser itself, as it takes many times longer to
// compile than all that uses it.
#pragma once
#include "tarnel/CommandLine.h"
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace tarnel {

/// One sub-command of the program, or of another sub-command. What its options are read into, and `line`, outlive the
/// parsing. Thread-safety: none.
class SubCommand {
public:
    /// One option ("-n,--lines") or positional ("pane").
    class Option {
    public:
        explicit Option(CLI::Option* parsed)
            : option(parsed)
        {
        }
        /// What it takes, for help and completion: "PANE", "ITEM|PANE".
        Option& kind(const char* name);
        Option& required();
        Option& within(std::int64_t least, std::int64_t most);
        Option& oneOf(const std::vector<std::string>& values);
        /// Each mention of an option takes one word; it may be given several times.
        Option& oneEach();
        /// The positional, the last one, takes all words that follow, as they stand.
        Option& allWords();

    private:
        CLI::Option* option; // the parser's
    };

    SubCommand(CLI::App& parent, CommandLine& line, const std::string& name, const std::string& help);

    Option option(const std::string& names, std::string& into, const std::string& help);
    Option option(const std::string& names, std::optional<std::string>& into, const std::string& help);
    Option option(const std::string& names, std::optional<std::int64_t>& into, const std::string& help);
    Option option(const std::string& names, std::vector<std::string>& into, const std::string& help);
    void flag(const std::string& names, bool& into, const std::string& help);

    /// What its help ends with.
    void footer(const std::string& text);

    /// What carries it out.
    void run(std::function<ExitStatus()> body);

    /// One of its own sub-commands, of which there must be one.
    SubCommand part(const std::string& name, const std::string& help);

private:
    CLI::App* app; // the parser's
    CommandLine* line;
};

} // namespace tarnel
