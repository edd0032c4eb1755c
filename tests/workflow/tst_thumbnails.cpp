#include "tests/support/FaultFolder.h"
#include "tests/support/Footage.h"
#include "tests/support/LogTail.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"

#include <QDir>
#include <QImageReader>

/** Thumbnails: asked for once, made a few at a time, remembered while their file exists. */
class ThumbnailsTest : public TestCase
{
    Q_OBJECT

private:
    /** A window whose service is a fault service, and videos for it. */
    class Setting
    {
    public:
        explicit Setting(const QStringList &script) : fault(script), probe(window)
        {
            serviceLink = QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
            fault.placeAt(serviceLink);
        }
        ~Setting()
        {
            finish();
            fault.takeBack();
        }
        Setting(const Setting &) = delete;
        Setting &operator=(const Setting &) = delete;

        QString video(int number = 1) const
        {
            const QString path = fault.path(QStringLiteral("video %1.mp4").arg(number));
            if (!QFile::exists(path))
                writeFile(path, "video");
            return QDir::toNativeSeparators(path);
        }

        void request(const QString &key, bool isResult = false)
        {
            probe.requestThumbnail(key, key, isResult);
        }

        bool waitUntilIdle()
        {
            return QTest::qWaitFor(
                [this] { return probe.runningThumbs() == 0 && probe.waitingThumbCount() == 0; },
                50000);
        }

        void finish()
        {
            fault.release();
            QVERIFY(waitUntilIdle());
            QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        }

        FaultFolder fault;
        MainWindow window;
        WindowProbe probe;

    private:
        QString serviceLink;
    };

    static QStringList good()
    {
        return {QStringLiteral("serve"), QStringLiteral("output photoPath picture"),
                QStringLiteral("answer {\"err_code\":0,\"function\":101}"),
                QStringLiteral("await")};
    }

    static QStringList held()
    {
        QStringList script = good();
        script.insert(1, QStringLiteral("waitFile go"));
        return script;
    }

    static QStringList warnings()
    {
        QStringList texts;
        const QList<LogLine> lines =
            readLog(QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log"));
        for (const LogLine &line : lines) {
            if (line.level == QStringLiteral("WARN"))
                texts.append(line.message);
        }
        return texts;
    }

private Q_SLOTS:
    void aSourcesPictureArrives()
    {
        Setting setting(good());
        const QString key = setting.video();
        setting.request(key);
        QCOMPARE(setting.probe.pendingThumbs(), QSet<QString>{QStringLiteral("source|") + key});
        QVERIFY(setting.waitUntilIdle());
        const QString photo = WindowProbe::thumbnailPath(key, false);
        QCOMPARE(setting.probe.sourceThumbs(), (QHash<QString, QString>{{key, photo}}));
        QVERIFY(setting.probe.resultThumbs().isEmpty());
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(readFile(photo), QByteArray("picture"));
    }

    void aResultsPictureIsFiledUnderItsSource()
    {
        Setting setting(good());
        const QString key = setting.video(1);
        setting.probe.requestThumbnail(key, setting.video(2), true);
        QCOMPARE(setting.probe.pendingThumbs(), QSet<QString>{QStringLiteral("result|") + key});
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.resultThumbs(),
                 (QHash<QString, QString>{{key, WindowProbe::thumbnailPath(key, true)}}));
        QVERIFY(setting.probe.sourceThumbs().isEmpty());
    }

    void theServiceIsAskedForHalfTheSize()
    {
        Setting setting(good());
        const QString key = setting.video();
        setting.request(key);
        QVERIFY(setting.waitUntilIdle());
        const QString photo = WindowProbe::thumbnailPath(key, false);
        const QList<LogLine> log =
            readLog(QCoreApplication::applicationDirPath() + QStringLiteral("/Logs/Korvane.log"));
        const QStringList texts = textsOf(log);
        QVERIFY(texts.contains(QStringLiteral("INFO extractFirstFrameScale begin, videoPath=%1, "
                                              "photoPath=%2, scale=2")
                                   .arg(key, photo)));
    }

