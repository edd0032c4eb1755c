// Closes the client while its services are stuck, some hundred times, and tells how long it took to
// go: ./dev stress close [ROUNDS]. Ends with code 1 at the first round in which anything went
// wrong.

#include "tests/support/CloseRounds.h"
#include "tests/support/TestCase.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int defaultRounds = 75;
// The program is to be gone by then.
constexpr qint64 limitMs = 3000;

/** Returns whether all rounds went well. */
bool stress(const char *name, const QStringList &script, int heldPhotos, int rounds)
{
    CloseRounds closing(script, heldPhotos);
    std::vector<qint64> times;
    for (int i = 0; i < rounds; ++i) {
        const int exitCode = i % 3;
        const CloseRounds::Outcome outcome = closing.run(exitCode);
        if (!outcome.failure.isEmpty()) {
            std::printf("%s, round %d: %s\n", name, i + 1, qPrintable(outcome.failure));
            return false;
        }
        times.push_back(outcome.milliseconds);
    }
    std::sort(times.begin(), times.end());
    std::printf("%-42s %4d rounds, close to end: median %lld ms, longest %lld ms\n", name, rounds,
                times[times.size() / 2], times.back());
    return times.back() <= limitMs;
}

bool stressAll(int rounds)
{
    return stress("services that do not answer", CloseRounds::unanswering(), 8, rounds) &&
           stress("services with children that ignore it", CloseRounds::stubborn(), 8, rounds) &&
           stress("services being started", CloseRounds::unanswering(), 0, rounds) &&
           stress("workers that nothing interrupts", CloseRounds::pipeless(), 0, rounds);
}

} // namespace

int main(int argc, char *argv[])
{
    const QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
    QCoreApplication application(argc, argv);
    const int rounds = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : defaultRounds;
    return stressAll(rounds) ? 0 : 1;
}
