# The one place for language level, warnings and sanitizers: every target of ours links
# vellumix_options and sets nothing of the kind itself.

set(VELLUMIX_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize= takes them")

add_library(vellumix_options INTERFACE)
target_compile_features(vellumix_options INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)

if(MSVC)
    target_compile_options(vellumix_options INTERFACE
        /W4 /permissive- /utf-8 /EHsc /Zc:__cplusplus /Zc:preprocessor)
    # The C library's own names for its functions, and no others, are what other systems have too.
    target_compile_definitions(vellumix_options INTERFACE
        _CRT_SECURE_NO_WARNINGS _CRT_NONSTDC_NO_WARNINGS)
else()
    target_compile_options(vellumix_options INTERFACE
        -Wall -Wextra -Wpedantic -Werror
        -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-qual
        -Wnon-virtual-dtor -Woverloaded-virtual -Wextra-semi)
endif()
target_compile_definitions(vellumix_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
if(MINGW)
    target_link_options(vellumix_options INTERFACE $<$<CONFIG:Release>:-s>)
endif()
if(WIN32)
    # Calls take wide characters; headers leave out what is rarely wanted, min and max among it.
    target_compile_definitions(vellumix_options INTERFACE
        UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()

if(VELLUMIX_SANITIZE)
    target_compile_options(vellumix_options INTERFACE
        -fsanitize=${VELLUMIX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(vellumix_options INTERFACE -fsanitize=${VELLUMIX_SANITIZE})
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT MSVC)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${CCACHE_PROGRAM}")
endif()

# A change of clang-tidy's settings changes its command line, so that everything is checked anew.
if(CMAKE_CXX_CLANG_TIDY)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/.clang-tidy")
    file(SHA256 "${PROJECT_SOURCE_DIR}/.clang-tidy" tidy_settings)
    list(APPEND CMAKE_CXX_CLANG_TIDY "--extra-arg=-DTIDY_SETTINGS=0x${tidy_settings}")
endif()

# clang-tidy takes the settings of the nearest folder above a file. Generated sources stand in
# the build tree: they get settings of their own that let them be.
file(WRITE "${CMAKE_BINARY_DIR}/.clang-tidy" "Checks: '-*,readability-delete-null-pointer'\n")
