#include "engine/log/LogLine.h"
#include "engine/media/Ffmpeg.h"
#include "engine/service/CommandLine.h"
#include "engine/service/ProcessWatch.h"
#include "engine/service/ServiceArguments.h"
#include "engine/service/ServiceConfig.h"
#include "engine/service/Session.h"

#include <fstream>
#include <iostream>
#include <iterator>

namespace {

// The client starts the service in its root, where it has put the configuration.
ServiceConfig readConfig()
{
    std::ifstream file("KeshRepairConfig.dat", std::ios::binary);
    return parseConfig({std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()});
}

void openLog(const ServiceConfig &config)
{
    constexpr unsigned long long bytesPerMiB = 1ULL << 20U;
    tarn_log_open("Logs", config.logLimitMiB * bytesPerMiB);
    tarn_log_set_level(config.logLevel);
    if (!config.complaint.empty())
        logLine(TarnLogWarn, "KeshRepairConfig.dat: " + config.complaint);
    Ffmpeg::routeMessages();
}

} // namespace

int main(int argc, char *argv[])
{
    ProcessWatch::prepare();
    const auto arguments = parseArguments(CommandLine::arguments(argc, argv));
    if (!arguments) {
        std::cerr << "RepairService is started by its client, once for each request, as\n"
                     "RepairService.exe Kesh_File_Repair_Win VideoRepairServer TOKEN\n";
        return static_cast<int>(ExitCode::Usage);
    }
    openLog(readConfig());
    Session(*arguments).run();
}
