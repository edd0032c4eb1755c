#include "tests/support/Recordings.h"

#include <QDir>
#include <QFileInfo>
#include <QLockFile>

QString Recordings::kept(const QString &name, const std::function<void(const QString &path)> &make)
{
    QString path = QStringLiteral(VELLUMIX_RECORDINGS "/") + name;
    const QFileInfo file(path);
    if (file.exists())
        return path;
    QDir().mkpath(file.path());
    QLockFile lock(path + QStringLiteral(".lock"));
    lock.setStaleLockTime(0);
    if (!lock.lock())
        qFatal("cannot lock %s", qPrintable(path));
    if (QFileInfo::exists(path))
        return path;
    // Made under another name first: a run that is broken off leaves no half file behind.
    const QString part = file.dir().filePath(QStringLiteral("part-") + file.fileName());
    make(part);
    if (!QFile::rename(part, path))
        qFatal("cannot name %s", qPrintable(path));
    return path;
}
