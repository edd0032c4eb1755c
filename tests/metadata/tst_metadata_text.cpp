#include "metadata/MetadataText.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

#include <limits>

namespace {

/** An object as the service writes it. */
QJsonObject object(const char *json)
{
    return QJsonDocument::fromJson(QByteArray(json)).object();
}

const QStringList someKeys{QStringLiteral("first"), QStringLiteral("second")};

} // namespace

/** The short texts about a video: from what the service answers to what is shown. */
class MetadataTextTest : public TestCase
{
    Q_OBJECT

private:
    QTemporaryDir folder;

    QString fileOfSize(const QString &name, qint64 size)
    {
        QString path = folder.filePath(name);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly) || !file.resize(size))
            qWarning("no file %s", qPrintable(path));
        return path;
    }

    /** One row: the object as JSON, and what a function makes of it. */
    static void columns()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<QString>("expected");
    }

    static void row(const char *name, const char *json, const char *expected)
    {
        QTest::newRow(name) << QByteArray(json) << QString::fromUtf8(expected);
        // A slip in a row's JSON would read as an object without members.
        QVERIFY(QJsonDocument::fromJson(QByteArray(json)).isObject());
    }

private Q_SLOTS:
    void theUnknownIsASlash() { QCOMPARE(unknownText(), QStringLiteral("/")); }

    void videoInfo_data()
    {
        columns();
        row("named rightly", R"({"video_info":{"a":1}})", R"({"a":1})");
        row("misspelt", R"({"vedio_info":{"b":2}})", R"({"b":2})");
        row("both", R"({"vedio_info":{"b":2},"video_info":{"a":1}})", R"({"a":1})");
        row("text, misspelt", R"({"video_info":"a","vedio_info":{"b":2}})", R"({"b":2})");
        row("null, misspelt", R"({"video_info":null,"vedio_info":{"b":2}})", R"({"b":2})");
        row("array, misspelt", R"({"video_info":[1],"vedio_info":{"b":2}})", R"({"b":2})");
        row("number, misspelt", R"({"video_info":1,"vedio_info":{"b":2}})", R"({"b":2})");
        row("empty object counts", R"({"video_info":{},"vedio_info":{"b":2}})", "{}");
        row("neither", R"({"width":1920})", "{}");
        row("neither an object", R"({"video_info":true,"vedio_info":"b"})", "{}");
        row("other case", R"({"Video_Info":{"a":1}})", "{}");
    }

    void videoInfo()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        QCOMPARE(videoInfoObject(object(json.constData())), object(expected.toUtf8().constData()));
    }

    void firstText_data()
    {
        columns();
        row("text", R"({"first":"one","second":"two"})", "one");
        row("as stored", R"({"first":"  one\t"})", "  one\t");
        row("empty text", R"({"first":"","second":"two"})", "two");
        row("blank text", R"({"first":" \t\n ","second":"two"})", "two");
        row("null", R"({"first":null,"second":"two"})", "two");
        row("boolean", R"({"first":true,"second":"two"})", "two");
        row("array", R"({"first":["one"],"second":"two"})", "two");
        row("object", R"({"first":{"a":"one"},"second":"two"})", "two");
        row("absent", R"({"second":"two"})", "two");
        row("number", R"({"first":25})", "25");
        row("fraction", R"({"first":29.97})", "30");
        row("zero", R"({"first":0,"second":"two"})", "0");
        row("negative", R"({"first":-3,"second":"two"})", "-3");
        row("large", R"({"first":123456789012})", "123456789012");
        row("nothing", "{}", "fallback");
        row("nothing usable", R"({"first":" ","second":false})", "fallback");
    }

    void firstText()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        QCOMPARE(firstMetadataText(object(json.constData()), someKeys, QStringLiteral("fallback")),
                 expected);
    }

    void theOrderOfTheKeysDecides()
    {
        const QJsonObject info = object(R"({"first":"one","second":"two"})");
        QCOMPARE(
            firstMetadataText(info, {QStringLiteral("second"), QStringLiteral("first")}, QString()),
            QStringLiteral("two"));
        QCOMPARE(firstMetadataText(info, {}, QStringLiteral("none")), QStringLiteral("none"));
    }

    void decimalsFollowTheKey_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<double>("number");
        QTest::addColumn<QString>("expected");
        QTest::newRow("rate") << QStringLiteral("rate") << 25.0 << QStringLiteral("25.000");
        QTest::newRow("frame rate")
            << QStringLiteral("frame_rate") << 29.97 << QStringLiteral("29.970");
        QTest::newRow("bitrate") << QStringLiteral("bitrate") << 5000000.0
                                 << QStringLiteral("5000000.000");
        QTest::newRow("inside a word")
            << QStringLiteral("generated") << 1.5 << QStringLiteral("1.500");
        QTest::newRow("other case") << QStringLiteral("Rate") << 25.0 << QStringLiteral("25");
        QTest::newRow("capitals") << QStringLiteral("BITRATE") << 25.0 << QStringLiteral("25");
        QTest::newRow("no rate") << QStringLiteral("resolution") << 1080.0
                                 << QStringLiteral("1080");
        QTest::newRow("never an exponent")
            << QStringLiteral("bitrate") << 1e15 << QStringLiteral("1000000000000000.000");
        QTest::newRow("small") << QStringLiteral("rate") << 0.0004 << QStringLiteral("0.000");
    }

    void decimalsFollowTheKey()
    {
        QFETCH(const QString, key);
        QFETCH(const double, number);
        QFETCH(const QString, expected);
        QCOMPARE(firstMetadataText({{key, number}}, {key}, unknownText()), expected);
    }

    void codec_data()
    {
        columns();
        row("text", R"({"codec":"prores","video_codec":2})", "prores");
        row("as stored", R"({"codec":" hevc "})", " hevc ");
        row("blank", R"({"codec":"   ","video_codec":2})", "h265");
        row("blank, then text", R"({"codec":"   ","video_codec":"vp9"})", "vp9");
        row("no text", R"({"codec":3,"video_codec":1})", "h264");
        row("second text", R"({"video_codec":"hevc"})", "hevc");
        row("second as stored", R"({"video_codec":" av1"})", " av1");
        row("second blank", R"({"video_codec":"  "})", "/");
        row("second a number as text", R"({"video_codec":"2"})", "2");
        row("0", R"({"video_codec":0})", "/");
        row("1", R"({"video_codec":1})", "h264");
        row("2", R"({"video_codec":2})", "h265");
        row("3", R"({"video_codec":3})", "mjpeg");
        row("4", R"({"video_codec":4})", "mpeg");
        row("5", R"({"video_codec":5})", "5");
        row("7", R"({"video_codec":7})", "7");
        row("9", R"({"video_codec":9})", "9");
        row("large", R"({"video_codec":1000000})", "1000000");
        row("negative", R"({"video_codec":-1})", "/");
        row("very negative", R"({"video_codec":-2})", "/");
        row("fraction", R"({"video_codec":2.5})", "/");
        row("null", R"({"video_codec":null})", "/");
        row("boolean", R"({"video_codec":true})", "/");
        row("array", R"({"video_codec":[1]})", "/");
        row("absent", "{}", "/");
        row("number under the first key", R"({"codec":2})", "/");
    }

    void codec()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        QCOMPARE(codecText(object(json.constData())), expected);
        // The table is made at the first use; the second use reads the same.
        QCOMPARE(codecText(object(json.constData())), expected);
    }

    void resolution_data()
    {
        columns();
        row("both sides", R"({"width":1920,"height":1080})", "1920x1080");
        row("sides first", R"({"width":1920,"height":1080,"resolution":"4K"})", "1920x1080");
        row("height 0", R"({"width":1920,"height":0,"resolution":"3840x2160"})", "3840x2160");
        row("width 0", R"({"width":0,"height":1080,"resolution":"3840x2160"})", "3840x2160");
        row("height 0 alone", R"({"width":1920,"height":0})", "/");
        row("no height", R"({"width":1920})", "/");
        row("no width", R"({"height":1080})", "/");
        row("negative", R"({"width":-1920,"height":-1080})", "/");
        row("sides as texts", R"({"width":"1920","height":"1080"})", "/");
        row("fraction", R"({"width":1920.5,"height":1080,"resolution":"r"})", "r");
        row("text as stored", R"({"resolution":" 640x480 "})", " 640x480 ");
        row("number", R"({"resolution":1080})", "1080");
        row("fraction as number", R"({"resolution":1079.6})", "1080");
        row("blank", R"({"resolution":"  "})", "/");
        row("nothing", "{}", "/");
        row("1 by 1", R"({"width":1,"height":1})", "1x1");
    }

    void resolution()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        QCOMPARE(resolutionText(object(json.constData())), expected);
    }

    void rates_data()
    {
        columns();
        QTest::addColumn<QString>("bitrate");
        const auto rates = [](const char *name, const char *json, const char *frames,
                              const char *bits) {
            QTest::newRow(name) << QByteArray(json) << QString::fromUtf8(frames)
                                << QString::fromUtf8(bits);
        };
        rates(
            "preferred keys",
            R"({"video_frame_rate":"50","frame_rate":"25","video_avg_bitrate":"8","bitrate":"4"})",
            "50", "8");
        rates("other keys", R"({"frame_rate":"25","bitrate":"4 Mbps"})", "25", "4 Mbps");
        rates("numbers", R"({"frame_rate":25,"bitrate":5000000})", "25.000", "5000000.000");
        rates("preferred numbers", R"({"video_frame_rate":29.97,"video_avg_bitrate":5000000})",
              "29.970", "5000000.000");
        rates("blank preferred",
              R"({"video_frame_rate":" ","frame_rate":24,"video_avg_bitrate":"","bitrate":1})",
              "24.000", "1.000");
        rates("nothing", "{}", "/", "/");
    }

    void rates()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        QFETCH(const QString, bitrate);
        QCOMPARE(frameRateText(object(json.constData())), expected);
        QCOMPARE(bitrateText(object(json.constData())), bitrate);
    }

    void makerAndModel()
    {
        const QJsonObject both =
            object(R"({"make":"Aurora","manufacture":"Other","model":"A1","device":"Other"})");
        QCOMPARE(manufacturerText(both), QStringLiteral("Aurora"));
        QCOMPARE(deviceModelText(both), QStringLiteral("A1"));
        const QJsonObject second =
            object(R"({"make":" ","manufacture":"Borealis","model":null,"device":"B2"})");
        QCOMPARE(manufacturerText(second), QStringLiteral("Borealis"));
        QCOMPARE(deviceModelText(second), QStringLiteral("B2"));
        const QJsonObject numbers = object(R"({"make":12,"device":7.4})");
        QCOMPARE(manufacturerText(numbers), QStringLiteral("12"));
        QCOMPARE(deviceModelText(numbers), QStringLiteral("7"));
        QCOMPARE(manufacturerText({}), QStringLiteral("/"));
        QCOMPARE(deviceModelText({}), QStringLiteral("/"));
    }

    void size_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("expected");
        QTest::newRow("nothing") << qint64(0) << QStringLiteral("0.00 MB");
        QTest::newRow("10 MB") << qint64(10485760) << QStringLiteral("10.00 MB");
        QTest::newRow("one byte") << qint64(1) << QStringLiteral("0.00 MB");
        QTest::newRow("rounded up") << qint64(5243) << QStringLiteral("0.01 MB");
        QTest::newRow("rounded down") << qint64(5242) << QStringLiteral("0.00 MB");
        QTest::newRow("fraction") << qint64(12939428) << QStringLiteral("12.34 MB");
        QTest::newRow("beyond 32 bits") << (qint64(5) << 40) << QStringLiteral("5242880.00 MB");
        QTest::newRow("largest") << std::numeric_limits<qint64>::max()
                                 << QStringLiteral("8796093022208.00 MB");
    }

    void size()
    {
        QFETCH(const qint64, bytes);
        QFETCH(const QString, expected);
        QCOMPARE(sizeText(bytes), expected);
    }

    void format_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("expected");
        QTest::newRow("capitals") << QStringLiteral("/a/CLIP.MP4") << QStringLiteral(".mp4");
        QTest::newRow("last suffix") << QStringLiteral("clip.tar.MkV") << QStringLiteral(".mkv");
        QTest::newRow("no dot") << QStringLiteral("/a/clip") << QStringLiteral("/");
        QTest::newRow("dot in the folder") << QStringLiteral("/a.b/clip") << QStringLiteral("/");
        QTest::newRow("dot at the end") << QStringLiteral("/a/clip.") << QStringLiteral("/");
        QTest::newRow("only a suffix") << QStringLiteral("/a/.mov") << QStringLiteral(".mov");
        QTest::newRow("empty") << QString() << QStringLiteral("/");
        QTest::newRow("unknown suffix") << QStringLiteral("notes.TXT") << QStringLiteral(".txt");
    }

    void format()
    {
        QFETCH(const QString, path);
        QFETCH(const QString, expected);
        QCOMPARE(formatText(path), expected);
    }

    void summary_data()
    {
        columns();
        row("all known",
            R"({"video_frame_rate":29.97,"width":1920,"height":1080,"bitrate":5000000})",
            "12.34 MB    29.970 fps    1920x1080    No audio    Bitrate: 5000000.000");
        row("nothing known", "{}", "12.34 MB    No audio");
        row("frame rate", R"({"frame_rate":"25"})", "12.34 MB    25 fps    No audio");
        row("resolution", R"({"resolution":"4K"})", "12.34 MB    4K    No audio");
        row("bitrate", R"({"video_avg_bitrate":"4 Mbps","bitrate":1})",
            "12.34 MB    No audio    Bitrate: 4 Mbps");
        row("preferred frame rate", R"({"video_frame_rate":"50","frame_rate":"25"})",
            "12.34 MB    50 fps    No audio");
        row("placeholders of the service", R"({"frame_rate":"/","resolution":"/","bitrate":"/"})",
            "12.34 MB    No audio");
        row("place markers are texts", R"({"frame_rate":"%1","bitrate":"%2"})",
            "12.34 MB    %1 fps    No audio    Bitrate: %2");
        row("audio is never derived", R"({"audio_codec":"aac","audio":true})",
            "12.34 MB    No audio");
    }

    void summary()
    {
        QFETCH(const QByteArray, json);
        QFETCH(const QString, expected);
        const QString path = fileOfSize(QStringLiteral("clip.mp4"), 12939428);
        QCOMPARE(metadataSummary(object(json.constData()), path), expected);
    }

    void theSummaryTellsTheSizeOfNow()
    {
        const QString path = fileOfSize(QStringLiteral("growing.mp4"), 1048576);
        QCOMPARE(metadataSummary({}, path), QStringLiteral("1.00 MB    No audio"));
        fileOfSize(QStringLiteral("growing.mp4"), 3145728);
        QCOMPARE(metadataSummary({}, path), QStringLiteral("3.00 MB    No audio"));
        QVERIFY(QFile::remove(path));
        QCOMPARE(metadataSummary({}, path), QStringLiteral("0.00 MB    No audio"));
    }

    void labelTexts()
    {
        const QJsonObject info = object(R"({"frame_rate":25,"resolution":"4K","bitrate":"8"})");
        QCOMPARE(frameRateLabelText(info), QStringLiteral("25.000 fps"));
        QCOMPARE(resolutionLabelText(info), QStringLiteral("4K"));
        const QString path = folder.filePath(QStringLiteral("clip.mp4"));
        QCOMPARE(fileLabelText(info, path).value_or(QString()),
                 QDir::toNativeSeparators(path) + QStringLiteral("    Bitrate: 8"));
    }

    void labelTextsOfTheUnknown()
    {
        QCOMPARE(frameRateLabelText({}), QString());
        QCOMPARE(resolutionLabelText({}), QString());
        QVERIFY(!fileLabelText({}, QStringLiteral("/a/clip.mp4")).has_value());
        const QJsonObject slashes = object(R"({"frame_rate":"/","resolution":"/","bitrate":"/"})");
        QCOMPARE(frameRateLabelText(slashes), QString());
        QCOMPARE(resolutionLabelText(slashes), QString());
        QVERIFY(!fileLabelText(slashes, QStringLiteral("/a/clip.mp4")).has_value());
    }

    void theFileLabelNamesTheAbsolutePath()
    {
        const QJsonObject info = object(R"({"bitrate":"8"})");
        QCOMPARE(fileLabelText(info, QStringLiteral("clip%2.mp4")).value_or(QString()),
                 QDir::toNativeSeparators(
                     QDir::current().absoluteFilePath(QStringLiteral("clip%2.mp4"))) +
                     QStringLiteral("    Bitrate: 8"));
    }
};

VELLUMIX_TEST_MAIN(MetadataTextTest)

#include "tst_metadata_text.moc"
