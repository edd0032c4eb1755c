#include "service/PipeLibrary.h"
#include "service/RepairClient.h"
#include "tests/support/AppFolder.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/TestCase.h"

#include <QDir>
#include <QJsonDocument>

#include <atomic>
#include <thread>
#include <vector>

namespace {

QString inTestFolder(const QString &name)
{
    return QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
}

QString libraryWithout(const char *exportName)
{
    return inTestFolder(QStringLiteral("without_%1.dll").arg(QString::fromLatin1(exportName)));
}

CommunicationCommonField_t record(PipeDirection direction = PipeDirection::Read)
{
    return makeRecord(QStringLiteral("VideoRepairServer_return_1_1"), direction, {}, {});
}

/** A call through a library, with a service that would answer. */
RepairResponse sendThrough(PipeLibrary &library, const FaultFolder &folder)
{
    RepairRequest request = folder.request();
    request.timeoutSeconds = 3;
    return RepairClient(library).send(request, {{QStringLiteral("method"), 7}},
                                      request.timeoutSeconds);
}

const QStringList echoScript = {QStringLiteral("serve"), QStringLiteral("echo"),
                                QStringLiteral("await")};

} // namespace

/** Loading of the pipe library, whole, in part, late and not at all. */
class PipeLibraryTest : public TestCase
{
    Q_OBJECT

private:
    static void compareNotUp(PipeLibrary &library)
    {
        const FaultFolder folder(echoScript);
        const LogTail log;
        const RepairResponse response = sendThrough(library, folder);
        QVERIFY(response.message.startsWith(
            QStringLiteral("Failed to init/connect return pipe 'VideoRepairServer_return_")));
        QVERIFY(response.message.endsWith(QStringLiteral("', code=-1")));
        QCOMPARE(response.errCode, -1);
        const QStringList texts = log.texts();
        QVERIFY(texts[texts.size() - 2].endsWith(QStringLiteral("lastError=-1")));
        QCOMPARE(texts.last(), QStringLiteral("ERROR RepairClient fail, errCode=-1, message=%1")
                                   .arg(response.message));
        QCOMPARE(folder.leftovers(), QStringList());
    }

private Q_SLOTS:
    void entryPointsAreCalledAsTheyWantIt()
    {
        PipeLibrary library(inTestFolder(QStringLiteral("recording.dll")));
        auto pipe = record();
        QCOMPARE(library.init(pipe), 0);
        QCOMPARE(library.connect(pipe), 0);
        char buffer[7] = {};
        // The handle is the record's own; the flag is 1 to write and 0 to read.
        QCOMPARE(library.write(pipe, buffer, 7), 1007);
        QCOMPARE(library.read(pipe, buffer, 7), 7);
        library.close(pipe);
        QCOMPARE(library.connect(pipe), -1);
    }

    void notLoadable()
    {
        PipeLibrary library(inTestFolder(QStringLiteral("no such library.dll")));
        auto pipe = record();
        QCOMPARE(library.init(pipe), -1);
        QCOMPARE(library.connect(pipe), -1);
        QCOMPARE(library.write(pipe, "x", 1), 0);
        char buffer = 0;
        QCOMPARE(library.read(pipe, &buffer, 1), 0);
        library.close(pipe);
    }

    void notLoadableInACall()
    {
        PipeLibrary library(inTestFolder(QStringLiteral("no such library.dll")));
        compareNotUp(library);
    }

    void failedLoadIsTriedAgain()
    {
        const QTemporaryDir folder;
        const QString file = folder.filePath(QStringLiteral("late.dll"));
        PipeLibrary library(file);
        auto pipe = record();
        QCOMPARE(library.init(pipe), -1);
        writeFile(file, "no library");
        QCOMPARE(library.init(pipe), -1);
        QVERIFY(QFile::remove(file));
        QVERIFY(QFile::copy(inTestFolder(QStringLiteral("TarnCommunicationSDK.dll")), file));
        QCOMPARE(library.init(pipe), 0);
        library.close(pipe);
    }

    void firstUseFromManyThreads()
    {
        PipeLibrary library(inTestFolder(QStringLiteral("TarnCommunicationSDK.dll")));
        constexpr int threadCount = 16;
        std::atomic<int> succeeded{0};
        std::vector<std::thread> threads;
        threads.reserve(threadCount);
        for (int i = 0; i < threadCount; ++i) {
            threads.emplace_back([&] {
                auto pipe = record();
                succeeded += library.init(pipe) == 0 ? 1 : 0;
                library.close(pipe);
            });
        }
        for (std::thread &thread : threads)
            thread.join();
        QCOMPARE(succeeded.load(), threadCount);
    }

    void initMissing()
    {
        PipeLibrary library(libraryWithout("init_communication_sdk"));
        compareNotUp(library);
    }

    void connectMissing()
    {
        PipeLibrary library(libraryWithout("tarn_comm_connect"));
        compareNotUp(library);
    }

    void writeMissing()
    {
        const FaultFolder folder(echoScript);
        PipeLibrary library(libraryWithout("tarn_comm_write"));
        const RepairResponse response = sendThrough(library, folder);
        QCOMPARE(response.message, QStringLiteral("Failed to send request to RepairService.exe."));
        QCOMPARE(folder.leftovers(), QStringList());
    }

    void readMissing()
    {
        const FaultFolder folder(echoScript);
        PipeLibrary library(libraryWithout("tarn_comm_read"));
        const RepairResponse response = sendThrough(library, folder);
        QCOMPARE(response.message,
                 QStringLiteral("No response from RepairService.exe before timeout."));
        QCOMPARE(folder.leftovers(), QStringList());
    }

    void closeMissing()
    {
        // The service never sees its client hang up; it is ended all the same.
        const FaultFolder folder(echoScript);
        PipeLibrary library(libraryWithout("close_communication_sdk"));
        QVERIFY(sendThrough(library, folder).ok);
        QCOMPARE(folder.leftovers(), QStringList());
    }

    void bareNameIsFoundBesideTheProgram()
    {
        const FaultFolder folder(echoScript);
        writeFile(folder.path(QStringLiteral("clip.mp4")));
        AppFolder app(AppFolder::clientProbe());
        const QString call = QString::fromUtf8(
            QJsonDocument(
                QJsonObject{{QStringLiteral("serviceRoot"), folder.serviceRoot()},
                            {QStringLiteral("videoPath"), folder.path(QStringLiteral("clip.mp4"))}})
                .toJson(QJsonDocument::Compact));
        const QStringList arguments = {QStringLiteral("call"), QStringLiteral("metadata"), call};

        QCOMPARE(app.run(arguments), 0);
        QVERIFY2(app.standardOutput.contains("code=-1"), app.standardOutput.constData());

        QVERIFY(QFile::copy(inTestFolder(QStringLiteral("TarnCommunicationSDK.dll")),
                            app.folder() + QStringLiteral("/TarnCommunicationSDK.dll")));
        QCOMPARE(app.run(arguments), 0);
        QVERIFY2(app.standardOutput.contains("\"ok\":true"), app.standardOutput.constData());
        QCOMPARE(app.standardError, QByteArray());
    }
};

VELLUMIX_TEST_MAIN(PipeLibraryTest)

#include "tst_pipe_library.moc"
