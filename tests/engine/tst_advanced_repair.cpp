#include "engine/EngineError.h"
#include "engine/advanced/AdvancedRepair.h"
#include "tests/corpus/CameraFile.h"
#include "tests/corpus/Decoded.h"
#include "tests/corpus/Masters.h"
#include "tests/corpus/Pictures.h"
#include "tests/corpus/Score.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <functional>
#include <optional>

namespace {

using DamageFunction = std::function<DamagedFile(const QByteArray &)>;

constexpr int seconds = 8;
constexpr int sampleSeconds = 10;
/** Where errors could add up. */
constexpr int longSeconds = 40;

QByteArray textOf(const Score &score)
{
    return QStringLiteral("recovered %1 of %2, wrong %3, misplaced %4, mistimed %5 (by %6 s), "
                          "sound beside picture %7 s")
        .arg(score.recovered)
        .arg(score.recoverable)
        .arg(score.wrong)
        .arg(score.misplaced)
        .arg(score.mistimed)
        .arg(score.timeError)
        .arg(score.soundError)
        .toLatin1();
}

} // namespace

Q_DECLARE_METATYPE(DamageFunction)

/** What advanced repair brings back of recordings without an index, with a sample's help. */
class AdvancedRepairTest : public TestCase
{
    Q_OBJECT

    struct Outcome
    {
        RepairReport report;
        Contents original;
        Contents output;
        Score score;
        QString master;
        DamagedFile damaged{QByteArray()};
    };

    static QString sampleOf(const QString &name)
    {
        return makeMaster(masterNamed(name), sampleSeconds, Scene::Sample);
    }

    /** Damages a master, repairs it and compares. Throws what the repair throws. */
    Outcome repair(const QString &name, const DamageFunction &damage, int length = seconds)
    {
        return repair(name, damage, sampleOf(name), length);
    }

    Outcome repair(const QString &name, const DamageFunction &damage, const QString &sample,
                   int length = seconds)
    {
        const QString master = makeMaster(masterNamed(name), length);
        const DamagedFile damaged = damage(readFile(master));
        const QString input = folder.filePath(QStringLiteral("damaged-") + name);
        outputPath = folder.filePath(QStringLiteral("repaired-") + name);
        writeFile(input, damaged.bytes());
        QFile::remove(outputPath);
        Outcome outcome;
        outcome.master = master;
        outcome.damaged = damaged;
        outcome.report =
            advancedRepair(input.toStdString(), sample.toStdString(), outputPath.toStdString());
        if (readFile(input) != damaged.bytes())
            qFatal("the damaged file was written to");
        outcome.original = readContents(master);
        outcome.output = readContents(outputPath);
        outcome.score = scoreOf(outcome.original, damaged, outcome.output);
        return outcome;
    }

    /** The same in a camera's arrangement, of which a part is left, without its index. */
    Outcome repairArranged(const QString &name, const CameraLayout &layout, double part)
    {
        Outcome outcome;
        outcome.master = folder.filePath(QStringLiteral("camera-") + name);
        const QString sample = folder.filePath(QStringLiteral("camera-sample-") + name);
        const QString input = folder.filePath(QStringLiteral("camera-damaged-") + name);
        outputPath = folder.filePath(QStringLiteral("camera-repaired-") + name);
        QFile::remove(outputPath);
        const QByteArray recorded =
            arrangedAsCamera(readFile(makeMaster(masterNamed(name), seconds)), layout);
        writeFile(outcome.master, recorded);
        writeFile(sample, arrangedAsCamera(readFile(sampleOf(name)), layout));
        outcome.damaged = part < 1 ? Damage::cutAt(recorded, part) : Damage::lostIndex(recorded);
        writeFile(input, outcome.damaged.bytes());
        outcome.report =
            advancedRepair(input.toStdString(), sample.toStdString(), outputPath.toStdString());
        outcome.original = readContents(outcome.master);
        outcome.output = readContents(outputPath);
        outcome.score = scoreOf(outcome.original, outcome.damaged, outcome.output);
        return outcome;
    }

    /** The answer to a sample, other than a success. */
    struct Refusal
    {
        ErrorCode code = ErrorCode::None;
        QString sentence;
    };

    Refusal refusalOf(const QString &name, const QString &sample)
    {
        try {
            repair(name, Damage::lostIndex, sample);
        } catch (const EngineError &error) {
            return {error.code(), QString::fromUtf8(error.what())};
        }
        return {};
    }

