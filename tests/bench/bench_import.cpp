// The import of 10, 100, 1,000 and 10,000 files: ./dev bench import. For each number tells the time
// until the list is on the screen, the longest time for which the interface did not get round to
// its timers, then and while thumbnails arrive and the list is scrolled from end to end, and how
// much the program has grown. Ends with code 1 when 1,000 files hold the interface up for longer
// than they may.

#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/Heartbeat.h"
#include "tests/support/OwnFolder.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QElapsedTimer>
#include <QScrollBar>

#include <cstdio>
#include <filesystem>

namespace {

constexpr qint64 longestHoldUpMs = 100;
constexpr int heldUpCount = 1000;
constexpr int arrivalMs = 5000;
constexpr int scrollSteps = 200;

/** Resident memory of this process, in MiB. */
double residentMiB()
{
    const QList<QByteArray> fields = readFile(QStringLiteral("/proc/self/statm")).split(' ');
    return fields.value(1).toDouble() * 4096 / 1024 / 1024;
}

QStringList makeVideos(const QString &folder, int count)
{
    const QString original = folder + QStringLiteral("/original.mp4");
    Footage::make(original, {}, 1);
    QStringList videos;
    for (int i = 1; i <= count; ++i) {
        videos.append(folder + QStringLiteral("/holiday %1.mp4").arg(i));
        std::filesystem::create_hard_link(original.toStdString(), videos.last().toStdString());
    }
    return videos;
}

void scrollThrough(MainWindow &window)
{
    QScrollBar *bar = window.findChild<QScrollArea *>()->verticalScrollBar();
    for (int i = 0; i <= scrollSteps; ++i) {
        bar->setValue(static_cast<int>(static_cast<qint64>(bar->maximum()) * i / scrollSteps));
        QCoreApplication::processEvents();
    }
}

/** Returns the longest hold-up in milliseconds. */
qint64 measure(int count)
{
    const QTemporaryDir folder;
    const QStringList videos = makeVideos(folder.path(), count);
    MainWindow window;
    window.show();
    QCoreApplication::processEvents();
    WindowProbe probe(window);
    const double before = residentMiB();

    Heartbeat heartbeat;
    QElapsedTimer timer;
    timer.start();
    probe.addDamagedFiles(videos, true);
    // Everything posted, layout and painting included.
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    const double shown = static_cast<double>(timer.nsecsElapsed()) / 1e6;
    QTest::qWait(0);
    const qint64 importing = heartbeat.takeLongest();
    QTest::qWait(arrivalMs);
    const qint64 arriving = heartbeat.takeLongest();
    scrollThrough(window);
    QTest::qWait(0);
    const qint64 scrolling = heartbeat.takeLongest();
    std::printf("%7d %10.1f %10lld %10lld %10lld %10.1f\n", count, shown, importing, arriving,
                scrolling, residentMiB() - before);
    std::fflush(stdout);

    probe.resetToImportPage();
    if (!QTest::qWaitFor([&] { return probe.runningThumbs() == 0; }, 60000))
        std::puts("        (thumbnails are still being made)");
    return qMax(importing, qMax(arriving, scrolling));
}

} // namespace

int main(int argc, char *argv[])
{
    const Testing::OwnFolder ownFolder(argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QTemporaryDir publicFolder;
    qputenv("PUBLIC", publicFolder.path().toUtf8());
    const QApplication application(argc, argv);
    QFile::link(QStringLiteral(VELLUMIX_SERVICE_ROOT),
                QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService"));
    std::puts("                      longest hold-up of the interface, ms");
    std::puts("  files   shown, ms  importing   arriving  scrolling  growth, MiB");
    bool good = true;
    for (const int count : {10, 100, 1000, 10000}) {
        const qint64 heldUp = measure(count);
        if (count == heldUpCount)
            good = heldUp <= longestHoldUpMs;
    }
    Workers::awaitAll(std::chrono::seconds(60));
    return good ? 0 : 1;
}
