#include "tests/journey/Journey.h"
#include "tests/support/FaultTool.h"

using namespace Journey;

namespace {

const QString quickFailure =
    QStringLiteral("Quick repair failed. Try Advanced Repair with a sample video.|Advanced Repair");
const QString advancedFailure = QStringLiteral("Advanced repair failed.|");

/** Good services that obey these lines, divided by ";", for the repair of "bad.mp4". */
QStringList repairingBadly(const QString &lines)
{
    QStringList script = WorkflowSetting::goodScript();
    qsizetype place = 1;
    const QStringList list = lines.split(u';', Qt::SkipEmptyParts);
    for (const QString &line : list)
        script.insert(place++, QStringLiteral("when damagedPath bad.mp4: ") + line);
    return script;
}

} // namespace

/** Whole jobs with a service that misbehaves: what the window shows of it, and that it goes on. */
class FaultJourneyTest : public TestCase
{
    Q_OBJECT

private:
    static constexpr int shortTimeoutSeconds = 2;

    Desktop desktop;

private Q_SLOTS:
    void oneOfTwoFails_data()
    {
        QTest::addColumn<QString>("lines");
        QTest::addColumn<QString>("row");
        QTest::addColumn<int>("outputs");
        const QString good = QStringLiteral("answer {\"err_code\":0,\"function\":0}");
        QTest::newRow("an error code")
            << QStringLiteral("answer {\"err_code\":-21}") << quickFailure << 1;
        QTest::newRow("a positive code of another function")
            << QStringLiteral("answer {\"err_code\":3,\"function\":0}") << quickFailure << 1;
        QTest::newRow("an answer that is no JSON")
            << QStringLiteral("answer what?") << quickFailure << 1;
        QTest::newRow("an answer without a code")
            << QStringLiteral("answer {\"function\":0}") << quickFailure << 1;
        QTest::newRow("an empty answer, then the end")
            << QStringLiteral("answerEmpty;exit 0") << quickFailure << 1;
        QTest::newRow("killed in the middle") << QStringLiteral("signal 9") << quickFailure << 1;
        QTest::newRow("killed after it has written")
            << QStringLiteral("output outFilePath half;signal 9") << quickFailure << 1;
        QTest::newRow("an end without an answer") << QStringLiteral("exit 3") << quickFailure << 1;
        QTest::newRow("no answer in time") << QStringLiteral("forever") << quickFailure << 1;
        QTest::newRow("no answer in time, and no end when asked")
            << QStringLiteral("ignoreTerminate;forever") << quickFailure << 1;
        QTest::newRow("a success without an output") << good << quickFailure << 1;
        QTest::newRow("a success with an empty output")
            << QStringLiteral("output outFilePath ;") + good << quickFailure << 1;
        QTest::newRow("an output and a companion")
            << QStringLiteral("output outFilePath a;companion outFilePath b;") + good
            << QStringLiteral("Repair succeeded, 2 output file(s)|Preview") << 3;
        QTest::newRow("a companion alone")
            << QStringLiteral("companion outFilePath b;") + good
            << QStringLiteral("Repair succeeded, 1 output file(s)|Preview") << 2;
    }

    void oneOfTwoFails()
    {
        QFETCH(const QString, lines);
        QFETCH(const QString, row);
        QFETCH(const int, outputs);
        desktop.opened.clear();
        // The good lines are for the other video.
        WorkflowSetting setting(repairingBadly(lines + QStringLiteral(";await;exit 0")));
        setting.probe.repairTimeoutSeconds() = shortTimeoutSeconds;
        Modals modals;
        dropOnImportPage(setting.window,
                         setting.files({QStringLiteral("bad.mp4"), QStringLiteral("good.mp4")}));
        QVERIFY(setting.waitUntilIdle());
        press(setting.window, QStringLiteral("Repair"));
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(resultRows(setting.probe),
                 (QStringList{QStringLiteral("bad.mp4|") + row,
                              QStringLiteral("good.mp4|Repair succeeded, 1 output file(s)|"
                                             "Preview")}));
        QCOMPARE(setting.probe.summaryLabel()->text(),
                 outputs == 1 ? QStringLiteral("All Videos       1/2")
                              : QStringLiteral("All Videos       2/2"));
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated %1 output file(s)").arg(outputs));
        QCOMPARE(modals.titles(), QStringList());

        // What there is is saved.
        const QTemporaryDir folder;
        const QString target =
            folder.filePath(outputs == 1 ? QStringLiteral("saved.mp4") : QString());
        if (outputs == 1) {
            modals.expectFileDialog(QStringLiteral("Save Repaired Video"), {target});
            modals.expectInformation(QStringLiteral("Save Complete"),
                                     QStringLiteral("Saved to:\n") +
                                         QDir::toNativeSeparators(target));
        } else {
            modals.expectFileDialog(QStringLiteral("Select Save Folder"), {folder.path()});
            modals.expectInformation(QStringLiteral("Save Complete"),
                                     QStringLiteral("Saved %1 file(s) to:\n").arg(outputs) +
                                         QDir::toNativeSeparators(folder.path()));
        }
        press(setting.window, QStringLiteral("Save All (%1)").arg(outputs));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(entriesOf(folder.path()).size(), outputs);
        QCOMPARE(desktop.opened, QStringList{folder.path()});
        QCOMPARE(setting.fault.leftovers(), QStringList());
    }

