#include "tarnel/FrameFilter.h"
#include "TarnelCore/Base/Text.h"
#include <algorithm>
#include <utility>
#include <vector>

namespace tarnel {

namespace {

constexpr char escape = '\x1b';
constexpr std::size_t longestParameters = 256; // bytes; more is no sequence that anybody waits for

bool isScreenSwitch(std::string_view mode)
{
    return mode == "1049" || mode == "1047" || mode == "47" || mode == "1048";
}

} // namespace

std::string FrameFilter::pass(std::string_view bytes, const ScreenSize& pane, const ScreenSize& window)
{
    unread += bytes;
    std::string passed;
    std::string_view rest = unread;
    while (!rest.empty()) {
        const std::size_t start = std::min(rest.find(escape), rest.size());
        passed += rest.substr(0, start);
        rest.remove_prefix(start);
        if (rest.size() < 2)
            break;
        if (rest[1] == 'c') {
            hasSwitched = true;
            passed += "\x1b[0m\x1b[r\x1b[H\x1b[2J";
            rest.remove_prefix(2);
            continue;
        }
        if (rest[1] != '[') {
            passed += rest.substr(0, 1);
            rest.remove_prefix(1);
            continue;
        }
        std::size_t end = 2;
        while (end < rest.size() && rest[end] >= 0x20 && rest[end] < 0x40)
            ++end;
        if (end == rest.size() && end < longestParameters)
            break;
        if (end == rest.size() || end >= longestParameters) {
            passed += rest.substr(0, end);
            rest.remove_prefix(end);
            continue;
        }
        const std::string_view parameters = rest.substr(2, end - 2);
        const char final = rest[end];
        if (final == 'r' && parameters.empty() && pane.rows < window.rows) {
            passed += "\x1b[1;" + std::to_string(pane.rows) + "r";
        } else if (parameters.starts_with('?') && (final == 'h' || final == 'l')) {
            std::vector<std::string_view> kept;
            std::string wrap;
            for (const std::string_view mode : Text::splitNonEmpty(parameters.substr(1), ';')) {
                if (isScreenSwitch(mode))
                    hasSwitched = true;
                else if (mode == "7" && pane.columns > window.columns)
                    wrap = "\x1b[?7l";
                else
                    kept.push_back(mode);
            }
            if (!kept.empty())
                passed += "\x1b[?" + Text::joined(kept, ";") + final;
            passed += wrap;
        } else {
            passed += rest.substr(0, end + 1);
        }
        rest.remove_prefix(end + 1);
    }
    unread = std::string(rest);
    return passed;
}

bool FrameFilter::takeSwitch() { return std::exchange(hasSwitched, false); }

} // namespace tarnel
