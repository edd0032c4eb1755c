#include "service/RepairClient.h"
#include "tests/corpus/Contents.h"
#include "tests/corpus/FootagePackets.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QCryptographicHash>
#include <QDir>
#include <QImage>
#include <QJsonObject>

#ifndef Q_OS_WIN
#include <sys/resource.h>

#include <csignal>
#endif

namespace {

const QStringList h264Aac = {QStringLiteral("-c:v"), QStringLiteral("libx264"),
                             QStringLiteral("-g"),   QStringLiteral("25"),
                             QStringLiteral("-c:a"), QStringLiteral("aac")};
const QStringList faststart = {QStringLiteral("-movflags"),
                               QStringLiteral("+faststart+use_metadata_tags")};
const QStringList mpeg4Pcm = {QStringLiteral("-c:v"), QStringLiteral("mpeg4"),
                              QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")};

/** A folder with one video, and the client's calls on it through the real service. */
class Workplace
{
public:
    explicit Workplace(const QString &name)
        : video(directory.filePath(name)),
          output(directory.filePath(QStringLiteral("out/repaired.") + QFileInfo(name).suffix())),
          photo(directory.filePath(QStringLiteral("photo.jpg")))
    {
        request.serviceRoot = QStringLiteral(VELLUMIX_SERVICE_ROOT);
        request.logDir = directory.filePath(QStringLiteral("logs"));
        request.tempDir = directory.filePath(QStringLiteral("temp"));
        request.timeoutSeconds = 50;
    }

    RepairResponse repair()
    {
        request.damagedPath = video;
        request.outFilePath = output;
        return RepairClient().repair(request);
    }

    RepairResponse metadata() { return RepairClient().extractMetadata(request, video); }

    QJsonObject info() { return metadata().object.value(QStringLiteral("video_info")).toObject(); }

    RepairResponse picture(int scale)
    {
        return RepairClient().extractFirstFrameScale(request, video, photo, scale);
    }

    QByteArray videoHash() const
    {
        return QCryptographicHash::hash(readFile(video), QCryptographicHash::Sha1);
    }

    /** What stands in the output's folder. */
    QStringList outputFiles() const
    {
        return QDir(QFileInfo(output).path()).entryList(QDir::Files | QDir::Hidden);
    }

    QTemporaryDir directory;
    QString video;
    QString output;
    QString photo;
    RepairRequest request;
};

QString messageOf(const RepairResponse &response)
{
    return response.object.value(QStringLiteral("message")).toString();
}

/** The same size, and colours that differ by no more than compression makes them. */
void compareSimilar(const QImage &picture, const QImage &expected)
{
    QCOMPARE(picture.size(), expected.size());
    qint64 difference = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            const QColor a = picture.pixelColor(x, y);
            const QColor b = expected.pixelColor(x, y);
            difference +=
                qAbs(a.red() - b.red()) + qAbs(a.green() - b.green()) + qAbs(a.blue() - b.blue());
        }
    }
    const double mean =
        static_cast<double>(difference) / (3.0 * picture.width() * picture.height());
    QVERIFY2(mean < 6, qPrintable(QString::number(mean)));
}

void compareError(const RepairResponse &response, int errCode)
{
    QVERIFY(!response.ok);
    QVERIFY2(response.errCode == errCode, qPrintable(response.rawResponse));
    QVERIFY(!messageOf(response).isEmpty());
}

} // namespace

