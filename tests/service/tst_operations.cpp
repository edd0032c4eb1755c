#include "service/RepairClient.h"
#include "tests/support/AppFolder.h"
#include "tests/support/ExpectedLog.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>

namespace {

const QStringList echoScript = {QStringLiteral("serve"), QStringLiteral("echo"),
                                QStringLiteral("await")};

#ifdef Q_OS_WIN
const QByteArray lineEnd = "\r\n";
#else
const QByteArray lineEnd = "\n";
#endif

QString native(const QString &path)
{
    return QDir::toNativeSeparators(path);
}

/** A path as it stands inside a JSON text. */
QString inJson(const QString &path)
{
    return native(path).replace(QLatin1Char('\\'), QStringLiteral("\\\\"));
}

/** A fault service with a video to ask about. */
struct Setting
{
    explicit Setting(const QStringList &script = echoScript)
        : folder(script), video(folder.path(QStringLiteral("clip.mp4"))), request(folder.request())
    {
        writeFile(video, "video");
        request.damagedPath = video;
        request.outFilePath = folder.path(QStringLiteral("out/repaired.mp4"));
    }

    /** The keys of the request as they went over the wire. */
    static QJsonObject sent(const RepairResponse &response)
    {
        return response.object.value(QStringLiteral("request")).toObject();
    }

    QJsonObject directories(int method) const
    {
        return {{QStringLiteral("method"), method},
                {QStringLiteral("logPath"), native(request.logDir)},
                {QStringLiteral("config"), native(request.configDir)},
                {QStringLiteral("tempPath"), native(request.tempDir)}};
    }

    FaultFolder folder;
    QString video;
    RepairRequest request;
    LogTail log;
};

void compareRefused(const Setting &setting, const RepairResponse &response, const QString &message)
{
    QCOMPARE(response.message, message);
    QVERIFY(!response.ok);
    QCOMPARE(response.errCode, -1);
    QCOMPARE(setting.log.texts().last(),
             QStringLiteral("ERROR RepairClient fail, errCode=-1, message=%1").arg(message));
    QCOMPARE(setting.folder.startCount(), 0);
}

} // namespace

