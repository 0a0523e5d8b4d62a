#include "tarnel/TerminalCapability.h"
#include <curses.h>
#include <term.h> // its macros take words like "tab": nothing else is included behind it

namespace tarnel {

namespace {

std::string& collected()
{
    static std::string bytes;
    return bytes;
}

int collect(int byte)
{
    collected() += static_cast<char>(byte);
    return byte;
}

} // namespace

std::string terminalCapability(const char* name)
{
    const char* text = ::tigetstr(const_cast<char*>(name)); // older versions take it without const
    collected().clear();
    if (text && text != reinterpret_cast<const char*>(-1)) // how ncurses says that it is no string
        ::tputs(text, 1, collect);
    return collected();
}

} // namespace tarnel
