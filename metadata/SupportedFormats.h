#pragma once

#include <QString>
#include <QStringList>

/**
 * Which kinds of files the client knows. Any existing file may be imported; the list serves the
 * import dialog and a notice before a repair. All functions may be called from any thread.
 */

/** The common formats' extensions, lower case, without dots, in the order in which they are shown.
 */
const QStringList &supportedExtensions();

/**
 * The last suffix of the path's file name, in any case, is one of supportedExtensions(). The file
 * need not exist.
 */
bool isSupportedFormat(const QString &path);

/** File names of those paths that isSupportedFormat() is false for, in their order. */
QStringList unsupportedFileNames(const QStringList &paths);

/** Filter of the dialog that chooses damaged videos: the supported extensions, then all files. */
QString importFilter();

/** Filter of the dialog that chooses a sample video. */
QString sampleFilter();
