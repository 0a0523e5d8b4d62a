# Compresses the manual pages that cpack is about to package, as Debian asks.
find_program(gzip gzip REQUIRED)
file(GLOB_RECURSE pages "${CPACK_TEMPORARY_DIRECTORY}/*.[1-9]")
list(FILTER pages INCLUDE REGEX "/share/man/man[1-9]/[^/]*$")
if(pages)
    execute_process(COMMAND "${gzip}" -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
