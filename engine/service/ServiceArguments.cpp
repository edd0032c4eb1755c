#include "engine/service/ServiceArguments.h"

std::optional<ServiceArguments> parseArguments(const std::vector<std::string> &arguments)
{
    if (arguments.size() != 3 || arguments[0] != "Kesh_File_Repair_Win" ||
        arguments[1] != "VideoRepairServer" || arguments[2].empty())
        return std::nullopt;
    const std::string &server = arguments[1];
    const std::string &token = arguments[2];
    return ServiceArguments{.token = token,
                            .returnPipe = server + "_return_" + token,
                            .receivePipe = server + "_receive_" + token};
}
