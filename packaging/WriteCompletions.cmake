# Writes the completions of PROGRAM, a built tarnel, into FOLDER. A tarnel that knows no such sub-command has none.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
foreach(shell IN ITEMS bash zsh fish)
    execute_process(COMMAND ${PROGRAM} completion ${shell}
        OUTPUT_FILE ${FOLDER}/${shell} ERROR_VARIABLE complaint RESULT_VARIABLE status)
    if(status EQUAL 2)
        message(STATUS "No completions for ${shell}: this tarnel does not print any")
        file(REMOVE ${FOLDER}/${shell})
    elseif(NOT status EQUAL 0)
        message(FATAL_ERROR "tarnel completion ${shell} failed (${status}): ${complaint}")
    endif()
endforeach()
