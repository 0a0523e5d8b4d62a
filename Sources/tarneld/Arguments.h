// tarneld/Arguments.h: the daemon's command line.
#pragma once
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarnel {

/// The arguments behind the program's name. What nobody asks for is ignored.
class Arguments {
public:
    Arguments(int count, char** values)
        : list(values + std::min(count, 1), values + count)
    {
    }

    /// The argument behind the first one that equals `name`, whatever it is; nothing when there is none.
    [[nodiscard]] std::optional<std::string> option(std::string_view name) const
    {
        const auto found = std::find(list.begin(), list.end(), name);
        if (found == list.end() || found + 1 == list.end())
            return std::nullopt;
        return *(found + 1);
    }

    [[nodiscard]] bool startsWith(std::string_view first) const { return !list.empty() && list.front() == first; }

    /// Whether `flag` is among the arguments, other than as the value of one of the options that take one.
    [[nodiscard]] bool contains(std::string_view flag) const
    {
        constexpr std::array<std::string_view, 3> withValue{"--socket", "--session", "--machine"};
        for (std::size_t i = 0; i < list.size(); ++i) {
            if (list[i] == flag)
                return true;
            if (std::find(withValue.begin(), withValue.end(), list[i]) != withValue.end())
                ++i;
        }
        return false;
    }

private:
    const std::vector<std::string> list;
};

} // namespace tarnel