/** Real damaged files through the client, the pipes and the local service. */
class MediaTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    // Two kinds of damage from end to end.

    void aviWithoutIndex()
    {
        Workplace place(QStringLiteral("holiday.avi"));
        Footage::make(place.video, mpeg4Pcm);
        const QStringList video = Footage::packetHashes(place.video, QStringLiteral("v:0"));
        const QStringList audio = Footage::packetHashes(place.video, QStringLiteral("a:0"));
        Footage::removeAviIndex(place.video);
        const QByteArray before = place.videoHash();

        const QJsonObject info = place.info();
        QCOMPARE(info.value(QStringLiteral("codec")), QJsonValue(QStringLiteral("mpeg")));
        QCOMPARE(info.value(QStringLiteral("width")), QJsonValue(320));
        QCOMPARE(info.value(QStringLiteral("height")), QJsonValue(240));
        QCOMPARE(info.value(QStringLiteral("video_frame_rate")), QJsonValue(25.0));
        QVERIFY(info.value(QStringLiteral("video_avg_bitrate")).toDouble() > 0);

        QVERIFY(place.picture(2).ok);
        QCOMPARE(QImage(place.photo).size(), QSize(160, 120));

        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        QCOMPARE(response.errCode, 0);
        QCOMPARE(response.function, 0);
        QCOMPARE(Footage::decodeErrors(place.output), QByteArray());
        QCOMPARE(Footage::packetHashes(place.output, QStringLiteral("v:0")), video);
        QCOMPARE(Footage::packetHashes(place.output, QStringLiteral("a:0")), audio);
        QCOMPARE(place.outputFiles(), QStringList(QStringLiteral("repaired.avi")));
        QVERIFY(readFile(place.output).contains("idx1"));
        QCOMPARE(place.videoHash(), before);
    }

    void mp4CutInTheMiddle()
    {
        Workplace place(QStringLiteral("wedding.mp4"));
        Footage::make(place.video,
                      h264Aac + faststart +
                          QStringList{QStringLiteral("-metadata"), QStringLiteral("make=Maker"),
                                      QStringLiteral("-metadata"),
                                      QStringLiteral("model=Model 7")});
        const QStringList video = Footage::packetHashes(place.video, QStringLiteral("v:0"));
        const QStringList audio = Footage::packetHashes(place.video, QStringLiteral("a:0"));
        const qint64 end = QFileInfo(place.video).size() * 6 / 10;
        const int wholeVideo = Footage::packetsBefore(place.video, QStringLiteral("v:0"), end);
        const int wholeAudio = Footage::packetsBefore(place.video, QStringLiteral("a:0"), end);
        QVERIFY(wholeVideo > 40 && wholeVideo < video.size());
        QVERIFY(wholeAudio > 40 && wholeAudio < audio.size());
        QVERIFY(QFile::resize(place.video, end));
        const QByteArray before = place.videoHash();
        QVERIFY(Footage::decodeErrors(place.video).size() > 0);

        const QJsonObject info = place.info();
        QCOMPARE(info.value(QStringLiteral("codec")), QJsonValue(QStringLiteral("h264")));
        QCOMPARE(info.value(QStringLiteral("width")), QJsonValue(320));
        QCOMPARE(info.value(QStringLiteral("height")), QJsonValue(240));
        QCOMPARE(info.value(QStringLiteral("video_frame_rate")), QJsonValue(25.0));
        QVERIFY(info.value(QStringLiteral("video_avg_bitrate")).toDouble() > 0);
        QCOMPARE(info.value(QStringLiteral("make")), QJsonValue(QStringLiteral("Maker")));
        QCOMPARE(info.value(QStringLiteral("model")), QJsonValue(QStringLiteral("Model 7")));

        QVERIFY(place.picture(2).ok);
        QCOMPARE(QImage(place.photo).size(), QSize(160, 120));

        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        QCOMPARE(Footage::decodeErrors(place.output), QByteArray());
        // Every whole packet in its order, and none but these.
        QCOMPARE(Footage::packetHashes(place.output, QStringLiteral("v:0")),
                 video.mid(0, wholeVideo));
        QCOMPARE(Footage::packetHashes(place.output, QStringLiteral("a:0")),
                 audio.mid(0, wholeAudio));
        QCOMPARE(place.outputFiles(), QStringList(QStringLiteral("repaired.mp4")));
        QCOMPARE(place.videoHash(), before);

        // Maker and model survive.
        place.video = place.output;
        QCOMPARE(place.info().value(QStringLiteral("make")), QJsonValue(QStringLiteral("Maker")));
        QCOMPARE(place.info().value(QStringLiteral("model")),
                 QJsonValue(QStringLiteral("Model 7")));
    }

    // Containers.

    void wholeFilesOfEveryContainer_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("format");
        const QStringList mpeg2 = {QStringLiteral("-c:v"), QStringLiteral("mpeg2video"),
                                   QStringLiteral("-c:a"), QStringLiteral("mp2")};
        QTest::newRow("mp4") << QStringLiteral("a.mp4") << h264Aac << QStringLiteral("mov");
        QTest::newRow("mov") << QStringLiteral("a.mov")
                             << QStringList{QStringLiteral("-c:v"), QStringLiteral("libx264"),
                                            QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}
                             << QStringLiteral("mov");
        QTest::newRow("3gp") << QStringLiteral("a.3gp") << h264Aac << QStringLiteral("mov");
        QTest::newRow("mkv") << QStringLiteral("a.mkv") << h264Aac << QStringLiteral("matroska");
        QTest::newRow("ts") << QStringLiteral("a.ts") << h264Aac << QStringLiteral("mpegts");
        QTest::newRow("m2ts") << QStringLiteral("a.m2ts") << h264Aac << QStringLiteral("mpegts");
        QTest::newRow("flv") << QStringLiteral("a.flv") << h264Aac << QStringLiteral("flv");
        QTest::newRow("mpg") << QStringLiteral("a.mpg") << mpeg2 << QStringLiteral("mpeg");
        QTest::newRow("wmv") << QStringLiteral("a.wmv")
                             << QStringList{QStringLiteral("-c:v"), QStringLiteral("wmv2"),
                                            QStringLiteral("-c:a"), QStringLiteral("wmav2")}
                             << QStringLiteral("asf");
        QTest::newRow("avi") << QStringLiteral("a.avi") << mpeg4Pcm << QStringLiteral("avi");
        QTest::newRow("mxf") << QStringLiteral("a.mxf")
                             << QStringList{QStringLiteral("-c:v"), QStringLiteral("mpeg2video"),
                                            QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")}
                             << QStringLiteral("mxf");
        QTest::newRow("avi called mp4")
            << QStringLiteral("a.mp4")
            << mpeg4Pcm + QStringList{QStringLiteral("-f"), QStringLiteral("avi")}
            << QStringLiteral("avi");
    }

    void wholeFilesOfEveryContainer()
    {
        QFETCH(QString, name);
        QFETCH(QStringList, options);
        QFETCH(QString, format);
        Workplace place(name);
        Footage::make(place.video, options);
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        QCOMPARE(Footage::decodeErrors(place.output), QByteArray());
        for (const auto &stream : {QStringLiteral("v:0"), QStringLiteral("a:0")}) {
            QCOMPARE(Footage::packetHashes(place.output, stream),
                     Footage::packetHashes(place.video, stream));
            // A program stream need not state when each picture is shown, only when it is decoded.
            const auto times =
                format == QStringLiteral("mpeg") ? Footage::decodeTimes : Footage::packetTimes;
            QCOMPARE(times(place.output, stream), times(place.video, stream));
        }
        if (name.endsWith(QStringLiteral(".m2ts"))) {
            // Four bytes of arrival time stand before each packet.
            const QByteArray bytes = readFile(place.output);
            constexpr qsizetype packetSize = 192;
            QVERIFY(bytes.size() > packetSize * 2);
            QCOMPARE(bytes.size() % packetSize, 0);
            QCOMPARE(bytes[4], '\x47');
            QCOMPARE(bytes[packetSize + 4], '\x47');
        }
        const QString outputFormat = readContents(place.output).format;
        QVERIFY2(outputFormat.contains(format), qPrintable(outputFormat));
    }

    void soundThatMp4CannotHoldIsKept()
    {
        // Cameras write uncompressed sound into files that they call MP4.
        Workplace place(QStringLiteral("camera.mp4"));
        const QString made = place.directory.filePath(QStringLiteral("made.mov"));
        Footage::make(made, {QStringLiteral("-c:v"), QStringLiteral("libx264"),
                             QStringLiteral("-c:a"), QStringLiteral("pcm_s16le")});
        QByteArray bytes = readFile(made);
        const qsizetype brand = bytes.indexOf("qt  ");
        QVERIFY(brand > 0);
        while (bytes.indexOf("qt  ") >= 0)
            bytes.replace(bytes.indexOf("qt  "), 4, "mp42");
        writeFile(place.video, bytes);
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        for (const auto &stream : {QStringLiteral("v:0"), QStringLiteral("a:0")})
            QCOMPARE(Footage::packetHashes(place.output, stream),
                     Footage::packetHashes(made, stream));
    }

    void tracksAndTagsAreKept_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("subtitles");
        QTest::newRow("mp4") << QStringLiteral("a.mp4") << QStringLiteral("mov_text");
        QTest::newRow("mkv") << QStringLiteral("a.mkv") << QStringLiteral("srt");
    }

    void tracksAndTagsAreKept()
    {
        QFETCH(QString, name);
        QFETCH(QString, subtitles);
        Workplace place(name);
        const QString plain = place.directory.filePath(QStringLiteral("plain.mp4"));
        const QString text = place.directory.filePath(QStringLiteral("text.srt"));
        const QString chapters = place.directory.filePath(QStringLiteral("chapters.txt"));
        Footage::make(plain, h264Aac);
        writeFile(text, "1\n00:00:00,500 --> 00:00:01,000\none\n\n"
                        "2\n00:00:02,000 --> 00:00:03,000\ntwo\n");
        writeFile(chapters, ";FFMETADATA1\ntitle=Holiday\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\n"
                            "END=2000\ntitle=First\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=2000\n"
                            "END=4000\ntitle=Second\n");
        const auto option = [](const char *optionText) { return QString::fromLatin1(optionText); };
        Footage::run(QStringLiteral("ffmpeg"), {option("-v"),
                                                option("error"),
                                                option("-i"),
                                                plain,
                                                option("-i"),
                                                text,
                                                option("-i"),
                                                chapters,
                                                option("-map"),
                                                option("0:v"),
                                                option("-map"),
                                                option("0:a"),
                                                option("-map"),
                                                option("0:a"),
                                                option("-map"),
                                                option("1:s"),
                                                option("-map_metadata"),
                                                option("2"),
                                                option("-c"),
                                                option("copy"),
                                                option("-c:s"),
                                                subtitles,
                                                option("-metadata:s:a:0"),
                                                option("language=eng"),
                                                option("-metadata:s:a:1"),
                                                option("language=deu"),
                                                option("-metadata:s:v:0"),
                                                option("rotate=90"),
                                                place.video});
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        for (const QStringList &question :
             {QStringList{option("-show_entries"),
                          option("stream=codec_type,codec_name:stream_tags=language")},
              QStringList{option("-show_entries"), option("stream_side_data=rotation")},
              QStringList{option("-show_entries"), option("format_tags=title")},
              QStringList{option("-show_chapters")}})
            QCOMPARE(Footage::probe(place.output, question), Footage::probe(place.video, question));
        for (const auto &stream : {option("a:0"), option("a:1"), option("s:0")}) {
            QCOMPARE(Footage::packetHashes(place.output, stream),
                     Footage::packetHashes(place.video, stream));
            QCOMPARE(Footage::packetTimes(place.output, stream),
                     Footage::packetTimes(place.video, stream));
        }
    }

    void clockSetAnewInTheMiddle()
    {
        // Two recordings of four seconds in one transport stream, the second a day later.
        Workplace place(QStringLiteral("a.ts"));
        const QString later = place.directory.filePath(QStringLiteral("later.ts"));
        Footage::make(place.video, h264Aac);
        Footage::make(later, h264Aac + QStringList{QStringLiteral("-output_ts_offset"),
                                                   QStringLiteral("20000")});
        writeFile(place.video, readFile(place.video) + readFile(later));
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        for (const auto &stream : {QStringLiteral("v:0"), QStringLiteral("a:0")}) {
            const QStringList times = Footage::packetTimes(place.output, stream);
            const int last = times.last().section(QLatin1Char(','), 0, 0).toInt();
            QVERIFY2(last > 7800 && last < 8200, qPrintable(times.last()));
        }
    }

    void sampleBeyondTheEndCostsOnlyItself()
    {
        // The place of the first sound chunk is said to lie far outside.
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac + faststart);
        const QStringList video = Footage::packetHashes(place.video, QStringLiteral("v:0"));
        const QStringList audio = Footage::packetHashes(place.video, QStringLiteral("a:0"));
        QByteArray bytes = readFile(place.video);
        const qsizetype table = bytes.lastIndexOf("stco");
        QVERIFY(table > 0);
        bytes.replace(table + 12, 4, QByteArray("\x7f\xff\xff\x00", 4));
        writeFile(place.video, bytes);
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        QCOMPARE(Footage::packetHashes(place.output, QStringLiteral("v:0")), video);
        const QStringList kept = Footage::packetHashes(place.output, QStringLiteral("a:0"));
        QVERIFY(kept.size() < audio.size() && kept.size() > audio.size() - 10);
        QCOMPARE(kept, audio.mid(audio.size() - kept.size()));
    }

    void cutFilesOfStreamingContainers_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("lastIsWhole");
        QTest::newRow("mkv") << QStringLiteral("a.mkv") << true;
        QTest::newRow("flv") << QStringLiteral("a.flv") << true;
        // A transport stream does not say how long its pictures are: the last before the cut may
        // be a part.
        QTest::newRow("ts") << QStringLiteral("a.ts") << false;
    }

    void cutFilesOfStreamingContainers()
    {
        QFETCH(QString, name);
        QFETCH(bool, lastIsWhole);
        Workplace place(name);
        Footage::make(place.video, h264Aac);
        const QStringList video = Footage::packetHashes(place.video, QStringLiteral("v:0"));
        Footage::cut(place.video, 0.6);
        const RepairResponse response = place.repair();
        QVERIFY2(response.ok, qPrintable(response.rawResponse));
        QStringList kept = Footage::packetHashes(place.output, QStringLiteral("v:0"));
        if (lastIsWhole)
            QCOMPARE(Footage::decodeErrors(place.output), QByteArray());
        else
            kept.removeLast();
        QVERIFY(kept.size() > video.size() / 2 && kept.size() < video.size());
        QCOMPARE(kept, video.mid(0, kept.size()));
    }

    // Pictures.

    void pictureStandsUpright_data()
    {
        QTest::addColumn<QStringList>("options");
        for (const int degrees : {0, 90, 180, 270})
            QTest::addRow("turned by %d", degrees) << QStringList{
                QStringLiteral("-metadata:s:v:0"), QStringLiteral("rotate=%1").arg(degrees)};
    }

    void pictureStandsUpright()
    {
        QFETCH(QStringList, options);
        Workplace place(QStringLiteral("phone.mp4"));
        const QString stored = place.directory.filePath(QStringLiteral("stored.mp4"));
        const QString upright = place.directory.filePath(QStringLiteral("upright.png"));
        const QStringList quiet = {QStringLiteral("-v"), QStringLiteral("error"),
                                   QStringLiteral("-i")};
        Footage::make(stored, h264Aac, 1);
        Footage::run(QStringLiteral("ffmpeg"),
                     quiet + QStringList{stored, QStringLiteral("-c"), QStringLiteral("copy")} +
                         options + QStringList{place.video});
        // FFmpeg's own program shows the picture upright, by code that is not ours.
        Footage::run(QStringLiteral("ffmpeg"),
                     quiet + QStringList{place.video, QStringLiteral("-frames:v"),
                                         QStringLiteral("1"), upright});
        QVERIFY(place.picture(1).ok);
        compareSimilar(QImage(place.photo), QImage(upright));
    }

    void pictureSidesAreDivided_data()
    {
        QTest::addColumn<int>("scale");
        QTest::addColumn<QSize>("size");
        QTest::newRow("1") << 1 << QSize(320, 240);
        QTest::newRow("3") << 3 << QSize(106, 80);
        QTest::newRow("7") << 7 << QSize(45, 34);
        QTest::newRow("beyond the picture") << 100000 << QSize(1, 1);
    }

    void pictureSidesAreDivided()
    {
        QFETCH(int, scale);
        QFETCH(QSize, size);
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac, 1);
        QVERIFY(place.picture(scale).ok);
        QCOMPARE(QImage(place.photo).size(), size);
    }

    void pictureIsTheFirstThatDecodes()
    {
        // White, then black from the second key picture on; the first one's bytes are destroyed.
        Workplace place(QStringLiteral("a.mp4"));
        Footage::run(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                      QStringLiteral("lavfi"), QStringLiteral("-i"),
                      QStringLiteral("color=white:size=320x240:duration=1,format=yuv420p[a];"
                                     "color=black:size=320x240:duration=1,format=yuv420p[b];"
                                     "[a][b]concat"),
                      QStringLiteral("-c:v"), QStringLiteral("libx264"), QStringLiteral("-g"),
                      QStringLiteral("25"), QStringLiteral("-keyint_min"), QStringLiteral("25"),
                      QStringLiteral("-x264-params"), QStringLiteral("scenecut=0:bframes=0"),
                      QStringLiteral("-movflags"), QStringLiteral("+faststart"), place.video});
        QVERIFY(place.picture(1).ok);
        QCOMPARE(QImage(place.photo).pixelColor(100, 100).lightness() > 240, true);

        QByteArray bytes = readFile(place.video);
        const qsizetype media = bytes.indexOf("mdat") + 4;
        const QByteArray size =
            Footage::run(QStringLiteral("ffprobe"),
                         {QStringLiteral("-v"), QStringLiteral("error"),
                          QStringLiteral("-show_entries"), QStringLiteral("packet=size"),
                          QStringLiteral("-read_intervals"), QStringLiteral("%+#1"),
                          QStringLiteral("-of"), QStringLiteral("csv=p=0"), place.video});
        const int first = size.trimmed().toInt();
        QVERIFY(first > 0);
        bytes.replace(media, first, QByteArray(first, '\xff'));
        writeFile(place.video, bytes);
        QVERIFY(place.picture(1).ok);
        QCOMPARE(QImage(place.photo).pixelColor(100, 100).lightness() < 15, true);
    }

    void pictureOfSoundOnly()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video,
                      {QStringLiteral("-vn"), QStringLiteral("-c:a"), QStringLiteral("aac")}, 1);
        compareError(place.picture(2), -22);
        QVERIFY(!QFileInfo::exists(place.photo));
        QVERIFY(place.metadata().ok);
        QCOMPARE(place.info(),
                 QJsonObject({{QStringLiteral("container"), QStringLiteral("mp4")},
                              {QStringLiteral("size"), QFileInfo(place.video).size()}}));
    }

    // Metadata.

    void codecNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("encoder");
        QTest::addColumn<QString>("codec");
        QTest::newRow("h264") << QStringLiteral("a.mp4") << QStringLiteral("libx264")
                              << QStringLiteral("h264");
        QTest::newRow("h265") << QStringLiteral("a.mp4") << QStringLiteral("libx265")
                              << QStringLiteral("h265");
        QTest::newRow("mjpeg") << QStringLiteral("a.avi") << QStringLiteral("mjpeg")
                               << QStringLiteral("mjpeg");
        QTest::newRow("mpeg2") << QStringLiteral("a.mpg") << QStringLiteral("mpeg2video")
                               << QStringLiteral("mpeg");
        QTest::newRow("another") << QStringLiteral("a.mov") << QStringLiteral("prores_ks")
                                 << QStringLiteral("prores");
    }

    void codecNames()
    {
        QFETCH(QString, name);
        QFETCH(QString, encoder);
        QFETCH(QString, codec);
        Workplace place(name);
        Footage::make(place.video, {QStringLiteral("-an"), QStringLiteral("-c:v"), encoder}, 1);
        QCOMPARE(place.info().value(QStringLiteral("codec")), QJsonValue(codec));
    }

    void makerAndModelOfQuickTime()
    {
        Workplace place(QStringLiteral("a.mov"));
        Footage::make(place.video,
                      h264Aac + faststart +
                          QStringList{QStringLiteral("-metadata"),
                                      QStringLiteral("com.apple.quicktime.make=Maker"),
                                      QStringLiteral("-metadata"),
                                      QStringLiteral("com.apple.quicktime.model=Model")},
                      1);
        QCOMPARE(place.info().value(QStringLiteral("make")), QJsonValue(QStringLiteral("Maker")));
        QCOMPARE(place.info().value(QStringLiteral("model")), QJsonValue(QStringLiteral("Model")));
    }

    void tagsThatAreNoUtf8AreStillAnswered()
    {
        Workplace place(QStringLiteral("a.mkv"));
        Footage::make(
            place.video,
            h264Aac + QStringList{QStringLiteral("-metadata"), QStringLiteral("make=QQQQQQQQ")}, 1);
        QByteArray bytes = readFile(place.video);
        QVERIFY(bytes.contains("QQQQQQQQ"));
        bytes.replace("QQQQQQQQ", "QQQ\xff\xfeQQQ");
        writeFile(place.video, bytes);
        const RepairResponse response = place.metadata();
        QVERIFY2(response.ok, qPrintable(response.message));
        QVERIFY(place.info()
                    .value(QStringLiteral("make"))
                    .toString()
                    .startsWith(QStringLiteral("QQQ")));
    }

    // Refusals. Nothing is left behind, and nothing of the user's is touched.

    void emptyFile()
    {
        Workplace place(QStringLiteral("a.mp4"));
        writeFile(place.video);
        compareError(place.repair(), -21);
        compareError(place.picture(2), -21);
        QVERIFY(place.metadata().ok);
        QCOMPARE(place.info(), QJsonObject({{QStringLiteral("size"), 0}}));
        QCOMPARE(place.outputFiles(), QStringList());
    }

    void mp4WithoutIndex()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac);
        Footage::cut(place.video, 0.6);
        compareError(place.repair(), -21);
        QCOMPARE(place.outputFiles(), QStringList());
    }

    void indexWithoutMedia()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac + faststart);
        QByteArray bytes = readFile(place.video);
        bytes.truncate(bytes.indexOf("mdat") + 4);
        writeFile(place.video, bytes);
        compareError(place.repair(), -23);
        QCOMPARE(place.outputFiles(), QStringList());
    }

    void playListIsNoVideo()
    {
        Workplace place(QStringLiteral("a.mp4"));
        const QString other = place.directory.filePath(QStringLiteral("other.ts"));
        Footage::make(other, h264Aac, 1);
        writeFile(place.video, "#EXTM3U\n#EXT-X-TARGETDURATION:1\n#EXTINF:1,\nother.ts\n"
                               "#EXT-X-ENDLIST\n");
        compareError(place.picture(2), -21);
        QCOMPARE(place.info().value(QStringLiteral("codec")), QJsonValue(QJsonValue::Undefined));
        writeFile(place.video, "ffconcat version 1.0\nfile other.ts\n");
        compareError(place.picture(2), -21);
        QCOMPARE(place.info().value(QStringLiteral("codec")), QJsonValue(QJsonValue::Undefined));
    }

    void outputOverTheInput()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac, 1);
        const QByteArray before = place.videoHash();
        place.output = place.video;
        compareError(place.repair(), -10);
        QCOMPARE(place.videoHash(), before);
    }

    void pictureOverTheVideo()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac, 1);
        const QByteArray before = place.videoHash();
        place.photo = place.video;
        compareError(place.picture(2), -10);
        QCOMPARE(place.videoHash(), before);
    }

    void pictureThatCannotBeDecoded()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac + faststart, 1);
        QByteArray bytes = readFile(place.video);
        const qsizetype media = bytes.indexOf("mdat") + 4;
        bytes.replace(media, bytes.size() - media, QByteArray(bytes.size() - media, '\0'));
        writeFile(place.video, bytes);
        compareError(place.picture(2), -22);
        QVERIFY(!QFileInfo::exists(place.photo));
    }

    void veryLongTagIsCut()
    {
        Workplace place(QStringLiteral("a.mkv"));
        Footage::make(place.video,
                      h264Aac +
                          QStringList{QStringLiteral("-metadata"),
                                      QStringLiteral("make=") + QString(100000, QLatin1Char('m'))},
                      1);
        QCOMPARE(place.info().value(QStringLiteral("make")).toString(),
                 QString(256, QLatin1Char('m')));
    }

    void outputThatCannotBeWritten()
    {
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac, 1);
        // A folder stands where the output is to go.
        QVERIFY(QDir().mkpath(place.output + QStringLiteral("/sub")));
        compareError(place.repair(), -30);
        place.photo = place.output;
        compareError(place.picture(2), -30);
        QCOMPARE(place.outputFiles(), QStringList());
    }

