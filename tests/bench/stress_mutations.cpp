// Sends files with random mistakes through the whole service and looks for what must not happen:
// a service that crashes, gives no answer within ten seconds, or uses too much memory; an answer
// that is no JSON; a failed repair that leaves an output; a damaged file that is written to.
//
//   stress_mutations [FILES [SEED]]

#include "tests/corpus/Masters.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/RawService.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>
#include <cstdio>
#include <random>

namespace {

constexpr int defaultFiles = 10000;
constexpr int longestMs = 10000;
constexpr double mostMiB = 256;

class Mutations
{
public:
    explicit Mutations(unsigned seed) : generator(seed)
    {
        for (const Master &master : masters())
            files.append(readFile(makeMaster(master, 1)));
    }

    /** Returns what went wrong; empty when nothing did. */
    QString runOne()
    {
        const auto which = below(static_cast<qsizetype>(masters().size()));
        const QByteArray content = mutated(files[which]);
        const QString name = masters()[static_cast<std::size_t>(which)].name;
        const QString input = folder.filePath(QStringLiteral("in-") + name);
        const QString output = folder.filePath(QStringLiteral("out-") + name);
        QFile::remove(output);
        writeFile(input, content);
        const QString wrong = call(input, output);
        if (!wrong.isEmpty())
            return name + QStringLiteral(": ") + wrong;
        return readFile(input) == content ? QString() : name + QStringLiteral(": written to");
    }

    double largestMiB = 0;
    qint64 slowestMs = 0;
    int successes = 0;

private:
    qsizetype below(qsizetype limit)
    {
        return static_cast<qsizetype>(generator() % static_cast<std::uint64_t>(limit));
    }

    QByteArray mutated(QByteArray content)
    {
        const qsizetype changes = 1 + below(20);
        for (qsizetype i = 0; i < changes && !content.isEmpty(); ++i) {
            // Indexes and headers are where most can go wrong: at the beginning and the end.
            const qsizetype reach = std::min<qsizetype>(content.size(), 4096);
            const qsizetype kind = below(3);
            const qsizetype place = kind == 0   ? below(reach)
                                    : kind == 1 ? content.size() - 1 - below(reach)
                                                : below(content.size());
            const qsizetype size = std::min(below(64) + 1, content.size() - place);
            switch (below(6)) {
            case 0:
                content[place] = static_cast<char>(generator());
                break;
            case 1:
                content[place] = static_cast<char>(content[place] ^ (1 << below(8)));
                break;
            case 2:
                content.replace(place, size, QByteArray(size, '\0'));
                break;
            case 3:
                content.replace(place, size, QByteArray(size, '\xff'));
                break;
            case 4:
                content.remove(place, size);
                break;
            default:
                content.insert(place, content.mid(below(content.size()), size));
            }
        }
        if (below(8) == 0)
            content.truncate(below(content.size() + 1));
        return content;
    }

    QString call(const QString &input, const QString &output)
    {
        constexpr int methods[] = {0, 0, 101, 107};
        const int method = methods[below(4)];
        const QJsonObject request = {
            {QStringLiteral("method"), method},      {QStringLiteral("damagedPath"), input},
            {QStringLiteral("outFilePath"), output}, {QStringLiteral("videoPath"), input},
            {QStringLiteral("photoPath"), output},   {QStringLiteral("scale"), 2}};
        RawService service(QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe"));
        if (!service.start())
            return QStringLiteral("the service does not start");
        if (!service.connectPipes())
            return service.wasKilled() ? call(input, output)
                                       : QStringLiteral("the service makes no pipes");
        QElapsedTimer timer;
        timer.start();
        service.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
        const QByteArray answer = service.readWhileRunning(longestMs / 1000);
        if (service.wasKilled())
            return call(input, output);
        slowestMs = std::max(slowestMs, timer.elapsed());
        if (timer.elapsed() >= longestMs)
            return QStringLiteral("no answer within ten seconds");
        const double peak = peakMiB(service.process.processId());
        largestMiB = std::max(largestMiB, peak);
        if (peak > mostMiB)
            return QStringLiteral("%1 MiB of memory").arg(peak);
        const QJsonObject object = QJsonDocument::fromJson(answer).object();
        if (!object.value(QStringLiteral("err_code")).isDouble())
            return QStringLiteral("no answer: ") + QString::fromUtf8(answer);
        const bool isDone = object.value(QStringLiteral("err_code")) == 0;
        successes += isDone ? 1 : 0;
        const bool wants = isDone && method != 107;
        if (QFileInfo::exists(output) != wants)
            return wants ? QStringLiteral("no output") : QStringLiteral("an output of a failure");
        service.hangUp();
        const int code = service.waitForEnd();
        return code == 0 ? QString() : QStringLiteral("exit code %1").arg(code);
    }

    static double peakMiB(qint64 pid)
    {
        QFile file(QStringLiteral("/proc/%1/status").arg(pid));
        if (!file.open(QIODevice::ReadOnly))
            return 0;
        const QByteArray status = file.readAll();
        const QByteArray rest = status.mid(status.indexOf("VmHWM:") + 6).simplified();
        return rest.left(rest.indexOf(' ')).toDouble() / 1024;
    }

    std::mt19937_64 generator;
    QList<QByteArray> files;
    QTemporaryDir folder;
};

} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const int count = arguments.size() > 1 ? arguments[1].toInt() : defaultFiles;
    const unsigned seed = arguments.size() > 2 ? arguments[2].toUInt() : 1;
    Mutations mutations(seed);
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        const QString wrong = mutations.runOne();
        if (wrong.isEmpty())
            continue;
        ++failures;
        std::printf("file %d: %s\n", i, qPrintable(wrong));
    }
    std::printf("%d files, %d answered with success, %d failures; slowest answer %lld ms, largest "
                "service %.0f MiB\n",
                count, mutations.successes, failures, static_cast<long long>(mutations.slowestMs),
                mutations.largestMiB);
    return failures == 0 ? 0 : 1;
}
