#include "workflow/SaveNames.h"

#include "app/TextPattern.h"

#include <QDir>
#include <QFileInfo>

QString proposedSavePath(const QString &damagedFile, const QString &output)
{
    const QFileInfo damaged(damagedFile);
    const QString name = TextPattern::fill(QStringLiteral("%1_repaired.%2"),
                                           damaged.completeBaseName(), QFileInfo(output).suffix());
    return QDir::toNativeSeparators(damaged.absoluteDir().absoluteFilePath(name));
}

QString numberedSaveName(const QString &damagedFile, qsizetype number, const QString &output)
{
    return TextPattern::fill(QStringLiteral("%1_%2_repaired.%3"),
                             QFileInfo(damagedFile).completeBaseName(), number,
                             QFileInfo(output).suffix());
}

QString saveFilter(const QString &output)
{
    return TextPattern::fill(QStringLiteral("Video files (*.%1);;All files (*.*)"),
                             QFileInfo(output).suffix());
}
