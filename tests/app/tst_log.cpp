#include "app/QtLog.h"
#include "tests/support/AppFolder.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"

#include <QDateTime>
#include <QDir>
#include <QFileInfo>
#include <QSet>

namespace {

#ifdef Q_OS_WIN
const QByteArray lineEnd = "\r\n";
#else
const QByteArray lineEnd = "\n";
#endif

} // namespace

class LogTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void writesBeforeInit()
    {
        AppFolder app(AppFolder::clientProbe());
        QCOMPARE(app.run({QStringLiteral("write-before-init")}), 0);
        const QList<LogLine> log = app.log();
        QCOMPARE(log.size(), 3);
        QCOMPARE(log[0].text(), QStringLiteral("INFO early 1"));
        QCOMPARE(log[1].text(),
                 QStringLiteral("INFO Qt log initialized, file=%1").arg(app.logPath()));
        QCOMPARE(log[1].function, QStringLiteral("void QtLog::init()"));
        QCOMPARE(log[1].line, 50);
        QCOMPARE(log[2].text(), QStringLiteral("WARN late 2"));
        QCOMPARE(log[2].function, QStringLiteral("void {anonymous}::writeBeforeInit()"));
    }

    void keepsWhatIsThere()
    {
        AppFolder app(AppFolder::clientProbe());
        QCOMPARE(app.run({QStringLiteral("write-before-init")}), 0);
        QCOMPARE(app.run({QStringLiteral("write-before-init")}), 0);
        QCOMPARE(app.log().size(), 6);
    }

    void lineIsAsStated()
    {
        const LogTail tail;
        const QDateTime before = QDateTime::currentDateTime();
        QtLog::write("WARN", "int some(const char*)", 16, QStringLiteral("a message: %1 – ü"));
        const QDateTime after = QDateTime::currentDateTime();
        const QList<LogLine> lines = tail.lines();
        QCOMPARE(lines.size(), 1);
        const LogLine &line = lines[0];
        const QDateTime time =
            QDateTime::fromString(line.time, QStringLiteral("yyyy-MM-dd hh:mm:ss.zzz"));
        QVERIFY2(time >= before.addMSecs(-1) && time <= after, qPrintable(line.time));
        QCOMPARE(line.threadId, currentThreadId());

        const QString path =
            QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log");
        const QByteArray expected =
            QStringLiteral("%1 [WARN] [tid=%2] int some(const char*):16 - a message: %3")
                .arg(line.time, QString::number(currentThreadId()), QStringLiteral("%1 – ü"))
                .toUtf8();
        QVERIFY2(readFile(path).contains(expected + lineEnd), expected.constData());
    }

    void qtMessagesAreRouted()
    {
        AppFolder app(AppFolder::clientProbe());
        QCOMPARE(app.run({QStringLiteral("messages")}), 0);
        const QList<LogLine> log = app.log();
        QStringList texts;
        for (const LogLine &line : log.mid(1))
            texts.append(line.text());
        QCOMPARE(
            texts,
            QStringList(
                {QStringLiteral("DEBUG a debug message"), QStringLiteral("INFO an info message"),
                 QStringLiteral("WARN a warning"), QStringLiteral("ERROR a critical message"),
                 QStringLiteral("FATAL a fatal message"), QStringLiteral("WARN without context")}));
        QCOMPARE(log[5].function, QStringLiteral("void function()"));
        QCOMPARE(log[5].line, 7);
        QCOMPARE(log[6].function, QStringLiteral("QtMessage"));
        QCOMPARE(log[6].line, 0);
        QCOMPARE(app.standardOutput, QByteArray());
        QCOMPARE(app.standardError, QByteArray());
    }

    void unwritableFileIsIgnored()
    {
        AppFolder app(AppFolder::clientProbe());
        QVERIFY(QDir().mkpath(app.logPath()));
        QCOMPARE(app.run({QStringLiteral("write-before-init")}), 0);
        QVERIFY(QFileInfo(app.logPath()).isDir());
        QCOMPARE(app.standardError, QByteArray());
    }

    void writesAgainOnceItCan()
    {
        AppFolder app(AppFolder::clientProbe());
        QVERIFY(QDir().mkpath(app.logPath()));
        QCOMPARE(app.run({QStringLiteral("write-around-obstacle")}), 0);
        const QList<LogLine> log = app.log();
        QCOMPARE(log.size(), 1);
        QCOMPARE(log[0].text(), QStringLiteral("INFO after"));
    }

    void unwritableFolderIsIgnored()
    {
        AppFolder app(AppFolder::clientProbe());
        writeFile(app.folder() + QStringLiteral("/Logs"));
        QCOMPARE(app.run({QStringLiteral("write-before-init")}), 0);
        QCOMPARE(app.standardError, QByteArray());
    }

    void linesOfThreadsStayWhole()
    {
        constexpr int threads = 8;
        constexpr int linesEach = 200;
        AppFolder app(AppFolder::clientProbe());
        QCOMPARE(app.run({QStringLiteral("write-threads"), QString::number(threads),
                          QString::number(linesEach)}),
                 0);
        const QList<LogLine> log = app.log();
        QCOMPARE(log.size(), threads * linesEach);
        QSet<quint64> ids;
        QMap<int, int> next;
        const QString fill(200, QLatin1Char('x'));
        for (const LogLine &line : log) {
            const QStringList words = line.message.split(QLatin1Char(' '));
            const int thread = words.value(1).toInt();
            QCOMPARE(
                line.message,
                QStringLiteral("thread %1 line %2 %3").arg(thread).arg(next[thread]++).arg(fill));
            ids.insert(line.threadId);
        }
        QCOMPARE(ids.size(), threads);
    }
};

VELLUMIX_TEST_MAIN(LogTest)

#include "tst_log.moc"
