// The prompt in an agent's input box, and the keys that change it.
#include "TarnelCore/Attention/AgentPrompt.h"
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"

namespace tarnel::fuzz {

namespace {

/// What an input box holds after `keys` were typed into it at its end.
std::string typedInto(std::string_view box, std::string_view keys, AgentKind kind)
{
    while (keys.starts_with('\x7f')) {
        require(!box.empty(), "more characters deleted than there are");
        box.remove_suffix(Text::suffix(box, 1).size());
        keys.remove_prefix(1);
    }
    return std::string(box)
        + (kind == AgentKind::claude ? Text::replacingAll(keys, "\x1b\r", "\n") : std::string(keys));
}

void checkLine(std::string_view line)
{
    const AgentPrompt::Line seen = AgentPrompt::visible(line);
    require(seen.plain.find('\x1b') == seen.plain.npos, "an escape character is to be seen");
    std::size_t at = 0; // how far of `plain` is matched: what was typed is to be seen, in its order
    for (const char c : seen.typed) {
        at = seen.plain.find(c, at);
        require(at != seen.plain.npos, "typed text that is not to be seen");
        ++at;
    }
    require(AgentPrompt::visible(seen.plain) == AgentPrompt::Line{seen.plain, seen.plain}, "plain text is not plain");
}

} // namespace

void fuzzAgentPrompt(std::string_view input)
{
    for (const std::string_view line : Text::split(input, '\n'))
        checkLine(line);
    Choices choices(input);
    const std::size_t middle = choices.below(input.size() + 1);
    for (const AgentKind kind : {AgentKind::claude, AgentKind::codex}) {
        const auto prompt = AgentPrompt::read(input, kind);
        if (prompt) {
            require(prompt->find_first_of("\x1b\r") == prompt->npos, "a prompt holds what no one typed");
            require(AgentPrompt::shows(*prompt, *prompt), "an input box does not show what it holds");
            require(AgentPrompt::keystrokes(*prompt, *prompt, kind).empty(), "keys for no change");
        }
        // Two texts that may start alike; a return of their own could not be told from a line break of Claude's.
        std::string current = prompt.value_or(Text::replacingAll(input.substr(0, middle), "\r", ""));
        std::string desired = Text::replacingAll(input.substr(middle / 2), "\r", "");
        if (desired.find('\x7f') != desired.npos || !Text::isValidUTF8(current + desired))
            continue;
        require(typedInto(current, AgentPrompt::keystrokes(current, desired, kind), kind) == desired,
            "the keys make another text of the prompt");
    }
    require(!AgentPrompt::read(input, AgentKind::grok), "a prompt of an agent whose box cannot be read");
}

} // namespace tarnel::fuzz