    void everyItemOfAnAdvancedRunFails()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 1: answer {\"err_code\":-12}"));
        WorkflowSetting setting(script);
        Modals modals;
        dropOnImportPage(setting.window,
                         setting.files({QStringLiteral("a.mp4"), QStringLiteral("b.mp4")}));
        QVERIFY(setting.waitUntilIdle());
        QTest::mouseClick(setting.probe.advancedModeCheck(), Qt::LeftButton, {}, QPoint(10, 10));
        const QString sample = setting.file(QStringLiteral("sample.mp4"));
        modals.expect([&](QDialog *dialog) {
            QTest::keyClicks(dialog->focusWidget(), sample);
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
        });
        modals.expect([](QDialog *dialog) { press(*dialog, QStringLiteral("Repair")); });
        press(setting.window, QStringLiteral("Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.run().advancedRun, longMs);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(resultRows(setting.probe),
                 (QStringList{QStringLiteral("a.mp4|") + advancedFailure,
                              QStringLiteral("b.mp4|") + advancedFailure}));
        QVERIFY(!setting.probe.saveButton()->isEnabled());
        QVERIFY(!setting.probe.previewButton()->isEnabled());
    }

    void advancedRepairSucceedsWhereQuickRepairFailed_data()
    {
        QTest::addColumn<bool>("fromPreview");
        QTest::newRow("from the failed row") << false;
        QTest::newRow("from the preview of another") << true;
    }

    void advancedRepairSucceedsWhereQuickRepairFailed()
    {
        QFETCH(const bool, fromPreview);
        desktop.opened.clear();
        QStringList script = repairingBadly(QStringLiteral("when method 0: answer "
                                                           "{\"err_code\":-21}"));
        // Of the sample, the output tells that it was there.
        script.insert(1, QStringLiteral("when method 1: when samplePath sample.mp4: companion "
                                        "outFilePath with the sample"));
        WorkflowSetting setting(script);
        Modals modals;
        dropOnImportPage(setting.window,
                         setting.files({QStringLiteral("bad.mp4"), QStringLiteral("good.mp4")}));
        QVERIFY(setting.waitUntilIdle());
        press(setting.window, QStringLiteral("Repair"));
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(resultRows(setting.probe).first(), QStringLiteral("bad.mp4|") + quickFailure);

        const QString sample = setting.file(QStringLiteral("sample.mp4"));
        if (fromPreview)
            modals.expect(
                [](QDialog *dialog) { pressLater(dialog, QStringLiteral("Advanced Repair")); });
        modals.expect([&](QDialog *dialog) {
            QTest::keyClicks(dialog->focusWidget(), sample);
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
        });
        modals.expect([](QDialog *dialog) { press(*dialog, QStringLiteral("Repair")); });
        if (fromPreview)
            QTest::mouseClick(setting.probe.previewButton(), Qt::LeftButton);
        else
            press(setting.window, QStringLiteral("Advanced Repair"));
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.run().advancedRun, longMs);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(modals.problems(), QStringList());
        const QString done = QStringLiteral("|Repair succeeded, 2 output file(s)|Preview");
        QCOMPARE(resultRows(setting.probe), (QStringList{QStringLiteral("bad.mp4") + done,
                                                         QStringLiteral("good.mp4") + done}));
        QCOMPARE(setting.probe.page(), 2);
    }

    void metadataThatCannotBeToldDoesNotKeepFromRepairing()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 107: signal 9"));
        WorkflowSetting setting(script);
        dropOnImportPage(setting.window, setting.files({QStringLiteral("a.mp4")}));
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(
            labelTexts(*setting.probe.importRows().first()),
            (QStringList{QStringLiteral("a.mp4"), QStringLiteral("0.00 MB    .mp4    No audio")}));
        press(setting.window, QStringLiteral("Repair"));
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(resultRows(setting.probe),
                 QStringList{QStringLiteral("a.mp4|Repair succeeded, 1 output file(s)|Preview")});
    }

    void aPreviewToolThatHangs()
    {
        desktop.opened.clear();
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const FaultTool tool(setting.fault.serviceRoot() + QStringLiteral("/lib/x64"),
                             {QStringLiteral("hang")});
        dropOnImportPage(setting.window, setting.files({QStringLiteral("a.mp4")}));
        QVERIFY(setting.waitUntilIdle());
        press(setting.window, QStringLiteral("Repair"));
        QVERIFY(setting.waitUntilIdle());
        Modals modals;
        QElapsedTimer timer;
        qint64 waited = 0;
        modals.expect([&](QDialog *dialog) {
            QTimer::singleShot(0, dialog, [&, dialog] {
                timer.start();
                press(*dialog, QStringLiteral("Play 30s Preview"));
                waited = timer.elapsed();
                dialog->reject();
            });
        });
        press(setting.window, QStringLiteral("Preview"));
        QTRY_COMPARE_WITH_TIMEOUT(desktop.opened, setting.probe.run().outputFiles, longMs);
        QCOMPARE(modals.problems(), QStringList());
        // It is given its time, whatever else the machine does.
        QVERIFY2(waited >= 14900 && waited < 30000, qPrintable(QString::number(waited)));
        QCOMPARE(tool.calls().size(), 1);
        QCOMPARE(processesOf(tool.path).size(), 0);
    }

    void cleanupTestCase() { QVERIFY(Workers::awaitAll(std::chrono::seconds(30))); }
};

VELLUMIX_WINDOW_TEST_MAIN(FaultJourneyTest)

#include "tst_fault_journey.moc"
