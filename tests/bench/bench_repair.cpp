// What quick repair brings back of generated recordings after each kind of damage, beside plain
// stream copy by FFmpeg, and what it costs. All figures are of one run on one machine.
//
//   bench_repair [--quality|--cost|--questions] [DOCUMENT]
//   bench_repair --advanced [--quality|--cost] [--recording NAME] [DOCUMENT]
//
// Without one of the kinds, all are measured; without a name, all recordings. In a document, what
// stands behind the marker line is replaced by the tables; without one, they are printed.

#include "tests/bench/AdvancedBench.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/RawService.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <map>
#include <string>
#include <thread>

namespace {

constexpr int masterSeconds = 40;
constexpr int cutPoints = 20;
constexpr const char *marker = "<!-- What follows is written by ./dev bench repair. -->\n";

/** What one call of the service did and cost. */
struct Call
{
    bool isDone = false;
    int errorCode = 0;
    double seconds = 0;
    double cpuSeconds = 0;
    double peakMiB = 0;
    /** Most that the service's files took of the disk at a time, with those that have no name. */
    double diskBytes = 0;
    /** Of an answer about a file. */
    QJsonObject info = {};
};

QByteArray fieldOf(const QByteArray &text, const QByteArray &name)
{
    const qsizetype start = text.indexOf(name);
    const qsizetype end = text.indexOf('\n', start);
    return start < 0 ? QByteArray()
                     : text.mid(start + name.size(), end - start - name.size()).simplified();
}

QByteArray readAll(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** Before the service ends: it stays until its client hangs up. */
void readCosts(qint64 pid, Call &call)
{
    const QString folder = QStringLiteral("/proc/%1/").arg(pid);
    call.peakMiB = fieldOf(readAll(folder + QStringLiteral("status")), "VmHWM:")
                       .split(' ')
                       .value(0)
                       .toDouble() /
                   1024;
    const QByteArray stat = readAll(folder + QStringLiteral("stat"));
    const QList<QByteArray> fields = stat.mid(stat.lastIndexOf(')') + 2).split(' ');
    call.cpuSeconds = (fields.value(11).toDouble() + fields.value(12).toDouble()) /
                      static_cast<double>(sysconf(_SC_CLK_TCK));
}

/** Looks again and again at the files that a process has open for writing, until it is destroyed.
 */
class DiskWatch
{
public:
    DiskWatch(qint64 pid, const QString &ofFolder)
        : descriptors("/proc/" + std::to_string(pid) + "/fd"),
          folder(ofFolder.toStdString()),
          thread([this](const std::stop_token &stop) {
              while (!stop.stop_requested()) {
                  peak = std::max(peak.load(), bytesNow());
                  std::this_thread::sleep_for(std::chrono::milliseconds(2));
              }
          })
    {
    }

    double peakBytes() const { return peak; }

private:
    double bytesNow() const
    {
        namespace fs = std::filesystem;
        constexpr double bytesPerBlock = 512;
        // Some are open twice: as the file in the making, and to be written or read.
        std::map<ino_t, double> sizes;
        std::error_code error;
        for (const fs::directory_entry &entry : fs::directory_iterator(descriptors, error)) {
            struct stat status = {};
            const std::string target = fs::read_symlink(entry.path(), error).string();
            if (target.starts_with(folder) && stat(entry.path().c_str(), &status) == 0)
                sizes[status.st_ino] = static_cast<double>(status.st_blocks) * bytesPerBlock;
        }
        double sum = 0;
        for (const auto &[file, size] : sizes)
            sum += size;
        return sum;
    }

    std::string descriptors;
    std::string folder;
    std::atomic<double> peak = 0;
    // Last: it uses the others.
    std::jthread thread;
};

/** What the service answers to one request, and what it costs. */
Call callService(const QJsonObject &request)
{
    constexpr int mostSeconds = 600;
    RawService service(QStringLiteral(VELLUMIX_SERVICE_ROOT "/bin/x64/RepairService.exe"));
    if (!service.start() || !service.connectPipes()) {
        if (service.wasKilled())
            return callService(request);
        qFatal("the service does not start");
    }
    Call call;
    const QString output = request.value(QStringLiteral("outFilePath")).toString();
    const DiskWatch disk(service.process.processId(),
                         output.isEmpty() ? QStringLiteral("?") : QFileInfo(output).path());
    QElapsedTimer timer;
    timer.start();
    service.write(QJsonDocument(request).toJson(QJsonDocument::Compact) + '\n');
    const QByteArray answer = service.readWhileRunning(mostSeconds);
    if (service.wasKilled())
        return callService(request);
    call.seconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
    readCosts(service.process.processId(), call);
    call.diskBytes = disk.peakBytes();
    service.hangUp();
    service.waitForEnd();
    const QJsonObject object = QJsonDocument::fromJson(answer).object();
    call.errorCode = object.value(QStringLiteral("err_code")).toInt(-1);
    call.isDone = call.errorCode == 0;
    call.info = object.value(QStringLiteral("video_info")).toObject();
    return call;
}

Call callService(const QString &input, const QString &output)
{
    return callService(QJsonObject{{QStringLiteral("method"), 0},
                                   {QStringLiteral("damagedPath"), input},
                                   {QStringLiteral("outFilePath"), output}});
}

/** FFmpeg's own program, copying all it can. */
double copyWithFfmpeg(const QString &input, const QString &output)
{
    QElapsedTimer timer;
    timer.start();
    QProcess process;
    process.start(QStringLiteral("ffmpeg"),
                  {QStringLiteral("-v"), QStringLiteral("quiet"), QStringLiteral("-y"),
                   QStringLiteral("-i"), input, QStringLiteral("-map"), QStringLiteral("0"),
                   QStringLiteral("-c"), QStringLiteral("copy"), QStringLiteral("-copy_unknown"),
                   QStringLiteral("-strict"), QStringLiteral("experimental"), output});
    process.waitForFinished(-1);
    return static_cast<double>(timer.nsecsElapsed()) / 1e9;
}

/** Sums of the scores of one kind of damage. */
struct Row
{
    QString master;
    QString damage;
    int files = 0;
    int refused = 0;
    Score ours = {};
    Score ffmpegs = {};

    static void add(Score &sum, const Score &score)
    {
        sum.recoverable += score.recoverable;
        sum.recovered += score.recovered;
        sum.wrong += score.wrong;
        sum.misplaced += score.misplaced;
        sum.mistimed += score.mistimed;
        sum.matched += score.matched;
        sum.timeError = std::max(sum.timeError, score.timeError);
    }
};

using Damages = std::vector<DamagedFile>;

class QualityBench
{
public:
    QByteArray run()
    {
        const auto one = [](auto function, auto... arguments) {
            return [=](const QByteArray &bytes) { return Damages{function(bytes, arguments...)}; };
        };
        for (const char *name : {"end.mp4", "front.mp4", "hevc.mp4", "slices.mp4", "variable.mp4",
                                 "sounds.mp4", "plain.mov", "plain24.mov"}) {
            measure(name, "media size 0", one(Damage::mediaSize, 0U));
            measure(name, "media size too large", one(Damage::mediaSize, 0x7ffffff0U));
            measure(name, "first 40 bytes zeroed", one(Damage::zeroedHead, 40));
            measure(name, "first 512 bytes zeroed", one(Damage::zeroedHead, 512));
            measure(name, "places shifted by 1234", one(Damage::shiftedOffsets, 1234));
            measure(name, "places shifted by -28", one(Damage::shiftedOffsets, -28));
            measure(name, "durations x 3", one(Damage::durations, 3U));
            measure(name, "durations 0", one(Damage::durations, 0U));
        }
        measure("sounds.mp4", "index cut in half", one(Damage::cutIndex, 0.5));
        measure("end.mp4", "cut at 60 %, index lost", one(Damage::cutAt, 0.6));
        measure("front.mp4", "5 blocks of 64 KiB zeroed", one(Damage::zeroedBlocks, 5, 65536, 3U));
        for (const char *name : {"front.mp4", "fragments.mp4", "hevc.mp4", "plain24.mov",
                                 "recorder.mkv", "camera.avi", "broadcast.ts", "stream.flv"})
            measure(name, "cut at 20 points", cuts);
        measure("fragments.mp4", "each fragment header lost in turn", lostFragments);
        measure("recorder.mkv", "5 blocks of 64 KiB zeroed",
                one(Damage::zeroedBlocks, 5, 65536, 3U));
        measure("recorder.mkv", "20 blocks of 512 bytes zeroed",
                one(Damage::zeroedBlocks, 20, 512, 4U));
        measure("recorder.mkv", "first 512 bytes zeroed", one(Damage::zeroedHead, 512));
        for (const char *name :
             {"inband.mkv", "inband-hevc.mkv", "pictures.mkv", "short.avi", "plain.avi"}) {
            measure(name, "first 512 bytes zeroed", one(Damage::zeroedHead, 512));
            measure(name, "first 2 KiB zeroed", one(Damage::zeroedHead, 2048));
        }
        measure("camera.avi", "no index, no sizes", one(Damage::unfinishedAvi));
        measure("camera.avi", "first 2 KiB zeroed", one(Damage::zeroedHead, 2048));
        measure("camera.avi", "5 blocks of 64 KiB zeroed", one(Damage::zeroedBlocks, 5, 65536, 3U));
        measure("broadcast.ts", "777 bytes of junk", one(Damage::insertedJunk, 0.5, 777));
        measure("broadcast.ts", "first 512 bytes zeroed", one(Damage::zeroedHead, 512));
        measure("stream.flv", "first 40 bytes zeroed", one(Damage::zeroedHead, 40));
        measure("stream.flv", "5 blocks of 64 KiB zeroed", one(Damage::zeroedBlocks, 5, 65536, 3U));
        return table();
    }

private:
    static Damages cuts(const QByteArray &bytes)
    {
        Damages files;
        for (int i = 1; i <= cutPoints; ++i)
            files.push_back(Damage::cutAt(bytes, i / static_cast<double>(cutPoints + 1)));
        return files;
    }

    static Damages lostFragments(const QByteArray &bytes)
    {
        Damages files;
        const auto count = static_cast<int>(bytes.count("moof"));
        // The index of fragments at the end names them once more.
        for (int i = 0; i < count && i < 20; ++i)
            files.push_back(Damage::lostFragmentHeader(bytes, i));
        return files;
    }

    template <typename Make>
    void measure(const char *name, const char *damage, Make make)
    {
        const Master &master = masterNamed(QString::fromLatin1(name));
        const QString path = makeMaster(master, masterSeconds);
        const Contents original = readContents(path);
        Row row = {.master = master.name, .damage = QString::fromLatin1(damage)};
        for (const DamagedFile &damaged : make(readFile(path))) {
            const QString input = folder.filePath(QStringLiteral("damaged-") + master.name);
            const QString output = folder.filePath(QStringLiteral("repaired-") + master.name);
            const QString plain = folder.filePath(QStringLiteral("copied-") + master.name);
            for (const QString &file : {output, plain})
                QFile::remove(file);
            writeFile(input, damaged.bytes());
            ++row.files;
            row.refused += callService(input, output).isDone ? 0 : 1;
            if (readFile(input) != damaged.bytes())
                qFatal("the damaged file was written to");
            Row::add(row.ours, scoreOf(original, damaged, readContents(output)));
            copyWithFfmpeg(input, plain);
            Row::add(row.ffmpegs, scoreOf(original, damaged, readContents(plain)));
        }
        std::fprintf(stderr, "%s, %s: %.3f %%, %lld wrong\n", name, damage, row.ours.recall() * 100,
                     static_cast<long long>(row.ours.wrong));
        rows.push_back(row);
    }

    QByteArray table() const
    {
        QByteArray text = "| Recording | Damage | Files | Refused | Recoverable packets | Recall | "
                          "Wrong | Misplaced | Mistimed | Largest time error | FFmpeg: recall | "
                          "FFmpeg: wrong |\n|---|---|---|---|---|---|---|---|---|---|---|---|\n";
        for (const Row &row : rows)
            text += QStringLiteral("| %1 | %2 | %3 | %4 | %5 | %6 % | %7 | %8 | %9 |")
                        .arg(row.master, row.damage)
                        .arg(row.files)
                        .arg(row.refused)
                        .arg(row.ours.recoverable)
                        .arg(row.ours.recall() * 100, 0, 'f', 3)
                        .arg(row.ours.wrong)
                        .arg(row.ours.misplaced)
                        .arg(row.ours.mistimed)
                        .toUtf8() +
                    QStringLiteral(" %1 ms | %2 % | %3 |\n")
                        .arg(row.ours.timeError * 1000, 0, 'f', 1)
                        .arg(row.ffmpegs.recall() * 100, 0, 'f', 3)
                        .arg(row.ffmpegs.wrong)
                        .toUtf8();
        return text;
    }

    QTemporaryDir folder;
    std::vector<Row> rows;
};

/** Large files, made by repeating a short one; not kept. */
class CostBench
{
public:
    QByteArray run()
    {
        measure("front.mp4", "1 GiB, media size too large", ".mp4", 1000,
                {QStringLiteral("-movflags"), QStringLiteral("+faststart")}, true);
        measure("recorder.mkv", "1 GiB", ".mkv", 1000, {}, false);
        measure("broadcast.ts", "1 GiB", ".ts", 1000, {}, false);
        measure("camera.avi", "1 GiB", ".avi", 1000, {}, false);
        measure("stream.flv", "1 GiB", ".flv", 1000, {}, false);
        measureLong();
        return "| File | Size | `cp` | Repair | Times `cp` | `cp`, disk | Repair, disk | Times "
               "`cp`, "
               "disk | CPU per GB | Peak memory | Peak disk, of the output | FFmpeg's copy |\n"
               "|---|---|---|---|---|---|---|---|---|---|---|---|\n" +
               text;
    }

private:
    static void spoilMediaSize(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadWrite))
            qFatal("cannot change %s", qPrintable(path));
        const QByteArray head = file.read(64 << 20);
        const qsizetype media = head.indexOf("mdat");
        file.seek(media - 4);
        file.write("\x7f\xff\xff\xf0", 4);
    }

