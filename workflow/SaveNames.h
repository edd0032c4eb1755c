#pragma once

#include <QString>

/** Names for saved copies, from the damaged file and its output. May be called from any thread. */

/** Where a single output is proposed to go: beside its damaged file. With native separators. */
QString proposedSavePath(const QString &damagedFile, const QString &output);

/**
 * The name of one of several outputs.
 *
 * @param number its place among all outputs, from 1
 */
QString numberedSaveName(const QString &damagedFile, qsizetype number, const QString &output);

/** Filter of the dialog that asks where a single output is to go. */
QString saveFilter(const QString &output);
