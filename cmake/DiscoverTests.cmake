# Writes a ctest file with an entry for each function of a Qt test program.
# Variables: PROGRAM, NAME, LIST (the file to write), LABELS, SERIAL.

execute_process(COMMAND "${PROGRAM}" -functions
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[A-Za-z0-9_]+\\(\\)" functions "${output}")
if(NOT functions)
    message(FATAL_ERROR "${PROGRAM} has no test functions")
endif()
set(content "")
foreach(function IN LISTS functions)
    string(REPLACE "()" "" function "${function}")
    string(APPEND content
        "add_test([==[${NAME}.${function}]==] [==[${PROGRAM}]==] [==[${function}]==])\n"
        "set_tests_properties([==[${NAME}.${function}]==] PROPERTIES "
        "LABELS [==[${LABELS}]==] RUN_SERIAL [==[${SERIAL}]==])\n")
endforeach()
file(WRITE "${LIST}" "${content}")