    void repeat(const QString &source, const QString &target, int times, const QStringList &options)
    {
        Footage::run(QStringLiteral("sh"),
                     QStringList{QStringLiteral("-c"), QStringLiteral("exec ffmpeg \"$@\""),
                                 QStringLiteral("sh"), QStringLiteral("-v"),
                                 QStringLiteral("error"), QStringLiteral("-y"),
                                 QStringLiteral("-stream_loop"), QString::number(times - 1),
                                 QStringLiteral("-i"), source, QStringLiteral("-map"),
                                 QStringLiteral("0"), QStringLiteral("-c"),
                                 QStringLiteral("copy")} +
                         options + QStringList(target));
    }

    void measure(const char *name, const char *about, const char *suffix, qint64 mebibytes,
                 const QStringList &options, bool isSpoilt)
    {
        const QString source = makeMaster(masterNamed(QString::fromLatin1(name)), masterSeconds);
        const QString input =
            folder.filePath(QStringLiteral("large") + QString::fromLatin1(suffix));
        const auto times =
            static_cast<int>((mebibytes << 20) / std::max<qint64>(QFileInfo(source).size(), 1)) + 1;
        repeat(source, input, times, options);
        if (isSpoilt)
            spoilMediaSize(input);
        measureFile(QString::fromLatin1(name) + QStringLiteral(", ") + QString::fromLatin1(about),
                    input);
    }

