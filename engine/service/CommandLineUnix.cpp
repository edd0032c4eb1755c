#include "engine/service/CommandLine.h"

std::vector<std::string> CommandLine::arguments(int argc, char *argv[])
{
    return {argv + 1, argv + argc};
}
