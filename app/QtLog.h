#pragma once

#include "app/TextPattern.h"

#include <QString>
#include <QtGlobal>

/**
 * The program's one diagnostic channel: "Logs/Korvane.log" beside the executable.
 *
 * One line per call, on disk when the call returns:
 *
 *     yyyy-MM-dd hh:mm:ss.zzz [LEVEL] [tid=N] signature:line - message
 *
 * with local time and the operating system's id of the calling thread. Lines end in the
 * platform's way. A log that cannot be written never disturbs the program: the line is lost.
 */
class QtLog
{
public:
    /**
     * Fixes the log file's path, creates its folder and writes the first line. Called once at
     * start-up, on the main thread, before other threads log; needs the application object.
     */
    static void init();

    /**
     * Appends one line. May be called from any thread, before init() as well, once the application
     * object exists.
     *
     * @param level one of "DEBUG", "INFO", "WARN", "ERROR", "FATAL"
     * @param function full signature of the calling function
     * @param line source line of the call
     * @param message text of the line, written as it is
     */
    static void write(const char *level, const char *function, int line, const QString &message);

    /**
     * Routes Qt's own messages into the file; to be given to qInstallMessageHandler. Neither
     * prints to the console nor calls an earlier handler. May be called from any thread.
     */
    static void messageHandler(QtMsgType type, const QMessageLogContext &context,
                               const QString &message);
};

// Log a pattern with its values under the signature and line of the caller.
#define LOG_INFO(...) QtLog::write("INFO", Q_FUNC_INFO, __LINE__, TextPattern::fill(__VA_ARGS__))
#define LOG_WARN(...) QtLog::write("WARN", Q_FUNC_INFO, __LINE__, TextPattern::fill(__VA_ARGS__))
#define LOG_ERROR(...) QtLog::write("ERROR", Q_FUNC_INFO, __LINE__, TextPattern::fill(__VA_ARGS__))