    /** An index of ten hours: 30 pictures and 47 frames of sound a second. */
    void measureLong()
    {
        const QString source = folder.filePath(QStringLiteral("minute.mp4"));
        const QString input = folder.filePath(QStringLiteral("hours.mp4"));
        Footage::run(
            QStringLiteral("ffmpeg"),
            QStringLiteral("-v error -y -f lavfi -i testsrc2=size=128x72:rate=30:duration=60 "
                           "-f lavfi -i sine=sample_rate=48000:duration=60 -c:v libx264 "
                           "-preset veryfast -crf 45 -pix_fmt yuv420p -c:a aac -b:a 24k")
                    .split(QLatin1Char(' ')) +
                QStringList(source));
        repeat(source, input, 600, {});
        measureFile(QStringLiteral("10 hours, MP4, 2.8 million packets"), input);
    }

    /** With nothing of the input in memory before, and all of the output on the disk in the end. */
    static double onDisk(const QString &input, const QString &output,
                         const std::function<double()> &once)
    {
        Footage::run(QStringLiteral("sync"), {input});
        Footage::run(QStringLiteral("dd"),
                     {QStringLiteral("if=") + input, QStringLiteral("iflag=nocache"),
                      QStringLiteral("count=0"), QStringLiteral("status=none")});
        const double seconds = once();
        QElapsedTimer timer;
        timer.start();
        Footage::run(QStringLiteral("sync"), {output});
        return seconds + static_cast<double>(timer.nsecsElapsed()) / 1e9;
    }