    /** A sample of another device, or with other settings. */
    static QString otherSample(const char *suffix, const char *picture, const char *sound,
                               const char *options)
    {
        const auto words = [](const char *text) {
            return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
        };
        return Footage::kept(words("-v error -y -f lavfi -i") + words(picture) +
                                 words("-f lavfi -i") + words(sound) +
                                 words("-t 4 -pix_fmt yuv420p") + words(options),
                             QString::fromLatin1(suffix));
    }

    static void addRow(const char *title, const char *master, const DamageFunction &damage)
    {
        QTest::newRow(title) << QString::fromLatin1(master) << damage;
    }

    /** Rows of three damages with zeros and one with noise for each of some recordings. */
    static void addSpots(int count, int size, unsigned noiseSeed)
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        using Damage::Fill;
        const std::pair<Fill, unsigned> kinds[] = {
            {Fill::Zeros, 1}, {Fill::Zeros, 2}, {Fill::Zeros, 3}, {Fill::Noise, noiseSeed}};
        for (const char *name :
             {"end.mp4", "slices.mp4", "longhevc.mp4", "variable.mp4", "pictures.mov"}) {
            for (const auto &[fill, seed] : kinds) {
                const QByteArray title = QByteArray(name) +
                                         (fill == Fill::Zeros ? ": zeroed, " : ": noise, ") +
                                         QByteArray::number(seed);
                addRow(title.constData(), name,
                       [count, size, fill = fill, seed = seed](const QByteArray &bytes) {
                           return Damage::lostIndexAndBlocks(bytes, count, size, fill, seed);
                       });
            }
        }
    }

    void verifyAllIsShown()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        const Score &score = outcome.score;
        QCOMPARE(score.recoveredOf.at('v'), score.recoverableOf.at('v'));
        const DecodedScore decoded = decodedScoreOf(outcome.master, outcome.damaged, outputPath);
        QVERIFY(decoded.possible > 0 && decoded.possible < decoded.all);
        QCOMPARE(decoded.shown, decoded.possible);
    }

    void verifyTimesHold(const QString &name, int count, int size, Damage::Fill fill,
                         double tolerance, int length)
    {
        for (const unsigned seed : {1U, 2U, 3U}) {
            const Outcome outcome = repair(
                name,
                [=](const QByteArray &bytes) {
                    return Damage::lostIndexAndBlocks(bytes, count, size, fill, seed);
                },
                length);
            const auto partOf = [&outcome](char kind) {
                return static_cast<double>(outcome.score.recoveredOf.at(kind)) /
                       static_cast<double>(outcome.score.recoverableOf.at(kind));
            };
            // Pieces of plain sound are small: half of one is none.
            const bool isPlain = name.endsWith(QLatin1String(".mov"));
            QVERIFY2(partOf('v') >= 0.999 && partOf('a') >= (isPlain ? 0.99 : 0.999),
                     textOf(outcome.score));
            QVERIFY2(outcome.score.misplaced == 0, textOf(outcome.score));
            QVERIFY2(outcome.score.timeError <= tolerance, textOf(outcome.score));
        }
    }

