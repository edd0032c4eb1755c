#pragma once

/**
 * The service's log: "RepairService.log" in a directory, shared by all service processes, one
 * line per call:
 *
 *     yyyy-MM-dd hh:mm:ss.zzz [LEVEL] [pid=N] text
 *
 * with local time. The functions may be called from any thread. A log that cannot be written
 * never disturbs the service.
 */

#ifdef _WIN32
#define TARN_LOG_EXPORT __declspec(dllexport)
#else
#define TARN_LOG_EXPORT __attribute__((visibility("default")))
#endif

enum TarnLogLevel { TarnLogDebug = 0, TarnLogInfo = 1, TarnLogWarn = 2, TarnLogError = 3 };

extern "C" {

/**
 * Opens the log of a directory (UTF-8), which is made if need be. A log larger than
 * `limitBytes` first becomes "RepairService.old.log", in place of an earlier one.
 */
TARN_LOG_EXPORT void tarn_log_open(const char *directory, unsigned long long limitBytes);

/** Lines below this level are left out; at the start that is TarnLogInfo. */
TARN_LOG_EXPORT void tarn_log_set_level(TarnLogLevel level);

/** Writes one line (UTF-8). Line breaks and other control characters become spaces, very long texts
 * are cut. */
TARN_LOG_EXPORT void tarn_log_write(TarnLogLevel level, const char *text);
}