    void measureFile(const QString &what, const QString &input)
    {
        const QString suffix = QFileInfo(input).suffix();
        // In a folder of its own, where what the service writes can be told from what it reads.
        QDir(folder.path()).mkpath(QStringLiteral("out"));
        const QString output = folder.filePath(QStringLiteral("out/output.") + suffix);
        const double bytes = static_cast<double>(QFileInfo(input).size());
        const auto best = [&](const std::function<double()> &once) {
            double least = once();
            for (int i = 0; i < 2; ++i) {
                QFile::remove(output);
                least = std::min(least, once());
            }
            QFile::remove(output);
            return least;
        };
        const auto copy = [&] {
            QElapsedTimer timer;
            timer.start();
            Footage::run(QStringLiteral("cp"), {QStringLiteral("--reflink=never"), input, output});
            return static_cast<double>(timer.nsecsElapsed()) / 1e9;
        };
        Call call;
        double outputBytes = 0;
        const auto repair = [&] {
            call = callService(input, output);
            outputBytes = static_cast<double>(QFileInfo(output).size());
            if (!call.isDone)
                qWarning("%s: error %d", qPrintable(what), call.errorCode);
            return call.seconds;
        };
        const double copySeconds = best(copy);
        const double seconds = best(repair);
        const double diskCopySeconds = best([&] { return onDisk(input, output, copy); });
        const double diskSeconds = best([&] { return onDisk(input, output, repair); });
        const double ffmpegSeconds = best([&] { return copyWithFfmpeg(input, output); });
        text += QStringLiteral("| %1 | %2 MB | %3 s | %4 s | %5 | %6 s | %7 s | %8 |")
                    .arg(what)
                    .arg(bytes / 1e6, 0, 'f', 0)
                    .arg(copySeconds, 0, 'f', 2)
                    .arg(seconds, 0, 'f', 2)
                    .arg(seconds / copySeconds, 0, 'f', 2)
                    .arg(diskCopySeconds, 0, 'f', 2)
                    .arg(diskSeconds, 0, 'f', 2)
                    .arg(diskSeconds / diskCopySeconds, 0, 'f', 2)
                    .toUtf8() +
                QStringLiteral(" %1 s | %2 MiB | %3 % | %4 s |\n")
                    .arg(call.cpuSeconds / bytes * 1e9, 0, 'f', 2)
                    .arg(call.peakMiB, 0, 'f', 0)
                    .arg(outputBytes > 0 ? call.diskBytes / outputBytes * 100 : 0, 0, 'f', 1)
                    .arg(ffmpegSeconds, 0, 'f', 2)
                    .toUtf8();
        std::fprintf(stderr, "%s", text.mid(text.lastIndexOf('\n', -2) + 1).constData());
        QFile::remove(input);
    }

