#ifndef _XOPEN_SOURCE_EXTENDED
#define _XOPEN_SOURCE_EXTENDED 1 // the functions for wide characters
#endif
#define NCURSES_NOMACROS 1
#define NCURSES_WIDECHAR 1
#include "tarnel/CursesScreen.h"
#include "TarnelCore/Base/TerminalText.h"
#include "TarnelCore/Base/Text.h"
#include "tarnel/TerminalCapability.h"
#include <array>
#include <clocale>
#include <csignal>
#include <curses.h>
#include <langinfo.h>
#include <stdexcept>
#include <string_view>
#include <unistd.h>
#include <wchar.h>

namespace tarnel {

namespace {

constexpr int escapeMilliseconds = 50;
constexpr std::string_view marksPastes = "\x1b[?2004h";
constexpr std::string_view unmarksPastes = "\x1b[?2004l";
// Key codes of our own, above those of ncurses.
constexpr int pasteStart = KEY_MAX + 1;
constexpr int pasteEnd = KEY_MAX + 2;
constexpr wint_t escape = 0x1B;

/// All that is shown is UTF-8; where the user's locale has another encoding, one that has this is taken.
void useUnicode()
{
    std::setlocale(LC_CTYPE, "");
    for (const char* name : {"C.UTF-8", "en_US.UTF-8", "UTF-8"}) {
        if (std::string_view(::nl_langinfo(CODESET)) == "UTF-8")
            return;
        std::setlocale(LC_CTYPE, name);
    }
}

std::string farewell()
{
    std::string bytes(unmarksPastes);
    for (const char* name : {"sgr0", "rmkx", "cnorm", "rmcup"})
        bytes += terminalCapability(name);
    return bytes;
}

std::optional<termios> keyboardSettings()
{
    termios settings{};
    return ::tcgetattr(STDIN_FILENO, &settings) == 0 ? std::optional(settings) : std::nullopt;
}

constexpr std::array<short, 5> colors{COLOR_RED, COLOR_GREEN, COLOR_YELLOW, COLOR_BLUE, COLOR_MAGENTA};

struct Look {
    attr_t attributes = A_NORMAL;
    short pair = 0;
};

Look lookOf(const StyledSpan& span, bool hasColor)
{
    Look look;
    if (span.paint >= Paint::red) {
        const auto index = static_cast<int>(span.paint) - static_cast<int>(Paint::red);
        look.pair = hasColor ? static_cast<short>(index + 1) : short{0};
        look.attributes = span.paint == Paint::green ? A_NORMAL : A_BOLD;
    } else if (span.paint == Paint::bold) {
        look.attributes = A_BOLD;
    } else if (span.paint == Paint::dim) {
        look.attributes = A_DIM;
    }
    if (span.isSelected)
        look.attributes |= A_REVERSE;
    return look;
}

/// The character as the terminal's own tables know it: a spacing one and the marks on it. Where those tables give it
/// other than `cells`, what would shift the rest of the line is left out.
std::wstring fitted(std::string_view character, std::size_t cells)
{
    std::wstring made;
    while (!character.empty()) {
        const Text::Scalar scalar = Text::firstScalar(character);
        const auto wide = static_cast<wchar_t>(scalar.value);
        const int width = ::wcwidth(wide);
        if (made.empty())
            made = width > 0 && static_cast<std::size_t>(width) <= cells ? wide : L'\xFFFD';
        else if (width == 0 && made.size() + 1 < CCHARW_MAX && scalar.value < 0xFE00)
            made += wide;
        character.remove_prefix(scalar.length);
    }
    return made;
}

void drawSpan(const StyledSpan& span, int row, std::size_t& column, bool hasColor)
{
    const Look look = lookOf(span, hasColor);
    for (std::string_view text = span.text; !text.empty();) {
        const std::string_view character = text.substr(0, Text::firstCharacterLength(text));
        text.remove_prefix(character.size());
        const std::size_t cells = TerminalText::width(character);
        if (cells == 0)
            continue;
        cchar_t cell{};
        if (::setcchar(&cell, fitted(character, cells).c_str(), look.attributes, look.pair, nullptr) == OK)
            ::mvadd_wch(row, static_cast<int>(column), &cell);
        column += cells;
    }
}

std::optional<TopKey> namedKey(wint_t code)
{
    using Name = TopKey::Name;
    switch (code) {
    case KEY_ENTER:
        return TopKey{Name::enter};
    case KEY_BTAB:
        return TopKey{Name::backTab};
    case KEY_UP:
        return TopKey{Name::up};
    case KEY_DOWN:
        return TopKey{Name::down};
    case KEY_LEFT:
        return TopKey{Name::left};
    case KEY_RIGHT:
        return TopKey{Name::right};
    case KEY_HOME:
        return TopKey{Name::home};
    case KEY_END:
        return TopKey{Name::end};
    case KEY_PPAGE:
        return TopKey{Name::pageUp};
    case KEY_NPAGE:
        return TopKey{Name::pageDown};
    case KEY_BACKSPACE:
        return TopKey{Name::backspace};
    case KEY_DC:
        return TopKey{Name::deleteKey};
    default:
        return std::nullopt;
    }
}

TopKey typedKey(wint_t code)
{
    switch (code) {
    case '\n':
    case '\r':
        return {TopKey::Name::enter};
    case '\t':
        return {TopKey::Name::tab};
    case 0x7F:
    case 0x08:
        return {TopKey::Name::backspace};
    default:
        break;
    }
    if (code < 0x20)
        return TopKey::control(std::string(1, static_cast<char>(code + 0x60)));
    std::string text;
    Text::append(text, static_cast<char32_t>(code));
    return TopKey::character(std::move(text));
}

/// Behind an escape: reads over the rest of a key that ncurses does not know, so that its bytes are not taken for keys
/// of their own. Returns false when nothing follows: then escape was the key.
bool skipUnknownKey()
{
    wint_t code = 0;
    if (::get_wch(&code) == ERR)
        return false;
    if (code == 'O')
        ::get_wch(&code);
    else if (code == '[') {
        while (::get_wch(&code) == OK && (code < 0x40 || code > 0x7E)) { }
    }
    return true;
}

} // namespace

/// ncurses while it holds the terminal.
class CursesScreen::Session {
public:
    explicit Session(bool wantsColor)
        : keyboard(keyboardSettings())
    {
        useUnicode();
        screen = ::newterm(nullptr, stdout, stdin);
        if (!screen)
            throw std::runtime_error("this terminal cannot show a full screen; see: tarnel queue");
        rescue.emplace(farewell(), keyboard);
        ::cbreak();
        ::noecho();
        ::keypad(stdscr, TRUE);
        ::nodelay(stdscr, TRUE);
        ::set_escdelay(escapeMilliseconds);
        ::typeahead(-1); // keys that wait do not put off drawing
        ::define_key("\x1b[200~", pasteStart);
        ::define_key("\x1b[201~", pasteEnd);
        if (wantsColor && ::has_colors() && ::start_color() == OK) {
            const short background = ::use_default_colors() == OK ? short{-1} : short{COLOR_BLACK};
            for (std::size_t i = 0; i < colors.size(); ++i)
                ::init_pair(static_cast<short>(i + 1), colors[i], background);
            hasColor = true;
        }
        writeMode(marksPastes);
    }

