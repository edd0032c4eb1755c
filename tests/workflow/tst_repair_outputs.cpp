#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"
#include "workflow/RepairOutputs.h"

#include <QDir>
#include <QFileInfo>
#include <QUuid>

/** Where a repair's outputs are planned, and which files count as outputs. */
class RepairOutputsTest : public TestCase
{
    Q_OBJECT

private:
    /** A file name of a row of data; "/" at its end makes it a folder, "0" in front an empty file.
     */
    static void create(const QDir &folder, const QString &entry)
    {
        if (entry.endsWith(QLatin1Char('/')))
            QVERIFY(folder.mkpath(entry));
        else if (entry.startsWith(QLatin1Char('0')))
            writeFile(folder.filePath(entry.mid(1)));
        else
            writeFile(folder.filePath(entry), "output");
    }

    static QStringList collected(const QDir &folder, const QString &planned)
    {
        QStringList names;
        const QStringList outputs = collectRepairOutputs(folder.filePath(planned));
        for (const QString &output : outputs) {
            const QFileInfo info(output);
            names.append(info.isAbsolute() && info.absolutePath() == folder.absolutePath()
                             ? info.fileName()
                             : QStringLiteral("elsewhere: ") + output);
        }
        return names;
    }

private Q_SLOTS:
    void anItemGetsAFolderOfItsOwn()
    {
        const QTemporaryDir directory;
        const QString data = directory.filePath(QStringLiteral("not/there yet"));
        const QString damaged = QStringLiteral("/films/clip.mov");
        const QFileInfo planned(createRepairOutputPath(damaged, {}, data));
        const QString uuid = planned.dir().dirName();
        QVERIFY(!QUuid::fromString(uuid).isNull());
        QCOMPARE(uuid, QUuid::fromString(uuid).toString(QUuid::WithoutBraces));
        QCOMPARE(planned.filePath(), QStringLiteral("%1/%2/repair_%2.mov").arg(data, uuid));
        QVERIFY(planned.dir().exists());
        QCOMPARE(entriesOf(planned.path()), QStringList());

        const QFileInfo other(createRepairOutputPath(damaged, {}, data));
        QVERIFY(other.dir() != planned.dir());
        QVERIFY(other.fileName() != planned.fileName());
        QCOMPARE(entriesOf(data).size(), 2);
    }

    void aFolderThatCannotBeMadeIsNoErrorYet()
    {
        const QTemporaryDir directory;
        const QString blocked = directory.filePath(QStringLiteral("file"));
        writeFile(blocked);
        const QFileInfo planned(createRepairOutputPath(QStringLiteral("/a.mp4"), {}, blocked));
        QVERIFY(planned.filePath().startsWith(blocked + QLatin1Char('/')));
        QVERIFY(!planned.dir().exists());
    }

    void theDamagedFileGivesTheSuffix_data()
    {
        QTest::addColumn<QString>("damaged");
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("suffix");
        const auto row = [](const char *name, const char *damaged, const char *current,
                            const char *suffix) {
            QTest::newRow(name) << QString::fromUtf8(damaged) << QString::fromUtf8(current)
                                << QString::fromUtf8(suffix);
        };
        row("plain", "/films/a.mov", "/films/b.avi", "mov");
        row("case is kept", "/films/A.MoV", "", "MoV");
        row("the last of two", "/films/a.tar.mkv", "", "mkv");
        row("none", "/films/clip", "/films/b.avi", "mp4");
        row("a dot at the end", "/films/clip.", "", "mp4");
        row("a dot in the folder only", "/films.d/clip", "", "mp4");
        row("nothing before the dot", "/films/.mov", "", "mov");
        row("not a video's", "/films/notes.txt", "", "txt");
        row("the current file's", "", "/films/b.avi", "avi");
        row("no file", "", "", "mp4");
        row("the current file has none", "", "/films/b", "mp4");
        row("like a placeholder", "/films/a.%1", "", "%1");
        row("not Latin", "/films/a.видео", "", "видео");
    }

    void theDamagedFileGivesTheSuffix()
    {
        QFETCH(const QString, damaged);
        QFETCH(const QString, current);
        QFETCH(const QString, suffix);
        const QTemporaryDir directory;
        const QFileInfo planned(createRepairOutputPath(damaged, current, directory.path()));
        QCOMPARE(planned.fileName(),
                 QStringLiteral("repair_") + planned.dir().dirName() + QLatin1Char('.') + suffix);
    }

