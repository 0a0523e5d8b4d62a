# Most of the time that a source takes to compile with the sanitizers goes into the headers that nearly all include; they
# are compiled once. Only there: elsewhere a file that forgets to include what it uses does not compile.
# Usage: tarnel_precompile_headers(TARGET [HEADER...])    the headers beside those of the standard library
function(tarnel_precompile_headers target)
    if(NOT TARNEL_SANITIZE)
        return()
    endif()
    target_precompile_headers(${target} PRIVATE <algorithm> <chrono> <functional> <map> <memory> <optional>
        <set> <string> <thread> <variant> <vector> ${ARGN})
    # Its time of making would make every compilation another one to a cache.
    target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
endfunction()
