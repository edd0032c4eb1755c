#include "engine/EngineError.h"
#include "engine/media/FirstPicture.h"
#include "engine/media/VideoInfo.h"
#include "engine/service/RequestHandler.h"
#include "tests/corpus/Damages.h"
#include "tests/corpus/Masters.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QElapsedTimer>
#include <QFileInfo>
#include <QImage>
#include <QJsonDocument>
#include <QJsonObject>

extern "C" {
#include <libavutil/mem.h>
}

#include <functional>
#include <memory>

namespace {

constexpr int seconds = 4;

using DamageFunction = std::function<DamagedFile(const QByteArray &)>;

template <typename Function, typename... Arguments>
DamageFunction with(Function function, Arguments... arguments)
{
    return [=](const QByteArray &bytes) { return function(bytes, arguments...); };
}

QString masterPath(const QString &name)
{
    return makeMaster(masterNamed(name), seconds);
}

QJsonObject answerTo(int method, const QString &video, const QString &photo = {})
{
    const QJsonObject request = {{QStringLiteral("method"), method},
                                 {QStringLiteral("videoPath"), video},
                                 {QStringLiteral("photoPath"), photo},
                                 {QStringLiteral("scale"), 1}};
    const std::string answer =
        handleRequest(QJsonDocument(request).toJson(QJsonDocument::Compact).toStdString());
    return QJsonDocument::fromJson(QByteArray::fromStdString(answer)).object();
}

double meanDifference(const QImage &one, const QImage &other)
{
    qint64 difference = 0;
    for (int y = 0; y < one.height(); ++y) {
        for (int x = 0; x < one.width(); ++x)
            difference += qAbs(qGray(one.pixel(x, y)) - qGray(other.pixel(x, y)));
    }
    return static_cast<double>(difference) / (one.width() * one.height());
}

} // namespace

Q_DECLARE_METATYPE(DamageFunction)

/** What the service tells of files, whatever state they are in. */
class DescriptionTest : public TestCase
{
    Q_OBJECT

private:
    QString damagedFile(const QString &name, const DamageFunction &damage)
    {
        QString path = folder.filePath(QStringLiteral("damaged-") + name);
        writeFile(path, damage(readFile(masterPath(name))).bytes());
        return path;
    }

    static void addRow(const QByteArray &title, const QString &master, const DamageFunction &damage)
    {
        QTest::newRow(title + ", " + master.toLatin1()) << master << damage;
    }

private Q_SLOTS:
    /** What a table claims is believed by FFmpeg's readers: 64 million names of eight bytes each.
     */
    void aSmallFileTakesNoLargePieceOfMemory()
    {
        constexpr std::size_t large = std::size_t{400} << 20U;
        QByteArray bytes = readFile(masterPath(QStringLiteral("keys.mov")));
        const qsizetype keys = bytes.indexOf("keys", bytes.indexOf("moov"));
        QVERIFY(keys > 0);
        bytes.replace(keys + 8, 4, QByteArray("\x04\0\0\0", 4));
        const QString path = folder.filePath(QStringLiteral("names.mov"));
        writeFile(path, bytes);
        const QJsonObject answer = answerTo(107, path);
        QCOMPARE(answer.value(QStringLiteral("err_code")).toInt(-1), 0);
        const std::unique_ptr<void, decltype(&av_free)> piece(av_malloc(large), av_free);
        QVERIFY(!piece);
    }

