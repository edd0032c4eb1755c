# The target vellumix_ffmpeg: FFmpeg's libraries.

set(VELLUMIX_FFMPEG_ROOT "" CACHE PATH
    "Folder with FFmpeg's include and lib folders; empty: as pkg-config finds it")

add_library(vellumix_ffmpeg INTERFACE)
if(NOT VELLUMIX_FFMPEG_ROOT)
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(FFMPEG REQUIRED IMPORTED_TARGET
        libavformat libavcodec libavutil libswscale)
    target_link_libraries(vellumix_ffmpeg INTERFACE PkgConfig::FFMPEG)
else()
    # NO_CMAKE_FIND_ROOT_PATH: the folder was named, and is for the target as it stands.
    find_path(VELLUMIX_FFMPEG_INCLUDE libavformat/avformat.h
        PATHS "${VELLUMIX_FFMPEG_ROOT}/include" NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    target_include_directories(vellumix_ffmpeg SYSTEM INTERFACE "${VELLUMIX_FFMPEG_INCLUDE}")
    foreach(name IN ITEMS avformat avcodec swresample swscale avutil)
        find_library(VELLUMIX_FFMPEG_${name} ${name}
            PATHS "${VELLUMIX_FFMPEG_ROOT}/lib" NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
        target_link_libraries(vellumix_ffmpeg INTERFACE "${VELLUMIX_FFMPEG_${name}}")
    endforeach()
    if(MINGW)
        # What its static libraries want of the system, zlib being the cross compiler's own.
        target_link_libraries(vellumix_ffmpeg INTERFACE z bcrypt)
    endif()
endif()
