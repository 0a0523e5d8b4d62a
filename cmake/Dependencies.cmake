# The libraries that the tree stands on. All of them are carried by Debian 12 and by Homebrew; nothing is vendored.

find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(simdjson REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)
pkg_check_modules(utf8proc REQUIRED IMPORTED_TARGET libutf8proc)
pkg_check_modules(pcre2 REQUIRED IMPORTED_TARGET libpcre2-8)
# The system's own on macOS has the functions for wide characters without a library of that name.
set(CURSES_NEED_NCURSES TRUE)
if(NOT APPLE)
    set(CURSES_NEED_WIDE TRUE)
endif()
find_package(Curses REQUIRED)
if(TARNEL_TESTS)
    find_package(GTest REQUIRED)
endif()
