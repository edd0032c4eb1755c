#pragma once

#include <QString>

/**
 * One call to the repair service: where the service is installed, which files the call is about,
 * which directories the service may use and how long to wait. Copied freely.
 */
struct RepairRequest
{
    /** Advanced repair, with a sample; read by the repair operation only. */
    bool advanced = false;
    /** Installation root; a relative one is taken against the current directory. */
    QString serviceRoot;
    /** Damaged video; repair only. */
    QString damagedPath;
    /** Playable video from the same device; advanced repair only. */
    QString samplePath;
    /** Where the repaired file is to be written; repair only. */
    QString outFilePath;
    /** Log directory handed to the service; empty means "Logs" in the application directory. */
    QString logDir;
    /** Temp directory handed to the service; empty means "Temp" in the application directory. */
    QString tempDir;
    /** Holds the service's configuration file; empty means "config" in the service root. */
    QString configDir;
    /** How long a repair waits for its answer, in seconds. */
    qint32 timeoutSeconds = 0;
};