    void outputsAreThePlannedFileAndItsCompanions_data()
    {
        QTest::addColumn<QString>("planned");
        QTest::addColumn<QStringList>("entries");
        QTest::addColumn<QStringList>("outputs");
        const auto row =
            [](const char *name, const char *planned, const char *entries, const char *outputs) {
                QTest::newRow(name)
                    << QString::fromUtf8(planned)
                    << QString::fromUtf8(entries).split(QLatin1Char('|'))
                    << QString::fromUtf8(outputs).split(QLatin1Char('|'), Qt::SkipEmptyParts);
            };
        row("planned", "r.mp4", "r.mp4", "r.mp4");
        row("nothing", "r.mp4", "other.mp4", "");
        row("planned first, others by name", "r.mp4", "r_b.mp4|r_2.mp4|r_10.mp4|r.mp4|r_a.mp4",
            "r.mp4|r_10.mp4|r_2.mp4|r_a.mp4|r_b.mp4");
        row("companions alone", "r.mp4", "r_2.mp4|r_1.mp4", "r_1.mp4|r_2.mp4");
        row("empty files do not count", "r.mp4", "0r.mp4|0r_1.mp4|r_2.mp4", "r_2.mp4");
        row("folders do not count", "r.mp4", "r.mp4/|r_1.mp4/|r_2.mp4", "r_2.mp4");
        row("the underscore is needed", "r.mp4", "r.mp4|r2.mp4|r-2.mp4|rx_2.mp4|r.2.mp4", "r.mp4");
        row("an underscore is enough", "r.mp4", "r_.mp4|r__.mp4", "r_.mp4|r__.mp4");
        row("the same suffix is needed", "r.mp4", "r_2.mov|r_2|r_2.mp4x|r_2.xmp4|r_2mp4", "");
        row("a dot in the rest", "r.mp4", "r_2.part.mp4", "r_2.part.mp4");
        row("the base name's case counts", "rab.mp4", "RAB_1.mp4|Rab_2.mp4|rab_3.mp4", "rab_3.mp4");
        row("a dot in the base name", "r.b.mp4", "r.b.mp4|r.b_2.mp4|r_2.mp4|r_b.mp4",
            "r.b.mp4|r.b_2.mp4");
        row("no suffix", "r", "r|r_2|r_3.mp4|r.mp4|r2|rx_2", "r|r_2|r_3.mp4");
#ifndef Q_OS_WIN
        row("a star in the suffix", "r.m*", "r.m*|r_2.m*|r_2.mp4", "r.m*|r_2.m*");
        row("a question mark in the suffix", "r.mp?", "r.mp?|r_2.mp?|r_2.mp4", "r.mp?|r_2.mp?");
#endif
        row("brackets in the suffix", "r.[m]", "r.[m]|r_2.[m]|r_2.m", "r.[m]|r_2.[m]");
#ifndef Q_OS_WIN
        row("wildcards in the base name", "r*[1].mp4", "r*[1].mp4|r*[1]_2.mp4|rx1_2.mp4",
            "r*[1].mp4|r*[1]_2.mp4");
#endif
        row("not Latin", "видео.mp4", "видео.mp4|видео_二.mp4", "видео.mp4|видео_二.mp4");
        row("like a placeholder", "r%1.mp4", "r%1.mp4|r%1_%2.mp4", "r%1.mp4|r%1_%2.mp4");
    }

    void outputsAreThePlannedFileAndItsCompanions()
    {
        QFETCH(const QString, planned);
        QFETCH(const QStringList, entries);
        QFETCH(const QStringList, outputs);
        const QTemporaryDir directory;
        const QDir folder(directory.path());
        for (const QString &entry : entries)
            create(folder, entry);
        QCOMPARE(collected(folder, planned), outputs);
    }

    void aMissingFolderHasNoOutputs()
    {
        const QTemporaryDir directory;
        QCOMPARE(collectRepairOutputs(directory.filePath(QStringLiteral("none/r.mp4"))),
                 QStringList());
    }

    void filesInFoldersBelowAreNoOutputs()
    {
        const QTemporaryDir directory;
        writeFile(directory.filePath(QStringLiteral("below/r_2.mp4")), "output");
        writeFile(directory.filePath(QStringLiteral("r_3.mp4")), "output");
        QCOMPARE(collected(QDir(directory.path()), QStringLiteral("r.mp4")),
                 QStringList{QStringLiteral("r_3.mp4")});
    }

    void aFileIsAppendedOnce()
    {
        const QTemporaryDir directory;
        const QString path = directory.filePath(QStringLiteral("a.mp4"));
        writeFile(path, "output");
        QStringList list{QStringLiteral("/before")};
        appendExistingFile(list, path);
        appendExistingFile(list, path);
        appendExistingFile(list, QDir::current().relativeFilePath(path));
        QCOMPARE(list, (QStringList{QStringLiteral("/before"), path}));
    }

    void namesThatDifferInCaseAreTwoFiles()
    {
        const QTemporaryDir directory;
        QStringList list;
        for (const QString &name : {QStringLiteral("a.mp4"), QStringLiteral("A.mp4")}) {
            writeFile(directory.filePath(name), "output");
            appendExistingFile(list, directory.filePath(name));
        }
        QCOMPARE(list, (QStringList{directory.filePath(QStringLiteral("a.mp4")),
                                    directory.filePath(QStringLiteral("A.mp4"))}));
    }

    void whatIsNoFileOrEmptyIsNotAppended()
    {
        const QTemporaryDir directory;
        const QString empty = directory.filePath(QStringLiteral("empty.mp4"));
        writeFile(empty);
        QStringList list;
        for (const QString &path : {QString(), empty, directory.path(),
                                    directory.filePath(QStringLiteral("missing.mp4"))})
            appendExistingFile(list, path);
        QCOMPARE(list, QStringList());
    }
};

VELLUMIX_TEST_MAIN(RepairOutputsTest)

#include "tst_repair_outputs.moc"
