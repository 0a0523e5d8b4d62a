# Writes the completions of PROGRAM, a built tarnel, into FOLDER.
file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER})
foreach(shell IN ITEMS bash zsh fish)
    execute_process(COMMAND ${PROGRAM} completion ${shell}
        OUTPUT_FILE ${FOLDER}/${shell} ERROR_VARIABLE complaint RESULT_VARIABLE status)
    if(NOT status EQUAL 0)
        message(FATAL_ERROR "tarnel completion ${shell} failed (${status}): ${complaint}")
    endif()
endforeach()
