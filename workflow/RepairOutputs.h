#pragma once

#include <QString>
#include <QStringList>

/**
 * Where a repair's outputs are planned and what became of them. May be called from any thread.
 */

/**
 * A path for the output of one repair, in a folder of its own below the data folder, which is
 * created. Nothing else is ever written there. Whether the folder could be created shows when the
 * service writes to it.
 *
 * @param damagedFile gives the output its suffix
 * @param currentFile gives it where `damagedFile` is empty
 */
QString createRepairOutputPath(const QString &damagedFile, const QString &currentFile,
                               const QString &dataFolder);

/**
 * The files that a repair has written for a planned path, absolute: the planned one, then its
 * companions, which bear its base name, an underscore and more, and its suffix, by name.
 */
QStringList collectRepairOutputs(const QString &plannedOutputPath);

/** Appends a file's absolute path when it is a regular file, not empty and not in the list. */
void appendExistingFile(QStringList &list, const QString &path);
