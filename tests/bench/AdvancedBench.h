#pragma once

#include "tests/corpus/Decoded.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

/**
 * What advanced repair brings back of generated recordings that have lost their index, with a
 * sample of ten seconds of other content, and what it costs.
 */
class AdvancedBench
{
public:
    struct Cost
    {
        bool isDone = false;
        double seconds = 0;
        double cpuSeconds = 0;
        double peakMiB = 0;
    };
    /** Damaged file, sample, output. */
    using Repair = std::function<Cost(const QString &, const QString &, const QString &)>;

    /** What is measured of it. */
    struct Selection
    {
        bool hasQuality = true;
        bool hasCost = true;
        /** Of one recording alone; empty: of all. */
        QString recording = {};
    };

    AdvancedBench(Repair with, Selection of) : repair(std::move(with)), selection(std::move(of)) {}

    /** @param document that the tables are put into, between their marks; empty: printed */
    int run(const QString &document)
    {
        if (selection.hasQuality)
            measureQuality();
        if (selection.hasCost)
            measureCost();
        if (document.isEmpty())
            std::fputs(text.constData(), stdout);
        else
            write(document);
        return 0;
    }

private:
    using Damages = std::vector<DamagedFile>;

    static constexpr int masterSeconds = 40;
    static constexpr int sampleSeconds = 10;

    static QByteArray percent(const Score &score, char kind)
    {
        const auto all = score.recoverableOf.find(kind);
        const auto found = score.recoveredOf.find(kind);
        if (all == score.recoverableOf.end() || all->second == 0)
            return "-";
        const double part = found == score.recoveredOf.end() ? 0
                                                             : static_cast<double>(found->second) /
                                                                   static_cast<double>(all->second);
        return QByteArray::number(part * 100, 'f', 3) + " %";
    }

    static void add(Score &sum, const Score &score)
    {
        sum.recoverable += score.recoverable;
        sum.wrong += score.wrong;
        sum.misplaced += score.misplaced;
        sum.mistimed += score.mistimed;
        sum.matched += score.matched;
        sum.timeError = std::max(sum.timeError, score.timeError);
        sum.soundError = std::max(sum.soundError, score.soundError);
        for (const auto &[kind, count] : score.recoverableOf)
            sum.recoverableOf[kind] += count;
        for (const auto &[kind, count] : score.recoveredOf)
            sum.recoveredOf[kind] += count;
    }

    static Damages blocks(const QByteArray &bytes, int count, int size, Damage::Fill fill)
    {
        Damages files;
        for (const unsigned seed : {1U, 2U, 3U})
            files.push_back(Damage::lostIndexAndBlocks(bytes, count, size, fill, seed));
        return files;
    }

    bool isSelected(const char *name) const
    {
        return selection.recording.isEmpty() || selection.recording == QLatin1String(name);
    }

    void measureQuality()
    {
        using Damage::Fill;
        text += "| Recording | Damage | Files | Refused | Recoverable packets | Pictures | Sound | "
                "Data | Decoded pictures | Wrong | Misplaced | Mistimed | Largest time error | "
                "Sound beside picture, at most |\n"
                "|---|---|---|---|---|---|---|---|---|---|---|---|---|---|\n";
        for (const char *name : {"end.mp4", "slices.mp4", "longhevc.mp4", "variable.mp4", "two.mp4",
                                 "sounds.mp4", "plain.mov", "deep.mov", "pictures.mov"}) {
            if (!isSelected(name))
                continue;
            measure(name, "index lost",
                    [](const QByteArray &bytes) { return Damages{Damage::lostIndex(bytes)}; });
            measure(name, "cut at 60 %",
                    [](const QByteArray &bytes) { return Damages{Damage::cutAt(bytes, 0.6)}; });
            measure(name, "index lost, 5 blocks of 64 KiB zeroed",
                    [](const QByteArray &bytes) { return blocks(bytes, 5, 65536, Fill::Zeros); });
            measure(name, "index lost, 5 blocks of 64 KiB of noise",
                    [](const QByteArray &bytes) { return blocks(bytes, 5, 65536, Fill::Noise); });
            measure(name, "index lost, 20 blocks of 512 bytes zeroed",
                    [](const QByteArray &bytes) { return blocks(bytes, 20, 512, Fill::Zeros); });
            measure(name, "index lost, 20 blocks of 512 bytes of noise",
                    [](const QByteArray &bytes) { return blocks(bytes, 20, 512, Fill::Noise); });
        }
    }

