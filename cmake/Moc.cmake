# All sources that are generated and included by others.
add_custom_target(GeneratedSources)

# vellumix_add_moc(TARGET SOURCE...)
#
# Lets Qt's moc read these sources of a target. What it makes of a header is compiled with what it
# makes of the target's other headers; what it makes of NAME.cpp is for that to include at its end,
# as NAME.moc. It reads no headers and needs none: what it is to know of the system is defined here,
# and a call takes a twentieth of the time. CMake's own AUTOMOC, which finds the sources by itself,
# costs a process of CMake, a compile and most of two seconds for each target.
function(vellumix_add_moc target)
    set(folder "${CMAKE_CURRENT_BINARY_DIR}/moc")
    set(outputs "")
    set(of_headers "")
    foreach(source IN LISTS ARGN)
        get_filename_component(name "${source}" NAME_WE)
        set(output "${name}.moc")
        if(source MATCHES "\\.h$")
            set(output "moc_${name}.cpp")
            string(APPEND of_headers "#include \"${output}\"\n")
        endif()
        add_custom_command(
            OUTPUT "${folder}/${output}"
            COMMAND Qt6::moc
                "$<$<PLATFORM_ID:Windows>:-D_WIN32;-DQ_OS_WIN>"
                -o "${folder}/${output}" "${CMAKE_CURRENT_SOURCE_DIR}/${source}"
            DEPENDS "${source}"
            COMMAND_EXPAND_LISTS VERBATIM)
        list(APPEND outputs "${folder}/${output}")
    endforeach()
    target_sources(${target} PRIVATE ${outputs})
    set_source_files_properties(${outputs} PROPERTIES HEADER_FILE_ONLY ON)
    if(of_headers)
        file(CONFIGURE OUTPUT "${folder}/mocs_${target}.cpp" CONTENT "${of_headers}")
        target_sources(${target} PRIVATE "${folder}/mocs_${target}.cpp")
    endif()
    add_custom_target(${target}_moc DEPENDS ${outputs})
    add_dependencies(${target} ${target}_moc)
    add_dependencies(GeneratedSources ${target}_moc)
    target_include_directories(${target} PRIVATE "${folder}")
endfunction()
