#include "tests/support/FaultFolder.h"
#include "tests/support/RawService.h"
#include "tests/support/TestCase.h"

#include <csignal>

/** The fault service does what its script says, or the tests that build on it prove nothing. */
class FaultServiceTest : public TestCase
{
    Q_OBJECT

private:
    static QString executable()
    {
        return QCoreApplication::applicationDirPath() +
               programName(QStringLiteral("/FaultService"));
    }

    /** Puts the script where the service looks for it, and starts it. */
    static bool start(RawService &service, const QByteArray &script)
    {
        writeFile(service.root.filePath(QStringLiteral("fault.txt")), script);
        return service.start();
    }

private Q_SLOTS:
    void exits()
    {
        RawService service(executable());
        QVERIFY(start(service, "exit 7"));
        QCOMPARE(service.waitForEnd(), 7);
    }

    void endsWithItsScript()
    {
        RawService service(executable());
        QVERIFY(start(service, "sleep 1"));
        QCOMPARE(service.waitForEnd(), 0);
    }

    void unknownLineIsAnError()
    {
        RawService service(executable());
        QVERIFY(start(service, "behave"));
        QCOMPARE(service.waitForEnd(), 99);
        QCOMPARE(service.process.readAllStandardError().trimmed(),
                 QByteArray("unknown line: behave"));
    }

    void diesBySignal()
    {
        RawService service(executable());
        QVERIFY(start(service, "signal 6"));
        QCOMPARE(service.waitForEnd(), -2);
#ifndef Q_OS_WIN
        QCOMPARE(service.process.exitCode(), SIGABRT);
#endif
    }

    void recordsItsStart()
    {
        RawService service(executable());
        QVERIFY(start(service, "forever"));
        const qint64 pid = service.process.processId();
        const QString record =
            service.root.filePath(QStringLiteral("started-%1.txt").arg(service.token));
        const QByteArray expected =
            QStringLiteral("%1\nKesh_File_Repair_Win\nVideoRepairServer\n%2\n%3\n%4\n%5\n")
                .arg(QString::number(pid), service.token, service.root.path(),
                     qEnvironmentVariable("PATH"), qEnvironmentVariable("Path"))
                .toUtf8();
        QVERIFY(QTest::qWaitFor([&] { return readFile(record).size() == expected.size(); }));
        QCOMPARE(readFile(record), expected);
    }

    void createsOnePipeOnly()
    {
        RawService service(executable());
        QVERIFY(start(service, "create return\naccept return\nanswer x\nforever"));
        QVERIFY(service.connectPipe(service.returnPipe));
        QCOMPARE(service.read(), QByteArray("x"));
        auto pipe = makeRecord(QStringLiteral("VideoRepairServer_receive_") + service.token,
                               PipeDirection::Write, {}, {});
        QCOMPARE(service.pipes.init(pipe), 0);
        QVERIFY(service.pipes.connect(pipe) != 0);
        service.pipes.close(pipe);
    }

