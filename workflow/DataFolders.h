#pragma once

#include <QString>

/**
 * Where things are: rules from given places to paths. Nothing is created, and nothing but the
 * service's installation is looked for. May be called from any thread.
 */
namespace DataFolders {

/**
 * The service's installation: the folder "RepairService" of the application folder, or, where there
 * is none, the one that a build tree beside the service's own has. With native separators.
 */
QString serviceRoot(const QString &applicationFolder);

/**
 * The folder for thumbnails, repaired files and clips.
 *
 * @param publicProfile the value of the environment's "PUBLIC", taken as it is unless it is blank;
 *                      then the system's folder for temporary files takes its place
 */
QString publicData(const QString &publicProfile);

/** The client's log folder. */
QString logs(const QString &applicationFolder);

/**
 * The file of a video's thumbnail below the data folder. Its name is the SHA-1 of the key's UTF-8
 * with native separators, so it does not tell the video's name to others of the machine.
 *
 * @param isResult the video is a repaired one
 */
QString thumbnail(const QString &dataFolder, const QString &key, bool isResult);

} // namespace DataFolders
