#include "engine/EngineError.h"
#include "engine/media/AsideFile.h"
#include "engine/media/ClockMender.h"
#include "engine/media/Ffmpeg.h"
#include "engine/media/MediaInput.h"
#include "engine/media/Orientation.h"
#include "engine/media/ReadBack.h"
#include "engine/media/TimestampMender.h"
#include "engine/service/Request.h"
#include "engine/service/RequestHandler.h"
#include "engine/service/ServiceArguments.h"
#include "engine/service/ServiceConfig.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/TestCase.h"

#include <QDir>

#include <array>
#include <filesystem>
#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#ifndef Q_OS_WIN
#include <sys/stat.h>
#endif

namespace {

constexpr std::int32_t one = 1 << 16;

/** Turns a picture of two by three samples, numbered in reading order. */
std::vector<int> turned(const Orientation &orientation)
{
    const std::array<std::uint8_t, 8> source = {1, 2, 0, 3, 4, 0, 5, 6};
    std::array<std::uint8_t, 6> target = {};
    turnPlane(orientation, source.data(), 3, 2, 3, target.data(), orientation.swapSides ? 3 : 2);
    return {target.begin(), target.end()};
}

qsizetype filesIn(const QTemporaryDir &folder)
{
    return entriesOf(folder.path()).size();
}

ErrorCode failureOf(const char *line)
{
    try {
        parseRequest(line);
    } catch (const EngineError &error) {
        return *error.what() != '\0' ? error.code() : ErrorCode::Internal;
    }
    return ErrorCode::None;
}

} // namespace

/** What the local service computes from values alone. */
class EngineUnitsTest : public TestCase
{
    Q_OBJECT

private:
    /** What a file of pictures alone would have been written from. */
    static std::vector<WrittenStream> packetsOf(const std::string &path)
    {
        MediaInput input(path);
        std::vector<WrittenStream> written(1);
        written.front().kind = AVMEDIA_TYPE_VIDEO;
        const Ffmpeg::PacketPtr packet = Ffmpeg::makePacket();
        while (input.read(*packet)) {
            written.front().digest.addBytes({packet->data, static_cast<std::size_t>(packet->size)});
            written.front().times.push_back(
                timesOf(*packet, input.context().streams[0]->time_base));
            av_packet_unref(packet.get());
        }
        return written;
    }

    static bool isSound(const std::string &path, const std::vector<WrittenStream> &written)
    {
        try {
            readBack(path, written);
        } catch (const EngineError &error) {
            return error.code() != ErrorCode::OutputNotSound;
        }
        return true;
    }

private Q_SLOTS:
    void arguments()
    {
        const auto parsed = parseArguments({"Kesh_File_Repair_Win", "VideoRepairServer", "4312_7"});
        QVERIFY(parsed.has_value());
        QCOMPARE(parsed->token, std::string("4312_7"));
        QCOMPARE(parsed->returnPipe, std::string("VideoRepairServer_return_4312_7"));
        QCOMPARE(parsed->receivePipe, std::string("VideoRepairServer_receive_4312_7"));
        QVERIFY(!parseArguments({}));
        QVERIFY(!parseArguments({"Kesh_File_Repair_Win", "VideoRepairServer"}));
        QVERIFY(!parseArguments({"Kesh_File_Repair_Win", "VideoRepairServer", ""}));
        QVERIFY(!parseArguments({"other", "VideoRepairServer", "1_1"}));
        QVERIFY(!parseArguments({"Kesh_File_Repair_Win", "other", "1_1"}));
        QVERIFY(!parseArguments({"Kesh_File_Repair_Win", "VideoRepairServer", "1_1", "more"}));
    }

    void configuration()
    {
        const ServiceConfig config = parseConfig(R"({"logLevel": "error", "logLimitMiB": 9})");
        QCOMPARE(config.logLevel, TarnLogError);
        QCOMPARE(config.logLimitMiB, 9ULL);
        QCOMPARE(config.complaint, std::string());
    }

