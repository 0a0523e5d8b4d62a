# What is built, and the flags that all of our own code is compiled with.

option(TARNEL_TESTS "Build the tests and the demo agents" ON)
option(TARNEL_FUZZ "Build the fuzz targets, which need clang" OFF)
set(TARNEL_SANITIZE "" CACHE STRING "Sanitizers to build with, as for -fsanitize=")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(TarnelFlags INTERFACE)
target_compile_options(TarnelFlags INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast -Wnon-virtual-dtor
    -Woverloaded-virtual -Werror
    # g++ 12 takes the joining of short strings for an overlapping copy.
    $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local -Wno-restrict>
    $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wshadow -Wthread-safety>
    # C++20 allows a designated initializer to leave out fields that have a default; both compilers warn all the same.
    -Wno-missing-field-initializers)
if(TARNEL_SANITIZE)
    target_compile_options(TarnelFlags INTERFACE -fsanitize=${TARNEL_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=all)
    target_link_options(TarnelFlags INTERFACE -fsanitize=${TARNEL_SANITIZE})
endif()
