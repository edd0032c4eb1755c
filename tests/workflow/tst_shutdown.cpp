#include "service/RepairClient.h"
#include "service/ServiceGate.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "workflow/ServiceProcesses.h"

#include <QDir>
#include <QProcess>

#include <atomic>
#include <memory>
#include <thread>

/** What closing the window ends. */
class ShutdownTest : public TestCase
{
    Q_OBJECT

private:
    static QString imageName() { return QStringLiteral("RepairService.exe"); }

    static QStringList shutdownLines()
    {
        QStringList lines;
        const QStringList texts = textsOf(
            readLog(QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log")));
        for (const QString &text : texts) {
            if (text.contains(QStringLiteral("taskkill")))
                lines.append(text);
        }
        return lines;
    }

    static QString shutdownLine(int exitCode)
    {
        return QStringLiteral("INFO shutdown RepairService.exe processes, taskkill exitCode=%1")
            .arg(exitCode);
    }

    static QString serviceLink()
    {
        return QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
    }

    /** Starts a service that is nobody's client's; it ends when the returned object goes. */
    static std::unique_ptr<QProcess> startService(const FaultFolder &folder, const QString &token,
                                                  const QString &executable)
    {
        auto process = std::make_unique<QProcess>();
        process->setWorkingDirectory(folder.serviceRoot());
        process->start(executable, {QStringLiteral("a"), QStringLiteral("b"), token});
        process->waitForStarted();
        return process;
    }

    static bool allEnded(const QList<qint64> &processes)
    {
        for (const qint64 pid : processes) {
            if (isRunning(pid))
                return false;
        }
        return true;
    }

private Q_SLOTS:
    void nothingToEnd()
    {
        QCOMPARE(endProcesses(imageName()), 128);
        MainWindow window;
        window.show();
        QVERIFY(window.close());
        QVERIFY(!window.isVisible());
        QCOMPARE(shutdownLines(), QStringList{shutdownLine(128)});
    }

    void everyServiceOfTheMachineEnds()
    {
        const FaultFolder one({QStringLiteral("ignoreTerminate"), QStringLiteral("forever")});
        const FaultFolder two({QStringLiteral("forever")});
        const auto first = startService(one, QStringLiteral("1"), one.serviceExe());
        const auto second = startService(two, QStringLiteral("2"), two.serviceExe());
        MainWindow window;
        window.show();
        QVERIFY(window.close());
        QVERIFY(!isRunning(first->processId()));
        QVERIFY(!isRunning(second->processId()));
        QCOMPARE(shutdownLines(), QStringList{shutdownLine(0)});
        QVERIFY(first->waitForFinished());
        QVERIFY(second->waitForFinished());
        QCOMPARE(endProcesses(imageName()), 128);
    }

    void childrenEndAsWell()
    {
        const FaultFolder folder({QStringLiteral("spawn"), QStringLiteral("forever")});
        const auto service = startService(folder, QStringLiteral("1"), folder.serviceExe());
        QTRY_COMPARE_WITH_TIMEOUT(folder.spawned().size(), 2, 30000);
        const QList<qint64> children = folder.spawned();
        QCOMPARE(endProcesses(imageName()), 0);
        // The grandchild's end may take the system a moment after its parent's.
        QTRY_VERIFY(allEnded(children));
        QVERIFY(service->waitForFinished());
    }

    void aProgramOfAnotherNameStays()
    {
        const FaultFolder folder({QStringLiteral("forever")});
        const QString other = folder.path(QStringLiteral("OtherService.exe"));
        QVERIFY(QFile::copy(folder.serviceExe(), other));
        const auto service = startService(folder, QStringLiteral("1"), folder.serviceExe());
        const auto stays = startService(folder, QStringLiteral("2"), other);
        QCOMPARE(endProcesses(imageName()), 0);
        QVERIFY(isRunning(stays->processId()));
        QVERIFY(service->waitForFinished());
        stays->kill();
        QVERIFY(stays->waitForFinished());
    }

    void aServiceWhoseFileIsGoneEnds()
    {
        const FaultFolder folder({QStringLiteral("forever")});
        const auto service = startService(folder, QStringLiteral("1"), folder.serviceExe());
        QTRY_COMPARE_WITH_TIMEOUT(folder.startCount(), 1, 30000);
        QVERIFY(QFile::remove(folder.serviceExe()));
        QCOMPARE(endProcesses(imageName()), 0);
        QVERIFY(service->waitForFinished());
    }

    void aServiceThatIsStoppedEnds()
    {
        const FaultFolder folder({QStringLiteral("signal 19"), QStringLiteral("forever")});
        const auto service = startService(folder, QStringLiteral("1"), folder.serviceExe());
        QTRY_VERIFY_WITH_TIMEOUT(
            readFile(QStringLiteral("/proc/%1/stat").arg(service->processId())).contains(") T "),
            30000);
        QCOMPARE(endProcesses(imageName()), 0);
        QVERIFY(service->waitForFinished());
    }

    void afterTheCloseNoServiceIsStarted()
    {
        const FaultFolder folder({QStringLiteral("serve"), QStringLiteral("ignoreTerminate"),
                                  QStringLiteral("output photoPath held"),
                                  QStringLiteral("forever")});
        QVERIFY(folder.placeAt(serviceLink()));
        MainWindow window;
        WindowProbe probe(window);
        window.show();
        for (int i = 0; i < 20; ++i) {
            const QString video = folder.path(QStringLiteral("%1.mp4").arg(i));
            writeFile(video);
            probe.requestThumbnail(video, video, false);
        }
        const QString photos = QFileInfo(WindowProbe::thumbnailPath({}, false)).absolutePath();
        QTRY_COMPARE_WITH_TIMEOUT(entriesOf(photos).size(), 8, 30000);
        QVERIFY(window.close());
        // All that were at work come back, and none of those that waited is begun.
        QTRY_COMPARE_WITH_TIMEOUT(probe.runningThumbs(), 0, 30000);
        QCOMPARE(probe.waitingThumbCount(), 0);
        // One more asks in vain.
        const QString late = folder.path(QStringLiteral("late.mp4"));
        writeFile(late);
        const LogTail tail;
        probe.requestThumbnail(late, late, false);
        const QString pending = QStringLiteral("source|") + late;
        QVERIFY(probe.pendingThumbs().contains(pending));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.pendingThumbs().contains(pending), 30000);
        QCOMPARE(tail.texts().filter(QStringLiteral("thumbnail extract failed")).size(), 1);
        QCOMPARE(folder.startCount(), 8);
        QCOMPARE(folder.leftovers(), QStringList());
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
    }

    void aClosedGateRefusesRequests()
    {
        const FaultFolder folder({QStringLiteral("forever")});
        auto gate = std::make_shared<ServiceGate>();
        gate->close(std::chrono::seconds(1));
        const LogTail tail;
        const RepairResponse response = RepairClient(gate).send(folder.request(), {}, 30);
        QCOMPARE(tail.texts().first(), QStringLiteral("INFO RepairClient::send begin, method=-1, "
                                                      "timeoutSeconds=30, payload={}"));
        QVERIFY(!response.ok);
        QCOMPARE(response.errCode, -1);
        QCOMPARE(response.message,
                 QStringLiteral("RepairService.exe is not started: the program is closing."));
        QCOMPARE(folder.startCount(), 0);
    }

    void theGateWaitsUntilThoseThatPassHaveGotThrough()
    {
        ServiceGate gate;
        QVERIFY(gate.enter());
        std::atomic<bool> hasLeft = false;
        std::atomic<bool> hadLeftWhenClosed = false;
        std::thread closer([&] {
            gate.close(std::chrono::minutes(1));
            hadLeftWhenClosed = hasLeft.load();
        });
        // The close is at work.
        QTRY_VERIFY_WITH_TIMEOUT(gate.isClosed(), 30000);
        hasLeft = true;
        QVERIFY(!gate.leave());
        closer.join();
        QVERIFY(hadLeftWhenClosed);
    }

    void theGateDoesNotWaitForEver()
    {
        ServiceGate gate;
        QVERIFY(gate.enter());
        QVERIFY(gate.leave());
        QVERIFY(gate.enter());
        // One is passing and does not get through: the wait has its end.
        gate.close(std::chrono::milliseconds(1));
        QVERIFY(!gate.enter());
        QVERIFY(!gate.leave());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(ShutdownTest)

#include "tst_shutdown.moc"
