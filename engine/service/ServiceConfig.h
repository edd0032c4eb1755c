#pragma once

#include "engine/log/TarnLog.h"

#include <string>

/** Settings of "KeshRepairConfig.dat": a JSON object, every key optional. */
struct ServiceConfig
{
    /** "logLevel": "debug", "info", "warn" or "error"; the least that is logged. */
    TarnLogLevel logLevel = TarnLogInfo;
    /** "logLimitMiB": size in MiB beyond which a new log is begun. */
    unsigned long long logLimitMiB = 4;
    /** What is wrong with the text, for the log; empty when nothing is. */
    std::string complaint;
};

/** Reads the settings; what cannot be understood keeps its default and is complained of. */
ServiceConfig parseConfig(const std::string &text);
