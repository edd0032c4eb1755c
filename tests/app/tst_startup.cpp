#include "tests/support/AppFolder.h"
#include "tests/support/TestCase.h"

#include <QRegularExpression>

/** The real program, started in a folder of its own without a display. */
class StartupTest : public TestCase
{
    Q_OBJECT

private:
    /** Starts the client, waits until its log holds `lines` lines and ends it. The log, or nothing.
     */
    static QList<LogLine> startAndEnd(AppFolder &app, const QString &loggingRules, int lines,
                                      QByteArray *errorOutput = nullptr)
    {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
#ifndef Q_OS_WIN
        // There the program holds its system's platform alone.
        environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
#endif
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), loggingRules);
        environment.insert(QStringLiteral("QT_MESSAGE_PATTERN"),
                           QStringLiteral("at %{time yyyy-MM-dd hh:mm:ss.zzz} %{message}"));
        process.setProcessEnvironment(environment);
        process.start(app.program());
        const bool hasLogged = QTest::qWaitFor([&] { return app.log().size() >= lines; }, 30000);
        // Still running a moment after its last line: it has not ended by itself.
        const bool runs = !process.waitForFinished(200);
        process.kill();
        process.waitForFinished();
        if (errorOutput != nullptr)
            *errorOutput = process.readAllStandardError();
        return hasLogged && runs ? app.log() : QList<LogLine>();
    }

    /** When each of the messages on the console was said, as the log writes times. */
    static QStringList consoleTimes(const QByteArray &console)
    {
        static const QRegularExpression pattern(QStringLiteral("^at (\\S+ \\S+) "),
                                                QRegularExpression::MultilineOption);
        QStringList times;
        for (const QRegularExpressionMatch &match : pattern.globalMatch(QString::fromUtf8(console)))
            times.append(match.captured(1));
        return times;
    }

    static QString client()
    {
        return QStringLiteral(VELLUMIX_CLIENT);
    }

private Q_SLOTS:
    void logsItsStart()
    {
        AppFolder app(client());
        const QList<LogLine> log = startAndEnd(app, {}, 2);
        QCOMPARE(log.size(), 2);
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
        QVERIFY(log.size() >= 3);
        // The application object speaks before the log stands, the window after it.
        const QStringList times = consoleTimes(console);
        QVERIFY(!times.isEmpty());
        QVERIFY2(times.last() <= log[0].time, qPrintable(times.last() + u'|' + log[0].time));
        QVERIFY(!console.contains("Application started"));
        QCOMPARE(log[0].function, QStringLiteral("void QtLog::init()"));
        QCOMPARE(log[1].line, 16);
        for (const LogLine &line : log.mid(2))
            QCOMPARE(line.level, QStringLiteral("DEBUG"));
    }
};

VELLUMIX_TEST_MAIN(StartupTest)

#include "tst_startup.moc"
