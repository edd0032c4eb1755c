// A thousand thumbnails requested at once: ./dev bench thumbnails. Tells how many service processes
// there were at most at a time, whether all pictures came, and the longest time for which the
// interface thread did not get round to its timer. Ends with code 1 when one of these is not as it
// must be.

#include "tests/support/BenchWindow.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/Heartbeat.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QElapsedTimer>

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <thread>

namespace {

constexpr int thumbnailCount = 1000;
constexpr int mostServices = 8;
constexpr qint64 longestHoldUpMs = 100;
constexpr std::chrono::milliseconds sampleInterval{20};

/** Counts the running services from a thread of its own. */
class ServiceCount
{
public:
    explicit ServiceCount(const QString &executable)
        : thread([this, executable] {
              while (!stop) {
                  // A service has a child for a moment, which bears its name.
                  const auto running = processesOf(executable, QStringLiteral("Video"));
                  int services = 0;
                  for (const qint64 pid : running)
                      services += parentOf(pid) == QCoreApplication::applicationPid() ? 1 : 0;
                  most = qMax(most.load(), services);
                  std::this_thread::sleep_for(sampleInterval);
              }
          })
    {
    }

    int finish()
    {
        stop = true;
        thread.join();
        return most;
    }

private:
    static qint64 parentOf(qint64 pid)
    {
        const QByteArray stat = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
        return stat.mid(stat.lastIndexOf(") ") + 4).split(' ').value(0).toLongLong();
    }

    std::atomic<bool> stop{false};
    std::atomic<int> most{0};
    std::thread thread;
};

/** The same video under many names. */
QStringList makeVideos(const QString &folder)
{
    const QString original = folder + QStringLiteral("/0.mp4");
    Footage::make(original, {}, 1);
    QStringList videos;
    for (int i = 1; i <= thumbnailCount; ++i) {
        videos.append(folder + QStringLiteral("/%1.mp4").arg(i));
        std::filesystem::create_hard_link(original.toStdString(), videos.last().toStdString());
    }
    return videos;
}

int measure()
{
    const QTemporaryDir folder;
    const QStringList videos = makeVideos(folder.path());
    MainWindow window;
    window.show();
    WindowProbe probe(window);
    Heartbeat heartbeat;
    ServiceCount services(QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe"));
    QElapsedTimer timer;
    timer.start();
    for (const QString &video : videos)
        probe.requestThumbnail(video, video, false);
    const qint64 requested = timer.elapsed();
    const bool all = QTest::qWaitFor([&] { return probe.pendingThumbs().isEmpty(); }, 600000);
    const int most = services.finish();
    std::printf("%d thumbnails requested in %lld ms, %lld arrived in %.1f s\n", thumbnailCount,
                requested, static_cast<long long>(probe.sourceThumbs().size()),
                static_cast<double>(timer.elapsed()) / 1000);
    std::printf("  most services at a time        %4d (at most %d wanted)\n", most, mostServices);
    const qint64 longestHoldUp = heartbeat.takeLongest();
    std::printf("  longest hold-up of the interface %lld ms (at most %lld wanted)\n", longestHoldUp,
                longestHoldUpMs);
    Workers::awaitAll(std::chrono::seconds(30));
    const bool good = all && probe.sourceThumbs().size() == thumbnailCount &&
                      most <= mostServices && longestHoldUp <= longestHoldUpMs;
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const BenchWindow surroundings(argc, argv);
    return measure();
}
