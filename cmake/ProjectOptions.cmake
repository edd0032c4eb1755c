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

# The compiler's cache, if there is one. It takes results of other checkouts too: what it is given
# are paths below the checkout's top, and the same is what goes into debug information and messages.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT MSVC)
    # It learns from the compiler itself which headers a source reads, without preprocessing it
    # first, and knows precompiled headers by their sums (PrecompiledHeaders.cmake).
    set(CMAKE_CXX_COMPILER_LAUNCHER
        ${CMAKE_COMMAND} -E env
        "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" CCACHE_NOHASHDIR=1
        CCACHE_DEPEND=1 CCACHE_INODECACHE=1 CCACHE_PCH_EXTSUM=1
        CCACHE_SLOPPINESS=pch_defines,time_macros
        "${CCACHE_PROGRAM}")
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        target_compile_options(vellumix_options INTERFACE -fpch-preprocess)
    endif()
endif()
if(NOT MSVC)
    target_compile_options(vellumix_options INTERFACE "-ffile-prefix-map=${PROJECT_SOURCE_DIR}/=")
endif()

# Links some six times as fast as the system's own linker, which a hundred programs feel.
find_program(MOLD_PROGRAM mold)
if(MOLD_PROGRAM AND UNIX AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
    target_link_options(vellumix_options INTERFACE -fuse-ld=mold)
endif()
