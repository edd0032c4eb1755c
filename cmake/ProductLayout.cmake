# Where the pieces stand in the build tree: the same layout that a person's machine has, so that
# the client finds its service by its own rules.
#
#   bin/Vellumix                                client
#   bin/TarnCommunicationSDK.dll                pipe library, as the client loads it
#   bin/RepairService/bin/x64/RepairService.exe
#   bin/RepairService/lib/x64/*                 pipe library, log library, ffmpeg.exe
#   bin/RepairService/config/KeshRepairConfig.dat

set(VELLUMIX_BIN_DIR "${CMAKE_BINARY_DIR}/bin")
set(VELLUMIX_SERVICE_DIR "${VELLUMIX_BIN_DIR}/RepairService")
set(VELLUMIX_SERVICE_BIN_DIR "${VELLUMIX_SERVICE_DIR}/bin/x64")
set(VELLUMIX_SERVICE_LIB_DIR "${VELLUMIX_SERVICE_DIR}/lib/x64")
set(VELLUMIX_SERVICE_CONFIG_DIR "${VELLUMIX_SERVICE_DIR}/config")

# Relative search paths: the whole bin folder can be moved or copied.
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)

# Lets a program open the pipe library by its bare name when it stands beside the executable.
# DT_RPATH, not RUNPATH: RUNPATH counts only for loads that the executable's own code asks for,
# and a sanitizer's interceptor asks in its place.
function(vellumix_find_libraries_beside target)
    if(UNIX)
        set_property(TARGET ${target} APPEND PROPERTY BUILD_RPATH "$ORIGIN")
        target_link_options(${target} PRIVATE -Wl,--disable-new-dtags)
    endif()
endfunction()