private Q_SLOTS:
    void theIndexIsLost_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        const auto with = [](auto function, auto... arguments) {
            return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
        };
        for (const char *name :
             {"end.mp4", "slices.mp4", "longhevc.mp4", "plain.mov", "deep.mov", "pictures.mov",
              "two.mp4", "sounds.mp4", "telephone.mov", "blocks.mov", "frames.mp4", "prores.mov"}) {
            const QByteArray title = name;
            addRow(title + ": index lost", name, with(Damage::lostIndex));
            addRow(title + ": cut at 60 %", name, with(Damage::cutAt, 0.6));
        }
    }

    void theIndexIsLost()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
    }

    /** What nothing tells is left out, and said: pictures are worth having without their sound. */
    void soundThatNothingTellsIsLeftOut()
    {
        const Outcome outcome = repair(QStringLiteral("untold.mp4"), Damage::lostIndex);
        const Score &score = outcome.score;
        QCOMPARE(score.recoveredOf.at('v'), score.recoverableOf.at('v'));
        QVERIFY2(score.wrong == 0 && score.misplaced == 0 && score.mistimed == 0, textOf(score));
        QCOMPARE(outcome.output.streams.size(), std::size_t{1});
        QCOMPARE(outcome.report.streamsLeftOut, 1);
        QVERIFY(std::find(outcome.report.remarks.begin(), outcome.report.remarks.end(),
                          "Sound of this kind cannot be recovered with a sample yet and was left "
                          "out: Opus.") != outcome.report.remarks.end());
        QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
    }

    void arrangementsOfCameras_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("picturesPerChunk");
        QTest::addColumn<int>("alignment");
        QTest::addColumn<QByteArray>("dataType");
        QTest::addColumn<bool>("isDataMarked");
        const auto row = [](const char *title, const char *name, int pictures, int alignment,
                            const char *dataType, bool isMarked) {
            QTest::newRow(title) << QString::fromLatin1(name) << pictures << alignment
                                 << QByteArray(dataType) << isMarked;
        };
        row("chunks of half a second", "end.mp4", 15, 1, "", true);
        row("two tracks of sound, half a second", "two.mp4", 15, 1, "", true);
        row("two tracks of sound, a second", "two.mp4", 30, 1, "", true);
        row("four tracks of sound", "sounds.mp4", 15, 1, "", true);
        row("plain sound, half a second", "deep.mov", 15, 1, "", true);
        row("padding", "end.mp4", 15, 512, "", true);
        row("padding, two tracks of sound", "two.mp4", 15, 2048, "", true);
        row("telemetry", "end.mp4", 15, 1, "gpmd", true);
        row("telemetry with each picture", "longhevc.mp4", 1, 1, "gpmd", true);
        row("telemetry and padding", "end.mp4", 15, 512, "gpmd", true);
        row("telemetry, plain sound", "deep.mov", 15, 1, "gpmd", true);
        row("unknown data", "end.mp4", 15, 1, "wxyz", false);
    }

    void arrangementsOfCameras()
    {
        QFETCH(QString, name);
        QFETCH(int, picturesPerChunk);
        QFETCH(int, alignment);
        QFETCH(QByteArray, dataType);
        QFETCH(bool, isDataMarked);
        const Score score =
            repairArranged(name, {picturesPerChunk, alignment, dataType, isDataMarked}, 0.6).score;
        QVERIFY2(score.recoveredOf.at('v') == score.recoverableOf.at('v'), textOf(score));
        QVERIFY2(score.recall() >= 0.995, textOf(score));
        QVERIFY2(score.wrong <= 1 && score.misplaced == 0 && score.mistimed == 0, textOf(score));
    }

    void soundBesideSoundThatNothingTells()
    {
        const Outcome outcome = repairArranged(QStringLiteral("kinds.mp4"), {}, 1);
        QCOMPARE(outcome.report.streamsLeftOut, 1);
        QCOMPARE(outcome.output.streams.size(), std::size_t{2});
        for (const std::size_t stream : {0U, 1U})
            QCOMPARE(outcome.output.streams[stream].packets.size(),
                     outcome.original.streams[stream].packets.size());
        const Score &score = outcome.score;
        QVERIFY2(score.wrong == 0 && score.misplaced == 0 && score.mistimed == 0, textOf(score));
    }

    void soundThatCannotBeToldFromOther_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("sentence");
        QTest::newRow("packets in turns")
            << QStringLiteral("kinds.mp4")
            << QStringLiteral("The recording has sound of kinds that recovery cannot tell apart "
                              "yet.");
        QTest::newRow("plain sound") << QStringLiteral("unlike.mov")
                                     << QStringLiteral("Recordings with both plain and compressed "
                                                       "sound cannot be recovered with a sample "
                                                       "yet.");
    }

    void soundThatCannotBeToldFromOther()
    {
        QFETCH(QString, name);
        QFETCH(QString, sentence);
        const Refusal refusal = refusalOf(name, sampleOf(name));
        QCOMPARE(refusal.code, ErrorCode::NotAvailable);
        QCOMPARE(refusal.sentence, sentence);
        QVERIFY(!QFileInfo::exists(outputPath));
    }

    /** Sound of two tracks whose chunks follow in no order: of none can it be told whose it is. */
    void tracksThatCannotBeToldApartAreNotMerged()
    {
        CameraLayout layout;
        layout.changesOrder = true;
        const Outcome outcome = repairArranged(QStringLiteral("two.mp4"), layout, 1);
        const Score &score = outcome.score;
        QCOMPARE(score.recoveredOf.at('v'), score.recoverableOf.at('v'));
        QVERIFY2(!score.recoveredOf.contains('a') && score.wrong == 0, textOf(score));
        QCOMPARE(outcome.report.streamsLeftOut, 2);
        QVERIFY(sentenceOf(outcome.report)
                    .find("It cannot be told which track some of the sound belongs "
                          "to; it was left out: " +
                          std::to_string(score.recoverableOf.at('a')) + " packets.") !=
                std::string::npos);
    }

    /** What is left of a hit run of sound goes to its own track or to none. */
    void noTrackGetsSoundOfAnother()
    {
        for (const char *name : {"two.mp4", "sounds.mp4"}) {
            for (const unsigned seed : {1U, 2U, 3U}) {
                const Outcome outcome =
                    repair(QString::fromLatin1(name), [seed](const QByteArray &bytes) {
                        return Damage::lostIndexAndBlocks(bytes, 12, 512, Damage::Fill::Zeros,
                                                          seed);
                    });
                QVERIFY2(outcome.score.wrong == 0 && outcome.score.misplaced == 0,
                         textOf(outcome.score));
                QVERIFY2(outcome.score.recall() >= 0.98, textOf(outcome.score));
            }
        }
    }

    void aFileThatTellsOfAsMuchAsTheSampleNeedsNoSample()
    {
        const Outcome outcome = repair(
            QStringLiteral("front.mp4"),
            [](const QByteArray &bytes) {
                DamagedFile file(bytes);
                file.insert(bytes.size(), QByteArray(bytes.size() / 2, '\x5a'));
                return file;
            },
            sampleOf(QStringLiteral("end.mp4")));
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QVERIFY(sentenceOf(outcome.report)
                    .ends_with("The file tells of as much of its media as was found with the "
                               "sample, which was not needed."));
    }

    void headersOfFragmentsAreAnExactIndex()
    {
        const Outcome outcome =
            repair(QStringLiteral("fragments.mp4"), [](const QByteArray &bytes) {
                // Up to the first fragment, and the index of them all at the end.
                DamagedFile file(bytes);
                file.zero(0, bytes.indexOf("moof") - 4);
                file.cut(bytes.lastIndexOf("mfra") - 4);
                return file;
            });
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
    }

    void aFileThatTellsOfItsMediaNeedsNoSample()
    {
        const Outcome outcome = repair(QStringLiteral("front.mp4"), [](const QByteArray &bytes) {
            return Damage::cutAt(bytes, 0.6);
        });
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QVERIFY(sentenceOf(outcome.report)
                    .ends_with("The file tells of its own media: the sample "
                               "was not needed."));
    }

    void theSampleIsNotWrittenOver()
    {
        const QString sample = folder.filePath(QStringLiteral("only-copy.mp4"));
        const QString input = folder.filePath(QStringLiteral("damaged.mp4"));
        const QByteArray content = readFile(sampleOf(QStringLiteral("end.mp4")));
        writeFile(sample, content);
        writeFile(input, Damage::lostIndex(content).bytes());
        try {
            advancedRepair(input.toStdString(), sample.toStdString(), sample.toStdString());
            QFAIL("it was written over");
        } catch (const EngineError &error) {
            QCOMPARE(error.code(), ErrorCode::BadRequest);
        }
        QCOMPARE(readFile(sample), content);
    }

    void whatTheSampleSaysOfTheDeviceIsKept()
    {
        repair(QStringLiteral("end.mp4"), Damage::lostIndex);
        const QStringList question = {QStringLiteral("-show_entries"),
                                      QStringLiteral("format_tags=make,model,major_brand:stream="
                                                     "codec_name,codec_tag_string,width,height,"
                                                     "r_frame_rate,time_base")};
        QCOMPARE(
            Footage::probe(outputPath, question),
            Footage::probe(makeMaster(masterNamed(QStringLiteral("end.mp4")), seconds), question));
        // The index stands before the media.
        const QByteArray bytes = readFile(outputPath);
        QVERIFY(bytes.indexOf("moov") > 0 && bytes.indexOf("moov") < bytes.indexOf("mdat"));
    }

    void samplesThatDoNotFit_data()
    {
        QTest::addColumn<QString>("master");
        QTest::addColumn<QByteArray>("picture");
        QTest::addColumn<QByteArray>("sound");
        QTest::addColumn<QByteArray>("options");
        QTest::addColumn<QString>("differs");
        const QByteArray picture = "testsrc=size=640x360:rate=30";
        const QByteArray sound = "aevalsrc=sin(2000*t)|sin(3000*t):s=48000";
        const QByteArray avc = "-c:v libx264 -preset veryfast -g 50 -crf 26 ";
        const QByteArray hevc = "-c:v libx265 -preset ultrafast -x265-params "
                                "log-level=none:pools=none:keyint=50:bframes=3:b-pyramid=1 "
                                "-tag:v hvc1 ";
        const auto row = [&](const char *title, const char *master, const QByteArray &video,
                             const QByteArray &audio, const QByteArray &options,
                             const char *differs) {
            QTest::newRow(title) << QString::fromLatin1(master) << video << audio << options
                                 << QString::fromLatin1(differs);
        };
        const char *parameters = "cannot be decoded with the sample's parameters";
        row("HEVC for H.264", "end.mp4", picture, sound, hevc + "-c:a aac", "it looks like H.264");
        row("H.264 for HEVC", "longhevc.mp4", picture, sound, avc + "-c:a aac",
            "it looks like HEVC");
        row("motion JPEG for H.264", "end.mp4", picture, sound, "-c:v mjpeg -c:a aac -f mov",
            "it looks like H.264");
        row("larger", "end.mp4", "testsrc=size=1280x720:rate=30", sound, avc + "-c:a aac",
            parameters);
        row("smaller", "end.mp4", "testsrc=size=320x180:rate=30", sound, avc + "-c:a aac",
            parameters);
        row("a little higher", "end.mp4", "testsrc=size=640x384:rate=30", sound, avc + "-c:a aac",
            parameters);
        row("upright", "end.mp4", "testsrc=size=360x640:rate=30", sound, avc + "-c:a aac",
            parameters);
        row("other entropy coding", "end.mp4", picture, sound,
            avc + "-x264-params cabac=0 -c:a aac", parameters);
        row("other profile", "end.mp4", picture, sound, avc + "-profile:v baseline -c:a aac",
            parameters);
        row("no B-frames", "end.mp4", picture, sound, avc + "-bf 0 -c:a aac", "");
        row("one slice for four", "slices.mp4", picture, sound, avc + "-c:a aac", "");
        row("larger HEVC", "longhevc.mp4", "testsrc=size=1280x720:rate=30", sound,
            hevc + "-c:a aac", parameters);
        row("smaller HEVC", "longhevc.mp4", "testsrc=size=320x180:rate=30", sound,
            hevc + "-c:a aac", parameters);
        row("a little higher HEVC", "longhevc.mp4", "testsrc=size=640x384:rate=30", sound,
            hevc + "-c:a aac", parameters);
        row("other presets of HEVC", "longhevc.mp4", picture, sound,
            "-c:v libx265 -preset medium -x265-params log-level=none:pools=none -tag:v hvc1 "
            "-c:a aac",
            parameters);
        row("25 pictures for 30", "end.mp4", "testsrc=size=640x360:rate=25", sound,
            avc + "-c:a aac", "with 25 pictures a second");
        row("60 pictures for 30", "end.mp4", "testsrc=size=640x360:rate=60", sound,
            avc + "-c:a aac", "");
        row("plain sound for AAC", "end.mp4", picture, sound, avc + "-c:a pcm_s16le -f mov", "");
        row("AAC for plain sound", "plain.mov", picture, sound, avc + "-c:a aac", "");
        row("no sound", "end.mp4", picture, sound, avc + "-an", "between its pictures");
        row("one channel", "end.mp4", picture, "sine=sample_rate=48000", avc + "-c:a aac", "");
        row("other rate of sound", "end.mp4", picture, "aevalsrc=sin(2000*t)|sin(3000*t):s=32000",
            avc + "-c:a aac", "");
        row("24 bits for 16", "plain.mov", picture, sound, avc + "-c:a pcm_s24le", "");
    }

    void samplesThatDoNotFit()
    {
        QFETCH(QString, master);
        QFETCH(QByteArray, picture);
        QFETCH(QByteArray, sound);
        QFETCH(QByteArray, options);
        QFETCH(QString, differs);
        const bool isMov = options.contains("pcm") || options.contains("mov");
        const QString sample = otherSample(isMov ? "mov" : "mp4", picture.constData(),
                                           sound.constData(), options.constData());
        const Refusal refusal = refusalOf(master, sample);
        QCOMPARE(refusal.code, ErrorCode::SampleDoesNotFit);
        QVERIFY2(refusal.sentence.startsWith(
                     QStringLiteral("The sample does not fit the damaged video: ")) &&
                     refusal.sentence.contains(differs),
                 qPrintable(refusal.sentence));
        QVERIFY(!QFileInfo::exists(outputPath));
    }

    /** Sound beside each picture tells when it is shown; behind the last there is none. */
    void changingRates()
    {
        for (const double part : {1.0, 0.6}) {
            const Outcome outcome =
                repair(QStringLiteral("variable.mp4"), [part](const QByteArray &bytes) {
                    return part < 1 ? Damage::cutAt(bytes, part) : Damage::lostIndex(bytes);
                });
            QCOMPARE(outcome.score.recall(), 1.0);
            QCOMPARE(outcome.score.wrong, 0);
            QCOMPARE(outcome.score.misplaced, 0);
            QVERIFY2(outcome.score.mistimed <= 1, textOf(outcome.score));
            QCOMPARE(Footage::decodeErrors(outputPath), QByteArray());
        }
    }

    void damagedSpotsCostWhatTheyTouch_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        using Damage::Fill;
        const auto with = [](int count, int size, Fill fill, unsigned seed) {
            return [=](const QByteArray &bytes) {
                return Damage::lostIndexAndBlocks(bytes, count, size, fill, seed);
            };
        };
        for (const char *name :
             {"end.mp4", "slices.mp4", "longhevc.mp4", "plain.mov", "pictures.mov"}) {
            const QByteArray title = name;
            for (const unsigned seed : {1U, 2U, 3U}) {
                const QByteArray number = QByteArray::number(seed);
                addRow(title + ": 1 x 64 KiB zeroed, " + number, name,
                       with(1, 65536, Fill::Zeros, seed));
                addRow(title + ": 1 x 64 KiB noise, " + number, name,
                       with(1, 65536, Fill::Noise, seed));
                addRow(title + ": 5 x 512 zeroed, " + number, name,
                       with(5, 512, Fill::Zeros, seed));
                addRow(title + ": 5 x 512 noise, " + number, name, with(5, 512, Fill::Noise, seed));
            }
        }
    }

    void damagedSpotsCostWhatTheyTouch()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Outcome outcome = repair(name, damage);
        QVERIFY2(outcome.score.recall() >= 0.99, textOf(outcome.score));
        QCOMPARE(outcome.score.misplaced, 0);
        QVERIFY2(outcome.score.soundError < 1 / 30.0, textOf(outcome.score));
        // The edit list ends behind the last picture.
        const PictureCount count = countPictures(outputPath);
        QVERIFY(count.all >= outcome.score.recoveredOf.at('v'));
        QCOMPARE(count.hidden, 0);
    }

    /** Many spots in a short recording: most key pictures may be hit, or what is beside them. */
    void smallSpotsLeaveAllThatCanBeDecoded_data() { addSpots(20, 512, 1); }

    void smallSpotsLeaveAllThatCanBeDecoded() { verifyAllIsShown(); }

    void largeBlocksLeaveAllThatCanBeDecoded_data() { addSpots(5, 65536, 2); }

    void largeBlocksLeaveAllThatCanBeDecoded() { verifyAllIsShown(); }

    /** Several spots in one recording: no error may be carried on from one to the next. */
    void timesHoldBehindManyDamagedSpots_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("size");
        QTest::addColumn<double>("tolerance");
        for (const char *name : {"slices.mp4", "end.mp4", "forward.mp4", "plain.mov"}) {
            const QByteArray title = name;
            QTest::newRow(title + ": 20 x 512")
                << QString::fromLatin1(name) << 20 << 512 << Score::timeTolerance;
            QTest::newRow(title + ": 5 x 64 KiB") << QString::fromLatin1(name) << 5 << 65536 << 0.1;
        }
    }

    void timesHoldBehindManyDamagedSpots()
    {
        QFETCH(QString, name);
        QFETCH(int, count);
        QFETCH(int, size);
        QFETCH(double, tolerance);
        verifyTimesHold(name, count, size, Damage::Fill::Zeros, tolerance, longSeconds);
    }

    void timesOfPicturesThatDoNotTellTheirOrderHoldAsWell_data()
    {
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("size");
        QTest::addColumn<bool>("isNoise");
        for (const bool isNoise : {false, true}) {
            const QByteArray title = isNoise ? "noise" : "zeroed";
            QTest::newRow("20 x 512 " + title) << 20 << 512 << isNoise;
            QTest::newRow("5 x 64 KiB " + title) << 5 << 65536 << isNoise;
        }
    }

    /** Each stands between runs of sound, which tell. */
    void timesOfPicturesThatDoNotTellTheirOrderHoldAsWell()
    {
        QFETCH(int, count);
        QFETCH(int, size);
        QFETCH(bool, isNoise);
        // More than a megabyte each second.
        constexpr int half = longSeconds / 2;
        verifyTimesHold(QStringLiteral("pictures.mov"), count, size,
                        isNoise ? Damage::Fill::Noise : Damage::Fill::Zeros, Score::timeTolerance,
                        half);
    }

    void soundStaysBesidePicturesWhenTheBeginningIsLost_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("lost");
        for (const char *name :
             {"end.mp4", "forward.mp4", "longhevc.mp4", "plain.mov", "pictures.mov"}) {
            const QByteArray title = name;
            for (const int lost : {10, 5000, 40000, 150000, 400000})
                QTest::newRow(title + ": " + QByteArray::number(lost) + " bytes")
                    << QString::fromLatin1(name) << lost;
        }
    }

    void soundStaysBesidePicturesWhenTheBeginningIsLost()
    {
        QFETCH(QString, name);
        QFETCH(int, lost);
        const Outcome outcome = repair(
            name, [lost](const QByteArray &bytes) { return Damage::lostBeginning(bytes, lost); });
        // The last pieces of a cut picture may hide the sound behind it.
        QVERIFY2(outcome.score.recall() >= 0.99, textOf(outcome.score));
        QCOMPARE(outcome.score.misplaced, 0);
        // The interleave tells it; edit lists count milliseconds.
        QVERIFY2(outcome.score.timeError < 0.002, textOf(outcome.score));
    }

    void headersOfOtherContainersComeFromTheSample_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("zeroed");
        QTest::newRow("Matroska, 512 bytes") << QStringLiteral("recorder.mkv") << 512;
        QTest::newRow("Matroska, 8 KiB") << QStringLiteral("recorder.mkv") << 8192;
        QTest::newRow("AVI, 8 KiB") << QStringLiteral("camera.avi") << 8192;
    }

    void headersOfOtherContainersComeFromTheSample()
    {
        QFETCH(QString, name);
        QFETCH(int, zeroed);
        const Outcome outcome = repair(
            name, [zeroed](const QByteArray &bytes) { return Damage::zeroedHead(bytes, zeroed); });
        QVERIFY2(outcome.score.isPerfect(), textOf(outcome.score));
        QVERIFY(sentenceOf(outcome.report)
                    .ends_with("What its lost header said was taken from the sample's."));
    }

    /** Of a sample with another size of pictures, nothing can be decoded. */
    void headersThatDoNotFitAreRefused()
    {
        const QString sample = otherSample("mkv", "testsrc=size=320x180:rate=30", "sine",
                                           "-c:v libx265 -preset ultrafast -x265-params "
                                           "log-level=none:pools=none -c:a aac");
        try {
            repair(
                QStringLiteral("recorder.mkv"),
                [](const QByteArray &bytes) { return Damage::zeroedHead(bytes, 8192); }, sample);
            QFAIL("it was taken");
        } catch (const EngineError &error) {
            QCOMPARE(error.code(), ErrorCode::SampleDoesNotFit);
        }
        QVERIFY(!QFileInfo::exists(outputPath));
    }

    /** What was plain sound and is noise now is not heard. */
    void silenceStandsForPlainSoundThatIsLost()
    {
        const Outcome outcome = repair(QStringLiteral("plain.mov"), [](const QByteArray &bytes) {
            return Damage::lostIndexAndBlocks(bytes, 1, 65536, Damage::Fill::Noise, 1);
        });
        // A piece at either edge of the block is half sound, half silence.
        QVERIFY2(outcome.score.wrong <= 2, textOf(outcome.score));
    }

    void pictureIntervalsThatChangeAreKeptBehindDamagedSpots_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("mostMistimed");
        const auto row = [](const char *name, int count, int size, int mostMistimed) {
            QTest::newRow(QByteArray(name) + ": " + QByteArray::number(count) + " x " +
                          QByteArray::number(size))
                << QString::fromLatin1(name) << count << size << mostMistimed;
        };
        row("variable.mp4", 20, 512, 2);
        row("variable.mp4", 20, 4096, 10);
        row("variable.mp4", 5, 65536, 60);
        row("variable-two.mp4", 20, 512, 80);
        row("variable.mov", 20, 512, 5);
        row("variable.mov", 20, 4096, 10);
        row("variable.mov", 5, 65536, 40);
    }

    /** Only pictures that would be shown between others that are lost are not where they were. */
    void pictureIntervalsThatChangeAreKeptBehindDamagedSpots()
    {
        QFETCH(QString, name);
        QFETCH(int, count);
        QFETCH(int, size);
        QFETCH(int, mostMistimed);
        constexpr double longestInterval = 4 / 30.0;
        for (const unsigned seed : {1U, 2U, 3U}) {
            const Outcome outcome = repair(
                name,
                [=](const QByteArray &bytes) {
                    return Damage::lostIndexAndBlocks(bytes, count, size, Damage::Fill::Zeros,
                                                      seed);
                },
                longSeconds);
            QCOMPARE(outcome.score.recoveredOf.at('v'), outcome.score.recoverableOf.at('v'));
            // Nothing tells where a run of plain sound ends behind which a picture's beginning is
            // hit.
            QVERIFY2(outcome.score.recall() >= (name.endsWith(QLatin1String(".mov")) ? 0.98 : 0.99),
                     textOf(outcome.score));
            QVERIFY2(outcome.score.mistimed <= mostMistimed, textOf(outcome.score));
            QVERIFY2(outcome.score.timeError < longestInterval + Score::timeTolerance &&
                         outcome.score.soundError < longestInterval,
                     textOf(outcome.score));
        }
    }

    /** Pictures whose intervals change are where sound and ticks put them from the first on. */
    void pictureIntervalsThatChangeAreKeptWhenTheBeginningIsLost()
    {
        for (const int lost : {10, 5000, 40000, 150000, 400000}) {
            const Outcome outcome =
                repair(QStringLiteral("variable.mp4"), [lost](const QByteArray &bytes) {
                    return Damage::lostBeginning(bytes, lost);
                });
            QVERIFY2(outcome.score.recall() >= 0.99, textOf(outcome.score));
            // The first picture may be one whose place was told by its neighbours.
            QVERIFY2(outcome.score.timeError < 2 / 30.0 + Score::timeTolerance &&
                         outcome.score.soundError < 1 / 30.0 + 2 * Score::timeTolerance,
                     textOf(outcome.score));
        }
    }

    /**
     * Thousands of places that look like beginnings of a picture and lead into the same coded data:
     * gone over for each of them, it would take more than a minute. What is behind is found all the
     * same.
     */
    void beginningsThatLeadIntoTheSameDataCostLittle()
    {
        const Outcome outcome = repair(QStringLiteral("pictures.mov"), [](const QByteArray &bytes) {
            constexpr qsizetype beginnings = 8191;
            constexpr int parts = 192;
            QByteArray part;
            for (qsizetype left = beginnings; left > 0; --left) {
                // To where the data begins.
                const auto length = static_cast<quint16>(left * 8 - 4);
                part += QByteArray("\xff\xd8\xff\xe0", 4) + static_cast<char>(length >> 8U) +
                        static_cast<char>(length & 0xffU) + "..";
            }
            part += QByteArray("\xff\xda\0\2", 4) + QByteArray(60000, '\x55') +
                    QByteArray(512, '\0') + QByteArray("\xff\xd9", 2);
            DamagedFile file = Damage::lostIndex(bytes);
            constexpr qsizetype middle = 4'000'000;
            file.insert(middle, part.repeated(parts));
            return file;
        });
        QVERIFY2(outcome.score.recoveredOf.at('v') >= outcome.score.recoverableOf.at('v') - 1,
                 textOf(outcome.score));
        QVERIFY2(outcome.score.recall() >= 0.99 && outcome.score.misplaced == 0,
                 textOf(outcome.score));
    }

private:
    QTemporaryDir folder;
    QString outputPath;
};

VELLUMIX_TEST_MAIN(AdvancedRepairTest)

#include "tst_advanced_repair.moc"
