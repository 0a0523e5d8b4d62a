# Guards against memory faults that distributions expect of what they ship. They cost next to nothing at run time.

option(TARNEL_HARDENING "Build with the guards that distributions ask for" ON)

# The sanitizers bring guards of their own, which these would get in the way of.
if(TARNEL_HARDENING AND NOT TARNEL_SANITIZE)
    target_compile_options(TarnelFlags INTERFACE
        -fstack-protector-strong
        # Some compilers define it themselves; without optimisation it only warns.
        $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    if(NOT APPLE)
        # -fPIE by hand: CMake's own property gives the library -fPIC, which keeps calls inside it from being inlined.
        target_compile_options(TarnelFlags INTERFACE -fPIE)
        target_link_options(TarnelFlags INTERFACE
            $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:-pie> -Wl,-z,relro -Wl,-z,now)
    endif()
endif()
