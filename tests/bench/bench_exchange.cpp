// What one request costs beyond the waits that it is made of, and what the service's start and
// end cost. All figures are of one run on one machine; compare them with each other.
//
//   bench_exchange [CALLS]

#include "service/RepairClient.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/RawService.h"
#include "tests/support/ScriptedPipes.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QElapsedTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

namespace {

constexpr int defaultCalls = 30;

// The client's fixed waits: before the pipes, and after each attempt and each read in vain.
constexpr double pipeCreationMs = 250;
constexpr double pollMs = 100;

struct Figures
{
    double median;
    double least;
    double greatest;
};

Figures figuresOf(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return {values[values.size() / 2], values.front(), values.back()};
}

Figures measure(int calls, const std::function<double()> &once)
{
    std::vector<double> values;
    values.reserve(static_cast<std::size_t>(calls));
    for (int i = 0; i < calls; ++i)
        values.push_back(once());
    return figuresOf(values);
}

void print(const char *what, const Figures &figures)
{
    std::printf("%-58s %9.2f %9.2f %9.2f\n", what, figures.median, figures.least, figures.greatest);
}

double elapsedMs(const QElapsedTimer &timer)
{
    return static_cast<double>(timer.nsecsElapsed()) / 1e6;
}

void require(bool condition, const char *what)
{
    if (!condition)
        qFatal("%s", what);
}

/** The length of one call less the fixed waits that it contained. */
double callCost(const RepairRequest &request, const QJsonObject &payload)
{
    ScriptedPipes pipes;
    QElapsedTimer timer;
    timer.start();
    const RepairResponse response = RepairClient(pipes).send(request, payload, 60);
    const double total = elapsedMs(timer);
    require(!response.object.isEmpty(), qPrintable(response.message));
    const int failedAttempts = pipes.connects - pipes.connected;
    const int readsInVain = pipes.reads - 1;
    return total - pipeCreationMs - pollMs * (failedAttempts + readsInVain);
}

/** From the start of an empty program to its end. */
double emptyProcessCost()
{
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start(QStringLiteral("/bin/true"), {});
    require(process.waitForFinished(), "/bin/true does not end");
    return elapsedMs(timer);
}

/** From the start of the process to the moment when both its pipes can be connected. */
double serviceStartCost(const QString &executable)
{
    RawService service(executable);
    const QString lastPipe =
        QStringLiteral("%1/VideoRepairServer_receive_%2").arg(Testing::pipeFolder(), service.token);
    QElapsedTimer timer;
    timer.start();
    require(service.start(), "the service does not start");
    while (!QFileInfo::exists(lastPipe))
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    return elapsedMs(timer);
}

/** From the client's hang-up after the answer to the end of the process. */
double serviceEndCost(const QString &executable)
{
    RawService service(executable);
    require(service.start() && service.connectPipes() && service.write("{}\n") &&
                !service.read().isEmpty(),
            "no exchange");
    QElapsedTimer timer;
    timer.start();
    service.hangUp();
    require(service.waitForEnd() == 0, "the service does not end well");
    return elapsedMs(timer);
}

void runBenchmarks(int calls)
{
    const QString serviceExe = QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe");
    const FaultFolder scripted(
        {QStringLiteral("serve"), QStringLiteral("echo"), QStringLiteral("await")});
    const QTemporaryDir folder;
    const QString video = folder.filePath(QStringLiteral("clip.mp4"));
    Footage::make(video,
                  {QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-c:a"),
                   QStringLiteral("aac")},
                  1);
    RepairRequest real = scripted.request();
    real.serviceRoot = QStringLiteral(VELLUMIX_SERVICE_ROOT);
    const QJsonObject ask{{QStringLiteral("method"), 107}, {QStringLiteral("videoPath"), video}};
    const QJsonObject refused{{QStringLiteral("method"), 5}};

    std::printf("%-58s %9s %9s %9s\n", "milliseconds, of each one call", "median", "least",
                "greatest");
    print("call over its fixed waits, scripted service",
          measure(calls, [&] { return callCost(scripted.request(), ask); }));
    print("call over its fixed waits, local service, nothing to do",
          measure(calls, [&] { return callCost(real, refused); }));
    print("call over its fixed waits, local service, metadata",
          measure(calls, [&] { return callCost(real, ask); }));
    const Figures empty = measure(calls, emptyProcessCost);
    const Figures start = measure(calls, [&] { return serviceStartCost(serviceExe); });
    print("local service: start until its pipes are up", start);
    print("local service: end after the client's hang-up",
          measure(calls, [&] { return serviceEndCost(serviceExe); }));
    print("for comparison: an empty program, start to end", empty);
    std::printf("\nThe service's start takes %.1f times an empty program; the client waits %.0f ms "
                "for it.\n",
                start.median / empty.median, pipeCreationMs);
}

} // namespace

int main(int argc, char *argv[])
{
    const QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
    const QCoreApplication application(argc, argv);
    const int calls = argc > 1 ? std::atoi(argv[1]) : defaultCalls;
    if (calls < 1) {
        std::fputs("usage: bench_exchange [CALLS]\n", stderr);
        return 2;
    }
    runBenchmarks(calls);
    return 0;
}
