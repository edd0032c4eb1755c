#include "tests/journey/Journey.h"
#include "tests/support/Footage.h"

using namespace Journey;

/**
 * The main job as a person does it: real window on a real display, the local service, damaged
 * videos of several kinds.
 */
class JourneyTest : public TestCase
{
    Q_OBJECT

private:
    /** As the client writes its path. */
    static QString demo(const QString &name)
    {
        return QDir::toNativeSeparators(QStringLiteral(VELLUMIX_DEMO "/") + name);
    }

    static QStringList damagedNames()
    {
        return {QStringLiteral("Birthday cut off.mp4"), QStringLiteral("Concert cut off.mkv"),
                QStringLiteral("Garden without index.avi"), QStringLiteral("Harbour cut off.flv"),
                QStringLiteral("Wedding never closed.mp4")};
    }

    static QStringList damagedPaths()
    {
        QStringList paths;
        const QStringList names = damagedNames();
        for (const QString &name : names)
            paths.append(demo(name));
        return paths;
    }

    static QString decodeErrors(const QString &path)
    {
        return QString::fromUtf8(Footage::decodeErrors(path));
    }

    Desktop desktop;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(
            placeFolder(QStringLiteral(VELLUMIX_SERVICE_ROOT),
                        QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService")));
    }

    void severalFilesFromTheDialogToTheFolder()
    {
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), damagedPaths());
        press(window, QStringLiteral("+ Add"));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(probe.page(), 1);
        QCOMPARE(probe.damagedFiles(), damagedPaths());
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading() && probe.pendingThumbs().isEmpty(),
                                 longMs);
        // All but the one without its parameters have a picture.
        QCOMPARE(probe.sourceThumbs().size(), 4);
        const QStringList firstRow = labelTexts(*probe.importRows().first());
        QCOMPARE(firstRow.first(), damagedNames().first());
        QVERIFY2(firstRow.last().contains(QStringLiteral("    960x540    No audio")),
                 qPrintable(firstRow.last()));
        for (const ImportRow *row : probe.importRows())
            QCOMPARE(row->content().thumbPath.isEmpty(),
                     row->content().fileName == damagedNames().last());

        press(window, QStringLiteral("Repair"));
        QCOMPARE(probe.page(), 2);
        QCOMPARE(resultRows(probe).last(), damagedNames().last() + QStringLiteral("|Waiting|"));
        QTRY_VERIFY_WITH_TIMEOUT(resultRows(probe).first().endsWith(QStringLiteral("|Repairing|")),
                                 longMs);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        const QString done = QStringLiteral("Repair succeeded, 1 output file(s)");
        QCOMPARE(probe.run().itemStatuses,
                 (QStringList{done, done, done, done,
                              QStringLiteral("Quick repair failed. Try Advanced Repair with a "
                                             "sample video.")}));
        QCOMPARE(resultRows(probe).first(),
                 damagedNames().first() + u'|' + done + QStringLiteral("|Preview"));
        QCOMPARE(resultRows(probe).last(),
                 damagedNames().last() +
                     QStringLiteral("|Quick repair failed. Try Advanced Repair with a sample "
                                    "video.|Advanced Repair"));
        QCOMPARE(probe.summaryLabel()->text(), QStringLiteral("All Videos       4/5"));
        QCOMPARE(probe.resultThumbs().size(), 4);

        const QTemporaryDir target;
        modals.expectFileDialog(QStringLiteral("Select Save Folder"), {target.path()});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved 4 file(s) to:\n") +
                                     QDir::toNativeSeparators(target.path()));
        press(window, QStringLiteral("Save All (4)"));
        QCOMPARE(modals.problems(), QStringList());
        const QStringList saved = entriesOf(target.path());
        QCOMPARE(saved, (QStringList{QStringLiteral("Birthday cut off_1_repaired.mp4"),
                                     QStringLiteral("Concert cut off_2_repaired.mkv"),
                                     QStringLiteral("Garden without index_3_repaired.avi"),
                                     QStringLiteral("Harbour cut off_4_repaired.flv")}));
        for (int i = 0; i < 4; ++i) {
            const QString copy = target.filePath(saved[i]);
            QCOMPARE(readFile(copy), readFile(probe.run().outputFiles[i]));
            QCOMPARE(decodeErrors(copy), QString());
        }
        QCOMPARE(desktop.opened, QStringList{target.path()});
    }

    void oneFileDroppedRepairedAndSaved()
    {
        desktop.opened.clear();
        const QTemporaryDir folder;
        const QString damaged = folder.filePath(QStringLiteral("my %1 film.mp4"));
        QVERIFY(QFile::copy(demo(QStringLiteral("Birthday cut off.mp4")), damaged));
        const QByteArray before = readFile(damaged);
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        dropOnImportPage(window, {damaged});
        QCOMPARE(probe.page(), 1);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning(), longMs);

        const QString target = folder.filePath(QStringLiteral("my %1 film_repaired.mp4"));
        modals.expectFileDialog(QStringLiteral("Save Repaired Video"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved to:\n") + QDir::toNativeSeparators(target));
        press(window, QStringLiteral("Save (1)"));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(readFile(target), readFile(probe.run().outputFiles.value(0)));
        QCOMPARE(decodeErrors(target), QString());
        QCOMPARE(readFile(damaged), before);
        QCOMPARE(desktop.opened, QStringList{folder.path()});

        press(window, QStringLiteral("Remove All"));
        QCOMPARE(probe.page(), 0);
        QVERIFY(probe.damagedFiles().isEmpty());
    }

    void oddNamesGoThroughUnharmed()
    {
        const QTemporaryDir folder;
        // Longer than 260 characters, and full of what means something elsewhere.
        QString deep = folder.path();
        while (deep.size() < 300)
            deep +=
                QLatin1Char('/') + possibleName(QStringLiteral("über %2 \"quoted\" 'folder' 映画"));
        QVERIFY(QDir().mkpath(deep));
        const QStringList names = {possibleName(QStringLiteral("%1 <b>свадьба & \"50%\" 'x'")),
                                   possibleName(QStringLiteral("two\nlines  and  blanks"))};
        QStringList damaged;
        for (const QString &name : names) {
            damaged.append(
                QDir::toNativeSeparators(deep + QLatin1Char('/') + name + QStringLiteral(".avi")));
            QVERIFY(QFile::copy(demo(QStringLiteral("Garden without index.avi")), damaged.last()));
        }
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        Modals modals;
        dropOnImportPage(window, damaged);
        QCOMPARE(probe.damagedFiles(), damaged);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading() && probe.pendingThumbs().isEmpty(),
                                 longMs);
        QCOMPARE(probe.sourceThumbs().size(), 2);
        QVERIFY(!probe.damagedMetadataText().isEmpty());
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        QCOMPARE(probe.run().itemSucceeded, (QList<bool>{true, true}));
        QCOMPARE(probe.resultThumbs().size(), 2);

        // Without quotes: the file dialog takes typed ones for its own.
        const QString target = folder.filePath(QStringLiteral("saved %1 映画"));
        QVERIFY(QDir().mkpath(target));
        modals.expectFileDialog(QStringLiteral("Select Save Folder"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved 2 file(s) to:\n") +
                                     QDir::toNativeSeparators(target));
        press(window, QStringLiteral("Save All (2)"));
        QCOMPARE(modals.problems(), QStringList());
        for (int i = 0; i < 2; ++i) {
            const QString saved =
                target +
                QStringLiteral("/%1_%2_repaired.avi").arg(names[i], QString::number(i + 1));
            QCOMPARE(readFile(saved), readFile(probe.run().outputFiles[i]));
            QCOMPARE(decodeErrors(saved), QString());
        }
    }

    void advancedModeByTheCheckBoxWithATypedSample()
    {
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        dropOnImportPage(window, {demo(QStringLiteral("Birthday cut off.mp4"))});
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        QTest::mouseClick(probe.advancedModeCheck(), Qt::LeftButton, {}, QPoint(10, 10));
        QVERIFY(probe.advancedModeCheck()->isChecked());
        Modals modals;
        const QString sample = demo(QStringLiteral("Sample from the same camera.mp4"));
        modals.expect([&](QDialog *dialog) {
            QTest::keyClicks(dialog->focusWidget(), sample);
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
        });
        QStringList lines;
        modals.expect([&](QDialog *dialog) {
            lines = comparisonLines(*dialog);
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
        });
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(probe.run().advancedRun, longMs);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(lines.size(), 7);
        QCOMPARE(lines[0], QStringLiteral("Format|.mp4|.mp4"));
        QCOMPARE(lines[1], QStringLiteral("Codec|h264|h264"));
        QCOMPARE(lines[2], QStringLiteral("Manufacturer|/|/"));
        QVERIFY2(lines[4].endsWith(u'!'), qPrintable(lines[4]));
        QCOMPARE(lines[5], QStringLiteral("Frame Rate|25.000|25.000"));
        QCOMPARE(lines[6], QStringLiteral("Resolution|960x540|960x540"));
        QCOMPARE(probe.page(), 2);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning(), longMs);
        QCOMPARE(resultRows(probe),
                 QStringList{QStringLiteral("Birthday cut off.mp4|Repair succeeded, 1 output "
                                            "file(s)|Preview")});
        // Its index is there: the sample is not needed.
        QCOMPARE(decodeErrors(probe.run().outputFiles.value(0)), QString());
    }

    void aRecordingWithoutIndexFromQuickRepairToTheSavedFile()
    {
        desktop.opened.clear();
        const QTemporaryDir folder;
        const QString damaged = folder.filePath(QStringLiteral("Wedding.mp4"));
        QVERIFY(QFile::copy(demo(QStringLiteral("Wedding never closed.mp4")), damaged));
        const QByteArray before = readFile(damaged);
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        dropOnImportPage(window, {damaged});
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning(), longMs);
        QCOMPARE(resultRows(probe),
                 QStringList{QStringLiteral("Wedding.mp4|Quick repair failed. Try Advanced Repair "
                                            "with a sample video.|Advanced Repair")});

        Modals modals;
        const QString sample = demo(QStringLiteral("Sample from the same camera.mp4"));
        modals.expect([&](QDialog *dialog) {
            drop(dialog->findChild<DropLineEdit *>(), {sample});
            press(*dialog, QStringLiteral("OK"));
        });
        QStringList lines;
        modals.expect([&](QDialog *dialog) {
            lines = comparisonLines(*dialog);
            press(*dialog, QStringLiteral("Repair"));
        });
        press(window, QStringLiteral("Advanced Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(probe.run().advancedRun, longMs);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(lines.size(), 7);
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);
        QCOMPARE(resultRows(probe),
                 QStringList{QStringLiteral("Wedding.mp4|Repair succeeded, 1 output "
                                            "file(s)|Preview")});
        QCOMPARE(probe.summaryLabel()->text(), QStringLiteral("All Videos       1/1"));
        QCOMPARE(probe.resultThumbs().size(), 1);

        modals.expect([&](QDialog *dialog) {
            QTimer::singleShot(0, dialog, [dialog] {
                press(*dialog, QStringLiteral("Play 30s Preview"));
                dialog->reject();
            });
        });
        press(window, QStringLiteral("Preview"));
        QTRY_COMPARE_WITH_TIMEOUT(desktop.opened.size(), 1, longMs);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(decodeErrors(desktop.opened.first()), QString());

        const QString target = folder.filePath(QStringLiteral("Wedding_repaired.mp4"));
        modals.expectFileDialog(QStringLiteral("Save Repaired Video"), {target});
        modals.expectInformation(QStringLiteral("Save Complete"),
                                 QStringLiteral("Saved to:\n") + QDir::toNativeSeparators(target));
        press(window, QStringLiteral("Save (1)"));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(decodeErrors(target), QString());
        // Eight seconds were recorded, and four fifths of the bytes are left.
        const double length =
            Footage::probe(target,
                           {QStringLiteral("-show_entries"), QStringLiteral("format=duration"),
                            QStringLiteral("-of"), QStringLiteral("csv=p=0")})
                .toDouble();
        QVERIFY2(length > 5 && length < 8, qPrintable(QString::number(length)));
        QCOMPARE(readFile(damaged), before);
    }

    void advancedRepairOfAFailedRowWithADroppedSample()
    {
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        const QString wedding = QStringLiteral("Wedding never closed.mp4");
        dropOnImportPage(window, {demo(wedding)});
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning(), longMs);
        Modals modals;
        const QString sample = demo(QStringLiteral("Sample from the same camera.mp4"));
        modals.expect([&](QDialog *dialog) {
            drop(dialog->findChild<DropLineEdit *>(), {sample});
            press(*dialog, QStringLiteral("OK"));
        });
        QStringList lines;
        modals.expect([&](QDialog *dialog) {
            lines = comparisonLines(*dialog);
            dialog->reject();
        });
        press(window, QStringLiteral("Advanced Repair"));
        QTRY_COMPARE_WITH_TIMEOUT(lines.size(), 7, longMs);
        QCOMPARE(modals.problems(), QStringList());
        // Nothing is known of the damaged file but its name.
        QCOMPARE(lines[1], QStringLiteral("Codec|/|h264!"));
        QCOMPARE(lines[6], QStringLiteral("Resolution|/|960x540!"));
        QCOMPARE(probe.page(), 1);
        QVERIFY(probe.advancedModeCheck()->isChecked());
        QVERIFY(!probe.run().advancedRun);
        QCOMPARE(probe.run().sampleFilePath, sample);
    }

    void previewAndAdvancedRepairFromItWithABrowsedSample()
    {
        desktop.opened.clear();
        MainWindow window;
        window.show();
        WindowProbe probe(window);
        dropOnImportPage(window, {demo(QStringLiteral("Birthday cut off.mp4")),
                                  demo(QStringLiteral("Concert cut off.mkv"))});
        QTRY_VERIFY_WITH_TIMEOUT(!probe.metadataLoading(), longMs);
        press(window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(!probe.repairRunning() && probe.pendingThumbs().isEmpty(), longMs);

        Modals modals;
        QString title;
        // One row: its file alone. Played twice, and cut once.
        modals.expect([&](QDialog *dialog) {
            title = dialog->windowTitle();
            QTimer::singleShot(0, dialog, [dialog] {
                press(*dialog, QStringLiteral("Play 30s Preview"));
                press(*dialog, QStringLiteral("▶"));
                dialog->reject();
            });
        });
        press(window, QStringLiteral("Preview"));
        QTRY_COMPARE_WITH_TIMEOUT(desktop.opened.size(), 2, longMs);
        QCOMPARE(modals.problems(), QStringList());
        QVERIFY2(title.startsWith(QStringLiteral("Birthday cut off.mp4  (")), qPrintable(title));
        const QString clip = desktop.opened.first();
        QCOMPARE(desktop.opened.last(), clip);
        QCOMPARE(clip, WindowProbe::publicDataPath() + u'/' +
                           QFileInfo(probe.run().outputFiles.first()).completeBaseName() +
                           QStringLiteral("_preview_30s.mp4"));
        QCOMPARE(decodeErrors(clip), QString());

        // All of them, from the footer; and on to an advanced repair.
        modals.expect([&](QDialog *dialog) {
            QVERIFY(buttonOf(*dialog, QStringLiteral("Save Video (2)")) != nullptr);
            pressLater(dialog, QStringLiteral("Advanced Repair"));
        });
        const QString sample = demo(QStringLiteral("Sample from the same camera.mp4"));
        modals.expect([](QDialog *dialog) {
            QTimer::singleShot(0, dialog, [dialog] {
                press(*dialog, QStringLiteral("Browse"));
                press(*dialog, QStringLiteral("OK"));
            });
        });
        modals.expectFileDialog(QStringLiteral("Select Sample Video"), {sample});
        QStringList lines;
        modals.expect([&](QDialog *dialog) {
            lines = comparisonLines(*dialog);
            dialog->reject();
        });
        QTest::mouseClick(probe.previewButton(), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(lines.size(), 7, longMs);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(probe.run().sampleFilePath, sample);
        QCOMPARE(probe.page(), 1);
    }

    void cleanupTestCase() { QVERIFY(Workers::awaitAll(std::chrono::seconds(30))); }
};

VELLUMIX_WINDOW_TEST_MAIN(JourneyTest)

#include "tst_journey.moc"