    void echoes()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\necho\nawait\nexit 5"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("{\"method\":3}\n"));
        QCOMPARE(service.read(), QStringLiteral("{\"err_code\":0,\"token\":\"%1\",\"request\":"
                                                "{\"method\":3}\n}")
                                     .arg(service.token)
                                     .toUtf8());
        QCOMPARE(service.process.state(), QProcess::Running);
        service.hangUp();
        QCOMPARE(service.waitForEnd(), 5);
    }

    void answersText()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\nanswer a\\n\\xff\\\\b\nawait"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("x"));
        QCOMPARE(service.read(), QByteArray("a\n\xff\\b"));
    }

    void answersWithNothing()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\nanswerEmpty\nanswer then\nawait"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("x"));
        // The first read that finds a message finds the empty one and returns its length.
        QCOMPARE(service.read(), QByteArray("then"));
    }

    void answersAnObjectOfASize()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\nanswerSize 300000\nawait"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("x"));
        const QByteArray answer = service.read();
        QCOMPARE(answer.size(), 300000);
        QVERIFY(answer.startsWith("{\"err_code\":0,\"fill\":\"xxx"));
        QVERIFY(answer.endsWith("xxx\"}"));
    }

    void writesAnOutputThatTheRequestNames()
    {
        RawService service(executable());
        const QString output = service.root.filePath(QStringLiteral("o.mp4"));
        QVERIFY(start(service, "serve\noutput outFilePath some text\nanswer x\nawait"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write(QStringLiteral("{\"outFilePath\":\"%1\"}").arg(output).toUtf8()));
        QCOMPARE(service.read(), QByteArray("x"));
        QCOMPARE(readFile(output), QByteArray("some text"));
    }

    void writesACompanionAndAnEmptyFile()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\ncompanion outFilePath more\noutput outFilePath\nanswer x\n"
                               "await"));
        QVERIFY(service.connectPipes());
        const QString output = service.root.filePath(QStringLiteral("o.mp4"));
        QVERIFY(service.write(QStringLiteral("{\"outFilePath\":\"%1\"}").arg(output).toUtf8()));
        QCOMPARE(service.read(), QByteArray("x"));
        QCOMPARE(readFile(service.root.filePath(QStringLiteral("o_2.mp4"))), QByteArray("more"));
        QVERIFY(QFile::exists(output));
        QCOMPARE(readFile(output), QByteArray());
    }

    void obeysLinesForSomeRequests_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("number") << QByteArray("{\"method\":107}") << 3;
        QTest::newRow("part of a text") << QByteArray("{\"method\":10,\"file\":\"/a/b.mp4\"}") << 4;
        QTest::newRow("neither") << QByteArray("{\"method\":1070,\"file\":\"c.mp4\"}") << 5;
        QTest::newRow("no such keys") << QByteArray("{}") << 5;
    }

    void obeysLinesForSomeRequests()
    {
        QFETCH(const QByteArray, request);
        QFETCH(const int, exitCode);
        RawService service(executable());
        QVERIFY(start(service, "serve\nwhen method 107: exit 3\nwhen file b.mp4: exit 4\nexit 5"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write(request));
        QCOMPARE(service.waitForEnd(), exitCode);
    }

    void waitsForAFile()
    {
        RawService service(executable());
        QVERIFY(start(service, "waitFile go\nexit 4"));
        QVERIFY(!service.process.waitForFinished(100));
        writeFile(service.root.filePath(QStringLiteral("go")));
        QCOMPARE(service.waitForEnd(), 4);
    }

#ifndef Q_OS_WIN
    // Ending children is the system's own command's work there.

    void startsAFamily()
    {
        RawService service(executable());
        QVERIFY(start(service, "spawn\nexit 6"));
        QCOMPARE(service.waitForEnd(), 6);
        const QString record =
            service.root.filePath(QStringLiteral("children-%1.txt").arg(service.token));
        const QList<QByteArray> ids = readFile(record).trimmed().split('\n');
        QCOMPARE(ids.size(), 2);
        for (const QByteArray &id : ids) {
            QVERIFY(isRunning(id.toLongLong()));
            QCOMPARE(::kill(id.toInt(), SIGKILL), 0);
        }
    }
#endif

    void ignoresTermination()
    {
        RawService service(executable());
        QVERIFY(start(service, "ignoreTerminate\nserve\necho\nforever"));
        QVERIFY(service.connectPipes());
        QVERIFY(service.write("1"));
        QVERIFY(!service.read().isEmpty());
        service.process.terminate();
        QVERIFY(!service.process.waitForFinished(500));
        service.process.kill();
        QCOMPARE(service.waitForEnd(), -2);
    }

    void notesTermination()
    {
        RawService service(executable());
        QVERIFY(start(service, "noteTerminate\nserve\necho\nforever"));
        QVERIFY(service.connectPipes());
        const QString note =
            service.root.filePath(QStringLiteral("asked-%1.txt").arg(service.token));
        QVERIFY(!QFile::exists(note));
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), 0);
        QVERIFY(QFile::exists(note));
    }

#ifndef Q_OS_WIN
    // There a program that does not listen takes no notice.

    void obeysTerminationOtherwise()
    {
        RawService service(executable());
        QVERIFY(start(service, "serve\necho\nforever"));
        QVERIFY(service.connectPipes());
        service.process.terminate();
        QCOMPARE(service.waitForEnd(), -2);
        QCOMPARE(service.process.exitCode(), SIGTERM);
    }
#endif
};

VELLUMIX_TEST_MAIN(FaultServiceTest)

#include "tst_fault_service.moc"
