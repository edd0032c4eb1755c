# The target nlohmann_json::nlohmann_json.
if(NOT CMAKE_CROSSCOMPILING)
    find_package(nlohmann_json 3.11 REQUIRED)
    return()
endif()

# Headers alone, which serve any target: those of the machine that builds, and they alone, for the
# folder that they stand in has this machine's own system beside them.
set(headers "${CMAKE_BINARY_DIR}/headers")
if(NOT EXISTS /usr/include/nlohmann/json.hpp)
    message(FATAL_ERROR "nlohmann/json.hpp is missing: nlohmann-json3-dev has it")
endif()
file(MAKE_DIRECTORY "${headers}")
file(CREATE_LINK /usr/include/nlohmann "${headers}/nlohmann" SYMBOLIC)
add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED)
target_include_directories(nlohmann_json::nlohmann_json SYSTEM INTERFACE "${headers}")
