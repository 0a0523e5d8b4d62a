// Screens: the menus, questions, suggestions and replies on them.
#include "Fuzz/Target.h"
#include "TarnelCore/Attention/ScreenReading.h"
#include "TarnelCore/Base/Regex.h"
#include "TarnelCore/Base/Text.h"
#include "TarnelCore/Records/LiveReply.h"
#include <algorithm>

namespace tarnel::fuzz {

namespace {

using ScreenReading::MenuOption;

void checkLine(std::string_view line)
{
    static const Regex pattern(ScreenReading::optionPattern);
    if (!Text::isValidUTF8(line))
        return;
    const auto option = ScreenReading::menuOption(line);
    const auto match = pattern.find(line);
    require(option.has_value() == match.has_value(), "a line is an entry by hand or by pattern only");
    if (match) {
        const MenuOption expected{std::stoi(std::string((*match)[2])), std::string((*match)[3]), !(*match)[1].empty()};
        require(*option == expected, "an entry reads differently by hand and by pattern");
    }
}

void checkMenu(const std::vector<MenuOption>& menu)
{
    require(menu.size() != 1, "a menu of one entry");
    const auto isEntry = [&](const std::optional<MenuOption>& found) {
        return !found || std::find(menu.begin(), menu.end(), *found) != menu.end();
    };
    for (std::size_t i = 0; i < menu.size(); ++i) {
        require(menu[i].number == static_cast<std::int64_t>(i + 1), "a menu's numbers jump");
        require(!menu[i].label.empty(), "an entry without a label");
        const auto found = ScreenReading::option(menu[i].label, AttentionKind::question, menu);
        require(isEntry(found), "an answer stands for an entry that is not there");
        require(found || ScreenReading::normalize(menu[i].label).empty(), "an entry's own label does not find one");
    }
    for (const char* choice : {"Allow", "deny", "Allow for session", "critique", "Approve", "xyz"})
        require(isEntry(ScreenReading::option(choice, AttentionKind::permission, menu)), "an entry that is not there");
    require(isEntry(ScreenReading::freeTextOption(menu)), "an entry for own words that is not there");
}

void checkQuestion(std::string_view screen)
{
    const auto words = Text::words(screen);
    require(!ScreenReading::isQuestionScreen(screen, {""}), "an empty marker marks a screen");
    if (words.empty())
        return;
    const std::vector<std::string_view> first(
        words.begin(), words.begin() + std::min<std::ptrdiff_t>(4, std::ssize(words)));
    const std::vector<std::string> marker{Text::joined(first, " ")};
    require(ScreenReading::isQuestionScreen(screen, marker), "the screen's own words do not mark it");
    require(ScreenReading::isQuestionScreen("\n\t" + Text::joined(words, " \n  ") + "\n", marker),
        "another layout hides a marker");
}

void checkNormalized(std::string_view text)
{
    const std::string normal = ScreenReading::normalize(text);
    require(normal.find("  ") == normal.npos && !normal.starts_with(' ') && !normal.ends_with(' '), "loose spaces");
    for (std::string_view rest = normal; !rest.empty();) {
        const char32_t first = Text::firstScalar(rest).value;
        require(first == ' ' || Text::isLetter(first) || Text::isDigit(first), "neither letter nor digit");
        rest.remove_prefix(Text::firstCharacterLength(rest));
    }
}

void checkReplies(std::string_view screen)
{
    for (const AgentKind kind : {AgentKind::claude, AgentKind::codex}) {
        const auto reply = LiveReply::read(screen, kind, nullptr);
        if (!reply)
            continue;
        require(Text::trimmed(*reply) == *reply, "a reply with blanks around");
        const std::size_t all = Text::characterCount(*reply);
        for (std::size_t shown = 0; shown < all;) {
            const std::size_t next = StreamReveal::next(shown, *reply);
            require(next > shown && next <= all, "revealing a reply stands still or overshoots");
            shown = next;
        }
    }
}

} // namespace

void fuzzScreen(std::string_view input)
{
    for (const std::string_view line : Text::split(input, '\n'))
        checkLine(line);
    checkMenu(ScreenReading::menu(input));
    checkQuestion(input);
    checkNormalized(input);
    checkReplies(input);
    if (const auto suggestion = ScreenReading::suggestion(input))
        require(!suggestion->empty() && Text::trimmed(*suggestion) == *suggestion
                && suggestion->find_first_of("\x1b\n") == suggestion->npos,
            "a suggestion that is not plain text of one line");
    if (const auto mode = ScreenReading::claudeMode(input))
        require(!mode->empty() && mode->find('\n') == mode->npos, "a mode that is no word");
    require(!ScreenReading::faintAfter(std::string(input) + ";;;;;0", true), "a reset leaves text faint");
    (void)ScreenReading::openQuestionKeys(input);
}

} // namespace tarnel::fuzz
