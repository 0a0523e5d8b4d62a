// What tmux writes: its control protocol, layouts and screens.
#include "Fuzz/Target.h"
#include "TarnelCore/Base/Text.h"
#include "muxle-tmux/ControlProtocol.h"
#include "muxle-tmux/Layout.h"
#include "muxle-tmux/ScreenFrame.h"
#include "muxle-tmux/StyledLines.h"
#include <algorithm>

namespace tarnel::fuzz {

namespace {

using Messages = std::vector<tmux::ControlMessage>;

Messages readInPieces(std::string_view text, Choices* choices)
{
    tmux::ControlParser parser;
    Messages messages;
    while (!text.empty()) {
        const std::size_t count = choices ? 1 + choices->below(std::min<std::size_t>(text.size(), 40)) : text.size();
        parser.feed(text.substr(0, count), messages);
        text.remove_prefix(count);
    }
    return messages;
}

void checkLayout(std::string_view text)
{
    const auto root = tmux::Layout::parse(text);
    if (!root)
        return;
    require(tmux::Layout::parse(tmux::Layout::written(*root)) == root, "a layout as written reads as another one");
    const auto panes = tmux::Layout::panes(*root);
    const auto splits = tmux::Layout::splits(*root);
    require(splits.size() + 1 == panes.size(), "not every border is a split");
    for (const LayoutSplit& split : splits) {
        const auto changed = tmux::Layout::settingSplit(*root, split.id, 0.3);
        require(changed && tmux::Layout::panes(*changed).size() == panes.size(), "moving a border loses panes");
    }
}

} // namespace

void fuzzTmuxOutput(std::string_view input)
{
    Choices choices(input);
    require(readInPieces(input, nullptr) == readInPieces(input, &choices), "pieces give other messages than the whole");
    for (const std::string_view line : Text::split(input, '\n'))
        checkLayout(line);

    const std::string styled = tmux::withOwnStyles(input);
    require(std::count(styled.begin(), styled.end(), '\n') == std::count(input.begin(), input.end(), '\n'),
        "styles make other lines");
    require(input.find('\x1b') != input.npos || styled == input, "styles where there are none");
    require(tmux::unescapedOutput(input).size() <= input.size(), "undoing escapes makes text longer");
    if (input.find_first_of("\\\n\r") == input.npos)
        require(tmux::unescapedOutput(input) == input, "text without escapes changes");
    const std::size_t split = std::min(input.find('\n'), input.size());
    if (const auto state = tmux::ScreenFrame::parse(input.substr(0, split)))
        (void)tmux::ScreenFrame::redraw(*state, input.substr(split), "");
    (void)tmux::ScreenFrame::switchesScreen(input);
}

} // namespace tarnel::fuzz
