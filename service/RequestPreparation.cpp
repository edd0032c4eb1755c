#include "service/RequestPreparation.h"

#include "app/QtLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace {

// The only platform directory that service installations come with.
QString platformName()
{
    return QStringLiteral("x64");
}

QString configFileName()
{
    return QStringLiteral("KeshRepairConfig.dat");
}

QString inDirectory(const QString &directory, const QString &name)
{
    return QDir(directory).absoluteFilePath(name);
}

QString absoluteRoot(const QString &serviceRoot)
{
    return QFileInfo(serviceRoot).absoluteFilePath();
}

// A configuration already in the root stays, also when the one in the config directory is newer:
// the service may have been set up by hand. The copy's outcome shows when the service starts.
void provideConfiguration(const QString &configDir, const QString &serviceRoot)
{
    const QString target = inDirectory(serviceRoot, configFileName());
    if (QFileInfo::exists(target))
        return;
    QDir().mkpath(serviceRoot);
    QFile::copy(inDirectory(configDir, configFileName()), target);
}

} // namespace

RequestPreparation::ServicePaths RequestPreparation::resolveServicePaths(const QString &serviceRoot)
{
    ServicePaths paths;
    paths.serviceRoot = absoluteRoot(serviceRoot);
    paths.serviceExe =
        inDirectory(paths.serviceRoot,
                    TextPattern::fill(QStringLiteral("bin/%1/RepairService.exe"), platformName()));
    paths.serviceLibDir =
        inDirectory(paths.serviceRoot, TextPattern::fill(QStringLiteral("lib/%1"), platformName()));
    paths.pipeLibrary =
        inDirectory(paths.serviceLibDir, QStringLiteral("TarnCommunicationSDK.dll"));
    paths.logLibrary = inDirectory(paths.serviceLibDir, QStringLiteral("TarnLogSDK.dll"));
    paths.serviceLogDir = inDirectory(paths.serviceRoot, QStringLiteral("Logs"));
    return paths;
}

QString RequestPreparation::checkInstallation(const ServicePaths &paths)
{
    const struct
    {
        QString message;
        QString path;
    } needed[] = {
        {QStringLiteral("RepairService.exe not found: %1"), paths.serviceExe},
        {QStringLiteral("RepairService lib directory not found: %1"), paths.serviceLibDir},
        {QStringLiteral("TarnCommunicationSDK.dll not found: %1"), paths.pipeLibrary},
        {QStringLiteral("TarnLogSDK.dll not found: %1"), paths.logLibrary},
    };
    for (const auto &part : needed) {
        if (!QFileInfo::exists(part.path))
            return TextPattern::fill(part.message, part.path);
    }
    return {};
}

void RequestPreparation::resolveDirectories(RepairRequest &request)
{
    const QString appDir = QCoreApplication::applicationDirPath();
    if (request.configDir.isEmpty())
        request.configDir =
            inDirectory(absoluteRoot(request.serviceRoot), QStringLiteral("config"));
    if (request.logDir.isEmpty())
        request.logDir = inDirectory(appDir, QStringLiteral("Logs"));
    if (request.tempDir.isEmpty())
        request.tempDir = inDirectory(appDir, QStringLiteral("Temp"));
}

QString RequestPreparation::createRequestDirectories(const RepairRequest &request)
{
    if (!QDir().mkpath(request.logDir))
        return TextPattern::fill(QStringLiteral("Failed to create log directory: %1"),
                                 request.logDir);
    if (!QDir().mkpath(request.tempDir))
        return TextPattern::fill(QStringLiteral("Failed to create temp directory: %1"),
                                 request.tempDir);
    return {};
}

QString RequestPreparation::prepare(RepairRequest &request, const ServicePaths &paths)
{
    LOG_INFO(QStringLiteral("Resolved serviceRoot=%1, serviceExe=%2, serviceLibDir=%3"),
             paths.serviceRoot, paths.serviceExe, paths.serviceLibDir);
    if (QString missing = checkInstallation(paths); !missing.isEmpty())
        return missing;

    resolveDirectories(request);
    if (QString failure = createRequestDirectories(request); !failure.isEmpty())
        return failure;
    if (!QDir().mkpath(paths.serviceLogDir))
        return TextPattern::fill(QStringLiteral("Failed to create RepairService log directory: %1"),
                                 paths.serviceLogDir);
    if (!QFileInfo::exists(inDirectory(request.configDir, configFileName())))
        return TextPattern::fill(
            QStringLiteral("KeshRepairConfig.dat not found in config directory: %1"),
            request.configDir);
    provideConfiguration(request.configDir, paths.serviceRoot);

    LOG_INFO(QStringLiteral("Request dirs ready, configPath=%1, logPath=%2, serviceLogPath=%3, "
                            "tempPath=%4"),
             request.configDir, request.logDir, paths.serviceLogDir, request.tempDir);
    return {};
}
