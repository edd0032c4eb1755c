# The target xxhash: the hash's header, which holds all of it (XXH_INLINE_ALL).
find_path(XXHASH_INCLUDE_DIR xxhash.h NO_CMAKE_FIND_ROOT_PATH)
if(NOT XXHASH_INCLUDE_DIR)
    message(FATAL_ERROR "xxhash.h is missing: libxxhash-dev has it")
endif()

# It serves any target, and it alone does: the folder that it stands in may have this machine's own
# system beside it.
set(headers "${CMAKE_BINARY_DIR}/headers/xxhash")
file(MAKE_DIRECTORY "${headers}")
configure_file("${XXHASH_INCLUDE_DIR}/xxhash.h" "${headers}/xxhash.h" COPYONLY)
add_library(xxhash INTERFACE)
target_include_directories(xxhash SYSTEM INTERFACE "${headers}")
