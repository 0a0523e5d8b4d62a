// The Markdown files of slash commands: their front matter and description.
#include "Fuzz/Target.h"
#include "Support/TemporaryFolder.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/SlashCommands.h"
#include <algorithm>

namespace tarnel::fuzz {

void fuzzFrontMatter(std::string_view input)
{
    constexpr std::size_t longest = 160;
    const auto values = SlashCommands::frontMatter(input);
    for (const auto& [key, value] : values)
        require(key.find('\n') == key.npos && value.find('\n') == value.npos, "a key or value of several lines");
    const std::string described = SlashCommands::describe(input);
    require(described.find('\n') == described.npos, "a description of several lines");
    require(Text::characterCount(described) <= longest, "a description that is too long");
    require(Text::isValidUTF8(described) || !Text::isValidUTF8(input), "a description is cut inside a character");

    // The same text from a file, also as another editor saves it.
    if (Text::isValidUTF8(input) && input.find('\r') == input.npos) {
        static const TemporaryFolder folder;
        folder.write("unix.md", input);
        folder.write("windows.md", Text::replacingAll(input, "\n", "\r\n"));
        const auto files = SlashCommands::files(folder.path(), "user", "");
        require(
            files.size() == 2 && files[0].name == "/unix" && files[1].name == "/windows", "other commands than files");
        require(files[0].description == described, "a file has another description than its text");
        require(files[1].description == described, "line ends change a description");
    }

    const std::string typed = "/" + std::string(input.substr(0, 8));
    const SlashCommands::Commands commands{{typed, described, "user"}, {"/other", "", "built-in"}};
    const auto matching = SlashCommands::matching(commands, typed);
    require(std::find(matching.begin(), matching.end(), commands.front()) != matching.end(),
        "a command is not completed by its own name");
    require(SlashCommands::matching(commands, "/").size() == commands.size(), "a slash does not offer all commands");
}

} // namespace tarnel::fuzz
