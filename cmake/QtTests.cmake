find_package(Qt6 6.4 REQUIRED COMPONENTS Test)
vellumix_add_precompiled(test Qt6::Widgets Qt6::Test)

set(VELLUMIX_TEST_DIR "${CMAKE_BINARY_DIR}/tests")

# All tests that have the label "threads": what ThreadSanitizer is for.
add_custom_target(ThreadTests)

# A test function, with all rows of its data, that takes longer hangs. Those that need more name it.
# With sanitizers and under Wine all take some three times as long.
set(VELLUMIX_TEST_SECONDS 60)
if(VELLUMIX_SANITIZE OR CMAKE_CROSSCOMPILING)
    set(VELLUMIX_TEST_SECONDS 180)
endif()

# vellumix_add_test(NAME SOURCES... [LIBRARIES ...] [LABELS ...] [SECONDS N] [EACH] [SERIAL] [BUSY]
#     [UNLISTED])
#
# A test program with one entry for ctest; with EACH, one for each test function, which then run
# side by side. With SERIAL nothing else runs beside it; BUSY says that it computes all the time,
# where others mostly wait: fewer run at a time. UNLISTED makes no entry. SECONDS is what one of its
# functions may take at most on a slow machine with other work, if it is more than
# VELLUMIX_TEST_SECONDS.
function(vellumix_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "EACH;SERIAL;BUSY;UNLISTED" "SECONDS" "SOURCES;LIBRARIES;LABELS")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE vellumix_testing ${arg_LIBRARIES})
    list(GET arg_SOURCES 0 main_source)
    vellumix_add_moc(${name} "${main_source}")
    vellumix_precompile(test ${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${VELLUMIX_TEST_DIR}")
    vellumix_find_libraries_beside(${name})
    if(TARGET Qt6::QOffscreenIntegrationPlugin)
        qt_import_plugins(${name} INCLUDE Qt6::QOffscreenIntegrationPlugin)
    endif()
    add_dependencies(${name} ProgramsForTests)
    if("threads" IN_LIST arg_LABELS)
        add_dependencies(ThreadTests ${name})
    endif()
    if(NOT arg_SECONDS OR arg_SECONDS LESS VELLUMIX_TEST_SECONDS)
        set(arg_SECONDS ${VELLUMIX_TEST_SECONDS})
    endif()
    target_compile_definitions(${name} PRIVATE VELLUMIX_TEST_SECONDS=${arg_SECONDS})
    if(arg_UNLISTED)
        return()
    endif()
    # Lines that several processes append to one file at a time are whole on Linux alone. Tests with
    # a window have a log of their own.
    set(lock "")
    if(WIN32 AND arg_SOURCES MATCHES "^(app|engine|service)/")
        set(lock log)
    endif()
    # What computes begins first, so that nothing waits for it at the end.
    set(processors 1)
    set(cost 0)
    if(arg_BUSY)
        set(processors 3)
        set(cost ${arg_SECONDS})
    endif()
    if(NOT arg_EACH)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES
            LABELS "${arg_LABELS}" RUN_SERIAL "${arg_SERIAL}" RESOURCE_LOCK "${lock}"
            PROCESSORS ${processors} COST ${cost})
        return()
    endif()

    set(list "${CMAKE_CURRENT_BINARY_DIR}/${name}_tests.cmake")
    # A program that is not built has no tests.
    if(NOT EXISTS "${list}")
        file(TOUCH "${list}")
    endif()
    add_custom_command(TARGET ${name} POST_BUILD
        BYPRODUCTS "${list}"
        COMMAND ${CMAKE_COMMAND}
            -D PROGRAM=$<TARGET_FILE:${name}> -D NAME=${name} -D LIST=${list}
            "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
            "-DLABELS=${arg_LABELS}" "-DSERIAL=${arg_SERIAL}" "-DLOCK=${lock}"
            -DPROCESSORS=${processors} -DCOST=${cost}
            -P "${PROJECT_SOURCE_DIR}/cmake/DiscoverTests.cmake"
        VERBATIM)
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${list}")
endfunction()
