// tarnel/Completion.h: what may stand next on a command line.
#pragma once
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
}

/// Candidates come from the application's own tree of sub-commands and options, so that they never lag behind it.
namespace tarnel::Completion {

struct Candidate {
    std::string text;
    std::string help; ///< A few words; may be empty.

    bool operator==(const Candidate&) const = default;
};

/// What the words before the last one say, for those who look up values.
struct Context {
    std::vector<std::string> positionals; ///< Those of the sub-command.
    std::vector<std::string> hosts; ///< Of the options.
    std::optional<std::string> socket;
};

/// The values of one kind ("PANE", "ITEM", "KEY"), as the type names of options tell; none for a kind without any.
using Values = std::function<std::vector<Candidate>(std::string_view kind, const Context& context)>;

/// What the last of `words` may become: the words behind the program's name, the last one perhaps empty. Pure but for
/// `values`.
std::vector<Candidate> candidates(const CLI::App& app, const std::vector<std::string>& words, const Values& values);

/// Prints the candidates for `words`, a line each, with a tab before the help. Whatever fails is no candidate.
void printCandidates(const CLI::App& app, const std::vector<std::string>& words);

/// The word that makes the program complete the words behind it.
inline constexpr std::string_view requestWord = "__complete";

} // namespace tarnel::Completion
