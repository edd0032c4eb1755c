// The import of 10, 100, 1,000 and 10,000 files: ./dev bench import. For each number tells the time
// until the list is on the screen, the longest time for which the interface did not get round to
// its timers, then and while thumbnails arrive and the list is scrolled from end to end, and how
// much the program has grown. Up to 1,000 files, all thumbnails are waited for. Ends with code 1
// when 1,000 files hold the interface up for longer than they may, or when ten times as many take
// much more than ten times as long.

#include "tests/support/BenchWindow.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/Heartbeat.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QElapsedTimer>
#include <QScrollBar>

#include <cstdio>
#include <filesystem>

namespace {

constexpr qint64 longestHoldUpMs = 100;
constexpr int heldUpCount = 1000;
constexpr int longestArrivalMs = 90000;
constexpr int arrivalMs = 5000;
// Of the time for 10,000 files over that for 1,000; the clock and other programs blur it.
constexpr double longestGrowth = 15;
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

/** In milliseconds. */
struct Measured
{
    double shown = 0;
    qint64 longestHoldUp = 0;
};

Measured measure(int count)
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
    if (count > heldUpCount)
        QTest::qWait(arrivalMs);
    else if (!QTest::qWaitFor([&] { return probe.pendingThumbs().isEmpty(); }, longestArrivalMs))
        std::puts("        (thumbnails are still being made)");
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
    return {.shown = shown, .longestHoldUp = qMax(importing, qMax(arriving, scrolling))};
}

} // namespace

int main(int argc, char *argv[])
{
    const BenchWindow surroundings(argc, argv);
    std::puts("                      longest hold-up of the interface, ms");
    std::puts("  files   shown, ms  importing   arriving  scrolling  growth, MiB");
    measure(10);
    measure(100);
    const Measured held = measure(heldUpCount);
    const Measured many = measure(10 * heldUpCount);
    std::printf("10,000 files take %.1f times as long as 1,000\n", many.shown / held.shown);
    Workers::awaitAll(std::chrono::seconds(60));
    return held.longestHoldUp <= longestHoldUpMs && many.shown <= longestGrowth * held.shown ? 0
                                                                                             : 1;
}
