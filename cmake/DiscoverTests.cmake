# Writes a ctest file with an entry for each function of a Qt test program.
# Variables: PROGRAM, NAME, LIST (the file to write), LABELS, SERIAL, LOCK, PROCESSORS, COST,
# EMULATOR (what runs the program, if it does not run by itself).

set(command "${PROGRAM}")
if(EMULATOR)
    set(command "${EMULATOR}" "${PROGRAM}")
endif()
execute_process(COMMAND ${command} -functions
    OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "[A-Za-z0-9_]+\\(\\)" functions "${output}")
if(NOT functions)
    message(FATAL_ERROR "${PROGRAM} has no test functions")
endif()
set(quoted "")
foreach(part IN LISTS command)
    string(APPEND quoted "[==[${part}]==] ")
endforeach()
set(content "")
foreach(function IN LISTS functions)
    string(REPLACE "()" "" function "${function}")
    string(APPEND content
        "add_test([==[${NAME}.${function}]==] ${quoted} [==[${function}]==])\n"
        "set_tests_properties([==[${NAME}.${function}]==] PROPERTIES "
        "LABELS [==[${LABELS}]==] RUN_SERIAL [==[${SERIAL}]==] RESOURCE_LOCK [==[${LOCK}]==] "
        "PROCESSORS ${PROCESSORS} COST ${COST})\n")
endforeach()
file(WRITE "${LIST}" "${content}")
