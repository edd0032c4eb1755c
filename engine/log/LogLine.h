#pragma once

#include "engine/log/TarnLog.h"

#include <string>

/** Writes one line to the service's log. May be called from any thread. */
inline void logLine(TarnLogLevel level, const std::string &text)
{
    tarn_log_write(level, text.c_str());
}
