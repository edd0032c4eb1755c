#pragma once

#include <QString>

/**
 * Ends every process that runs a program of this file name and that the user may end, whoever
 * started it, with all its child processes. Blocks until they have ended, where that is this
 * program's own doing for a second at most.
 *
 * Returns what the system's command for it exits with: 0 when something was ended, 128 when there
 * was nothing to end, 1 when there was something and none of it could be ended. On Windows, where
 * it is that command, also -2 when it could not be started and -1 when it crashed.
 *
 * @param imageName file name of the program, for instance "RepairService.exe"
 */
int endProcesses(const QString &imageName);