    void configurationWithFaults_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("empty") << QByteArray("");
        QTest::newRow("array") << QByteArray("[]");
        QTest::newRow("level") << QByteArray(R"({"logLevel": "loud"})");
        QTest::newRow("level's type") << QByteArray(R"({"logLevel": 1})");
        QTest::newRow("negative limit") << QByteArray(R"({"logLimitMiB": -1})");
        QTest::newRow("limit too large") << QByteArray(R"({"logLimitMiB": 1025})");
    }

    void configurationWithFaults()
    {
        QFETCH(QByteArray, text);
        const ServiceConfig config = parseConfig(text.toStdString());
        QVERIFY(!config.complaint.empty());
        QCOMPARE(config.logLevel, TarnLogInfo);
        QCOMPARE(config.logLimitMiB, 4ULL);
    }

    void shippedConfigurationIsTheDefault()
    {
        const QByteArray text =
            readFile(QStringLiteral(VELLUMIX_SERVICE_ROOT "/config/KeshRepairConfig.dat"));
        const ServiceConfig config = parseConfig(text.toStdString());
        QCOMPARE(config.complaint, std::string());
        QCOMPARE(config.logLevel, ServiceConfig().logLevel);
        QCOMPARE(config.logLimitMiB, ServiceConfig().logLimitMiB);
    }

    void requests()
    {
        const Request metadata = parseRequest(R"({"method":107,"videoPath":"/a b.mp4","x":1})");
        QCOMPARE(metadata.method, Method::Metadata);
        QCOMPARE(metadata.video, std::string("/a b.mp4"));

        const Request picture =
            parseRequest(R"({"method":101,"videoPath":"/a","photoPath":"/b","scale":2})");
        QCOMPARE(picture.method, Method::FirstPicture);
        QCOMPARE(picture.photoPath, std::string("/b"));
        QCOMPARE(picture.scale, 2);

        const Request quick = parseRequest(R"({"method":0,"damagedPath":"/a","outFilePath":"/o"})");
        QCOMPARE(quick.method, Method::QuickRepair);
        QCOMPARE(quick.video, std::string("/a"));
        QCOMPARE(quick.outFilePath, std::string("/o"));

        const Request advanced =
            parseRequest(R"({"method":1,"damagedPath":"/a","outFilePath":"/o","samplePath":"/s"})");
        QCOMPARE(advanced.method, Method::AdvancedRepair);
        QCOMPARE(advanced.samplePath, std::string("/s"));
    }

    void badRequests()
    {
        for (const char *line :
             {"", "no json", "[]", "{}", R"({"method":"107"})", R"({"method":1.5})",
              R"({"method":4294967296})", R"({"method":107})", R"({"method":107,"videoPath":""})",
              R"({"method":107,"videoPath":7})", R"({"method":0,"damagedPath":"/a"})",
              R"({"method":1,"damagedPath":"/a","outFilePath":"/o"})",
              R"({"method":101,"videoPath":"/a","photoPath":"/b"})",
              R"({"method":101,"videoPath":"/a","photoPath":"/b","scale":0})"})
            QVERIFY2(failureOf(line) == ErrorCode::BadRequest, line);
        QCOMPARE(failureOf(R"({"method":5})"), ErrorCode::UnknownMethod);
    }

    void orientations_data()
    {
        QTest::addColumn<QList<int>>("abcd");
        QTest::addColumn<QList<int>>("picture");
        // Shown clockwise from the upper left; the stored picture is 12 / 34 / 56.
        QTest::newRow("upright") << QList<int>{one, 0, 0, one} << QList<int>{1, 2, 3, 4, 5, 6};
        QTest::newRow("quarter turn clockwise")
            << QList<int>{0, one, -one, 0} << QList<int>{5, 3, 1, 6, 4, 2};
        QTest::newRow("half turn") << QList<int>{-one, 0, 0, -one} << QList<int>{6, 5, 4, 3, 2, 1};
        QTest::newRow("quarter turn back")
            << QList<int>{0, -one, one, 0} << QList<int>{2, 4, 6, 1, 3, 5};
        QTest::newRow("mirrored") << QList<int>{-one, 0, 0, one} << QList<int>{2, 1, 4, 3, 6, 5};
        QTest::newRow("upside down") << QList<int>{one, 0, 0, -one} << QList<int>{5, 6, 3, 4, 1, 2};
        QTest::newRow("nearly upright")
            << QList<int>{one, 2000, -2000, one} << QList<int>{1, 2, 3, 4, 5, 6};
    }

    void orientations()
    {
        QFETCH(QList<int>, abcd);
        QFETCH(QList<int>, picture);
        const std::array<std::int32_t, 9> matrix = {abcd[0], abcd[1], 0, abcd[2], abcd[3],
                                                    0,       0,       0, 1 << 30};
        const auto result = turned(orientationFromMatrix(matrix.data()));
        QCOMPARE(QList<int>(result.begin(), result.end()), picture);
    }

    void noMatrixIsUpright() { QVERIFY(orientationFromMatrix(nullptr).isUpright()); }

    void goodTimesStay()
    {
        TimestampMender mender;
        using Stamps = TimestampMender::Stamps;
        for (const Stamps &stamps : {Stamps{40, -40}, Stamps{120, 0}, Stamps{80, 40}})
            QVERIFY(mender.mend(stamps, 40) == stamps);
    }

    void missingTimesAreFilledIn()
    {
        using Stamps = TimestampMender::Stamps;
        TimestampMender mender;
        QVERIFY(mender.mend({.presentation = 100, .decode = {}}, 40) == (Stamps{100, 100}));
        QVERIFY(mender.mend({}, 40) == (Stamps{{}, 140}));
        QVERIFY(mender.mend({}, 0) == (Stamps{{}, 180}));
        QVERIFY(mender.mend({}, 0) == (Stamps{{}, 181}));
        TimestampMender other;
        QVERIFY(other.mend({}, 0) == (Stamps{{}, 0}));
    }

    void firstDecodeTimesLeaveRoomForReordering()
    {
        // Two pictures' delay: the decode times of the first two are not known, those after are.
        using Stamps = TimestampMender::Stamps;
        TimestampMender mender({.reorderDelay = 2, .packetDuration = 40});
        QVERIFY(mender.mend({.presentation = 0, .decode = {}}, 40) == (Stamps{0, -80}));
        QVERIFY(mender.mend({.presentation = 160, .decode = {}}, 40) == (Stamps{160, -40}));
        QVERIFY(mender.mend({80, 0}, 40) == (Stamps{80, 0}));
        QVERIFY(mender.mend({40, 40}, 40) == (Stamps{40, 40}));
    }

    void timesNeverStandStillOrGoBack()
    {
        TimestampMender mender;
        using Stamps = TimestampMender::Stamps;
        QVERIFY(mender.mend({100, 100}, 40) == (Stamps{100, 100}));
        QVERIFY(mender.mend({100, 100}, 40) == (Stamps{101, 101}));
        QVERIFY(mender.mend({20, 20}, 40) == (Stamps{102, 102}));
        QVERIFY(mender.mend({500, 150}, 40) == (Stamps{500, 150}));
    }

    void timesOfSubtitlesMayRepeat()
    {
        using Stamps = TimestampMender::Stamps;
        TimestampMender mender({.mayRepeat = true});
        QVERIFY(mender.mend({100, 100}, 40) == (Stamps{100, 100}));
        QVERIFY(mender.mend({100, 100}, 40) == (Stamps{100, 100}));
        QVERIFY(mender.mend({90, 90}, 40) == (Stamps{100, 100}));
    }

    void clockThatIsSetAnewIsCarriedOn()
    {
        constexpr std::int64_t second = 1'000'000;
        ClockMender clock;
        QCOMPARE(clock.offsetFor(0, 100 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(1, 100 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 101 * second, second), std::int64_t{0});
        // Back to the start: picture 102 is at 0 now, and its sound with it.
        QCOMPARE(clock.offsetFor(0, 0, second), 102 * second);
        QCOMPARE(clock.offsetFor(1, 0, second), 102 * second);
        QCOMPARE(clock.offsetFor(0, second, second), 102 * second);
        // Far ahead.
        QCOMPARE(clock.offsetFor(1, 5000 * second, second), (103 - 5000) * second);
    }

    void smallStepsAreNoJumps()
    {
        constexpr std::int64_t second = 1'000'000;
        ClockMender clock;
        QCOMPARE(clock.offsetFor(0, 0, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 9 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 2 * second, second), std::int64_t{0});
    }

    void silentStreamsAreNoJumps()
    {
        constexpr std::int64_t second = 1'000'000;
        ClockMender clock;
        QCOMPARE(clock.offsetFor(1, 0, second), std::int64_t{0});
        for (std::int64_t time = 0; time < 40; ++time)
            QCOMPARE(clock.offsetFor(0, time * second, second), std::int64_t{0});
        // A text after a long pause, and pictures that go on.
        QCOMPARE(clock.offsetFor(1, 39 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 40 * second, second), std::int64_t{0});
        // After a jump, a text goes with the pictures, however long it was silent.
        QCOMPARE(clock.offsetFor(0, 0, second), 41 * second);
        for (std::int64_t time = 1; time < 30; ++time)
            QCOMPARE(clock.offsetFor(0, time * second, second), 41 * second);
        QCOMPARE(clock.offsetFor(1, 29 * second, second), 41 * second);
    }

    void streamsComeToAJumpOneAfterTheOther()
    {
        constexpr std::int64_t second = 1'000'000;
        ClockMender clock;
        for (const std::size_t stream : {0U, 1U})
            QCOMPARE(clock.offsetFor(stream, 100 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 0, second), 101 * second);
        QCOMPARE(clock.offsetFor(0, second, second), 101 * second);
        // Sound from before the jump.
        QCOMPARE(clock.offsetFor(1, 101 * second, second), std::int64_t{0});
        QCOMPARE(clock.offsetFor(0, 2 * second, second), 101 * second);
        QCOMPARE(clock.offsetFor(1, second, second), 101 * second);
        // Any number.
        constexpr auto latest = std::numeric_limits<std::int64_t>::max();
        clock.offsetFor(0, latest, latest);
        clock.offsetFor(0, -latest, latest);
    }

    void readBackTellsWhatIsMissing()
    {
        const QTemporaryDir folder;
        const QString video = folder.filePath(QStringLiteral("a.mp4"));
        Footage::make(video,
                      {QStringLiteral("-an"), QStringLiteral("-c:v"), QStringLiteral("libx264"),
                       QStringLiteral("-movflags"), QStringLiteral("+faststart")},
                      1);
        const std::string path = video.toStdString();
        const auto change = [&path](auto changing) {
            std::vector<WrittenStream> written = packetsOf(path);
            changing(written);
            return written;
        };
        const std::vector<WrittenStream> asItIs = packetsOf(path);
        const auto aByteMore =
            change([](auto &written) { written.front().digest.addBytes(Bytes{0}); });
        const auto otherTimes = change([](auto &written) {
            for (WrittenStream::Times &times : written.front().times)
                times.shown *= 2;
        });
        const auto withSound = change([](auto &written) {
            written.push_back({.kind = AVMEDIA_TYPE_AUDIO});
            written.back().digest.addBytes(Bytes{0});
            written.back().times.emplace_back();
        });
        QVERIFY(isSound(path, asItIs));
        QVERIFY(!isSound(path, aByteMore));
        QVERIFY(!isSound(path, otherTimes));
        QVERIFY(!isSound(path, withSound));
        Footage::cut(video, 0.9);
        QVERIFY(!isSound(path, asItIs));
        writeFile(video, "no video");
        QVERIFY(!isSound(path, asItIs));
        QVERIFY(QFile::remove(video));
        QVERIFY(!isSound(path, asItIs));
    }

    void asideFileIsThereOnlyWhenPublished()
    {
        const QTemporaryDir folder;
        const QString target = folder.filePath(QStringLiteral("视频.mp4"));
        writeFile(target, "before");
        {
            const AsideFile aside(target.toStdString(), "/no/input");
            writeFile(QString::fromStdString(aside.path()), "half");
            QCOMPARE(readFile(target), QByteArray("before"));
        }
        QCOMPARE(filesIn(folder), 1);
        QCOMPARE(readFile(target), QByteArray("before"));
        {
            AsideFile aside(target.toStdString(), "/no/input");
            writeFile(QString::fromStdString(aside.path()), "whole");
            QCOMPARE(readFile(QString::fromStdString(aside.path())), QByteArray("whole"));
            aside.publish();
        }
        QCOMPARE(filesIn(folder), 1);
        QCOMPARE(readFile(target), QByteArray("whole"));
    }

    void asideFileOfAPlainNewName()
    {
        const QTemporaryDir folder;
        const QString target = folder.filePath(QStringLiteral("new"));
        AsideFile aside(target.toStdString(), "/no/input");
        aside.publish();
        QVERIFY(QFileInfo(target).isFile());
#ifndef Q_OS_WIN
        // As any file that a program makes: what the user's mask leaves of read and write.
        const mode_t mask = umask(0);
        umask(mask);
        struct stat info = {};
        QCOMPARE(stat(target.toUtf8().constData(), &info), 0);
        QCOMPARE(info.st_mode & 0777U, 0666U & ~mask);
#endif
    }

    void asideFileNeverReplacesItsInput()
    {
        const QTemporaryDir folder;
        const QString input = folder.filePath(QStringLiteral("input"));
        const QString link = folder.filePath(QStringLiteral("link"));
        writeFile(input, "precious");
#ifdef Q_OS_WIN
        // A second name: what Qt calls a link is a file of its own here.
        std::filesystem::create_hard_link(input.toStdWString(), link.toStdWString());
#else
        QVERIFY(QFile::link(input, link));
#endif
        for (const QString &output : {input, link}) {
            ErrorCode code = ErrorCode::None;
            try {
                const AsideFile aside(output.toStdString(), input.toStdString());
            } catch (const EngineError &error) {
                code = error.code();
            }
            QCOMPARE(code, ErrorCode::BadRequest);
        }
        QCOMPARE(readFile(input), QByteArray("precious"));
    }

    void failures()
    {
        const Failure own = failureFor(EngineError(ErrorCode::NoPicture, "No picture."));
        QCOMPARE(own.code, ErrorCode::NoPicture);
        QCOMPARE(own.sentence, std::string("No picture."));

        const Failure memory = failureFor(std::bad_alloc());
        QCOMPARE(memory.code, ErrorCode::OutOfMemory);
        QVERIFY(memory.sentence.find("not enough memory") != std::string::npos);
        QVERIFY(memory.sentence.find("bad_alloc") == std::string::npos);

        const Failure other = failureFor(std::runtime_error("why"));
        QCOMPARE(other.code, ErrorCode::Internal);
        QCOMPARE(other.sentence, std::string("The service failed in itself: why"));
    }
};

VELLUMIX_TEST_MAIN(EngineUnitsTest)

#include "tst_engine_units.moc"