    void twoRequestsForOneKeyStartOneExtraction()
    {
        Setting setting(held());
        const QString key = setting.video();
        setting.request(key);
        setting.request(key);
        QTRY_COMPARE(setting.probe.runningThumbs(), 1);
        QCOMPARE(setting.probe.waitingThumbCount(), 0);
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.fault.startCount(), 1);
    }

    void sourceAndResultOfOneKeyAreApart()
    {
        Setting setting(held());
        const QString key = setting.video();
        setting.request(key, false);
        setting.request(key, true);
        QCOMPARE(setting.probe.pendingThumbs(),
                 (QSet<QString>{QStringLiteral("source|") + key, QStringLiteral("result|") + key}));
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.fault.startCount(), 2);
        QVERIFY(setting.probe.sourceThumbs().value(key) != setting.probe.resultThumbs().value(key));
        QVERIFY(QFile::exists(setting.probe.sourceThumbs().value(key)));
        QVERIFY(QFile::exists(setting.probe.resultThumbs().value(key)));
    }

    void aKnownPictureIsNotMadeAgainUnlessItIsDeleted()
    {
        Setting setting(good());
        const QString key = setting.video();
        setting.request(key);
        QVERIFY(setting.waitUntilIdle());
        setting.request(key);
        QCOMPARE(setting.probe.runningThumbs(), 0);
        QVERIFY(setting.probe.pendingThumbs().isEmpty());

        QVERIFY(QFile::remove(setting.probe.sourceThumbs().value(key)));
        setting.request(key);
        QTRY_COMPARE(setting.probe.runningThumbs(), 1);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.fault.startCount(), 2);
        QVERIFY(QFile::exists(setting.probe.sourceThumbs().value(key)));
    }

    void aPictureOfAnEarlierRunIsTaken_data()
    {
        QTest::addColumn<bool>("isResult");
        QTest::newRow("source") << false;
        QTest::newRow("result") << true;
    }

    void aPictureOfAnEarlierRunIsTaken()
    {
        QFETCH(const bool, isResult);
        Setting setting(good());
        const QString key = setting.video(7);
        const QString photo = WindowProbe::thumbnailPath(key, isResult);
        writeFile(photo, "earlier");
        setting.request(key, isResult);
        const QHash<QString, QString> expected{{key, photo}};
        QCOMPARE(isResult ? setting.probe.resultThumbs() : setting.probe.sourceThumbs(), expected);
        // Nothing is on its way.
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(setting.probe.waitingThumbCount(), 0);
        QCoreApplication::processEvents();
        QCOMPARE(setting.fault.startCount(), 0);
    }

    void aPictureOfAnEarlierRunIsShownAtOnce_data()
    {
        QTest::addColumn<bool>("isResult");
        QTest::newRow("source") << false;
        QTest::newRow("result") << true;
    }

    void aPictureOfAnEarlierRunIsShownAtOnce()
    {
        QFETCH(const bool, isResult);
        Setting setting(good());
        const QString key = setting.video(7);
        setting.probe.damagedFiles() = {key};
        setting.probe.run().begin({key}, false);
        setting.probe.refreshImportRows();
        setting.probe.refreshResultList();
        QCOMPARE(setting.probe.importRows().first()->content().thumbPath, QString());
        QCOMPARE(setting.probe.resultRows().first()->content().thumbPath, QString());
        const QString photo = WindowProbe::thumbnailPath(key, isResult);
        writeFile(photo, "earlier");
        setting.request(key, isResult);
        QCOMPARE(isResult ? setting.probe.resultRows().first()->content().thumbPath
                          : setting.probe.importRows().first()->content().thumbPath,
                 photo);
    }

    void aPictureThatIsBeingMadeIsNotMadeTwiceAfterRemoveAll_data()
    {
        QTest::addColumn<bool>("succeeds");
        QTest::addColumn<int>("starts");
        QTest::newRow("it succeeds") << true << 1;
        QTest::newRow("it fails") << false << 2;
    }

    void aPictureThatIsBeingMadeIsNotMadeTwiceAfterRemoveAll()
    {
        QFETCH(const bool, succeeds);
        QFETCH(const int, starts);
        Setting setting(succeeds
                            ? held()
                            : QStringList{QStringLiteral("serve"), QStringLiteral("waitFile go"),
                                          QStringLiteral("answer {\"err_code\":-31}"),
                                          QStringLiteral("await")});
        const QString key = setting.video();
        setting.request(key);
        QTRY_COMPARE(setting.probe.runningThumbs(), 1);
        setting.probe.resetToImportPage();
        setting.request(key);
        QCoreApplication::processEvents();
        QCOMPARE(setting.probe.runningThumbs(), 1);
        QCOMPARE(setting.probe.waitingThumbCount(), 1);
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(setting.probe.sourceThumbs().contains(key), succeeds);
        QCOMPARE(setting.fault.startCount(), starts);
    }

    void resultsGoBeforeSources()
    {
        Setting setting(held());
        for (int i = 1; i <= 10; ++i)
            setting.request(setting.video(i));
        QTRY_COMPARE(setting.probe.runningThumbs(), 8);
        setting.request(setting.video(1), true);
        setting.request(setting.video(2), true);
        QCOMPARE(
            setting.probe.waitingThumbKeys(),
            (QStringList{setting.video(1), setting.video(2), setting.video(9), setting.video(10)}));
        setting.finish();
    }

    void nothingIsAskedForWithoutKeyOrVideo_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("video");
        QTest::newRow("no key") << QString() << QStringLiteral("REAL");
        QTest::newRow("blank key") << QStringLiteral("  ") << QStringLiteral("REAL");
        QTest::newRow("no video") << QStringLiteral("key") << QString();
        QTest::newRow("blank video") << QStringLiteral("key") << QStringLiteral(" \t");
        QTest::newRow("missing video") << QStringLiteral("key") << QStringLiteral("/no/such.mp4");
    }

    void nothingIsAskedForWithoutKeyOrVideo()
    {
        QFETCH(const QString, key);
        QFETCH(QString, video);
        Setting setting(good());
        if (video == QStringLiteral("REAL"))
            video = setting.video();
        setting.probe.requestThumbnail(key, video, false);
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(setting.probe.runningThumbs(), 0);
    }

    void aFailureIsLoggedOnceAndMayBeTriedAgain()
    {
        Setting setting({QStringLiteral("serve"), QStringLiteral("answer {\"err_code\":-31}"),
                         QStringLiteral("await")});
        const QString key = setting.video();
        setting.request(key);
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(setting.probe.sourceThumbs().isEmpty());
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        const QString photo = WindowProbe::thumbnailPath(key, false);
        const QStringList expected = {
            QStringLiteral("thumbnail extract failed, key=%1, "
                           "photoPath=%2, err=-31, raw={\"err_code\":-31}")
                .arg(key, photo)};
        QCOMPARE(warnings(), expected);

        setting.fault.setScript(good());
        setting.request(key);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.sourceThumbs().value(key), photo);
    }

    void aSuccessWithoutAFileIsAFailure()
    {
        Setting setting({QStringLiteral("serve"), QStringLiteral("answer {\"err_code\":0}"),
                         QStringLiteral("await")});
        const QString key = setting.video();
        setting.request(key, true);
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(setting.probe.resultThumbs().isEmpty());
        QCOMPARE(warnings().value(0), QStringLiteral("thumbnail extract failed, key=%1, "
                                                     "photoPath=%2, err=0, raw={\"err_code\":0}")
                                          .arg(key, WindowProbe::thumbnailPath(key, true)));
    }

    void eightAreMadeAtATimeTheOthersWaitInOrder()
    {
        Setting setting(held());
        QStringList keys;
        for (int i = 1; i <= 20; ++i) {
            keys.append(setting.video(i));
            setting.request(keys.last());
        }
        QTRY_COMPARE(setting.probe.runningThumbs(), 8);
        QCOMPARE(setting.probe.waitingThumbKeys(), keys.mid(8));
        // Waiting counts as pending.
        QCOMPARE(setting.probe.pendingThumbs().size(), 20);
        setting.request(keys.last());
        QCOMPARE(setting.probe.waitingThumbCount(), 12);
        QTRY_COMPARE_WITH_TIMEOUT(setting.fault.startCount(), 8, 30000);

        setting.fault.release();
        int most = 0;
        QVERIFY(QTest::qWaitFor(
            [&] {
                most = qMax(most, static_cast<int>(setting.probe.runningThumbs()));
                return setting.probe.sourceThumbs().size() == 20;
            },
            50000));
        QCOMPARE(most, 8);
        QCOMPARE(setting.fault.startCount(), 20);
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(setting.fault.leftovers(), QStringList());
    }

    void startingOverDropsThoseThatWait()
    {
        Setting setting(held());
        for (int i = 1; i <= 10; ++i)
            setting.request(setting.video(i));
        QTRY_COMPARE(setting.probe.runningThumbs(), 8);
        setting.probe.resetToImportPage();
        QCOMPARE(setting.probe.waitingThumbCount(), 0);
        QVERIFY(setting.probe.pendingThumbs().isEmpty());
        QCOMPARE(setting.probe.runningThumbs(), 8);
        // Those that come in later are kept: the files are there and true.
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.sourceThumbs().size(), 8);
        QCOMPARE(setting.fault.startCount(), 8);
    }

    void aNewListDropsWhatWaitsForTheOldOne()
    {
        Setting setting(held());
        for (int i = 1; i <= 12; ++i)
            setting.request(setting.video(i));
        QTRY_COMPARE(setting.probe.waitingThumbCount(), 4);
        const QStringList files = {setting.video(12), setting.video(13)};
        setting.probe.addDamagedFiles(files, true);
        QCOMPARE(setting.probe.waitingThumbKeys(), files);
        QVERIFY(
            !setting.probe.pendingThumbs().contains(QStringLiteral("source|") + setting.video(9)));
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(setting.probe.sourceThumbs().contains(files[0]));
        QVERIFY(setting.probe.sourceThumbs().contains(files[1]));
        QVERIFY(!setting.probe.sourceThumbs().contains(setting.video(9)));
    }

    void aWindowThatGoesDropsWhatIsUnderWay()
    {
        const FaultFolder fault(held());
        const QString link =
            QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        QVERIFY(fault.placeAt(link));
        const QString video = fault.path(QStringLiteral("video.mp4"));
        writeFile(video);
        {
            MainWindow window;
            WindowProbe(window).requestThumbnail(video, video, false);
            QTRY_COMPARE_WITH_TIMEOUT(fault.startCount(), 1, 30000);
        }
        fault.release();
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        QCoreApplication::processEvents();
        QCOMPARE(fault.leftovers(), QStringList());
        QVERIFY(fault.takeBack());
    }

    void theLocalServiceMakesARealPicture()
    {
        const QTemporaryDir folder;
        const QString video = folder.filePath(QStringLiteral("film.mp4"));
        Footage::make(video, {});
        const QString link =
            QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        QVERIFY(placeFolder(QStringLiteral(VELLUMIX_SERVICE_ROOT), link));
        MainWindow window;
        WindowProbe probe(window);
        probe.requestThumbnail(video, video, false);
        QTRY_VERIFY_WITH_TIMEOUT(probe.sourceThumbs().contains(video), 50000);
        QImageReader reader(probe.sourceThumbs().value(video));
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QVERIFY(!reader.read().isNull());
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        removePlaced(link);
    }
};

VELLUMIX_WINDOW_TEST_MAIN(ThumbnailsTest)

#include "tst_thumbnails.moc"
