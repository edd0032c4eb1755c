#pragma once

#include "tests/support/OwnFolder.h"

#include <QApplication>
#include <QFile>
#include <QTemporaryDir>

/** Surroundings of a window that is measured: no display, data of its own, the local service. */
class BenchWindow
{
public:
    BenchWindow(int &argc, char **argv)
        : ownFolder(argv), isSet(prepare(publicFolder.path())), application(argc, argv)
    {
        QFile::link(QStringLiteral(VELLUMIX_SERVICE_ROOT),
                    QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService"));
    }

private:
    static bool prepare(const QString &publicPath)
    {
        return qputenv("QT_QPA_PLATFORM", "offscreen") && qputenv("PUBLIC", publicPath.toUtf8());
    }

    const Testing::OwnFolder ownFolder;
    const QTemporaryDir publicFolder;
    const bool isSet;
    const QApplication application;
};
