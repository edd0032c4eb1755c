# Puts FFmpeg's program into the service folder, as "ffmpeg.exe" on every system. What makes it is
# named in ffmpeg_program.

set(ffmpeg_program "${VELLUMIX_SERVICE_LIB_DIR}/ffmpeg.exe")
set(objects "${VELLUMIX_FFMPEG_ROOT}/lib/ffmpeg.exe-objects")

if(VELLUMIX_FFMPEG_ROOT AND IS_DIRECTORY "${objects}")
    # From the objects of our own build of it, so that it has icon, version and manifest.
    file(GLOB objects "${objects}/*.o")
    set_source_files_properties(${objects} PROPERTIES EXTERNAL_OBJECT TRUE)
    add_executable(ffmpeg ${objects})
    set_target_properties(ffmpeg PROPERTIES
        LINKER_LANGUAGE CXX RUNTIME_OUTPUT_DIRECTORY "${VELLUMIX_SERVICE_LIB_DIR}")
    foreach(name IN ITEMS avfilter avformat avcodec swresample swscale avutil)
        target_link_libraries(ffmpeg PRIVATE "${VELLUMIX_FFMPEG_ROOT}/lib/lib${name}.a")
    endforeach()
    target_link_libraries(ffmpeg PRIVATE vellumix_options z bcrypt psapi shell32)
    vellumix_add_resources(ffmpeg "FFmpeg")
    set(ffmpeg_program ffmpeg)
else()
    find_program(VELLUMIX_FFMPEG_PROGRAM ffmpeg HINTS "${VELLUMIX_FFMPEG_ROOT}/bin" REQUIRED)
    # On Windows links are for administrators.
    set(how $<IF:$<PLATFORM_ID:Windows>,copy,create_symlink>)
    add_custom_command(
        OUTPUT "${ffmpeg_program}"
        COMMAND ${CMAKE_COMMAND} -E make_directory "${VELLUMIX_SERVICE_LIB_DIR}"
        COMMAND ${CMAKE_COMMAND} -E ${how} "${VELLUMIX_FFMPEG_PROGRAM}" "${ffmpeg_program}")
endif()