    void makerAndModel_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        for (const Master &master : masters())
            addRow("whole", master.name, with(Damage::cutAt, 1.0));
        for (const char *name : {"end.mp4", "texts.mov", "keys.mov", "vendor.mp4", "xml.mp4"}) {
            const QString master = QString::fromLatin1(name);
            addRow("media size 0", master, with(Damage::mediaSize, 0U));
            addRow("media size too large", master, with(Damage::mediaSize, 0x7ffffff0U));
            addRow("first 512 bytes", master, with(Damage::zeroedHead, 512));
            addRow("places", master, with(Damage::shiftedOffsets, 1234));
            addRow("durations", master, with(Damage::durations, 0U));
        }
        addRow("first 40 bytes", QStringLiteral("list.avi"), with(Damage::zeroedHead, 40));
        addRow("no index", QStringLiteral("list.avi"), with(Damage::unfinishedAvi));
        addRow("cut", QStringLiteral("list.avi"), with(Damage::cutAt, 0.3));
        addRow("first 40 bytes", QStringLiteral("tags.mkv"), with(Damage::zeroedHead, 40));
        addRow("cut", QStringLiteral("tags.mkv"), with(Damage::cutAt, 0.3));
        addRow("blocks", QStringLiteral("tags.mkv"), with(Damage::zeroedBlocks, 5, 65536, 3U));
        addRow("first 9 bytes", QStringLiteral("tags.flv"), with(Damage::zeroedHead, 9));
        addRow("cut", QStringLiteral("tags.flv"), with(Damage::cutAt, 0.3));
    }

    void makerAndModel()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        const Master &master = masterNamed(name);
        const VideoInfo info = describeFile(damagedFile(name, damage).toStdString());
        QCOMPARE(QString::fromStdString(info.make.value_or("")), master.make);
        QCOMPARE(QString::fromStdString(info.model.value_or("")), master.model);
        QCOMPARE(info.source.has_value(), !master.make.isEmpty());
    }

    void theSourceOfMakerAndModelIsNamed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("source");
        const auto row = [](const char *name, const char *source) {
            QTest::newRow(name) << QString::fromLatin1(name) << QString::fromUtf8(source);
        };
        row("end.mp4", "metadata key \"make\" of the file, metadata key \"model\" of the file");
        row("texts.mov", "text \"©mak\" of the file, text \"©mod\" of the file");
        row("keys.mov", "metadata key \"com.apple.quicktime.make\" of the file, metadata key "
                        "\"com.apple.quicktime.model\" of the file");
        row("vendor.mp4", "Exif data in box \"VNDR\", Exif data in box \"VNDR\"");
        row("xml.mp4", "XML in box \"uuid\", XML in box \"uuid\"");
        row("list.avi", "\"ecor\" of the list \"exif\", \"emdl\" of the list \"exif\"");
        row("tags.mkv", "tag \"MAKE\" of the file, tag \"MODEL\" of the file");
        row("tags.flv", "tag \"make\" of the file, tag \"model\" of the file");
    }

    void theSourceOfMakerAndModelIsNamed()
    {
        QFETCH(QString, name);
        QFETCH(QString, source);
        const VideoInfo info = describeFile(masterPath(name).toStdString());
        QCOMPARE(QString::fromStdString(info.source.value_or("")), source);
    }

    /** Of several places the preferred one wins, whatever their order in the file. */
    void keysWinOverTexts()
    {
        QByteArray bytes = readFile(masterPath(QStringLiteral("end.mp4")));
        const QByteArray texts = readFile(masterPath(QStringLiteral("texts.mov")));
        const qsizetype added = texts.indexOf("udta", texts.indexOf("moov")) - 4;
        QVERIFY(added > 0);
        const QByteArray userData = texts.mid(added);
        const qsizetype index = bytes.lastIndexOf("moov") - 4;
        bytes += userData;
        const auto size = static_cast<quint32>(bytes.size() - index);
        for (int i = 0; i < 4; ++i)
            bytes[index + i] = static_cast<char>(size >> (24 - 8 * i));
        const QString path = folder.filePath(QStringLiteral("both.mp4"));
        writeFile(path, bytes);
        const VideoInfo info = describeFile(path.toStdString());
        QCOMPARE(info.make, std::optional<std::string>("Maker"));
        QCOMPARE(info.model, std::optional<std::string>("Model"));
    }

    void parametersOutOfPictures_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<DamageFunction>("damage");
        QTest::addColumn<QString>("codec");
        const auto row = [](const char *title, const char *name, const DamageFunction &damage,
                            const char *codec) {
            QTest::newRow(title) << QString::fromLatin1(name) << damage
                                 << QString::fromLatin1(codec);
        };
        row("H.264, index lost", "inband.mp4", with(Damage::cutAt, 0.6), "h264");
        row("HEVC, index lost", "inband-hevc.mp4", with(Damage::cutAt, 0.6), "h265");
        row("JPEG, index lost", "pictures.mov", with(Damage::cutAt, 0.6), "mjpeg");
        row(
            "H.264, no name and no header", "slices.mp4",
            [](const QByteArray &bytes) {
                // The end alone: what is left of the index holds the parameters.
                DamagedFile file(bytes);
                file.zero(bytes.lastIndexOf("mvhd") - 12, 12);
                file.zero(bytes.lastIndexOf("stsz") - 4, 8);
                file.zero(bytes.indexOf("stsz") - 4, 8);
                return file;
            },
            "h264");
    }

    void parametersOutOfPictures()
    {
        QFETCH(QString, name);
        QFETCH(DamageFunction, damage);
        QFETCH(QString, codec);
        const QString path = damagedFile(name, damage);
        const QJsonObject answer = answerTo(107, path);
        QCOMPARE(answer.value(QStringLiteral("err_code")), QJsonValue(0));
        const QJsonObject info = answer.value(QStringLiteral("video_info")).toObject();
        QCOMPARE(info.value(QStringLiteral("codec")), QJsonValue(codec));
        QCOMPARE(info.value(QStringLiteral("width")), QJsonValue(640));
        QCOMPARE(info.value(QStringLiteral("height")), QJsonValue(360));
        QVERIFY(info.value(QStringLiteral("video_frame_rate")).toDouble(30) == 30);

        const QString photo = folder.filePath(QStringLiteral("photo.jpg"));
        const QString expected = folder.filePath(QStringLiteral("expected.png"));
        writeFirstPicture(path.toStdString(), photo.toStdString(), 1);
        Footage::run(QStringLiteral("ffmpeg"),
                     {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-y"),
                      QStringLiteral("-i"), masterPath(name), QStringLiteral("-frames:v"),
                      QStringLiteral("1"), expected});
        QCOMPARE(QImage(photo).size(), QSize(640, 360));
        const double mean = meanDifference(QImage(photo), QImage(expected));
        QVERIFY2(mean < 6, qPrintable(QString::number(mean)));
    }

    void everyFileIsAnswered_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("container");
        const QByteArray movie = readFile(masterPath(QStringLiteral("end.mp4")));
        const QByteArray recorder = readFile(masterPath(QStringLiteral("recorder.mkv")));
        QTest::newRow("empty") << QByteArray() << QString();
        QTest::newRow("text") << QByteArray("no video at all\n") << QString();
        QTest::newRow("zeros") << QByteArray(100000, '\0') << QString();
        QTest::newRow("one byte") << QByteArray("\x47") << QString();
        QTest::newRow("play list") << QByteArray("#EXTM3U\n#EXTINF:1,\nother.ts\n") << QString();
        QTest::newRow("start of MP4") << movie.left(40) << QStringLiteral("mp4");
        QTest::newRow("MP4 without its index")
            << movie.left(movie.size() / 2) << QStringLiteral("mp4");
        QTest::newRow("start of Matroska") << recorder.left(200) << QStringLiteral("matroska");
    }

    void everyFileIsAnswered()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, container);
        const QString path = folder.filePath(QStringLiteral("any.bin"));
        writeFile(path, content);
        QJsonObject expected = {{QStringLiteral("size"), content.size()}};
        if (!container.isEmpty())
            expected.insert(QStringLiteral("container"), container);
        const QJsonObject answer = answerTo(107, path);
        QCOMPARE(answer.value(QStringLiteral("video_info")).toObject(), expected);
        QCOMPARE(answer.value(QStringLiteral("err_code")), QJsonValue(0));
        QCOMPARE(answer.value(QStringLiteral("message")),
                 QJsonValue(QStringLiteral("Nothing in the file tells the video's parameters.")));
        // Not so with a picture: there is none.
        const QString photo = folder.filePath(QStringLiteral("none.jpg"));
        QVERIFY(answerTo(101, path, photo).value(QStringLiteral("err_code")).toInt() < 0);
        QVERIFY(!QFileInfo::exists(photo));
    }

    void aFileThatCannotBeReadIsAnError()
    {
        const QJsonObject answer =
            answerTo(107, folder.filePath(QStringLiteral("there is none.mp4")));
        QCOMPARE(answer.value(QStringLiteral("err_code")), QJsonValue(-20));
    }

private:
    QTemporaryDir folder;
};

VELLUMIX_TEST_MAIN(DescriptionTest)

#include "tst_description.moc"