    void measure(const char *name, const char *damage,
                 const std::function<Damages(const QByteArray &)> &make)
    {
        const Master &master = masterNamed(QString::fromLatin1(name));
        const QString path = makeMaster(master, masterSeconds);
        const QString sample = makeMaster(master, sampleSeconds, Scene::Sample);
        const Contents original = readContents(path);
        Score sum;
        DecodedScore decoded;
        int files = 0;
        int refused = 0;
        for (const DamagedFile &damaged : make(readFile(path))) {
            const QString input = folder.filePath(QStringLiteral("damaged-") + master.name);
            const QString output = folder.filePath(QStringLiteral("repaired-") + master.name);
            QFile::remove(output);
            writeFile(input, damaged.bytes());
            ++files;
            refused += repair(input, sample, output).isDone ? 0 : 1;
            if (readFile(input) != damaged.bytes())
                qFatal("the damaged file was written to");
            add(sum, scoreOf(original, damaged, readContents(output)));
            const DecodedScore one = decodedScoreOf(path, damaged, output);
            decoded.possible += one.possible;
            decoded.shown += one.shown;
        }
        const QByteArray row =
            QByteArray("| ") + name + " | " + damage + " | " + QByteArray::number(files) + " | " +
            QByteArray::number(refused) + " | " + QByteArray::number(sum.recoverable) + " | " +
            percent(sum, 'v') + " | " + percent(sum, 'a') + " | " + percent(sum, 'd') + " | " +
            QByteArray::number(decoded.shown) + " of " + QByteArray::number(decoded.possible) +
            " | " + QByteArray::number(sum.wrong) + " | " + QByteArray::number(sum.misplaced) +
            " | " + QByteArray::number(sum.mistimed) + " | " +
            QByteArray::number(sum.timeError * 1000, 'f', 1) + " ms | " +
            QByteArray::number(sum.soundError * 1000, 'f', 1) + " ms |\n";
        std::fputs(row.constData(), stderr);
        text += row;
    }

    void measureCost()
    {
        text += "\n| File without index | Size | `cp` | Repair | Times `cp` | CPU per GB | Peak "
                "memory |\n|---|---|---|---|---|---|---|\n";
        const QString name =
            selection.recording.isEmpty() ? QStringLiteral("end.mp4") : selection.recording;
        for (const int gigabytes : {1, 10})
            measureCost(name, gigabytes);
    }

    void measureCost(const QString &name, int gigabytes)
    {
        const Master &master = masterNamed(name);
        const QString path = makeMaster(master, masterSeconds);
        const QString sample = makeMaster(master, sampleSeconds, Scene::Sample);
        const QString input = folder.filePath(QStringLiteral("large.mp4"));
        const QString output = folder.filePath(QStringLiteral("output.mp4"));
        const QByteArray one = readFile(path);
        const Damages lost{Damage::lostIndex(one)};
        makeLarge(lost.front().bytes(), input, qint64{gigabytes} * 1000 * 1000 * 1000);
        const double bytes = static_cast<double>(QFileInfo(input).size());
        QElapsedTimer timer;
        timer.start();
        Footage::run(QStringLiteral("cp"), {QStringLiteral("--reflink=never"), input, output});
        const double copySeconds = static_cast<double>(timer.nsecsElapsed()) / 1e9;
        QFile::remove(output);
        const Cost cost = repair(input, sample, output);
        QFile::remove(output);
        QFile::remove(input);
        if (!cost.isDone)
            qWarning("the large file was refused");
        const QByteArray row =
            QStringLiteral("| %1, %2 GB | %3 MB | %4 s | %5 s | %6 | %7 s | %8 MiB |\n")
                .arg(master.name)
                .arg(gigabytes)
                .arg(bytes / 1e6, 0, 'f', 0)
                .arg(copySeconds, 0, 'f', 2)
                .arg(cost.seconds, 0, 'f', 2)
                .arg(cost.seconds / copySeconds, 0, 'f', 2)
                .arg(cost.cpuSeconds / bytes * 1e9, 0, 'f', 2)
                .arg(cost.peakMiB, 0, 'f', 0)
                .toUtf8();
        std::fputs(row.constData(), stderr);
        text += row;
    }

    /** One recording's media again and again, behind the beginning of the first. */
    static void makeLarge(const QByteArray &bytes, const QString &path, qint64 size)
    {
        const qsizetype media = bytes.indexOf("mdat") + 4;
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write %s", qPrintable(path));
        file.write(bytes.left(media));
        while (file.pos() < size)
            file.write(bytes.mid(media));
    }

    void write(const QString &path) const
    {
        const QByteArray first =
            "<!-- What follows is written by ./dev bench repair --advanced. -->\n";
        const QByteArray last = "<!-- Here it ends. -->\n";
        const QByteArray content = readFile(path);
        const qsizetype from = content.indexOf(first);
        const qsizetype to = content.indexOf(last, from);
        if (from < 0 || to < 0)
            qFatal("%s lacks the marker lines", qPrintable(path));
        writeFile(path, content.left(from + first.size()) + '\n' + text + '\n' + content.mid(to));
    }

    Repair repair;
    Selection selection;
    QTemporaryDir folder;
    QByteArray text;
};