/** What each operation checks, sends and makes of the answer. */
class OperationsTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    // Repair.

    void quickRepairSendsItsPayload()
    {
        Setting setting;
        setting.request.samplePath = setting.folder.path(QStringLiteral("missing.mp4"));
        const RepairResponse response = RepairClient().repair(setting.request);
        QVERIFY(response.ok);
        QJsonObject expected = setting.directories(0);
        expected.insert(QStringLiteral("damagedPath"), native(setting.video));
        expected.insert(QStringLiteral("outFilePath"), native(setting.request.outFilePath));
        QCOMPARE(Setting::sent(response), expected);
        QVERIFY(QDir(setting.folder.path(QStringLiteral("out"))).exists());
        // The exchange's own lines are all that a repair leaves.
        const QStringList log = setting.log.texts();
        QVERIFY(log.first().startsWith(
            QStringLiteral("INFO RepairClient::send begin, method=0, timeoutSeconds=30, ")));
        QVERIFY(log.last().startsWith(QStringLiteral("INFO RepairClient::send end, ok=1")));
    }

    void advancedRepairSendsTheSample()
    {
        Setting setting;
        setting.request.advanced = true;
        setting.request.samplePath = setting.folder.path(QStringLiteral("sample.mp4"));
        writeFile(setting.request.samplePath);
        const RepairResponse response = RepairClient().repair(setting.request);
        QVERIFY(response.ok);
        QJsonObject expected = setting.directories(1);
        expected.insert(QStringLiteral("damagedPath"), native(setting.video));
        expected.insert(QStringLiteral("outFilePath"), native(setting.request.outFilePath));
        expected.insert(QStringLiteral("samplePath"), native(setting.request.samplePath));
        QCOMPARE(Setting::sent(response), expected);
    }

    void keysAreSortedOnTheWire()
    {
        Setting setting;
        QVERIFY(RepairClient().extractMetadata(setting.request, setting.video).ok);
        const QString begin = setting.log.texts().value(1);
        QCOMPARE(begin.mid(begin.indexOf(QLatin1Char('{'))),
                 QStringLiteral("{\"config\":\"%1\",\"logPath\":\"%2\",\"method\":107,"
                                "\"tempPath\":\"%3\",\"videoPath\":\"%4\"}")
                     .arg(inJson(setting.request.configDir), inJson(setting.request.logDir),
                          inJson(setting.request.tempDir), inJson(setting.video)));
    }

    void repairWaitsAsLongAsTheRequestSays()
    {
        Setting setting({QStringLiteral("serve"), QStringLiteral("forever")});
        setting.request.timeoutSeconds = 2;
        const RepairResponse response = RepairClient().repair(setting.request);
        QCOMPARE(response.message,
                 QStringLiteral("No response from RepairService.exe before timeout."));
        QVERIFY(setting.log.texts().first().contains(QStringLiteral("timeoutSeconds=2")));
    }

    void damagedFileMissing()
    {
        Setting setting;
        setting.request.damagedPath = setting.folder.path(QStringLiteral("gone.mp4"));
        compareRefused(
            setting, RepairClient().repair(setting.request),
            QStringLiteral("Damaged file not found: %1").arg(setting.request.damagedPath));
        QCOMPARE(setting.log.texts().size(), 1);
        QVERIFY(!QDir(setting.request.logDir).exists());
    }

    void sampleMissing()
    {
        Setting setting;
        setting.request.advanced = true;
        setting.request.samplePath = setting.folder.path(QStringLiteral("gone.mp4"));
        compareRefused(setting, RepairClient().repair(setting.request),
                       QStringLiteral("Sample file not found: %1").arg(setting.request.samplePath));
    }

    void sampleEmpty()
    {
        Setting setting;
        setting.request.advanced = true;
        compareRefused(setting, RepairClient().repair(setting.request),
                       QStringLiteral("Sample file not found: "));
    }

    void outputDirectoryNotCreatable()
    {
        Setting setting;
        setting.request.outFilePath = setting.video + QStringLiteral("/out/repaired.mp4");
        compareRefused(
            setting, RepairClient().repair(setting.request),
            QStringLiteral("Failed to create output directory: %1/out").arg(setting.video));
        QVERIFY(QDir(setting.request.tempDir).exists());
    }

    void outputPathEmpty()
    {
        Setting setting;
        setting.request.outFilePath.clear();
        compareRefused(setting, RepairClient().repair(setting.request),
                       QStringLiteral("Failed to create output directory: "));
    }

    void repairTempDirectoryNotCreatable()
    {
        Setting setting;
        setting.request.tempDir = setting.video + QStringLiteral("/temp");
        compareRefused(
            setting, RepairClient().repair(setting.request),
            QStringLiteral("Failed to create temp directory: %1").arg(setting.request.tempDir));
    }

    void repairLogDirectoryNotCreatable()
    {
        Setting setting;
        setting.request.logDir = setting.video + QStringLiteral("/logs");
        compareRefused(
            setting, RepairClient().repair(setting.request),
            QStringLiteral("Failed to create log directory: %1").arg(setting.request.logDir));
        QVERIFY(!QDir(setting.request.tempDir).exists());
    }

    // Metadata.

    void metadataSendsItsPayload()
    {
        Setting setting;
        const RepairResponse response =
            RepairClient().extractMetadata(setting.request, setting.video);
        QVERIFY(response.ok);
        QJsonObject expected = setting.directories(107);
        expected.insert(QStringLiteral("videoPath"), native(setting.video));
        QCOMPARE(Setting::sent(response), expected);
        const QStringList log = setting.log.texts();
        QCOMPARE(log.first(),
                 QStringLiteral("INFO extractMetadata begin, videoPath=%1").arg(setting.video));
        QVERIFY(log[1].contains(QStringLiteral("method=107, timeoutSeconds=120,")));
        QCOMPARE(log.last(),
                 QStringLiteral("INFO extractMetadata end, ok=1, errCode=0, function=-1"));
    }

    void metadataOfAMissingVideo()
    {
        Setting setting;
        const QString gone = setting.folder.path(QStringLiteral("gone.mp4"));
        compareRefused(setting, RepairClient().extractMetadata(setting.request, gone),
                       QStringLiteral("Video file not found: %1").arg(gone));
        QCOMPARE(setting.log.texts().size(), 2);
    }

    void metadataTempDirectoryNotCreatable()
    {
        Setting setting;
        setting.request.tempDir = setting.video + QStringLiteral("/temp");
        compareRefused(
            setting, RepairClient().extractMetadata(setting.request, setting.video),
            QStringLiteral("Failed to create temp directory: %1").arg(setting.request.tempDir));
        QVERIFY(QDir(setting.request.logDir).exists());
    }

    void metadataLogDirectoryNotCreatable()
    {
        Setting setting;
        setting.request.logDir = setting.video + QStringLiteral("/logs");
        compareRefused(
            setting, RepairClient().extractMetadata(setting.request, setting.video),
            QStringLiteral("Failed to create log directory: %1").arg(setting.request.logDir));
    }

    void metadataFailureIsPassedOn()
    {
        Setting setting({QStringLiteral("serve"), QStringLiteral("answer {\"err_code\":-7}"),
                         QStringLiteral("await")});
        const RepairResponse response =
            RepairClient().extractMetadata(setting.request, setting.video);
        QVERIFY(!response.ok);
        QCOMPARE(response.errCode, -7);
        QCOMPARE(setting.log.texts().last(),
                 QStringLiteral("INFO extractMetadata end, ok=0, errCode=-7, function=-1"));
    }

    // First picture.

    void pictureSendsItsPayload()
    {
        Setting setting;
        const QString photo = setting.folder.path(QStringLiteral("thumbs/a.jpg"));
        writeFile(photo, "picture");
        const RepairResponse response =
            RepairClient().extractFirstFrameScale(setting.request, setting.video, photo, 2);
        QVERIFY(response.ok);
        QCOMPARE(Setting::sent(response),
                 QJsonObject({{QStringLiteral("method"), 101},
                              {QStringLiteral("videoPath"), native(setting.video)},
                              {QStringLiteral("photoPath"), native(photo)},
                              {QStringLiteral("scale"), 2}}));
        QVERIFY(QDir(setting.request.logDir).exists());
        QVERIFY(QDir(setting.request.tempDir).exists());
        const QStringList log = setting.log.texts();
        QCOMPARE(log.first(), QStringLiteral("INFO extractFirstFrameScale begin, videoPath=%1, "
                                             "photoPath=%2, scale=2")
                                  .arg(setting.video, photo));
        QVERIFY(log[1].contains(QStringLiteral("method=101, timeoutSeconds=120,")));
        QCOMPARE(log.last(),
                 QStringLiteral("INFO extractFirstFrameScale end, ok=1, errCode=0, function=-1"));
    }

    void pictureOfAMissingVideoComesBeforeAnEmptyPath()
    {
        Setting setting;
        const QString gone = setting.folder.path(QStringLiteral("gone.mp4"));
        compareRefused(setting,
                       RepairClient().extractFirstFrameScale(setting.request, gone, QString(), 2),
                       QStringLiteral("Video file not found: %1").arg(gone));
    }

    void picturePathEmpty()
    {
        Setting setting;
        compareRefused(
            setting,
            RepairClient().extractFirstFrameScale(setting.request, setting.video, QString(), 2),
            QStringLiteral("Thumbnail output path is empty."));
        QVERIFY(!QDir(setting.request.logDir).exists());
        QVERIFY(!QDir(setting.request.tempDir).exists());
    }

    void pictureDirectoryNotCreatable()
    {
        Setting setting;
        compareRefused(
            setting,
            RepairClient().extractFirstFrameScale(setting.request, setting.video,
                                                  setting.video + QStringLiteral("/a/b.jpg"), 2),
            QStringLiteral("Failed to create thumbnail directory: %1/a").arg(setting.video));
        QVERIFY(!QDir(setting.request.logDir).exists());
    }

    void pictureLogAndTempDirectoriesNotCreatable()
    {
        Setting setting;
        const QString photo = setting.folder.path(QStringLiteral("a.jpg"));
        setting.request.tempDir = setting.video + QStringLiteral("/temp");
        compareRefused(
            setting,
            RepairClient().extractFirstFrameScale(setting.request, setting.video, photo, 2),
            QStringLiteral("Failed to create temp directory: %1").arg(setting.request.tempDir));
        setting.request.logDir = setting.video + QStringLiteral("/logs");
        compareRefused(
            setting,
            RepairClient().extractFirstFrameScale(setting.request, setting.video, photo, 2),
            QStringLiteral("Failed to create log directory: %1").arg(setting.request.logDir));
    }

    void pictureThatIsNotThere_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::addColumn<int>("errCode");
        QTest::addColumn<int>("function");
        QTest::newRow("code 0") << QStringLiteral("{\"err_code\":0}") << 0 << -1;
        QTest::newRow("positive code")
            << QStringLiteral("{\"err_code\":4,\"function\":1}") << 4 << 1;
    }

    void pictureThatIsNotThere()
    {
        QFETCH(QString, answer);
        QFETCH(int, errCode);
        QFETCH(int, function);
        Setting setting(
            {QStringLiteral("serve"), QStringLiteral("answer ") + answer, QStringLiteral("await")});
        const QString photo = setting.folder.path(QStringLiteral("thumbs/a.jpg"));
        const RepairResponse response =
            RepairClient().extractFirstFrameScale(setting.request, setting.video, photo, 2);
        QVERIFY(!response.ok);
        QCOMPARE(response.errCode, errCode);
        QCOMPARE(response.function, function);
        QCOMPARE(response.message,
                 QStringLiteral("Thumbnail request succeeded, but output file was not found: %1")
                     .arg(photo));
        QCOMPARE(setting.log.texts().last(),
                 QStringLiteral("INFO extractFirstFrameScale end, ok=0, errCode=%1, function=%2")
                     .arg(errCode)
                     .arg(function));
    }

    void pictureThatFailedKeepsTheServicesMessage()
    {
        Setting setting({QStringLiteral("serve"), QStringLiteral("answer {\"err_code\":-7}"),
                         QStringLiteral("await")});
        const RepairResponse response = RepairClient().extractFirstFrameScale(
            setting.request, setting.video, setting.folder.path(QStringLiteral("a.jpg")), 2);
        QCOMPARE(response.message, QStringLiteral("RepairService request failed, err_code=-7."));
    }

    // Directories.

    void emptyDirectoriesGetTheirDefaults()
    {
        Setting setting;
        AppFolder app(AppFolder::clientProbe());
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() +
                                QStringLiteral("/TarnCommunicationSDK.dll"),
                            app.folder() + QStringLiteral("/TarnCommunicationSDK.dll")));
        // A relative root counts from the working directory, not from the program's.
        const QJsonObject json{{QStringLiteral("serviceRoot"), QStringLiteral("service")},
                               {QStringLiteral("videoPath"), QStringLiteral("clip.mp4")}};
        const QString callText =
            QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact));
        QCOMPARE(app.run({QStringLiteral("call"), QStringLiteral("metadata"), callText},
                         setting.folder.path(QString())),
                 0);
        QCOMPARE(app.standardError, QByteArray());
        const QJsonObject response = QJsonDocument::fromJson(app.standardOutput).object();
        QVERIFY2(response.value(QStringLiteral("ok")).toBool(), app.standardOutput.constData());
        const QJsonObject sent = response.value(QStringLiteral("object"))
                                     .toObject()
                                     .value(QStringLiteral("request"))
                                     .toObject();
        QCOMPARE(sent,
                 QJsonObject(
                     {{QStringLiteral("method"), 107},
                      {QStringLiteral("logPath"), native(app.folder() + QStringLiteral("/Logs"))},
                      {QStringLiteral("tempPath"), native(app.folder() + QStringLiteral("/Temp"))},
                      {QStringLiteral("config"),
                       native(setting.folder.serviceRoot() + QStringLiteral("/config"))},
                      {QStringLiteral("videoPath"), native(setting.video)}}));
        QVERIFY(QDir(app.folder() + QStringLiteral("/Temp")).exists());
        QCOMPARE(setting.folder.leftovers(), QStringList());
    }

    void relativePathsCountFromTheWorkingDirectory()
    {
        Setting setting;
        const QString before = QDir::currentPath();
        QVERIFY(QDir::setCurrent(setting.folder.path(QString())));
        writeFile(setting.folder.path(QStringLiteral("sample.mp4")), "sample");
        writeFile(setting.folder.path(QStringLiteral("my config/KeshRepairConfig.dat")));
        RepairRequest request = setting.request;
        request.advanced = true;
        request.damagedPath = QStringLiteral("clip.mp4");
        request.samplePath = QStringLiteral("sample.mp4");
        request.outFilePath = QStringLiteral("out/repaired.mp4");
        request.logDir = QStringLiteral("my logs");
        request.tempDir = QStringLiteral("my temp");
        request.configDir = QStringLiteral("my config");
        const QJsonObject repair = Setting::sent(RepairClient().repair(request));
        const QJsonObject picture = Setting::sent(RepairClient().extractFirstFrameScale(
            request, QStringLiteral("clip.mp4"), QStringLiteral("photos/a.jpg"), 2));
        QVERIFY(QDir::setCurrent(before));
        const auto absolute = [&](const char *relative) {
            return QDir::toNativeSeparators(setting.folder.path(QString::fromLatin1(relative)));
        };
        QCOMPARE(repair, QJsonObject({{QStringLiteral("method"), 1},
                                      {QStringLiteral("logPath"), absolute("my logs")},
                                      {QStringLiteral("tempPath"), absolute("my temp")},
                                      {QStringLiteral("config"), absolute("my config")},
                                      {QStringLiteral("damagedPath"), absolute("clip.mp4")},
                                      {QStringLiteral("outFilePath"), absolute("out/repaired.mp4")},
                                      {QStringLiteral("samplePath"), absolute("sample.mp4")}}));
        QCOMPARE(picture, QJsonObject({{QStringLiteral("method"), 101},
                                       {QStringLiteral("videoPath"), absolute("clip.mp4")},
                                       {QStringLiteral("photoPath"), absolute("photos/a.jpg")},
                                       {QStringLiteral("scale"), 2}}));
    }

    void logOfOneCallLineByLine()
    {
        // The client's log as a file, from a program that does nothing but this call.
        Setting setting;
        AppFolder app(AppFolder::clientProbe());
        QVERIFY(QFile::copy(QCoreApplication::applicationDirPath() +
                                QStringLiteral("/TarnCommunicationSDK.dll"),
                            app.folder() + QStringLiteral("/TarnCommunicationSDK.dll")));
        const QJsonObject json{{QStringLiteral("serviceRoot"), setting.request.serviceRoot},
                               {QStringLiteral("logDir"), setting.request.logDir},
                               {QStringLiteral("tempDir"), setting.request.tempDir},
                               {QStringLiteral("configDir"), setting.request.configDir},
                               {QStringLiteral("videoPath"), native(setting.video)}};
        QCOMPARE(app.run({QStringLiteral("call"), QStringLiteral("metadata"),
                          QString::fromUtf8(QJsonDocument(json).toJson(QJsonDocument::Compact))}),
                 0);

        const QByteArray bytes = readFile(app.logPath());
        QCOMPARE(bytes.contains('\r'), lineEnd == QByteArray("\r\n"));
        const QString payload =
            QStringLiteral("{\"config\":\"%1\",\"logPath\":\"%2\",\"method\":107,"
                           "\"tempPath\":\"%3\",\"videoPath\":\"%4\"}")
                .arg(inJson(setting.request.configDir), inJson(setting.request.logDir),
                     inJson(setting.request.tempDir), inJson(setting.video));
        const QList<LogLine> log = app.log();
        const QString token = log.value(4).message.section(QLatin1Char(' '), -1);
        const QString answer = QStringLiteral("{\"err_code\":0,\"token\":\"%1\",\"request\":%2\n}")
                                   .arg(token, payload);
        RepairRequest request = setting.request;
        request.timeoutSeconds = 120;
        ExpectedLog expected(setting.folder, request, token);
        expected
            .line(QStringLiteral("INFO extractMetadata begin, videoPath=%1")
                      .arg(native(setting.video)))
            .begin(107, payload)
            .prepared()
            .started();
        expected.pipeUp(expected.returnPipe()).pipeUp(expected.receivePipe());
        expected
            .line(QStringLiteral("INFO Calling tarn_comm_write, id=N, bytes=%1")
                      .arg(payload.toUtf8().size() + 1))
            .written(static_cast<int>(payload.toUtf8().size()) + 1, payload.toUtf8().size() + 1)
            .line(QStringLiteral("INFO tarn_comm_read got response, id=N, bytes=%1")
                      .arg(answer.toUtf8().size()))
            .raw(answer)
            .end(1, 0, -1)
            .line(QStringLiteral("INFO extractMetadata end, ok=1, errCode=0, function=-1"));
        QCOMPARE(textsOf(log), expected.lines());

        // Every line has the whole form; parsing would have put one that has not to the last.
        static const QRegularExpression form(QStringLiteral(
            "^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d\\.\\d{3} \\[INFO\\] \\[tid=[1-9]\\d*\\] "
            "[^ ].*\\(.*\\):[1-9]\\d* - "));
        const QList<QByteArray> rows = bytes.split('\n');
        QCOMPARE(rows.size(), log.size() + 2);
        for (const LogLine &entry : log)
            QCOMPARE(entry.threadId, log.first().threadId);
        for (qsizetype i = 0; i + 1 < rows.size(); ++i) {
            // The answer holds a line break, so that its line stands in two rows.
            const bool isSecondRow = rows[i].startsWith('}');
            QVERIFY2(isSecondRow || form.match(QString::fromUtf8(rows[i])).hasMatch(),
                     rows[i].constData());
        }
        QCOMPARE(log.first().function,
                 QStringLiteral("RepairResponse RepairClient::extractMetadata(const "
                                "RepairRequest&, const QString&)"));
        QCOMPARE(log.value(1).function,
                 QStringLiteral("RepairResponse RepairClient::send(const RepairRequest&, const "
                                "QJsonObject&, int)"));
        QVERIFY(log.value(1).line > 0);
    }

    void namesOfEveryKindArriveUnharmed_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("blanks") << QStringLiteral("my  holiday clip .mp4");
        QTest::newRow("placeholder") << QStringLiteral("100%1 %2.mp4");
#ifndef Q_OS_WIN
        // No names of that system's.
        QTest::newRow("quotes") << QStringLiteral("a\"b'c.mp4");
        QTest::newRow("line break") << QStringLiteral("a\nb.mp4");
        QTest::newRow("backslash") << QStringLiteral("a\\b.mp4");
#endif
        QTest::newRow("other letters") << QStringLiteral("视频 Ärger видео 😀.mp4");
    }

    void namesOfEveryKindArriveUnharmed()
    {
        QFETCH(QString, name);
        Setting setting;
        const QString video = setting.folder.path(QStringLiteral("sub/") + name);
        writeFile(video);
        const RepairResponse response = RepairClient().extractMetadata(setting.request, video);
        QVERIFY(response.ok);
        QCOMPARE(Setting::sent(response).value(QStringLiteral("videoPath")).toString(),
                 native(video));
        QCOMPARE(setting.log.texts().first(),
                 QStringLiteral("INFO extractMetadata begin, videoPath=") + video);
    }
};

VELLUMIX_TEST_MAIN(OperationsTest)

#include "tst_operations.moc"
