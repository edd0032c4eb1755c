#pragma once

#include <QDir>
#include <QFileInfo>

/**
 * The path in the form that Windows' own calls take however long it is, with its separators.
 *
 * @param path absolute, or seen from the current folder
 */
inline QString longPath(const QString &path)
{
    const QString full = QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
    return full.startsWith(QStringLiteral("\\\\")) ? QStringLiteral("\\\\?\\UNC") + full.mid(1)
                                                   : QStringLiteral("\\\\?\\") + full;
}
