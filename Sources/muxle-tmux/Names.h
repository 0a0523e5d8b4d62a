// muxle-tmux/Names.h: the ids of panes, tabs and workspaces, and those of tmux that they stand for.
#pragma once
#include <charconv>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tarnel::tmux {

/// `prefix` and the number.
inline std::string numbered(std::string_view prefix, std::int64_t number)
{
    std::string text(prefix);
    text += std::to_string(number);
    return text;
}

/// The ids that clients see carry tmux's own numbers, which stay the same for the life of the thing.
inline std::string paneID(std::int64_t number) { return numbered("p", number); }
inline std::string tabID(std::int64_t number) { return numbered("t", number); }
inline std::string workspaceID(std::int64_t number) { return numbered("w", number); }
inline std::string splitID(std::int64_t paneBefore) { return numbered("s", paneBefore); }

/// How tmux's commands name the same things.
inline std::string paneTarget(std::int64_t number) { return numbered("%", number); }
inline std::string windowTarget(std::int64_t number) { return numbered("@", number); }
/// Quoted, since tmux's commands expand variables. `place`: what stands behind the session, as ":@3" for a window.
inline std::string sessionTarget(std::int64_t number, std::string_view place = "")
{
    return numbered("'$", number).append(place).append("'");
}

/// The number behind the one character `prefix`; nothing when `id` has another form.
inline std::optional<std::int64_t> numberOf(char prefix, std::string_view id)
{
    std::int64_t number = 0;
    if (id.size() < 2 || id.front() != prefix || id[1] == '-')
        return std::nullopt;
    const auto [end, error] = std::from_chars(id.data() + 1, id.data() + id.size(), number);
    if (error != std::errc() || end != id.data() + id.size())
        return std::nullopt;
    return number;
}

} // namespace tarnel::tmux