    QTemporaryDir folder;
    QByteArray text;
};

/** First picture and parameters of damaged recordings, as a person waits for them. */
class QuestionBench
{
public:
    QByteArray run()
    {
        const QByteArray front = "-movflags +faststart ";
        measure("1920x1080, H.264, index lost, parameters before each key picture", "1920x1080",
                "-bsf:v dump_extra=freq=keyframe ", true);
        measure("3840x2160, H.264, whole", "3840x2160", front, false);
        measure("3840x2160, H.264, cut at 60 %", "3840x2160", front, true);
        measure("3840x2160, H.264, index lost, parameters before each key picture", "3840x2160",
                "-bsf:v dump_extra=freq=keyframe ", true);
        return "| File | Size | First picture | Parameters | Size told |\n|---|---|---|---|---|\n" +
               text;
    }

private:
    void measure(const char *about, const char *size, const QByteArray &options, bool isCut)
    {
        const QString input = folder.filePath(QStringLiteral("asked.mp4"));
        Footage::run(QStringLiteral("ffmpeg"),
                     QString::fromLatin1("-v error -y -f lavfi -i "
                                         "testsrc2=size=%1:rate=30:duration=4,noise=alls=12:allf=t:"
                                         "all_seed=7 -c:v libx264 -preset ultrafast -crf 20 -g 30 "
                                         "-pix_fmt yuv420p -an ")
                             .arg(QString::fromLatin1(size))
                             .append(QString::fromLatin1(options))
                             .split(QLatin1Char(' '), Qt::SkipEmptyParts) +
                         QStringList(input));
        if (isCut)
            Footage::cut(input, 0.6);
        const double picture = best(101, input);
        const double parameters = best(107, input);
        const QJsonObject info = last.info;
        text += QStringLiteral("| %1 | %2 MB | %3 s | %4 s | %5x%6 |\n")
                    .arg(QString::fromLatin1(about))
                    .arg(static_cast<double>(QFileInfo(input).size()) / 1e6, 0, 'f', 1)
                    .arg(picture, 0, 'f', 2)
                    .arg(parameters, 0, 'f', 2)
                    .arg(info.value(QStringLiteral("width")).toInt())
                    .arg(info.value(QStringLiteral("height")).toInt())
                    .toUtf8();
        std::fprintf(stderr, "%s", text.mid(text.lastIndexOf('\n', -2) + 1).constData());
    }

