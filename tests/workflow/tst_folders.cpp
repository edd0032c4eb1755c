#include "tests/support/FaultFolder.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "workflow/DataFolders.h"

#include <QCryptographicHash>
#include <QDir>
#include <QStandardPaths>

/** Where things are: the rules, and what the window makes of them. */
class FoldersTest : public TestCase
{
    Q_OBJECT

private:
    static QString appFolder() { return QCoreApplication::applicationDirPath(); }

    static QString sha1(const QByteArray &text)
    {
        return QString::fromLatin1(
            QCryptographicHash::hash(text, QCryptographicHash::Sha1).toHex());
    }

private Q_SLOTS:
    void serviceBesideTheProgramComesFirst()
    {
        const QTemporaryDir temporary;
        const QString app = temporary.filePath(QStringLiteral("a/b/c/d/app"));
        QVERIFY(QDir().mkpath(app + QStringLiteral("/RepairService")));
        QVERIFY(QDir().mkpath(temporary.filePath(QStringLiteral("RepairService/install"))));
        QCOMPARE(DataFolders::serviceRoot(app),
                 QDir::toNativeSeparators(app + QStringLiteral("/RepairService")));
    }

    void aFileOfThatNameCountsAsWell()
    {
        const QTemporaryDir temporary;
        writeFile(temporary.filePath(QStringLiteral("RepairService")));
        QCOMPARE(DataFolders::serviceRoot(temporary.path()),
                 QDir::toNativeSeparators(temporary.filePath(QStringLiteral("RepairService"))));
    }

    void withoutItTheLastPlaceIsNamedUnchecked()
    {
        const QTemporaryDir temporary;
        QCOMPARE(
            DataFolders::serviceRoot(temporary.filePath(QStringLiteral("a/b/c/app"))),
            QDir::toNativeSeparators(temporary.filePath(QStringLiteral("RepairService/install"))));
    }

    void dataFolderIsBelowThePublicProfile()
    {
        const QString shared = QDir::rootPath() + QStringLiteral("shared");
        QCOMPARE(DataFolders::publicData(shared), shared + QStringLiteral("/Vellumix/Tessaly"));
        // Taken as it is: blanks around it belong to the name.
        QCOMPARE(DataFolders::publicData(shared + QStringLiteral("/my public ")),
                 shared + QStringLiteral("/my public /Vellumix/Tessaly"));
    }

    void dataFolderIsTemporaryWithoutAPublicProfile_data()
    {
        QTest::addColumn<QString>("value");
        QTest::newRow("unset") << QString();
        QTest::newRow("empty") << QStringLiteral("");
        QTest::newRow("blank") << QStringLiteral(" \t ");
    }

    void dataFolderIsTemporaryWithoutAPublicProfile()
    {
        QFETCH(const QString, value);
        QCOMPARE(DataFolders::publicData(value),
                 QStandardPaths::writableLocation(QStandardPaths::TempLocation) +
                     QStringLiteral("/Vellumix/Tessaly"));
    }

    void thumbnailIsNamedByItsKeysHash()
    {
        const QString data = QDir::rootPath() + QStringLiteral("data");
        QCOMPARE(DataFolders::thumbnail(data, QStringLiteral("Größe 1.MP4"), false),
                 data + QStringLiteral("/thumbs/source-thumbs/") +
                     sha1("Gr\xc3\xb6\xc3\x9f"
                          "e 1.MP4") +
                     QStringLiteral(".jpg"));
        // A digest that was computed elsewhere.
        QCOMPARE(DataFolders::thumbnail(data, QStringLiteral("abc"), true),
                 data + QStringLiteral("/thumbs/result-thumbs/"
                                       "a9993e364706816aba3e25717850c26c9cd0d89d.jpg"));
    }

    void keysThatDifferInCaseOrBlanksHaveFilesOfTheirOwn()
    {
        const auto path = [](const QString &key) {
            return DataFolders::thumbnail(QStringLiteral("/data"), key, false);
        };
        QVERIFY(path(QStringLiteral("/a/Clip.mp4")) != path(QStringLiteral("/a/clip.mp4")));
        QVERIFY(path(QStringLiteral("/a/clip.mp4")) != path(QStringLiteral("/a/clip.mp4 ")));
    }

    void slashesCountAsTheSystemWritesThem()
    {
        const QString key = QStringLiteral("C:/films/clip.mp4");
        QVERIFY(
            DataFolders::thumbnail(QStringLiteral("/data"), key, false)
                .endsWith(sha1(QDir::toNativeSeparators(key).toUtf8()) + QStringLiteral(".jpg")));
        QCOMPARE(
            DataFolders::thumbnail(QStringLiteral("/data"), key, false),
            DataFolders::thumbnail(QStringLiteral("/data"), QDir::toNativeSeparators(key), false));
    }

    void theWindowsFoldersFollowTheRules()
    {
        const FaultFolder fault;
        QVERIFY(fault.placeAt(appFolder() + QStringLiteral("/RepairService")));
        QCOMPARE(WindowProbe::serviceRootPath(),
                 QDir::toNativeSeparators(appFolder() + QStringLiteral("/RepairService")));
        QVERIFY(fault.takeBack());
        QCOMPARE(WindowProbe::serviceRootPath(),
                 QDir::toNativeSeparators(QDir::cleanPath(
                     appFolder() + QStringLiteral("/../../../../RepairService/install"))));
        QCOMPARE(WindowProbe::logFolderPath(), appFolder() + QStringLiteral("/Logs"));
        QCOMPARE(WindowProbe::publicDataPath(),
                 qEnvironmentVariable("PUBLIC") + QStringLiteral("/Vellumix/Tessaly"));
        QCOMPARE(
            WindowProbe::thumbnailPath(QStringLiteral("abc"), false),
            WindowProbe::publicDataPath() +
                QStringLiteral("/thumbs/source-thumbs/a9993e364706816aba3e25717850c26c9cd0d89d."
                               "jpg"));
        QVERIFY(!QFileInfo::exists(WindowProbe::publicDataPath()));
    }

    void theWindowUsesTheTemporaryFolderWithoutAPublicProfile()
    {
        const QByteArray before = qgetenv("PUBLIC");
        const QString temporary = QStandardPaths::writableLocation(QStandardPaths::TempLocation) +
                                  QStringLiteral("/Vellumix/Tessaly");
        qputenv("PUBLIC", "  ");
        QCOMPARE(WindowProbe::publicDataPath(), temporary);
        qunsetenv("PUBLIC");
        QCOMPARE(WindowProbe::publicDataPath(), temporary);
        qputenv("PUBLIC", before);
    }

    void everyRequestIsFilledTheSameWay()
    {
        MainWindow window;
        WindowProbe probe(window);
        probe.damagedFilePath() = QStringLiteral("/films/broken.mp4");
        const RepairRequest request = probe.makeRepairRequest();
        QCOMPARE(request.serviceRoot, WindowProbe::serviceRootPath());
        QCOMPARE(request.damagedPath, QStringLiteral("/films/broken.mp4"));
        QCOMPARE(request.logDir, WindowProbe::logFolderPath());
        QCOMPARE(request.tempDir, WindowProbe::publicDataPath());
        QCOMPARE(request.configDir,
                 QDir::cleanPath(WindowProbe::serviceRootPath() + QStringLiteral("/config")));
        QCOMPARE(request.timeoutSeconds, 900);
        QCOMPARE(request.advanced, false);
        QCOMPARE(request.samplePath, QString());
        QCOMPARE(request.outFilePath, QString());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(FoldersTest)

#include "tst_folders.moc"
