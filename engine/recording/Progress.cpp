#include "engine/recording/Progress.h"

#include "engine/log/LogLine.h"

#include <string>

void Progress::reach(std::uint64_t done)
{
    constexpr std::uint64_t steps = 10;
    constexpr std::uint64_t percentInStep = 100 / steps;
    // Of very large totals, what the product cannot hold does not matter.
    const std::uint64_t step = total >= steps ? done / (total / steps) : 0;
    if (step <= lastStep || step > steps)
        return;
    lastStep = step;
    logLine(TarnLogInfo, std::string(activity) + " " + std::to_string(step * percentInStep) + " %");
}