    ~Session()
    {
        leave();
        ::delscreen(screen);
    }

    void leave() noexcept
    {
        writeMode(unmarksPastes);
        ::endwin();
    }

    void enter()
    {
        writeMode(marksPastes);
        ::clearok(curscr, TRUE);
        ::refresh();
    }

    bool hasColor = false;

private:
    static void writeMode(std::string_view bytes) noexcept
    {
        [[maybe_unused]] const ssize_t count = ::write(STDOUT_FILENO, bytes.data(), bytes.size());
    }

    const std::optional<termios> keyboard; // before ncurses changed it
    SCREEN* screen = nullptr;
    std::optional<TerminalRescue> rescue;
};

CursesScreen::CursesScreen(bool hasColor)
    : session(std::make_unique<Session>(hasColor))
{
}

CursesScreen::~CursesScreen() = default;

void CursesScreen::draw(const TopScreen& screen)
{
    ::erase();
    for (std::size_t row = 0; row < screen.rows.size(); ++row) {
        std::size_t column = 0;
        for (const StyledSpan& span : screen.rows[row].spans)
            drawSpan(span, static_cast<int>(row), column, session->hasColor);
    }
    ::curs_set(screen.cursor ? 1 : 0);
    if (screen.cursor)
        ::move(static_cast<int>(screen.cursor->row), static_cast<int>(screen.cursor->column));
    ::refresh();
}

void CursesScreen::repaint(const ScreenSize& size)
{
    ::resizeterm(static_cast<int>(size.rows), static_cast<int>(size.columns));
    ::clearok(curscr, TRUE);
}

std::vector<TopKey> CursesScreen::keys()
{
    std::vector<TopKey> keys;
    wint_t code = 0;
    for (int result = 0; (result = ::get_wch(&code)) != ERR;) {
        if (result == KEY_CODE_YES && code == pasteStart) {
            pasted.emplace();
        } else if (result == KEY_CODE_YES && code == pasteEnd) {
            if (pasted)
                keys.push_back(TopKey::paste(*pasted));
            pasted.reset();
        } else if (pasted) {
            if (result == OK)
                Text::append(*pasted, static_cast<char32_t>(code));
        } else if (result == KEY_CODE_YES) {
            if (auto key = namedKey(code))
                keys.push_back(*std::move(key));
        } else if (code == escape) {
            if (!skipUnknownKey())
                keys.push_back({TopKey::Name::escape});
        } else {
            keys.push_back(typedKey(code));
        }
    }
    return keys;
}

void CursesScreen::suspend()
{
    session->leave();
    ::kill(::getpid(), SIGSTOP);
    session->enter();
}

} // namespace tarnel
