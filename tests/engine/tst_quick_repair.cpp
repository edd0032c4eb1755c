#include "engine/EngineError.h"
#include "engine/media/FirstPicture.h"
#include "engine/media/QuickRepair.h"
#include "engine/media/VideoInfo.h"
#include "engine/service/RequestHandler.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFileInfo>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>

#include <functional>
#include <optional>

namespace {

using DamageFunction = std::function<DamagedFile(const QByteArray &)>;

constexpr int seconds = 8;

QByteArray textOf(const Score &score)
{
    return QStringLiteral("recovered %1 of %2, wrong %3, misplaced %4, mistimed %5 (by %6 s)")
        .arg(score.recovered)
        .arg(score.recoverable)
        .arg(score.wrong)
        .arg(score.misplaced)
        .arg(score.mistimed)
        .arg(score.timeError)
        .toLatin1();
}

} // namespace

Q_DECLARE_METATYPE(DamageFunction)

/** What quick repair brings back of damaged recordings, judged by what the undamaged ones hold. */
class QuickRepairTest : public TestCase
{
    Q_OBJECT

    struct Outcome
    {
        RepairReport report;
        Contents original;
        Contents output;
        Score score;
    };

    /** Damages a master, repairs it and compares. Throws what the repair throws. */
    Outcome repair(const QString &name, const DamageFunction &damage)
    {
        const QString master = makeMaster(masterNamed(name), seconds);
        const DamagedFile damaged = damage(readFile(master));
        const QString input = folder.filePath(QStringLiteral("damaged-") + name);
        outputPath = folder.filePath(QStringLiteral("repaired-") + name);
        writeFile(input, damaged.bytes());
        QFile::remove(outputPath);
        Outcome outcome;
        outcome.report = quickRepair(input.toStdString(), outputPath.toStdString());
        if (readFile(input) != damaged.bytes())
            qFatal("the damaged file was written to");
        outcome.original = readContents(master);
        outcome.output = readContents(outputPath);
        outcome.score = scoreOf(outcome.original, damaged, outcome.output);
        return outcome;
    }

    std::optional<ErrorCode> failureOf(const QString &name, const DamageFunction &damage)
    {
        try {
            repair(name, damage);
        } catch (const EngineError &error) {
            return error.code();
        }
        return std::nullopt;
    }

