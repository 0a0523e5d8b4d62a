// TarnelCore/Attention/ScreenReading.h: what the text on an agent's screen asks, offers and shows.
#pragma once
#include "TarnelCore/Attention/Attention.h"
#include "TarnelCore/JSON/Record.h"
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Pure functions over the text of a screen: UTF-8, lines apart by "\n". All take time linear in the text, whatever it
/// holds. Thread-safe.
namespace tarnel::ScreenReading {

/// One entry of a numbered menu.
struct MenuOption {
    std::int64_t number = 0; ///< As printed, 0 to 99.
    std::string label; ///< Without number, marker and box edges.
    bool selected = false; ///< The cursor is on this entry.

    bool operator==(const MenuOption&) const = default;
    static constexpr auto fields()
    {
        return std::tuple{Field{"number", &MenuOption::number}, Field{"label", &MenuOption::label},
            Field{"selected", &MenuOption::selected}};
    }
};

/// A line of a menu: a box edge, a selection marker (group 1), the number (2), the label (3), a box edge.
inline constexpr std::string_view optionPattern = R"(^\s*[│┃|]?\s*([❯›>▶→●]?)\s*([0-9]{1,2})[.)]\s+(.+?)\s*[│┃|]?\s*$)";

/// The entry that `line` holds; nothing when it does not match `optionPattern`, which is matched here by hand, since
/// every line of every screen is read at every refresh.
std::optional<MenuOption> menuOption(std::string_view line);

/// The lowest menu on the screen: entries numbered from 1 on, at least two, up to three other lines between one entry
/// and the next. Empty when there is none.
std::vector<MenuOption> menu(std::string_view screen);

/// Whether the screen holds one of the phrases `markers`, in any case and however the layout broke it into lines.
/// An empty marker marks nothing.
bool isQuestionScreen(std::string_view screen, const std::vector<std::string>& markers);

/// The entry that stands for the answer `choice`: the one so labelled, else the one that means it ("Allow" is "Yes").
/// Nothing when none does, or when `choice` has no letter or digit to compare.
std::optional<MenuOption> option(std::string_view choice, AttentionKind kind, const std::vector<MenuOption>& options);

/// The entry that lets the user answer in own words.
std::optional<MenuOption> freeTextOption(const std::vector<MenuOption>& options);

/// The keys that bring back a question which the agent shows folded away; nothing when it shows none.
std::optional<std::vector<std::string>> openQuestionKeys(std::string_view screen);

/// The dim suggestion in the empty input line of a screen read with its ANSI codes. Nothing when the user has typed, or
/// when there is only the agent's hint of how to begin.
std::optional<std::string> suggestion(std::string_view ansiScreen);

/// The permission mode in the footer of a Claude screen without ANSI codes: "plan mode", "accept edits".
std::optional<std::string> claudeMode(std::string_view screen);

/// The form in which labels and answers are compared: letters, digits and single spaces, in lower case, without
/// "(recommended)" and ellipses.
std::string normalize(std::string_view text);

/// Whether text is faint after the SGR sequence with these parameters ("0;38;5;12"), when it was so before or not.
/// The codes: ECMA-48, 8.3.117; the extended colours: ITU-T T.416.
bool faintAfter(std::string_view parameters, bool was);

} // namespace tarnel::ScreenReading
