#include "tests/support/AppFolder.h"
#include "tests/support/TestCase.h"

/** The real program, started in a folder of its own without a display. */
class StartupTest : public TestCase
{
    Q_OBJECT

private:
    /** Starts the client, waits until its log holds `lines` lines and ends it. */
    static QList<LogLine> startAndEnd(AppFolder &app, const QString &loggingRules, int lines,
                                      QByteArray *errorOutput = nullptr)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), loggingRules);
        process.setProcessEnvironment(environment);
        process.start(app.program());
        if (!QTest::qWaitFor([&] { return app.log().size() >= lines; }, 30000))
            qCritical("the log does not fill");
        const bool runs = process.state() == QProcess::Running;
        process.kill();
        process.waitForFinished();
        if (!runs)
            qCritical("the client has ended by itself");
        if (errorOutput != nullptr)
            *errorOutput = process.readAllStandardError();
        return app.log();
    }

    static QString client() { return QStringLiteral(VELLUMIX_CLIENT); }

private Q_SLOTS:
    void logsItsStart()
    {
        AppFolder app(client());
        const QList<LogLine> log = startAndEnd(app, {}, 2);
        QCOMPARE(log[0].text(),
                 QStringLiteral("INFO Qt log initialized, file=%1").arg(app.logPath()));
        QCOMPARE(log[0].function, QStringLiteral("void QtLog::init()"));
        QCOMPARE(log[0].line, 50);
        QCOMPARE(log[1].text(),
                 QStringLiteral("INFO Application started, appDir=%1").arg(app.folder()));
        QCOMPARE(log[1].function, QStringLiteral("int qMain(int, char**)"));
        QCOMPARE(log[1].line, 16);
        QCOMPARE(log[0].threadId, log[1].threadId);
    }

    void earlyMessagesGoToTheConsoleLaterOnesToTheFile()
    {
        AppFolder app(client());
        QByteArray console;
        const QList<LogLine> log = startAndEnd(app, QStringLiteral("qt.*.debug=true"), 3, &console);
        // The application object speaks before the log stands, the window after it.
        QVERIFY(!console.isEmpty());
        QVERIFY(!console.contains("Application started"));
        QCOMPARE(log[0].function, QStringLiteral("void QtLog::init()"));
        QCOMPARE(log[1].line, 16);
        for (const LogLine &line : log.mid(2)) {
            QVERIFY2(!console.contains(line.message.toUtf8()), qPrintable(line.message));
            QCOMPARE(line.level, QStringLiteral("DEBUG"));
        }
    }
};

VELLUMIX_TEST_MAIN(StartupTest)

#include "tst_startup.moc"
