find_package(Qt6 6.4 REQUIRED COMPONENTS Test)

set(VELLUMIX_TEST_DIR "${CMAKE_BINARY_DIR}/tests")

# vellumix_add_test(NAME SOURCES... [LIBRARIES ...] [LABELS ...] [EACH] [SERIAL] [UNLISTED])
#
# A test program with one entry for ctest; with EACH, one for each test function, which then run
# side by side. With SERIAL nothing else runs beside it; UNLISTED makes no entry.
function(vellumix_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "EACH;SERIAL;UNLISTED" "" "SOURCES;LIBRARIES;LABELS")
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE vellumix_testing ${arg_LIBRARIES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${VELLUMIX_TEST_DIR}")
    vellumix_find_libraries_beside(${name})
    if(TARGET Qt6::QOffscreenIntegrationPlugin)
        qt_import_plugins(${name} INCLUDE Qt6::QOffscreenIntegrationPlugin)
    endif()
    add_dependencies(${name} ProgramsForTests)
    if(arg_UNLISTED)
        return()
    endif()
    # Lines that several processes append to one file at a time are whole on Linux alone. Tests with
    # a window have a log of their own.
    set(lock "")
    if(WIN32 AND arg_SOURCES MATCHES "^(app|engine|service)/")
        set(lock log)
    endif()
    if(NOT arg_EACH)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES
            LABELS "${arg_LABELS}" RUN_SERIAL "${arg_SERIAL}" RESOURCE_LOCK "${lock}")
        return()
    endif()

    set(list "${CMAKE_CURRENT_BINARY_DIR}/${name}_tests.cmake")
    add_custom_command(TARGET ${name} POST_BUILD
        BYPRODUCTS "${list}"
        COMMAND ${CMAKE_COMMAND}
            -D PROGRAM=$<TARGET_FILE:${name}> -D NAME=${name} -D LIST=${list}
            "-DEMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}"
            "-DLABELS=${arg_LABELS}" "-DSERIAL=${arg_SERIAL}" "-DLOCK=${lock}"
            -P "${PROJECT_SOURCE_DIR}/cmake/DiscoverTests.cmake"
        VERBATIM)
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES "${list}")
endfunction()