    double best(int method, const QString &input)
    {
        constexpr int rounds = 3;
        double least = std::numeric_limits<double>::max();
        for (int i = 0; i < rounds; ++i) {
            last = callService(QJsonObject{
                {QStringLiteral("method"), method},
                {QStringLiteral("videoPath"), input},
                {QStringLiteral("photoPath"), folder.filePath(QStringLiteral("photo.jpg"))},
                {QStringLiteral("scale"), 4}});
            if (!last.isDone)
                qFatal("method %d: error %d", method, last.errorCode);
            least = std::min(least, last.seconds);
        }
        return least;
    }

    QTemporaryDir folder;
    QByteArray text;
    Call last;
};

void writeDocument(const QString &path, const QByteArray &tables)
{
    const QByteArray document = readFile(path);
    const qsizetype place = document.indexOf(marker);
    if (place < 0)
        qFatal("%s lacks the marker line", qPrintable(path));
    writeFile(path, document.left(place + static_cast<qsizetype>(qstrlen(marker))) + '\n' + tables);
}

/** The word behind an option, which is taken out with it; empty when there is no such option. */
QString takeOption(QStringList &arguments, const QString &option)
{
    const qsizetype place = arguments.indexOf(option);
    if (place < 0)
        return {};
    arguments.removeAt(place);
    if (place >= arguments.size())
        qFatal("a word is missing behind %s", qPrintable(option));
    return arguments.takeAt(place);
}

} // namespace

int main(int argc, char *argv[])
{
    QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
    const QCoreApplication application(argc, argv);
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const bool onlyQuality = arguments.removeAll(QStringLiteral("--quality")) > 0;
    const bool onlyCost = arguments.removeAll(QStringLiteral("--cost")) > 0;
    if (arguments.removeAll(QStringLiteral("--advanced")) > 0) {
        const auto repair = [](const QString &input, const QString &sample, const QString &output) {
            const Call call = callService({{QStringLiteral("method"), 1},
                                           {QStringLiteral("damagedPath"), input},
                                           {QStringLiteral("samplePath"), sample},
                                           {QStringLiteral("outFilePath"), output}});
            return AdvancedBench::Cost{call.isDone, call.seconds, call.cpuSeconds, call.peakMiB};
        };
        const bool isBoth = onlyQuality == onlyCost;
        const QString recording = takeOption(arguments, QStringLiteral("--recording"));
        return AdvancedBench(repair, {isBoth || onlyQuality, isBoth || onlyCost, recording})
            .run(arguments.value(0));
    }
    const bool onlyQuestions = arguments.removeAll(QStringLiteral("--questions")) > 0;
    const bool isAll = !onlyQuality && !onlyCost && !onlyQuestions;
    QByteArray tables;
    if (isAll || onlyQuality)
        tables += "## What comes back\n\n" + QualityBench().run() + '\n';
    if (isAll || onlyQuestions)
        tables += "## How long a question takes\n\n" + QuestionBench().run() + '\n';
    if (isAll || onlyCost)
        tables += "## What it costs\n\n" + CostBench().run();
    if (arguments.isEmpty())
        std::fputs(tables.constData(), stdout);
    else
        writeDocument(arguments.constFirst(), tables);
}
