// The client with work that does not end, closed in the middle of it, to be copied into a folder of
// its own by tests.
//
//   StuckClient VIDEOS PHOTOS EXITCODE
//
// asks for the thumbnails of all files in the folder VIDEOS, and closes the window once as many
// files as PHOTOS says have been written to the thumbnails' folder; then asks the event loop to end
// with EXITCODE. When it closes it prints the time, in milliseconds since 1970.

#include "app/ClientMain.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/WindowProbe.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QTimer>

#include <cstdio>

namespace {

void askForThumbnails(MainWindow &window, const QString &folder)
{
    WindowProbe probe(window);
    const QFileInfoList videos = QDir(folder).entryInfoList(QDir::Files, QDir::Name);
    for (const QFileInfo &video : videos)
        probe.requestThumbnail(video.filePath(), video.filePath(), false);
}

void closeWhenHeld(MainWindow &window, qsizetype photos, int exitCode)
{
    const QString folder = QFileInfo(WindowProbe::thumbnailPath({}, false)).path();
    auto *timer = new QTimer(&window);
    QObject::connect(timer, &QTimer::timeout, &window, [&window, timer, folder, photos, exitCode] {
        if (entriesOf(folder).size() < photos)
            return;
        timer->stop();
        std::printf("%lld\n", QDateTime::currentMSecsSinceEpoch());
        std::fflush(stdout);
        window.close();
        QCoreApplication::exit(exitCode);
    });
    timer->start(1);
}

} // namespace

int main(int argc, char *argv[])
{
    return clientMain(argc, argv, [](MainWindow &window) {
        const QStringList arguments = QCoreApplication::arguments();
        askForThumbnails(window, arguments.value(1));
        closeWhenHeld(window, arguments.value(2).toInt(), arguments.value(3).toInt());
    });
}
