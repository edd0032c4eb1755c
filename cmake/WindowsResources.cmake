# vellumix_add_resources(TARGET DESCRIPTION)
#
# What Windows reads out of a file: version and, in a program, icon and manifest. Nothing on other
# systems.
function(vellumix_add_resources target description)
    if(NOT WIN32)
        return()
    endif()
    get_target_property(type ${target} TYPE)
    set(TARGET_FILE "$<TARGET_FILE_NAME:${target}>")
    set(TARGET_DESCRIPTION "${description}")
    string(REPLACE "." "," version "${PROJECT_VERSION}")
    set(PROGRAM_PARTS "")
    set(FILE_TYPE VFT_DLL)
    set(icon "${VELLUMIX_BIN_DIR}/app_icon.ico")
    if(type STREQUAL EXECUTABLE)
        set(FILE_TYPE VFT_APP)
        # 24 is a manifest, and 1 the one that a program starts with.
        set(PROGRAM_PARTS "1 ICON \"${icon}\"\n1 24 \"${VELLUMIX_MANIFEST}\"\n")
    endif()
    set(script "${CMAKE_CURRENT_BINARY_DIR}/${target}.rc")
    configure_file("${PROJECT_SOURCE_DIR}/cmake/windows/program.rc.in" "${script}.in" @ONLY)
    file(GENERATE OUTPUT "${script}" INPUT "${script}.in")
    set_source_files_properties("${script}" PROPERTIES
        OBJECT_DEPENDS "${icon};${VELLUMIX_MANIFEST}")
    target_sources(${target} PRIVATE "${script}")
    # Else the linker adds one of its own.
    if(MSVC)
        target_link_options(${target} PRIVATE /MANIFEST:NO)
    endif()
endfunction()

set(VELLUMIX_MANIFEST "${PROJECT_SOURCE_DIR}/cmake/windows/program.manifest")