#ifndef Q_OS_WIN
    // There is no limit to a process's files that could be set.

    void fullDisk()
    {
        // The largest file that the service may write stands in for the room on a disk.
        Workplace place(QStringLiteral("a.mp4"));
        Footage::make(place.video, h264Aac);
        rlimit limit = {};
        QCOMPARE(getrlimit(RLIMIT_FSIZE, &limit), 0);
        const rlimit small = {.rlim_cur = 60000, .rlim_max = limit.rlim_max};
        std::signal(SIGXFSZ, SIG_IGN);
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &small), 0);
        const RepairResponse response = place.repair();
        QCOMPARE(setrlimit(RLIMIT_FSIZE, &limit), 0);
        compareError(response, -30);
        QCOMPARE(place.outputFiles(), QStringList());
    }
#endif

    void namesOfEveryKind_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("other letters") << QStringLiteral("视频 Ärger 😀.mp4");
        QTest::newRow("pattern") << QStringLiteral("100%d %1.mp4");
#ifndef Q_OS_WIN
        // No names of that system's.
        QTest::newRow("protocol") << QStringLiteral("concat:a|b.mp4");
        QTest::newRow("quotes") << QStringLiteral("a\"b'c.mp4");
        QTest::newRow("line break") << QStringLiteral("a\nb.mp4");
#endif
        QTest::newRow("dash") << QStringLiteral("-i.mp4");
    }

    void namesOfEveryKind()
    {
        QFETCH(QString, name);
        Workplace place(QStringLiteral("made.mp4"));
        Footage::make(place.video, h264Aac, 1);
        const QString made = place.video;
        place.video = place.directory.filePath(name);
        place.output = place.directory.filePath(QStringLiteral("out/") + name);
        place.photo = place.directory.filePath(QStringLiteral("photos/") + name);
        QVERIFY(QFile::rename(made, place.video));
        QVERIFY(place.metadata().ok);
        QVERIFY(place.picture(2).ok);
        QVERIFY(place.repair().ok);
        QVERIFY(QFileInfo::exists(place.photo));
        QVERIFY(QFileInfo::exists(place.output));
    }
};

VELLUMIX_TEST_MAIN(MediaTest)

#include "tst_media.moc"
