#pragma once

#include <optional>
#include <string>
#include <vector>

/** What a client starts the service with. */
struct ServiceArguments
{
    /** Makes the pipe names of this request unlike those of any other. */
    std::string token;
    /** The pipe that the answer goes into. */
    std::string returnPipe;
    /** The pipe that the request comes out of. */
    std::string receivePipe;
};

/**
 * Reads the arguments after the program's name: "Kesh_File_Repair_Win", "VideoRepairServer" and
 * the request's token. None when they are not these.
 */
std::optional<ServiceArguments> parseArguments(const std::vector<std::string> &arguments);
