#include "muxle-tmux/StyledLines.h"
#include "TarnelCore/Base/Text.h"
#include <charconv>
#include <map>
#include <optional>
#include <vector>

namespace tarnel::tmux {

namespace {

constexpr int foreground = 38;
constexpr int background = 48;
constexpr int underlineColor = 58;

/// What is on: attributes and colours by the code that turns them on, with the parameters that say so.
class Styles {
public:
    void apply(std::string_view parameters)
    {
        const auto parts = Text::split(parameters, ';');
        for (std::size_t i = 0; i < parts.size(); ++i) {
            const int code = number(parts[i]);
            if (code != foreground && code != background && code != underlineColor) {
                applyCode(code, parts[i]);
                continue;
            }
            std::size_t last = i; // "38:5:7" is one part; "38;5;7" and "38;2;1;2;3" are several
            if (parts[i].find(':') == std::string_view::npos && i + 1 < parts.size())
                last = std::min(parts.size() - 1, i + (number(parts[i + 1]) == 5 ? 2 : 4));
            const std::vector<std::string_view> color(
                parts.begin() + static_cast<std::ptrdiff_t>(i), parts.begin() + static_cast<std::ptrdiff_t>(last) + 1);
            on[code] = Text::joined(color, ";");
            i = last;
        }
    }

    [[nodiscard]] std::string sequence() const
    {
        std::vector<std::string_view> all;
        for (const auto& [code, parameters] : on)
            all.push_back(parameters);
        return all.empty() ? "" : "\033[" + Text::joined(all, ";") + "m";
    }

private:
    static int number(std::string_view part)
    {
        int value = 0;
        std::from_chars(part.data(), part.data() + part.size(), value);
        return value;
    }

    void applyCode(int code, std::string_view part)
    {
        const auto isBetween = [&](int first, int last) { return code >= first && code <= last; };
        if (code == 0)
            on.clear();
        else if (code == 22)
            turnOff({1, 2});
        else if (code == 24 || part == "4:0")
            turnOff({4, 21});
        else if (isBetween(23, 29))
            turnOff({code - 20});
        else if (code == 55)
            turnOff({53});
        else if (code == 39 || code == 49 || code == 59)
            turnOff({code - 1});
        else if (isBetween(30, 37) || isBetween(90, 97))
            on[foreground] = part;
        else if (isBetween(40, 47) || isBetween(100, 107))
            on[background] = part;
        else
            on[code] = part;
    }

    void turnOff(std::initializer_list<int> codes)
    {
        for (const int code : codes)
            on.erase(code);
    }

    std::map<int, std::string> on;
};

} // namespace

std::string withOwnStyles(std::string_view text)
{
    Styles styles;
    std::string result;
    bool isFirst = true;
    for (const std::string_view line : Text::split(text, '\n')) {
        if (!isFirst)
            result += '\n';
        isFirst = false;
        if (!line.empty())
            result.append(styles.sequence()).append(line);
        for (std::size_t at = line.find("\033["); at != line.npos; at = line.find("\033[", at)) {
            at += 2;
            const std::size_t end = line.find_first_not_of("0123456789;:", at);
            if (end != line.npos && line[end] == 'm')
                styles.apply(line.substr(at, end - at));
        }
    }
    return result;
}

} // namespace tarnel::tmux
