#pragma once

#include "service/RepairRequest.h"

#include <QString>

/**
 * What stands between a request and the start of a service process: paths, directories, the
 * service's configuration file. The functions may be called from any thread while the application
 * object lives. Those that can fail return an empty string on success, else the sentence that says
 * what is missing.
 */
namespace RequestPreparation {

/** The parts of a service installation, absolute. */
struct ServicePaths
{
    QString serviceRoot;
    QString serviceExe;
    QString serviceLibDir;
    QString pipeLibrary;
    QString logLibrary;
    /** The service's own log directory, apart from the one that requests hand to it. */
    QString serviceLogDir;
};

/** Lays out the installation under `serviceRoot`; looks at no file. */
ServicePaths resolveServicePaths(const QString &serviceRoot);

/** Checks that executable, library directory and both libraries exist. */
QString checkInstallation(const ServicePaths &paths);

/** Fills the request's empty directories with their defaults. */
void resolveDirectories(RepairRequest &request);

/** Creates the request's log and temp directories with their parents. */
QString createRequestDirectories(const RepairRequest &request);

/**
 * Checks and provides everything that the service at `paths` needs before it is started: the
 * installation, the request's directories, which it sets, the service's log directory and its
 * configuration file.
 */
QString prepare(RepairRequest &request, const ServicePaths &paths);

} // namespace RequestPreparation
