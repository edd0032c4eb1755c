#include "workflow/DataFolders.h"

#include "app/TextPattern.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

namespace {

QString resolved(const QString &folder, const QString &relative)
{
    return QDir::cleanPath(QDir(folder).absoluteFilePath(relative));
}

QString temporaryFolder()
{
    const QString standard = QStandardPaths::writableLocation(QStandardPaths::TempLocation);
    return standard.isEmpty() ? QDir::tempPath() : standard;
}

} // namespace

QString DataFolders::serviceRoot(const QString &applicationFolder)
{
    QString root = resolved(applicationFolder, QStringLiteral("RepairService"));
    if (!QFileInfo::exists(root))
        root = resolved(applicationFolder, QStringLiteral("../../../../RepairService/install"));
    return QDir::toNativeSeparators(root);
}

QString DataFolders::publicData(const QString &publicProfile)
{
    const bool isBlank = publicProfile.trimmed().isEmpty();
    return resolved(isBlank ? temporaryFolder() : publicProfile,
                    QStringLiteral("Vellumix/Tessaly"));
}

QString DataFolders::logs(const QString &applicationFolder)
{
    return resolved(applicationFolder, QStringLiteral("Logs"));
}

QString DataFolders::thumbnail(const QString &dataFolder, const QString &key, bool isResult)
{
    const QByteArray digest =
        QCryptographicHash::hash(QDir::toNativeSeparators(key).toUtf8(), QCryptographicHash::Sha1);
    return resolved(dataFolder, TextPattern::fill(QStringLiteral("thumbs/%1/%2.jpg"),
                                                  isResult ? QStringLiteral("result-thumbs")
                                                           : QStringLiteral("source-thumbs"),
                                                  QString::fromLatin1(digest.toHex())));
}