    static void addRow(const char *title, const char *master, const DamageFunction &damage)
    {
        QTest::newRow(title) << QString::fromLatin1(master) << damage;
    }

private Q_SLOTS:
    void mediaIsWhole_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        const auto with = [](auto function, auto... arguments) {
            return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
        };
        for (const char *name : {"end.mp4", "front.mp4", "hevc.mp4", "slices.mp4", "variable.mp4",
                                 "sounds.mp4", "plain.mov", "plain24.mov"}) {
            const QByteArray title = name;
            addRow(title + ": nothing", name, with(Damage::cutAt, 1.0));
            addRow(title + ": media size 0", name, with(Damage::mediaSize, 0U));
            addRow(title + ": media size too large", name, with(Damage::mediaSize, 0x7ffffff0U));
            addRow(title + ": media size too small", name, with(Damage::mediaSize, 1000U));
            addRow(title + ": first 40 bytes", name, with(Damage::zeroedHead, 40));
            addRow(title + ": places 1234 too far", name, with(Damage::shiftedOffsets, 1234));
            addRow(title + ": places 28 too near", name, with(Damage::shiftedOffsets, -28));
            addRow(title + ": 5000 bytes before the media", name,
                   with(Damage::insertedBeforeMedia, 5000));
            // How long each picture lasted is then nowhere any more.
            if (title.startsWith("variable"))
                continue;
            addRow(title + ": durations of 0", name, with(Damage::durations, 0U));
            addRow(title + ": durations of thrice the length", name, with(Damage::durations, 3U));
        }
        for (const char *name : {"end.mp4", "slices.mp4", "sounds.mp4", "plain.mov", "front.mp4",
                                 "hevc.mp4", "plain24.mov"}) {
            for (const int size : {100, 150, 200, 300, 400, 512})
                addRow(QByteArray(name) + ": first " + QByteArray::number(size) + " bytes", name,
                       with(Damage::zeroedHead, size));
        }
    }

    void mediaIsWhole()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        QVERIFY2(outcome.score.recall() > 0.99 && outcome.score.wrong == 0 &&
                     outcome.score.misplaced == 0,
                 textOf(outcome.score));
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
    }

    void cutsLeaveWholePackets_data()
    {
        QTest::addColumn<QString>("name");
        for (const char *name : {"front.mp4", "fragments.mp4", "hevc.mp4", "plain24.mov",
                                 "recorder.mkv", "camera.avi", "broadcast.ts", "stream.flv"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }

    void cutsLeaveWholePackets()
    {
        QFETCH(QString, name);
        constexpr int points = 20;
        for (int i = 1; i <= points; ++i) {
            const double part = i / static_cast<double>(points + 1);
            const Outcome outcome =
                repair(name, [part](const QByteArray &b) { return Damage::cutAt(b, part); });
            QVERIFY2(outcome.score.isPerfect(),
                     QByteArray::number(part) + ": " + textOf(outcome.score));
        }
    }

    void aLostFragmentHeaderCostsItsFragment_data()
    {
        QTest::addColumn<int>("number");
        QTest::addColumn<int>("bytes");
        for (const int number : {0, 1, 2, 3, 4}) {
            QTest::addRow("fragment %d", number) << number << -1;
            QTest::addRow("fragment %d, its first 8 bytes", number) << number << 8;
            QTest::addRow("fragment %d, its first 24 bytes", number) << number << 24;
        }
    }

    void aLostFragmentHeaderCostsItsFragment()
    {
        QFETCH(int, number);
        QFETCH(int, bytes);
        const Outcome outcome =
            repair(QStringLiteral("fragments.mp4"), [&](const QByteArray &original) {
                return Damage::lostFragmentHeader(original, number, bytes);
            });
        QCOMPARE(outcome.score.wrong, 0);
        QCOMPARE(outcome.score.misplaced, 0);
        QVERIFY2(outcome.score.mistimed == 0, textOf(outcome.score));
        QVERIFY2(outcome.score.recall() == 1, textOf(outcome.score));
        // With its inner headers, a fragment is told from them.
        QVERIFY(bytes < 0 || outcome.score.recoverable == outcome.score.matched);
    }

    void completeTracksOfACutIndex()
    {
        for (const double part : {0.2, 0.5, 0.8}) {
            const DamageFunction cutIndex = [part](const QByteArray &bytes) {
                return Damage::cutIndex(bytes, part);
            };
            const Outcome outcome = repair(QStringLiteral("sounds.mp4"), cutIndex);
            QCOMPARE(outcome.score.wrong, 0);
            QCOMPARE(outcome.score.misplaced, 0);
            QVERIFY2(outcome.score.mistimed == 0, textOf(outcome.score));
            QVERIFY2(outcome.score.recall() == 1, textOf(outcome.score));
            QVERIFY(!outcome.output.streams.empty());
            // A track is there whole, or, the one that the cut goes through, its beginning.
            std::size_t partly = 0;
            for (std::size_t i = 0; i < outcome.output.streams.size(); ++i) {
                if (outcome.output.streams[i].packets.size() <
                    outcome.original.streams[i].packets.size())
                    ++partly;
            }
            QVERIFY(partly <= 1);
            QVERIFY(outcome.output.streams.size() < outcome.original.streams.size() || partly > 0);
        }
    }

    void nothingRecoverableLeavesNoOutput()
    {
        const auto withoutIndex = [](const QByteArray &bytes) { return Damage::cutAt(bytes, 0.6); };
        QCOMPARE(failureOf(QStringLiteral("end.mp4"), withoutIndex),
                 std::optional(ErrorCode::NotRecognised));
        QVERIFY(!QFileInfo::exists(outputPath));
        const auto withoutMedia = [](const QByteArray &bytes) {
            DamagedFile file(bytes);
            file.zero(48, bytes.indexOf("moov") - 52);
            return file;
        };
        QCOMPARE(failureOf(QStringLiteral("end.mp4"), withoutMedia),
                 std::optional(ErrorCode::NothingReadable));
        QVERIFY(!QFileInfo::exists(outputPath));
    }

    void aRefusalSaysWhy_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        QTest::addColumn<QString>("reason");
        QTest::newRow("index") << QStringLiteral("end.mp4")
                               << DamageFunction([](const QByteArray &bytes) {
                                      return Damage::cutAt(bytes, 0.6);
                                  })
                               << QStringLiteral("has lost its index");
        QTest::newRow("header") << QStringLiteral("recorder.mkv")
                                << DamageFunction([](const QByteArray &bytes) {
                                       return Damage::zeroedHead(bytes, 512);
                                   })
                                << QStringLiteral("has lost the header that says how its pictures "
                                                  "and sound are coded");
    }

    void aRefusalSaysWhy()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        QFETCH(QString, reason);
        QString sentence;
        try {
            repair(name, damage);
        } catch (const EngineError &error) {
            QCOMPARE(error.code(), ErrorCode::NotRecognised);
            sentence = QString::fromUtf8(error.what());
        }
        QVERIFY2(sentence.contains(reason), qPrintable(sentence));
        QVERIFY(!QFileInfo::exists(outputPath));
    }

    void zeroedBlocksCostThePacketsThatTheyTouch()
    {
        const Outcome outcome = repair(QStringLiteral("front.mp4"), [](const QByteArray &bytes) {
            return Damage::zeroedBlocks(bytes, 5, 65536, 3);
        });
        QVERIFY2(outcome.score.recall() == 1, textOf(outcome.score));
        QVERIFY2(outcome.score.mistimed == 0, textOf(outcome.score));
        // What lies in a packet only by a few bytes cannot be told.
        QVERIFY2(outcome.score.wrong <= 4, textOf(outcome.score));
        QVERIFY(outcome.report.lost() > 0);
        const TrackReport &video = outcome.report.tracks[0];
        QVERIFY(!video.gaps.empty());
        for (const Gap &gap : video.gaps)
            QVERIFY(gap.from >= 0 && gap.to > gap.from && gap.to <= seconds + 0.1);
        QCOMPARE(video.found, video.kept + video.lost());
    }

    void aDamagedClusterLosesWhatItTouched_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("size");
        QTest::newRow("5 x 64 KiB") << 5 << 65536;
        QTest::newRow("20 x 512") << 20 << 512;
    }

    void aDamagedClusterLosesWhatItTouched()
    {
        QFETCH(int, count);
        QFETCH(int, size);
        const Outcome outcome =
            repair(QStringLiteral("recorder.mkv"), [&](const QByteArray &bytes) {
                return Damage::zeroedBlocks(bytes, count, size, 3);
            });
        QVERIFY2(outcome.score.recall() >= 0.999, textOf(outcome.score));
        QCOMPARE(outcome.score.misplaced, 0);
        // Within one picture: a lost cluster header takes the exact time with it.
        QVERIFY2(outcome.score.timeError < 1 / 30.0, textOf(outcome.score));
        QVERIFY2(outcome.score.wrong <= 2, textOf(outcome.score));
        QVERIFY(outcome.report.lost() > 0);
        // Read by a reader of our own, not by FFmpeg's.
        QCOMPARE(outcome.report.tracks[0].codec, std::string("V_MPEG4/ISO/AVC"));
    }

    void damageInsideFlashAndAvi_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("hasIndex");
        QTest::addColumn<unsigned>("seed");
        for (const unsigned seed : {3U, 4U, 5U}) {
            QTest::addRow("AVI with its index, %u", seed)
                << QStringLiteral("camera.avi") << true << seed;
            QTest::addRow("AVI without, %u", seed) << QStringLiteral("camera.avi") << false << seed;
            QTest::addRow("FLV, %u", seed) << QStringLiteral("stream.flv") << true << seed;
        }
    }

    void damageInsideFlashAndAvi()
    {
        QFETCH(QString, name);
        QFETCH(bool, hasIndex);
        QFETCH(unsigned, seed);
        const Outcome outcome = repair(name, [&](const QByteArray &bytes) {
            DamagedFile file = Damage::zeroedBlocks(bytes, 5, 65536, seed);
            // Another end than an index's: as in a file that was never closed.
            if (!hasIndex)
                file.cut(bytes.lastIndexOf("idx1"));
            return file;
        });
        QVERIFY2(outcome.score.recall() >= 0.999, textOf(outcome.score));
        QCOMPARE(outcome.score.misplaced, 0);
        // At the edges of what is overwritten, a few bytes of a packet cannot be told from it; of
        // plain sound that is a piece at either edge of each block.
        QVERIFY2(outcome.score.wrong <= 12, textOf(outcome.score));
        // Without an index, what was lost is told by its length: within some pictures.
        const double most = hasIndex ? Score::timeTolerance : 0.35;
        QVERIFY2(outcome.score.timeError <= most, textOf(outcome.score));
        const TrackReport &video = outcome.report.tracks[0];
        QVERIFY(video.lost() > 0);
        QVERIFY(!video.gaps.empty());
        for (const Gap &gap : video.gaps)
            QVERIFY(gap.from >= 0 && gap.to > gap.from && gap.to <= seconds + 0.5);
    }

    void gapsOfATransportStream()
    {
        const Outcome outcome = repair(QStringLiteral("broadcast.ts"), [](const QByteArray &bytes) {
            DamagedFile file(bytes);
            // Somewhat more than half a second of it.
            const qsizetype size = bytes.size() / 188 / seconds * 188 * 6 / 10;
            file.zero(bytes.size() / 188 / 2 * 188, size);
            return file;
        });
        const TrackReport &video = outcome.report.tracks[0];
        QVERIFY2(video.gaps.size() == 1, qPrintable(QString::number(video.gaps.size())));
        const double length = video.gaps[0].to - video.gaps[0].from;
        QVERIFY2(length > 0.1 && length < 2, qPrintable(QString::number(length)));
        QVERIFY2(qAbs(video.gaps[0].from - seconds / 2.0) < 2,
                 qPrintable(QString::number(video.gaps[0].from)));
        QVERIFY(video.lost() > 0);
        QCOMPARE(outcome.score.misplaced, 0);
    }

    void lostHeaders_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("bytes");
        QTest::addColumn<double>("timeError");
        constexpr double none = Score::timeTolerance;
        QTest::newRow("AVI, 2 KiB") << QStringLiteral("camera.avi") << 2048 << none;
        QTest::newRow("AVI, 40 bytes") << QStringLiteral("camera.avi") << 40 << none;
        QTest::newRow("FLV, 40 bytes") << QStringLiteral("stream.flv") << 40 << none;
        QTest::newRow("TS, 512 bytes") << QStringLiteral("broadcast.ts") << 512 << none;
        // The packets themselves say how they are coded.
        for (const char *file : {"inband.mkv", "inband-hevc.mkv", "pictures.mkv", "plain.avi"}) {
            for (const int lost : {512, 2048})
                QTest::addRow("%s, %d bytes", file, lost)
                    << QString::fromLatin1(file) << lost << none;
        }
        // AVI cannot say that compressed sound begins later than the pictures: where its first
        // frame is lost, the others come as much earlier.
        constexpr double frame = 0.0241;
        QTest::newRow("short.avi, 512 bytes") << QStringLiteral("short.avi") << 512 << none;
        QTest::newRow("short.avi, 2 KiB") << QStringLiteral("short.avi") << 2048 << frame;
    }

    void lostHeaders()
    {
        QFETCH(QString, name);
        QFETCH(int, bytes);
        QFETCH(double, timeError);
        const Outcome outcome = repair(
            name, [&](const QByteArray &content) { return Damage::zeroedHead(content, bytes); });
        QVERIFY2(outcome.score.recall() == 1, textOf(outcome.score));
        QCOMPARE(outcome.score.wrong, 0);
        QCOMPARE(outcome.score.misplaced, 0);
        QVERIFY2(outcome.score.timeError <= timeError, textOf(outcome.score));
        QCOMPARE(outcome.output.format, outcome.original.format);
        QCOMPARE(outcome.report.streamsLeftOut, 0);
    }

    void soundThatCannotBeToldIsLeftOut()
    {
        const Outcome outcome = repair(QStringLiteral("untold.mkv"), [](const QByteArray &bytes) {
            return Damage::zeroedHead(bytes, 512);
        });
        QVERIFY2(outcome.score.recoveredOf.at('v') == outcome.score.recoverableOf.at('v'),
                 textOf(outcome.score));
        QCOMPARE(outcome.score.wrong, 0);
        QCOMPARE(outcome.output.streams.size(), std::size_t{1});
        QCOMPARE(outcome.report.streamsLeftOut, 1);
        const TrackReport &sound = outcome.report.tracks.at(1);
        QVERIFY(sound.found > 0);
        QCOMPARE(sound.kept, 0);
        QCOMPARE(sound.gaps.size(), std::size_t{1});
    }

    void firstPictureWhateverTheIndex_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        const auto with = [](auto function, auto... arguments) {
            return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
        };
        addRow("media size", "end.mp4", with(Damage::mediaSize, 0x7ffffff0U));
        addRow("first 40 bytes", "hevc.mp4", with(Damage::zeroedHead, 40));
        addRow("places", "front.mp4", with(Damage::shiftedOffsets, 777));
        addRow("cut", "front.mp4", with(Damage::cutAt, 0.3));
        addRow("fragment", "fragments.mp4", with(Damage::lostFragmentHeader, 2, -1));
        addRow("cut index", "sounds.mp4", with(Damage::cutIndex, 0.5));
        addRow("blocks", "recorder.mkv", with(Damage::zeroedBlocks, 5, 65536, 3U));
        addRow("junk", "broadcast.ts", with(Damage::insertedJunk, 0.1, 777));
        addRow("no index", "camera.avi", with(Damage::unfinishedAvi));
    }

    void firstPictureWhateverTheIndex()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const QString master = makeMaster(masterNamed(name), seconds);
        const QString input = folder.filePath(QStringLiteral("pictured-") + name);
        const QString photo = folder.filePath(QStringLiteral("photo.jpg"));
        const QString expected = folder.filePath(QStringLiteral("expected.png"));
        writeFile(input, damage(readFile(master)).bytes());
        writeFirstPicture(input.toStdString(), photo.toStdString(), 1);
        Footage::run(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                      QStringLiteral("-i"), master, QStringLiteral("-frames:v"),
                      QStringLiteral("1"), expected});
        const QImage found(photo);
        const QImage first(expected);
        QCOMPARE(found.size(), first.size());
        qint64 difference = 0;
        for (int y = 0; y < found.height(); ++y) {
            for (int x = 0; x < found.width(); ++x)
                difference += qAbs(qGray(found.pixel(x, y)) - qGray(first.pixel(x, y)));
        }
        const double mean = static_cast<double>(difference) / (found.width() * found.height());
        QVERIFY2(mean < 6, qPrintable(QString::number(mean)));
    }

    void parametersWhateverTheIndex()
    {
        const QString master = makeMaster(masterNamed(QStringLiteral("end.mp4")), seconds);
        const QString input = folder.filePath(QStringLiteral("asked.mp4"));
        for (const DamagedFile &damaged :
             {Damage::mediaSize(readFile(master), 0), Damage::zeroedHead(readFile(master), 512),
              Damage::shiftedOffsets(readFile(master), 5)}) {
            writeFile(input, damaged.bytes());
            const QJsonObject request = {{QStringLiteral("method"), 107},
                                         {QStringLiteral("videoPath"), input}};
            const std::string answer =
                handleRequest(QJsonDocument(request).toJson(QJsonDocument::Compact).toStdString());
            const QJsonObject object =
                QJsonDocument::fromJson(QByteArray::fromStdString(answer)).object();
            QVERIFY2(object.value(QStringLiteral("err_code")) == 0, answer.c_str());
            const QJsonObject info = object.value(QStringLiteral("video_info")).toObject();
            QCOMPARE(info.value(QStringLiteral("codec")), QJsonValue(QStringLiteral("h264")));
            QCOMPARE(info.value(QStringLiteral("width")), QJsonValue(640));
            QCOMPARE(info.value(QStringLiteral("make")), QJsonValue(QStringLiteral("Maker")));
            QCOMPARE(info.value(QStringLiteral("model")), QJsonValue(QStringLiteral("Model")));
            QCOMPARE(info.value(QStringLiteral("source")),
                     QJsonValue(QStringLiteral("metadata key \"make\" of the file, metadata key "
                                               "\"model\" of the file")));
        }
    }

    void makerAndModelAreKept_data()
    {
        QTest::addColumn<QString>("name");
        for (const Master &master : masters()) {
            if (!master.make.isEmpty())
                QTest::newRow(qPrintable(master.name)) << master.name;
        }
    }

    void makerAndModelAreKept()
    {
        QFETCH(QString, name);
        const Outcome outcome = repair(
            name, [](const QByteArray &bytes) { return Damage::zeroedBlocks(bytes, 2, 20000, 3); });
        QVERIFY(outcome.report.lost() > 0);
        const VideoInfo info = describeFile(outputPath.toStdString());
        QCOMPARE(QString::fromStdString(info.make.value_or("")), masterNamed(name).make);
        QCOMPARE(QString::fromStdString(info.model.value_or("")), masterNamed(name).model);
    }

    void whatIsNotMediaIsKept()
    {
        const auto brokenSize = [](const QByteArray &bytes) {
            return Damage::mediaSize(bytes, 0x7ffffff0U);
        };
        const auto show = [](const char *entries) {
            return QStringList{QStringLiteral("-show_entries"), QString::fromLatin1(entries)};
        };
        for (const char *name : {"end.mp4", "plain.mov", "sounds.mp4"}) {
            repair(QString::fromLatin1(name), brokenSize);
            const QString master = makeMaster(masterNamed(QString::fromLatin1(name)), seconds);
            for (const QStringList &question :
                 {show("format=format_name,duration:format_tags"),
                  show("stream=codec_name,codec_tag_string,width,height,r_frame_rate,start_time,"
                       "duration,nb_frames:stream_tags:stream_side_data")})
                QCOMPARE(Footage::probe(outputPath, question), Footage::probe(master, question));
        }
    }

private:
    QTemporaryDir folder;
    QString outputPath;
};

VELLUMIX_TEST_MAIN(QuickRepairTest)

#include "tst_quick_repair.moc"
