#include "workflow/RepairOutputs.h"

#include "app/TextPattern.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

namespace {

/** Files of the planned one's kind by their names' ends; the beginning is looked at apart. */
bool hasEndOf(const QString &name, const QString &baseName, const QString &suffix)
{
    if (suffix.isEmpty())
        return name.startsWith(baseName + QLatin1Char('_'), Qt::CaseInsensitive);
    return name.startsWith(baseName, Qt::CaseInsensitive) &&
           name.endsWith(QLatin1Char('.') + suffix, Qt::CaseInsensitive);
}

} // namespace

QString createRepairOutputPath(const QString &damagedFile, const QString &currentFile,
                               const QString &dataFolder)
{
    QString suffix = QFileInfo(damagedFile.isEmpty() ? currentFile : damagedFile).suffix();
    if (suffix.isEmpty())
        suffix = QStringLiteral("mp4");
    const QString uuid = QUuid::createUuid().toString(QUuid::WithoutBraces);
    const QDir folder(QDir(dataFolder).absoluteFilePath(uuid));
    folder.mkpath(QStringLiteral("."));
    return folder.absoluteFilePath(TextPattern::fill(QStringLiteral("repair_%1.%2"), uuid, suffix));
}

QStringList collectRepairOutputs(const QString &plannedOutputPath)
{
    QStringList outputs;
    appendExistingFile(outputs, plannedOutputPath);

    const QFileInfo planned(plannedOutputPath);
    const QString baseName = planned.completeBaseName();
    // Compared as texts: a suffix may hold what a name filter would take for a wildcard.
    const QFileInfoList files = planned.absoluteDir().entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &file : files) {
        if (hasEndOf(file.fileName(), baseName, planned.suffix()) &&
            file.completeBaseName().startsWith(baseName + QLatin1Char('_')))
            appendExistingFile(outputs, file.absoluteFilePath());
    }
    return outputs;
}

void appendExistingFile(QStringList &list, const QString &path)
{
    const QFileInfo file(path);
    const QString absolute = file.absoluteFilePath();
    if (file.isFile() && file.size() > 0 && !list.contains(absolute))
        list.append(absolute);
}
