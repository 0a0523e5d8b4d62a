# Picks clang: the newest one that is installed under a versioned name, else the system's.
find_program(TARNEL_CLANGXX NAMES clang++-19 clang++-18 clang++-17 clang++-16 clang++ REQUIRED)
set(CMAKE_CXX_COMPILER ${TARNEL_CLANGXX})
