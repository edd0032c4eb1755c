#include "engine/EngineError.h"
#include "engine/advanced/IntraRecogniser.h"
#include "engine/advanced/MediaWindow.h"
#include "engine/avi/AviChunks.h"
#include "engine/avi/AviPictures.h"
#include "engine/iso/IsoCheck.h"
#include "engine/iso/IsoReader.h"
#include "engine/iso/IsoWriter.h"
#include "engine/matroska/Ebml.h"
#include "engine/matroska/MatroskaReader.h"
#include "engine/matroska/MatroskaWriter.h"
#include "engine/media/MendedInput.h"
#include "engine/media/QuickRepair.h"
#include "engine/recording/PacketContent.h"
#include "engine/recording/SelfCheck.h"
#include "tests/corpus/FootagePackets.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <numeric>

namespace {

QStringList words(const char *options)
{
    return QString::fromLatin1(options).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

void setBe32(QByteArray &bytes, qsizetype place, quint32 value)
{
    for (qsizetype i = 0; i < 4; ++i)
        bytes[place + i] = static_cast<char>(value >> (24 - 8 * i));
}

quint32 be32At(const QByteArray &bytes, qsizetype place)
{
    return be32(reinterpret_cast<const std::uint8_t *>(bytes.constData()) + place);
}

/** Where the body of the `number`th box of this type begins; the test ends without one. */
qsizetype bodyOf(const QByteArray &bytes, const char *type, int number = 0)
{
    qsizetype place = bytes.indexOf(type);
    for (; number > 0 && place >= 0; --number)
        place = bytes.indexOf(type, place + 1);
    if (place < 0)
        qFatal("there is no box \"%s\"", type);
    return place + 4;
}

QByteArray box(const char *type, const QByteArray &body)
{
    QByteArray bytes(4, '\0');
    setBe32(bytes, 0, static_cast<quint32>(body.size() + 8));
    return bytes + type + body;
}

std::uint64_t packetsOf(const IsoRecording &recording)
{
    return std::accumulate(
        recording.tracks.begin(), recording.tracks.end(), std::uint64_t{0},
        [](std::uint64_t sum, const IsoTrack &track) { return sum + track.packets.size(); });
}

/** When each packet of a stream is shown, in seconds of the file. */
QList<double> shownTimes(const QString &path, const char *stream)
{
    QList<double> times;
    const QString rows =
        Footage::probe(path, {QStringLiteral("-select_streams"), QString::fromLatin1(stream),
                              QStringLiteral("-show_entries"), QStringLiteral("packet=pts_time")});
    for (const QString &row : rows.split(QLatin1Char('\n'), Qt::SkipEmptyParts))
        times.append(row.section(QLatin1Char(','), 0, 0).toDouble());
    std::sort(times.begin(), times.end());
    return times;
}

Bytes element(std::uint32_t id, const Bytes &body)
{
    Bytes bytes;
    appendElement(bytes, id, body);
    return bytes;
}

Bytes number(std::uint32_t id, std::uint64_t value)
{
    Bytes bytes;
    appendNumber(bytes, id, value);
    return bytes;
}

Bytes text(std::uint32_t id, std::string_view value)
{
    Bytes body;
    appendText(body, value);
    return element(id, body);
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes bytes;
    for (const Bytes &part : parts)
        appendBytes(bytes, part);
    return bytes;
}

constexpr std::uint64_t videoType = 1;
constexpr std::uint64_t subtitleType = 17;
constexpr std::uint64_t buttonsType = 18;

Bytes trackEntry(std::uint64_t track, std::uint64_t type, std::string_view codec,
                 const Bytes &more = {})
{
    Bytes fields =
        joined({number(MatroskaId::trackNumber, track), number(MatroskaId::trackUid, track),
                number(MatroskaId::trackType, type), text(MatroskaId::codecId, codec), more});
    if (type == videoType)
        appendBytes(fields,
                    element(MatroskaId::video, joined({number(MatroskaId::pixelWidth, 64),
                                                       number(MatroskaId::pixelHeight, 64)})));
    return element(MatroskaId::trackEntry, fields);
}

/** What a block holds: its track, its time from the cluster's on, and a text. */
Bytes blockBody(std::uint8_t track, std::int16_t time, std::uint8_t flags, std::string_view content)
{
    constexpr std::size_t header = 4;
    Bytes body(header + content.size());
    patchBe(body, 0, 0x80U | track, 1);
    patchBe(body, 1, static_cast<std::uint16_t>(time), 2);
    patchBe(body, 3, flags, 1);
    std::copy(content.begin(), content.end(), body.begin() + header);
    return body;
}

Bytes simpleBlock(std::uint8_t track, std::int16_t time, std::string_view content)
{
    return element(MatroskaId::simpleBlock, blockBody(track, time, 0x80, content));
}

/** A whole file of these tracks and clusters. */
Bytes matroskaFile(const Bytes &tracks, const Bytes &clusters, std::uint64_t scale = 1000000)
{
    constexpr std::uint32_t documentType = 0x4282;
    Bytes segment = joined({element(MatroskaId::info, number(MatroskaId::timestampScale, scale)),
                            element(MatroskaId::tracks, tracks), clusters});
    Bytes file = element(MatroskaId::header, text(documentType, "matroska"));
    appendElement(file, MatroskaId::segment, segment);
    return file;
}

QByteArray toQt(const Bytes &bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

Bytes cluster(std::uint64_t time, const Bytes &blocks)
{
    return element(MatroskaId::cluster, joined({number(MatroskaId::clusterTime, time), blocks}));
}

} // namespace

/** Readers and writers of containers: sound files come through as they were, crafted ones do no
 * harm. */
class QuickContainersTest : public TestCase
{
    Q_OBJECT

    QString path(const char *name) const { return folder.filePath(QString::fromLatin1(name)); }

    /** Repairs these bytes; the output's path. */
    QString repaired(const QByteArray &bytes, const char *suffix)
    {
        const QString input = path("damaged") + QString::fromLatin1(suffix);
        QString output = path("repaired") + QString::fromLatin1(suffix);
        writeFile(input, bytes);
        QFile::remove(output);
        report = quickRepair(input.toStdString(), output.toStdString());
        return output;
    }

    QByteArray made(const char *name, const char *options, int seconds = 1)
    {
        Footage::make(path(name), words(options), seconds);
        return readFile(path(name));
    }

    /** A file to be written: the writers' own are made before. */
    QString empty(const char *name)
    {
        writeFile(path(name));
        return path(name);
    }

    /** Writes a Matroska file with our own writer and has our own check judge it. */
    QString rewritten(const QByteArray &bytes)
    {
        writeFile(path("good.mkv"), bytes);
        const SourceFile source(path("good.mkv").toStdString());
        auto recording = readMatroska(source);
        if (!recording)
            throw EngineError(ErrorCode::NotRecognised, "there is no block");
        QString output = empty("written.mkv");
        checkOutput(output.toStdString(), writeMatroska(source, *recording, output.toStdString()));
        return output;
    }

    static void compareStreams(const QString &output, const QString &original)
    {
        const QStringList streams = Footage::streams(original);
        QCOMPARE(Footage::streams(output), streams);
        for (qsizetype i = 0; i < streams.size(); ++i) {
            const QString number = QString::number(i);
            QCOMPARE(Footage::packetHashes(output, number),
                     Footage::packetHashes(original, number));
            QCOMPARE(Footage::packetTimes(output, number), Footage::packetTimes(original, number));
        }
    }

private Q_SLOTS:
    void soundFilesComeThrough_data()
    {
        QTest::addColumn<QString>("suffix");
        QTest::addColumn<QString>("options");
        const auto add = [](const char *title, const char *suffix, const char *options) {
            QTest::newRow(title) << QString::fromLatin1(suffix) << QString::fromLatin1(options);
        };
        add("mp4", ".mp4", "-c:v libx264 -bf 2 -c:a aac");
        add("mp4, fragments", ".mp4",
            "-c:v libx264 -bf 2 -g 10 -c:a aac -movflags frag_keyframe+empty_moov");
        add("mp4, mpeg4", ".mp4", "-c:v mpeg4 -bf 1 -c:a mp2");
        add("mov, prores, plain sound", ".mov", "-c:v prores_ks -c:a pcm_s24le");
        add("mkv", ".mkv", "-c:v libx264 -bf 2 -c:a aac");
        add("mkv, own kind of picture", ".mkv", "-c:v huffyuv -c:a pcm_s16le");
        add("mkv, prores", ".mkv", "-c:v prores_ks -c:a flac");
        add("mkv, ffv1, wavpack", ".mkv", "-c:v ffv1 -c:a wavpack");
        add("webm", ".webm", "-c:v libvpx -c:a libopus");
        add("webm, vp9, live", ".webm", "-c:v libvpx-vp9 -cpu-used 8 -c:a libvorbis -live 1");
        add("avi", ".avi", "-c:v mpeg4 -c:a pcm_s16le");
        add("avi, motion jpeg", ".avi", "-c:v mjpeg -pix_fmt yuvj420p -c:a ac3");
        add("avi, mpeg audio", ".avi", "-c:v mpeg4 -c:a mp2");
        add("flv", ".flv", "-c:v libx264 -bf 0 -c:a aac");
    }

    void soundFilesComeThrough()
    {
        QFETCH(QString, suffix);
        QFETCH(QString, options);
        const QByteArray name = (QStringLiteral("sound") + suffix).toLatin1();
        const QByteArray bytes = made(name, options.toLatin1());
        const QString output = repaired(bytes, suffix.toLatin1());
        QCOMPARE(report.lost(), std::int64_t{0});
        compareStreams(output, path(name));
    }

    void soundOfFixedUnitsNeedsNoHelpOfOthers_data()
    {
        QTest::addColumn<QByteArray>("options");
        QTest::addColumn<quint32>("samplesOfUnit");
        const auto add = [](const char *title, const char *options, quint32 samples = 0) {
            QTest::newRow(title) << QByteArray(options) << samples;
        };
        add("G.711, as telephones have it", "-c:a pcm_mulaw -ar 8000 -ac 1");
        add("G.711, two channels", "-c:a pcm_alaw -ar 8000 -ac 2");
        add("8 bits", "-c:a pcm_u8");
        add("blocks of ADPCM", "-c:a adpcm_ima_qt -ar 44100 -ac 2");
        add("blocks of ADPCM, counted by their samples", "-c:a adpcm_ima_qt -ar 44100 -ac 1", 64);
        add("larger blocks of ADPCM", "-c:a adpcm_ms");
    }

    void soundOfFixedUnitsNeedsNoHelpOfOthers()
    {
        QFETCH(QByteArray, options);
        QFETCH(quint32, samplesOfUnit);
        QByteArray bytes = made("a.mov", "-c:v mpeg4 " + options);
        if (samplesOfUnit > 0) {
            const qsizetype sizes = bodyOf(bytes, "stsz", 1);
            const quint32 units = be32At(bytes, sizes + 8);
            setBe32(bytes, sizes + 4, 1);
            setBe32(bytes, sizes + 8, units * samplesOfUnit);
            const qsizetype durations = bodyOf(bytes, "stts", 1);
            setBe32(bytes, durations + 8, units * samplesOfUnit);
            setBe32(bytes, durations + 12, 1);
            const qsizetype chunks = bodyOf(bytes, "stsc", 1);
            for (quint32 i = 0; i < be32At(bytes, chunks + 4); ++i) {
                const qsizetype count = chunks + 8 + 12 * static_cast<qsizetype>(i) + 4;
                setBe32(bytes, count, be32At(bytes, count) * samplesOfUnit);
            }
            writeFile(path("a.mov"), bytes);
        }
        // No other reader opens this.
        setBe32(bytes, bytes.indexOf("mdat") - 4, 0x7fffffffU);
        const QString output = repaired(bytes, ".mov");
        QCOMPARE(report.lost(), std::int64_t{0});
        compareStreams(output, path("a.mov"));
    }

    void packetsOfNoDescriptionAreOfTheFirst()
    {
        const QByteArray original = made("a.mp4", "-c:v libx264 -c:a aac");
        for (const quint32 description : {0U, 2U, 256U, 0xffffffffU}) {
            QByteArray bytes = original;
            for (const int track : {0, 1}) {
                const qsizetype table = bodyOf(bytes, "stsc", track);
                for (quint32 i = 0; i < be32At(bytes, table + 4); ++i)
                    setBe32(bytes, table + 8 + 12 * static_cast<qsizetype>(i) + 8, description);
            }
            const QString output = repaired(bytes, ".mp4");
            QCOMPARE(report.lost(), std::int64_t{0});
            compareStreams(output, path("a.mp4"));
        }
    }

    void packetsThatAFragmentMisplacesAreLeftOut()
    {
        const QByteArray original = made(
            "a.mp4",
            "-an -c:v libx264 -bf 0 -g 10 -movflags frag_keyframe+empty_moov+default_base_moof", 2);
        QByteArray bytes = original;
        const qsizetype run = bodyOf(bytes, "trun", 1);
        const qsizetype place = run + 8;
        setBe32(bytes, place, be32At(bytes, place) + 13);
        const auto misplaced = static_cast<std::int64_t>(be32At(bytes, run + 4));
        const QString output = repaired(bytes, ".mp4");
        QCOMPARE(report.lost(), misplaced);
        QStringList expected = Footage::packetHashes(path("a.mp4"), QStringLiteral("0"));
        expected.remove(be32At(bytes, bodyOf(bytes, "trun") + 4), misplaced);
        QCOMPARE(Footage::packetHashes(output, QStringLiteral("0")), expected);
    }

    void fragmentsOutsideTheFileAreLeftOut()
    {
        const QByteArray original =
            made("a.mp4",
                 "-an -c:v libx264 -g 10 -movflags frag_keyframe+empty_moov+default_base_moof", 2);
        for (const quint32 distance : {0x7fffffffU, 0x80000000U, 0xffff0000U}) {
            QByteArray bytes = original;
            const qsizetype run = bodyOf(bytes, "trun", 1);
            setBe32(bytes, run + 8, distance);
            const auto outside = static_cast<std::int64_t>(be32At(bytes, run + 4));
            repaired(bytes, ".mp4");
            QCOMPARE(report.lost(), outside);
        }
    }

    void anIndexNamesNoMorePacketsThanAFileCanHold()
    {
        QByteArray bytes = made("a.mp4", "-c:v libx264 -c:a aac");
        for (const int track : {0, 1}) {
            const qsizetype sizes = bodyOf(bytes, "stsz", track);
            setBe32(bytes, sizes + 4, 1000);
            setBe32(bytes, sizes + 8, 0xffffffffU);
            setBe32(bytes, bodyOf(bytes, "stsc", track) + 12, 0xffffffffU);
        }
        writeFile(path("many.mp4"), bytes);
        const SourceFile source(path("many.mp4").toStdString());
        const auto recording = readIso(source);
        QVERIFY(recording.has_value());
        QVERIFY(packetsOf(*recording) <= mostPackets(source.size()));
    }

    void aFileHasNoMoreIndexesAndTracksThanCanBeLookedAt()
    {
        const QByteArray movieHeader = box("mvhd", QByteArray(100, '\0'));
        QByteArray bytes;
        for (int i = 0; i < 20000; ++i)
            bytes += box("moov", movieHeader + box("mvex", {}));
        writeFile(path("indexes.mp4"), bytes);
        QVERIFY(findStructure(SourceFile(path("indexes.mp4").toStdString())).indexes.size() < 100);

        const QByteArray whole = made("a.mp4", "-an -c:v libx264");
        const qsizetype track = bodyOf(whole, "trak") - 8;
        const QByteArray one = whole.mid(track, be32At(whole, track));
        QByteArray tracks = movieHeader;
        for (int i = 0; i < 1000; ++i)
            tracks += one;
        writeFile(path("tracks.mp4"), whole.left(track - 116) + box("moov", tracks));
        const SourceFile source(path("tracks.mp4").toStdString());
        const auto recording = readIso(source);
        QVERIFY(recording.has_value());
        QVERIFY(recording->tracks.size() <= mostTracks);
        QCOMPARE(static_cast<int>(recording->tracks.size()) + recording->lostTracks, 1000);
    }

    void longRecordingsHaveLongTimes()
    {
        // Readers take longer steps for negative ones.
        constexpr std::int64_t factor = 2000000;
        made("a.mp4", "-c:v libx264 -bf 0 -g 10 -c:a aac", 3);
        const SourceFile source(path("a.mp4").toStdString());
        auto recording = readIso(source);
        QVERIFY(recording.has_value());
        for (IsoTrack &track : recording->tracks) {
            track.lastDuration *= factor;
            for (Packet &packet : track.packets)
                packet.time *= factor;
            // The index says nothing of how long it is.
            track.statedMovieDuration = 0;
        }
        // So that the pictures get an edit list.
        constexpr int lost = 20;
        for (std::size_t i = 0; i < lost; ++i)
            recording->tracks[0].packets[i].setLost(true);
        const QString output = empty("long.mp4");
        checkIso(output.toStdString(), writeIso(source, *recording, output.toStdString()));
        const double seconds = factor * 3.0;
        const double begin = shownTimes(output, "0").value(0);
        QVERIFY2(std::abs(begin / (factor * lost / 25.0) - 1) < 1e-3,
                 qPrintable(QString::number(begin)));
        const double length =
            Footage::probe(output, words("-show_entries format=duration")).toDouble();
        QVERIFY2(std::abs(length / seconds - 1) < 0.02, qPrintable(QString::number(length)));
        const QByteArray bytes = readFile(output);
        for (const char *type : {"mvhd", "tkhd", "elst"})
            QCOMPARE(static_cast<int>(bytes.at(bodyOf(bytes, type))), 1);
    }

    void whatBeginsLaterStaysWithWhatIsWhole()
    {
        made("a.mp4", "-c:v libx264 -bf 0 -g 10 -c:a aac -output_ts_offset 2", 2);
        const QList<double> sound = shownTimes(path("a.mp4"), "1");
        const QList<double> pictures = shownTimes(path("a.mp4"), "0");
        const SourceFile source(path("a.mp4").toStdString());
        auto recording = readIso(source);
        QVERIFY(recording.has_value());
        constexpr int lost = 10;
        for (std::size_t i = 0; i < lost; ++i)
            recording->tracks[0].packets[i].setLost(true);
        const QString output = empty("later.mp4");
        checkIso(output.toStdString(), writeIso(source, *recording, output.toStdString()));
        constexpr double near = 0.002;
        QVERIFY(sound.value(0) > 1);
        QVERIFY(std::abs(shownTimes(output, "1").value(0) - sound.value(0)) < near);
        QVERIFY(std::abs(shownTimes(output, "0").value(0) - pictures.value(lost)) < near);
    }

    void dataBeforeThePicturesKeepsItsPlace()
    {
        writeFile(path("a.srt"), "1\n00:00:00,100 --> 00:00:00,300\nearly\n\n"
                                 "2\n00:00:01,500 --> 00:00:01,800\nlate\n");
        Footage::run(QStringLiteral("ffmpeg"),
                     words("-v error -y -f lavfi -i testsrc2=size=320x240:rate=25:duration=2 -i") +
                         QStringList(path("a.srt")) +
                         words("-c:v libx264 -bf 0 -g 10 -c:s mov_text -fflags +bitexact") +
                         QStringList(path("a.mp4")));
        const SourceFile source(path("a.mp4").toStdString());
        auto recording = readIso(source);
        QVERIFY(recording.has_value());
        for (std::size_t i = 0; i < 20; ++i)
            recording->tracks[0].packets[i].setLost(true);
        const QString output = empty("early.mp4");
        checkIso(output.toStdString(), writeIso(source, *recording, output.toStdString()));
        const QList<double> texts = shownTimes(output, "1");
        const double after = shownTimes(output, "0").last() - texts.last();
        const double ofLast =
            shownTimes(path("a.mp4"), "0").last() - shownTimes(path("a.mp4"), "1").last();
        QVERIFY2(std::abs(after - ofLast) < 0.01,
                 qPrintable(QStringLiteral("%1, was %2").arg(after).arg(ofLast)));
    }

    void coversAreNoTracks()
    {
        Footage::run(QStringLiteral("ffmpeg"),
                     words("-v error -y -f lavfi -i testsrc2=size=64x64:duration=1 -frames:v 1") +
                         QStringList(path("cover.jpg")));
        made("plain.mp4", "-c:v libx264 -c:a aac");
        const QStringList inputs = words("-v error -y -i") + QStringList(path("plain.mp4"));
        Footage::run(QStringLiteral("ffmpeg"),
                     inputs + words("-i") + QStringList(path("cover.jpg")) +
                         words("-map 0 -map 1 -c copy -disposition:v:1 attached_pic") +
                         QStringList(path("cover.mp4")));
        Footage::run(QStringLiteral("ffmpeg"),
                     inputs + words("-attach") + QStringList(path("cover.jpg")) +
                         words("-metadata:s:t mimetype=image/jpeg -c copy") +
                         QStringList(path("cover.mkv")));

        const SourceFile source(path("cover.mp4").toStdString());
        auto recording = readIso(source);
        QVERIFY(recording.has_value());
        const QString output = empty("covered.mp4");
        checkIso(output.toStdString(), writeIso(source, *recording, output.toStdString()));
        const QStringList what = words("-show_entries stream=codec_name");
        QVERIFY(Footage::probe(output, what).contains(QStringLiteral("mjpeg")));
        compareStreams(output, path("cover.mp4"));

        const QString matroska = rewritten(readFile(path("cover.mkv")));
        QCOMPARE(Footage::packetHashes(matroska, QStringLiteral("0")),
                 Footage::packetHashes(path("cover.mkv"), QStringLiteral("0")));
    }

    void soundMatroskaPassesOurOwnCheck_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const Bytes subtitles = trackEntry(1, subtitleType, "S_TEXT/UTF8");
        const Bytes two = joined({simpleBlock(1, 0, "one"), simpleBlock(1, 700, "two")});
        const auto add = [](const char *title, const Bytes &file) {
            QTest::newRow(title) << toQt(file);
        };
        add("plain", matroskaFile(subtitles, cluster(5, two)));
        add("units of 0.1 ms", matroskaFile(subtitles, cluster(5, two), 100000));
        add("units of 1/90000 s", matroskaFile(subtitles, cluster(5, two), 11111));
        add("times below zero",
            matroskaFile(subtitles, cluster(0, joined({simpleBlock(1, -3, "one"),
                                                       simpleBlock(1, 9, "two")}))));
        add("padding among blocks",
            matroskaFile(subtitles, cluster(5, joined({element(MatroskaId::filler, Bytes(30)), two,
                                                       element(MatroskaId::filler, Bytes(7))}))));
        add("silent tracks",
            matroskaFile(
                subtitles,
                cluster(5, joined({element(MatroskaId::silentTracks, number(0x58D7, 1)), two}))));
        // Discarded sound stands before the block, with an identifier of two bytes.
        const Bytes group =
            element(MatroskaId::blockGroup,
                    joined({number(0x75A2, 300), number(0x9B, 400),
                            element(MatroskaId::block, blockBody(1, 20, 0, "one"))}));
        add("a group of a block and others", matroskaFile(subtitles, cluster(5, group)));
        const Bytes withoutBeginning = element(
            MatroskaId::contentEncodings,
            element(0x6240, element(0x5034, joined({number(0x4254, 3), text(0x4255, "begin")}))));
        add("stored without what all begin with",
            matroskaFile(trackEntry(1, subtitleType, "S_TEXT/UTF8", withoutBeginning),
                         cluster(5, two)));
        add("a track that no reader knows",
            matroskaFile(joined({trackEntry(2, buttonsType, "B_VOBBTN"), subtitles}),
                         cluster(5, joined({two, simpleBlock(2, 0, "button")}))));
        add("an empty block",
            matroskaFile(subtitles, cluster(5, joined({simpleBlock(1, 0, {}), two}))));
        Bytes half = {0x3f, 0, 0, 0};
        add("a track with units of its own",
            matroskaFile(trackEntry(1, subtitleType, "S_TEXT/UTF8",
                                    element(MatroskaId::trackTimestampScale, half)),
                         cluster(5, two)));
    }

    void soundMatroskaPassesOurOwnCheck()
    {
        QFETCH(QByteArray, bytes);
        QString output;
        try {
            output = rewritten(bytes);
        } catch (const EngineError &error) {
            QFAIL(error.what());
        }
        compareStreams(output, path("good.mkv"));
    }

    void blocksAreNoMoreThanAFileCanHold()
    {
        constexpr int count = 30000;
        Bytes blocks;
        for (int i = 0; i < count; ++i)
            appendBytes(blocks, simpleBlock(1, 0, {}));
        const QByteArray bytes =
            toQt(matroskaFile(trackEntry(1, subtitleType, "S_TEXT/UTF8"), cluster(0, blocks)));
        writeFile(path("many.mkv"), bytes);
        const SourceFile source(path("many.mkv").toStdString());
        const auto recording = readMatroska(source);
        QVERIFY(recording.has_value());
        QCOMPARE(recording->tracks.size(), std::size_t{1});
        QVERIFY(recording->tracks[0].packets.size() > 4096);
        QVERIFY(recording->tracks[0].packets.size() <= mostPackets(source.size()));
    }

    void clustersWithoutBlocksAreNone()
    {
        Bytes clusters;
        for (int i = 0; i < 10000; ++i)
            appendBytes(clusters, cluster(7, {}));
        appendBytes(clusters, cluster(9, simpleBlock(1, 0, "one")));
        writeFile(path("empty.mkv"),
                  toQt(matroskaFile(trackEntry(1, subtitleType, "S_TEXT/UTF8"), clusters)));
        const SourceFile source(path("empty.mkv").toStdString());
        const auto recording = readMatroska(source);
        QVERIFY(recording.has_value());
        QCOMPARE(recording->clusters.size(), std::size_t{1});
        QCOMPARE(recording->tracks[0].packets[0].time, std::int64_t{9});
    }

    void streamsOfAviKeepTheirLists()
    {
        made("a.avi",
             "-map 0:v -map 1:a -map 1:a -c:v mpeg4 -c:a:0 pcm_s16le -ar:a:0 48000 -ac:a:0 "
             "2 -c:a:1 ac3 -ar:a:1 32000 -ac:a:1 1",
             2);
        const QByteArray original = readFile(path("a.avi"));
        // All lists of streams are left, then only the last two of them.
        const qsizetype first = original.indexOf("strl");
        const qsizetype second = original.indexOf("strl", first + 1);
        for (const qsizetype zeros : {first - 8, second - 8}) {
            const QByteArray bytes = QByteArray(zeros, '\0') + original.mid(zeros);
            const QString output = repaired(bytes, ".avi");
            const QStringList what =
                words("-show_entries stream=codec_name,sample_rate,channels -select_streams a");
            QCOMPARE(Footage::probe(output, what), Footage::probe(path("a.avi"), what));
            for (const char *stream : {"a:0", "a:1"})
                QCOMPARE(Footage::packetHashes(output, QString::fromLatin1(stream)).size(),
                         Footage::packetHashes(path("a.avi"), QString::fromLatin1(stream)).size());
        }
    }

    void picturesWithoutMarksAreLikeTheSamples()
    {
        const QByteArray original = made("sample.avi", "-c:v huffyuv -c:a pcm_s16le");
        writeFile(path("headless.avi"), QByteArray(2048, '\0') + original.mid(2048));
        const auto alone = openMended(path("headless.avi").toStdString());
        QVERIFY(!alone);
        const auto input = openAviLike(path("headless.avi").toStdString(),
                                       SourceFile(path("sample.avi").toStdString()));
        QVERIFY(input != nullptr);
        QVERIFY(input->videoStream() != nullptr);
        QCOMPARE(input->videoStream()->codecpar->codec_id, AV_CODEC_ID_HUFFYUV);
        QCOMPARE(input->context().nb_streams, 2U);
    }

    void damagedPaddingOfAviHidesNothing()
    {
        const QByteArray original = made("a.avi", "-c:v mpeg4 -c:a pcm_s16le");
        const qsizetype list = original.indexOf("movi") + 4;
        QByteArray padding("JUNK");
        padding += QByteArray("\xff\xff\xff\x7f", 4) + QByteArray(100, 'x');
        const QByteArray bytes = original.left(list) + padding + original.mid(list);
        writeFile(path("padded.avi"), bytes);
        const auto size = static_cast<std::uint64_t>(bytes.size());
        const AviContent content =
            findAviChunks(SourceFile(path("padded.avi").toStdString()), size);
        QCOMPARE(content.chunks.size(),
                 findAviChunks(SourceFile(path("a.avi").toStdString()), size).chunks.size());
    }

    void picturesFilledUpWithZerosAreWhole()
    {
        const PacketContent::Kind kind = {.impossibleZeros = PacketContent::zerosInPicture,
                                          .mayBePadded = true};
        Bytes picture(4000, 0x55);
        const auto isLost = [&](std::size_t size) {
            Bytes packet = picture;
            packet.resize(size);
            return PacketContent::isOverwritten(packet, kind);
        };
        // Up to the end of a sector, or so that the next chunk begins with one.
        QVERIFY(!isLost(4096));
        QVERIFY(!isLost(4096 - 8));
        // Longer than a sector, or up to any other place.
        QVERIFY(isLost(4000 + 100));
        QVERIFY(isLost(12288));
        // In the middle, zeros are no padding.
        std::fill_n(picture.begin() + 1000, 100, std::uint8_t{0});
        QVERIFY(isLost(4096));
    }

    void aScanThatEndsBehindTheFileIsNoPicture()
    {
        JpegRecogniser recogniser;
        const QByteArray picture = QByteArray::fromHex("ffd8ffda0004000011223344ffd9");
        QVERIFY(recogniser.learn(Bytes(picture.begin(), picture.end())));
        for (const char *bytes :
             {"ffd8ffdaffff00000000000000000000", "ffd8ffda000400001122ff00ff"}) {
            writeFile(path("scan"), QByteArray::fromHex(bytes));
            const SourceFile source(path("scan").toStdString());
            MediaWindow window(source);
            QVERIFY(!recogniser.pictureAt(window, 0));
        }
    }

    void picturesOfAviAreToldByTheirMarks_data()
    {
        QTest::addColumn<QByteArray>("start");
        QTest::addColumn<QByteArray>("codec");
        const auto add = [](const char *title, const char *start, const char *codec) {
            QTest::newRow(title) << QByteArray::fromHex(start).leftJustified(16, '\x55')
                                 << QByteArray(codec);
        };
        add("JPEG", "ffd8ffe0", "MJPG");
        add("H.264, parameters", "0000000167640028", "H264");
        add("H.264, short code", "00000127420028", "H264");
        add("H.264, mark before a picture", "0000000109f0", "H264");
        add("HEVC", "0000000140010c01", "HEVC");
        add("MPEG-4, object sequence", "000001b001", "FMP4");
        add("MPEG-4, object", "00000100000001200084", "FMP4");
        add("MPEG-4, picture", "000001b610", "FMP4");
        add("MPEG-4, group of pictures", "000001b3001007000001b6", "FMP4");
        add("MPEG-2", "000001b314008113ffffe0", "mpg2");
        add("PNG", "89504e470d0a1a0a", "MPNG");
        add("DV", "1f07003f", "dvsd");
        add("VP8", "1002009d012a", "VP80");
        add("anything else", "12345678", "");
        add("zeros", "0000000000000000", "");
    }

    void picturesOfAviAreToldByTheirMarks()
    {
        QFETCH(QByteArray, start);
        QFETCH(QByteArray, codec);
        const Bytes bytes(start.begin(), start.end());
        const std::string_view told = aviPictureCodec(bytes);
        QCOMPARE(QByteArray(told.data(), static_cast<qsizetype>(told.size())), codec);
    }

private:
    QTemporaryDir folder;
    RepairReport report;
};

VELLUMIX_TEST_MAIN(QuickContainersTest)

#include "tst_quick_containers.moc"
