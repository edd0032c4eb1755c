#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"

#include <QCheckBox>
#include <QJsonDocument>
#include <QRegularExpression>

namespace {

const QString waiting = QStringLiteral("Waiting");
const QString repairing = QStringLiteral("Repairing");
const QString oneOutput = QStringLiteral("Repair succeeded, 1 output file(s)");
const QString quickFailure =
    QStringLiteral("Quick repair failed. Try Advanced Repair with a sample video.");
const QString advancedFailure = QStringLiteral("Advanced repair failed.");
const QString alreadyRunning =
    QStringLiteral("WARN startRepair ignored because repair is already running");
const QString waitTitle = QStringLiteral("Please Wait");
const QString waitText =
    QStringLiteral("Video parameters are still being analyzed. Please try again shortly.");
const QString noticeTitle = QStringLiteral("Format Notice");

QString noticeText(int count)
{
    return QStringLiteral("%1 file(s) are outside the common supported format list. You can "
                          "continue; results depend on the repair engine.")
        .arg(count);
}

/** Good services that hold the repairs of files with this in their path until they are released. */
QStringList held(const QString &name = {})
{
    QStringList script = WorkflowSetting::goodScript();
    script.insert(1, name.isEmpty() ? QStringLiteral("when method 0: waitFile go")
                                    : QStringLiteral("when damagedPath %1: waitFile go").arg(name));
    return script;
}

/** Services that obey these lines for repairs. */
QStringList repairingBy(const QStringList &lines)
{
    QStringList script = WorkflowSetting::goodScript().mid(0, 4);
    for (const QString &line : lines) {
        script.append(QStringLiteral("when method 0: ") + line);
        script.append(QStringLiteral("when method 1: ") + line);
    }
    script.append(QStringLiteral("await"));
    return script;
}

/** What each row's button says, "-" in front when it is disabled; empty without one. */
QStringList rowActions(const WorkflowSetting &setting)
{
    QStringList texts;
    for (const ResultRow *row : setting.probe.resultRows()) {
        const auto *button = row->findChild<QPushButton *>();
        texts.append(button == nullptr ? QString()
                                       : (button->isEnabled() ? QString() : QStringLiteral("-")) +
                                             button->text());
    }
    return texts;
}

/** Writes down a label's texts, by looking at it before every event. */
class TextWatch : public QObject
{
public:
    explicit TextWatch(const QLabel &watchedLabel) : label(watchedLabel), seen(label.text())
    {
        qApp->installEventFilter(this);
    }

    QStringList texts() const
    {
        QStringList all = seen;
        if (all.isEmpty() || all.last() != label.text())
            all.append(label.text());
        return all;
    }

protected:
    bool eventFilter(QObject * /*watched*/, QEvent * /*event*/) override
    {
        seen = texts();
        return false;
    }

private:
    const QLabel &label;
    QStringList seen;
};

} // namespace

/** Every file of the list goes through the service, one after another. */
class RepairRunTest : public TestCase
{
    Q_OBJECT

private:
    /** The payloads of the repairs so far, in order. */
    static QList<QJsonObject> payloads(const WorkflowSetting &setting)
    {
        QList<QJsonObject> objects;
        for (const QString &line : setting.fullLog(QStringLiteral("RepairClient::send "
                                                                  "begin, method="))) {
            const QString json = line.mid(line.indexOf(QLatin1Char('{')));
            const QJsonObject object = QJsonDocument::fromJson(json.toUtf8()).object();
            if (object.value(QStringLiteral("method")).toInt(-1) < 2)
                objects.append(object);
        }
        return objects;
    }

    static QStringList plannedOutputs(const WorkflowSetting &setting)
    {
        QStringList paths;
        for (const QJsonObject &object : payloads(setting))
            paths.append(
                QDir::fromNativeSeparators(object.value(QStringLiteral("outFilePath")).toString()));
        return paths;
    }

    /** Starts a quick run and waits for its end. */
    static bool runToEnd(WorkflowSetting &setting, bool advanced = false)
    {
        setting.probe.startRepair(advanced);
        return setting.probe.repairRunning() && setting.waitUntilIdle();
    }

    static bool waitForStatuses(WorkflowSetting &setting, const QStringList &statuses)
    {
        return QTest::qWaitFor([&] { return setting.probe.run().itemStatuses == statuses; }, 30000);
    }

    static QStringList shownStatuses(WorkflowSetting &setting)
    {
        QStringList texts;
        for (const ResultRow *row : setting.probe.resultRows())
            texts.append(labelTexts(*row).last());
        return texts;
    }

private Q_SLOTS:
    void aRunningRunIsNotStartedAgain()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        Modals modals;
        setting.probe.repairRunning() = true;
        // Before all other questions: there is no file either.
        setting.probe.startRepair(false);
        setting.probe.startRepair(true);
        QCOMPARE(setting.log(), QStringList(2, alreadyRunning));
        QCOMPARE(setting.probe.page(), 0);
        QCOMPARE(modals.titles(), QStringList());
        setting.probe.repairRunning() = false;
    }

    void aSecondStartDuringARunChangesNothing()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {repairing, waiting}));
        setting.probe.run().previewSourcePath = paths[1];
        setting.probe.showPage(1);
        setting.probe.startRepair(false);
        QCOMPARE(setting.log(QStringLiteral("WARN startRepair")), QStringList{alreadyRunning});
        QCOMPARE(setting.probe.run().itemStatuses, (QStringList{repairing, waiting}));
        QCOMPARE(setting.probe.run().previewSourcePath, paths[1]);
        QCOMPARE(setting.probe.page(), 1);
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(payloads(setting).size(), 2);
    }

    void anEmptyListAsksForFiles()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        Modals modals;
        modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), {});
        setting.probe.startRepair(false);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(setting.log(), QStringList{QStringLiteral("INFO chooseDamagedFile canceled")});
        QVERIFY(!setting.probe.repairRunning());
        QCOMPARE(setting.probe.page(), 0);
        QCOMPARE(setting.probe.progressLabel()->text(), QString());
    }

    void filesChosenThenAreStillToBeAnalyzed()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files({QStringLiteral("a.xyz")});
        Modals modals;
        modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), paths);
        modals.expectWarning(noticeTitle, noticeText(1));
        modals.expectWarning(waitTitle, waitText);
        // The dialogs run the event loop; the answer must not come in between.
        setting.fault.setScript({QStringLiteral("serve"), QStringLiteral("waitFile go")});
        setting.probe.startRepair(false);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(setting.probe.damagedFiles(), paths);
        QVERIFY(!setting.probe.repairRunning());
        QCOMPARE(setting.probe.page(), 1);
        QCOMPARE(setting.log(QStringLiteral("startRepair")), QStringList());
    }

    void otherFormatsAreNoticedAndRepairedAll()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(
            {QStringLiteral("a.xyz"), QStringLiteral("b.MP4"), QStringLiteral("no suffix")});
        QVERIFY(setting.importFiles(paths));
        Modals modals;
        modals.expectWarning(noticeTitle, noticeText(2));
        QVERIFY(runToEnd(setting));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(setting.probe.run().repairQueue, paths);
        QCOMPARE(setting.probe.run().itemStatuses, QStringList(3, oneOutput));
        QCOMPARE(setting.probe.damagedFiles(), paths);
    }

    void theNoticeMayBeClosedInAnyWay()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files({QStringLiteral("a.xyz")})));
        Modals modals;
        modals.expect([](QDialog *dialog) { dialog->reject(); });
        QVERIFY(runToEnd(setting));
        QCOMPARE(modals.titles(), QStringList{noticeTitle});
        QCOMPARE(setting.probe.run().itemStatuses, QStringList{oneOutput});
    }

    void duringTheAnalysisOneHasToWait()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(1)));
        setting.probe.metadataLoading() = true;
        setting.probe.run().sampleFilePath = setting.file(QStringLiteral("sample.mp4"));
        for (const bool advanced : {false, true}) {
            Modals modals;
            modals.expectWarning(waitTitle, waitText);
            setting.probe.startRepair(advanced);
            QCOMPARE(modals.problems(), QStringList());
            QVERIFY(!setting.probe.repairRunning());
            QCOMPARE(setting.probe.page(), 1);
        }
        QVERIFY(setting.probe.run().repairQueue.isEmpty());
        QCOMPARE(setting.log(QStringLiteral("startRepair")), QStringList());
    }

    void advancedWithoutASampleStartsNothing_data()
    {
        QTest::addColumn<bool>("loading");
        QTest::newRow("analyzed") << false;
        QTest::newRow("still being analyzed") << true;
    }

    void advancedWithoutASampleStartsNothing()
    {
        QFETCH(const bool, loading);
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files({QStringLiteral("a.xyz")})));
        setting.probe.metadataLoading() = loading;
        Modals modals;
        modals.expectWarning(noticeTitle, noticeText(1));
        modals.expect([](QDialog *dialog) { dialog->reject(); });
        setting.probe.startRepair(true);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), (QStringList{noticeTitle, QStringLiteral("Add Sample Video")}));
        QVERIFY(!setting.probe.repairRunning());
        QVERIFY(setting.probe.run().repairQueue.isEmpty());
        QCOMPARE(setting.log(QStringLiteral("startRepair")), QStringList());
    }

    void metadataIsNotNeeded()
    {
        QStringList script = WorkflowSetting::goodScript();
        script[1] = QStringLiteral("when method 107: answer {\"err_code\":-1}");
        WorkflowSetting setting(script);
        QVERIFY(setting.importFiles(setting.files(1)));
        QVERIFY(!setting.probe.metadataReady());
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().itemStatuses, QStringList{oneOutput});
    }

    void theButtonStartsAQuickRun()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(1)));
        QTest::mouseClick(setting.probe.repairButton(), Qt::LeftButton);
        QVERIFY(setting.probe.repairRunning());
        QVERIFY(!setting.probe.run().advancedRun);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.run().itemStatuses, QStringList{oneOutput});
    }

    void theButtonAsksForTheSampleInAdvancedMode_data()
    {
        QTest::addColumn<bool>("hasSample");
        QTest::newRow("no sample yet") << false;
        QTest::newRow("a sample of before") << true;
    }

    void theButtonAsksForTheSampleInAdvancedMode()
    {
        QFETCH(const bool, hasSample);
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(1)));
        if (hasSample)
            setting.probe.run().sampleFilePath = setting.file(QStringLiteral("sample.mp4"));
        setting.probe.advancedModeCheck()->click();
        Modals modals;
        modals.expect([](QDialog *dialog) { dialog->reject(); });
        QTest::mouseClick(setting.probe.repairButton(), Qt::LeftButton);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), QStringList{QStringLiteral("Add Sample Video")});
        QVERIFY(!setting.probe.repairRunning());
    }

    void aRepairThatTakesTooLongFails()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when damagedPath a.mp4: forever"));
        WorkflowSetting setting(script);
        QVERIFY(
            setting.importFiles(setting.files({QStringLiteral("a.mp4"), QStringLiteral("b.mp4")})));
        QCOMPARE(setting.probe.makeRepairRequest().timeoutSeconds, 900);
        setting.probe.repairTimeoutSeconds() = 2;
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().itemStatuses, (QStringList{quickFailure, oneOutput}));
        QCOMPARE(rowActions(setting),
                 (QStringList{QStringLiteral("Advanced Repair"), QStringLiteral("Preview")}));
        QVERIFY(setting.fault.leftovers().isEmpty());
    }

    void anOutputThatTwoItemsReportIsThereOnce()
    {
        RunState run;
        run.begin({QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4")}, false);
        run.addOutput(QStringLiteral("/out.mp4"), QStringLiteral("/a.mp4"));
        run.addOutput(QStringLiteral("/out.mp4"), QStringLiteral("/b.mp4"));
        run.addOutput(QStringLiteral("/OUT.mp4"), QStringLiteral("/b.mp4"));
        QCOMPARE(run.outputFiles,
                 (QStringList{QStringLiteral("/out.mp4"), QStringLiteral("/OUT.mp4")}));
        QCOMPARE(run.outputSources,
                 (QStringList{QStringLiteral("/a.mp4"), QStringLiteral("/b.mp4")}));
        QCOMPARE(run.outputCount(QStringLiteral("/a.mp4")), 1);
        QCOMPARE(run.outputCount(QStringLiteral("/b.mp4")), 1);
    }

    void aRunOfOneFileIsCompletedAndThenGenerated()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(1)));
        const TextWatch watch(*setting.probe.progressLabel());
        QVERIFY(runToEnd(setting));
        QCOMPARE(watch.texts(), (QStringList{QString(), QStringLiteral("Processing..."),
                                             QStringLiteral("Completed 1/1"), QString(),
                                             QStringLiteral("Generated 1 output file(s)")}));
    }

    void aStartForgetsTheLastRun()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        auto &run = setting.probe.run();
        run.begin({paths[1]}, true);
        run.addOutput(QStringLiteral("/out.mp4"), paths[1]);
        run.setStatus(0, oneOutput);
        run.setSucceeded(0, true);
        run.firstOutputPath = QStringLiteral("/out.mp4");
        run.previewSourcePath = paths[1];
        setting.probe.startRepair(false);
        QCOMPARE(run.repairQueue, paths);
        QCOMPARE(run.itemStatuses, QStringList(2, waiting));
        QCOMPARE(run.itemSucceeded, QList<bool>(2, false));
        QCOMPARE(run.outputFiles + run.outputSources, QStringList());
        QCOMPARE(run.firstOutputPath + run.previewSourcePath, QString());
        QCOMPARE(run.repairTotal, 2);
        QVERIFY(!run.advancedRun);
        QCOMPARE(setting.probe.page(), 2);
        QCOMPARE(setting.probe.progressLabel()->text(), QStringLiteral("Processing..."));
        QVERIFY(!setting.probe.repairButton()->isEnabled());
        QVERIFY(!setting.probe.advancedModeCheck()->isEnabled());
        QCOMPARE(setting.log(QStringLiteral("startRepair")),
                 QStringList{QStringLiteral("INFO startRepair queue count=2")});
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       0/2"));
        QCOMPARE(setting.probe.saveButton()->text(), QStringLiteral("Save (0)"));
    }

    void itemsGoThroughTheirStates()
    {
        WorkflowSetting setting(held(QStringLiteral("b.mp4")));
        const QStringList paths = setting.files(
            {QStringLiteral("a.mp4"), QStringLiteral("b.mp4"), QStringLiteral("c.mp4")});
        QVERIFY(setting.importFiles(paths));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {oneOutput, repairing, waiting}));
        const auto &run = setting.probe.run();
        QCOMPARE(shownStatuses(setting), (QStringList{oneOutput, repairing, waiting}));
        QCOMPARE(run.itemSucceeded, (QList<bool>{true, false, false}));
        QCOMPARE(run.outputSources, QStringList{paths[0]});
        QCOMPARE(run.outputFiles, QStringList{run.firstOutputPath});
        QCOMPARE(setting.probe.progressLabel()->text(), QStringLiteral("Completed 1/3"));
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       1/3"));
        QVERIFY(setting.probe.repairRunning());
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(run.itemStatuses, QStringList(3, oneOutput));
        QCOMPARE(run.outputFiles, plannedOutputs(setting));
        QCOMPARE(run.outputSources, paths);
    }

    void eachStepShowsTheResultPage()
    {
        WorkflowSetting setting(held(QStringLiteral("b.mp4")));
        QVERIFY(
            setting.importFiles(setting.files({QStringLiteral("a.mp4"), QStringLiteral("b.mp4")})));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {oneOutput, repairing}));
        QCOMPARE(setting.probe.page(), 2);
        setting.probe.showPage(1);
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.page(), 2);
    }

    void theLabelCountsEachItem()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(2)));
        const TextWatch watch(*setting.probe.progressLabel());
        QVERIFY(runToEnd(setting));
        // Empty before the run and, for a moment, at its end.
        QCOMPARE(watch.texts(),
                 (QStringList{QString(), QStringLiteral("Processing..."),
                              QStringLiteral("Completed 1/2"), QStringLiteral("Completed 2/2"),
                              QString(), QStringLiteral("Generated 2 output file(s)")}));
    }

    void theQueueIsASnapshot()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths.mid(0, 2)));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {repairing, waiting}));
        setting.probe.damagedFiles() = QStringList{paths[2]};
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.run().repairQueue, paths.mid(0, 2));
        QCOMPARE(setting.probe.run().outputSources, paths.mid(0, 2));
        QCOMPARE(setting.probe.run().itemStatuses, QStringList(2, oneOutput));
    }

    void aQuickRequest()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        setting.probe.run().sampleFilePath = setting.file(QStringLiteral("sample.mp4"));
        QVERIFY(runToEnd(setting));
        QCOMPARE(payloads(setting).size(), 1);
        const QJsonObject payload = payloads(setting).first();
        QCOMPARE(payload.value(QStringLiteral("method")).toInt(-1), 0);
        QCOMPARE(payload.value(QStringLiteral("damagedPath")).toString(), paths[0]);
        QVERIFY(!payload.contains(QStringLiteral("samplePath")));
        QCOMPARE(setting.fullLog(QStringLiteral("method=0, timeoutSeconds=900, ")).size(), 1);
        const RepairRequest request = setting.probe.makeRepairRequest();
        QCOMPARE(payload.value(QStringLiteral("tempPath")).toString(),
                 QDir::toNativeSeparators(request.tempDir));
        QCOMPARE(payload.value(QStringLiteral("logPath")).toString(),
                 QDir::toNativeSeparators(request.logDir));
        QCOMPARE(payload.value(QStringLiteral("config")).toString(),
                 QDir::toNativeSeparators(request.configDir));
    }

    void anAdvancedRequest()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        const QString sample = setting.file(QStringLiteral("sample.mp4"));
        setting.probe.run().sampleFilePath = sample;
        QVERIFY(runToEnd(setting, true));
        QVERIFY(setting.probe.run().advancedRun);
        QCOMPARE(setting.probe.run().sampleFilePath, sample);
        QCOMPARE(payloads(setting).size(), 2);
        for (int i = 0; i < 2; ++i) {
            const QJsonObject payload = payloads(setting)[i];
            QCOMPARE(payload.value(QStringLiteral("method")).toInt(-1), 1);
            QCOMPARE(payload.value(QStringLiteral("damagedPath")).toString(), paths[i]);
            QCOMPARE(payload.value(QStringLiteral("samplePath")).toString(), sample);
        }
        QCOMPARE(setting.probe.run().itemStatuses, QStringList(2, oneOutput));
    }

    void outputsArePlannedInFoldersOfTheirOwn()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(
            {QStringLiteral("a.MOV"), QStringLiteral("no suffix"), QStringLiteral("b.tar.mkv")});
        QVERIFY(setting.importFiles(paths));
        Modals modals;
        modals.expectWarning(noticeTitle, noticeText(1));
        QVERIFY(runToEnd(setting));
        QCOMPARE(modals.problems(), QStringList());
        const QStringList outputs = plannedOutputs(setting);
        QCOMPARE(outputs.size(), 3);
        const QStringList suffixes{QStringLiteral("MOV"), QStringLiteral("mp4"),
                                   QStringLiteral("mkv")};
        QSet<QString> ids;
        for (int i = 0; i < 3; ++i) {
            const QRegularExpression shape(
                QStringLiteral("^%1/([0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12})/"
                               "repair_(\\1)\\.%2$")
                    .arg(QRegularExpression::escape(WindowProbe::publicDataPath()), suffixes[i]));
            const auto match = shape.match(outputs[i]);
            QVERIFY2(match.hasMatch(), qPrintable(outputs[i]));
            ids.insert(match.captured(1));
            QCOMPARE(readFile(outputs[i]), QByteArray("repaired"));
        }
        QCOMPARE(ids.size(), 3);
        QCOMPARE(setting.probe.run().firstOutputPath, outputs[0]);
    }

    void companionsAreOutputsToo()
    {
        WorkflowSetting setting(repairingBy(
            {QStringLiteral("companion outFilePath more"), QStringLiteral("output outFilePath one"),
             QStringLiteral("answer {\"err_code\":0,\"function\":0}")}));
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(runToEnd(setting));
        QStringList expected;
        for (QString path : plannedOutputs(setting)) {
            expected.append(path);
            expected.append(path.insert(path.lastIndexOf(QLatin1Char('.')), QStringLiteral("_2")));
        }
        const auto &run = setting.probe.run();
        QCOMPARE(run.outputFiles, expected);
        QCOMPARE(run.outputSources, (QStringList{paths[0], paths[0], paths[1], paths[1]}));
        QCOMPARE(run.itemStatuses,
                 QStringList(2, QStringLiteral("Repair succeeded, 2 output file(s)")));
        QCOMPARE(setting.log(QStringLiteral("repair item finished")).first(),
                 QStringLiteral("INFO repair item finished, ok=1, outputs=%1, "
                                "raw={\"err_code\":0,\"function\":0}")
                     .arg(expected.mid(0, 2).join(QLatin1Char('|'))));
        QCOMPARE(setting.probe.saveAllButton()->text(), QStringLiteral("Save All (4)"));
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 4 output file(s)"));
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       2/2"));
        QCOMPARE(rowActions(setting),
                 (QStringList{QStringLiteral("Preview"), QStringLiteral("Preview")}));
    }

    void aSuccessNeedsAnOutput_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("none") << QString();
        QTest::newRow("an empty one") << QStringLiteral("output outFilePath ");
    }

    void aSuccessNeedsAnOutput()
    {
        QFETCH(const QString, line);
        QStringList lines{QStringLiteral("answer {\"err_code\":0}")};
        if (!line.isEmpty())
            lines.prepend(line);
        WorkflowSetting setting(repairingBy(lines));
        QVERIFY(setting.importFiles(setting.files(1)));
        QVERIFY(runToEnd(setting));
        const auto &run = setting.probe.run();
        QCOMPARE(run.itemStatuses, QStringList{quickFailure});
        QCOMPARE(run.itemSucceeded, QList<bool>{false});
        QCOMPARE(run.outputFiles, QStringList());
        // Planned, although there is nothing there.
        QCOMPARE(run.firstOutputPath, plannedOutputs(setting).first());
        QCOMPARE(setting.log(QStringLiteral("repair item finished")),
                 QStringList{QStringLiteral("INFO repair item finished, ok=1, outputs=, "
                                            "raw={\"err_code\":0}")});
        QVERIFY(setting.probe.resultThumbs().isEmpty());
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 0 output file(s)"));
        QCOMPARE(rowActions(setting), QStringList{QStringLiteral("Advanced Repair")});
    }

    void repairsFail_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("raw");
        QTest::newRow("code") << QStringLiteral("answer {\"err_code\":-20}")
                              << QStringLiteral("{\"err_code\":-20}");
        QTest::newRow("positive code of another function")
            << QStringLiteral("answer {\"err_code\":5,\"function\":0}")
            << QStringLiteral("{\"err_code\":5,\"function\":0}");
        QTest::newRow("no code") << QStringLiteral("answer {}") << QStringLiteral("{}");
        QTest::newRow("no JSON") << QStringLiteral("answer <b>%1</b>")
                                 << QStringLiteral("<b>%1</b>");
        QTest::newRow("no object") << QStringLiteral("answer [0]") << QStringLiteral("[0]");
        QTest::newRow("end") << QStringLiteral("exit 3") << QString();
        QTest::newRow("crash") << QStringLiteral("signal 11") << QString();
    }

    void repairsFail()
    {
        QFETCH(const QString, line);
        QFETCH(const QString, raw);
        for (const bool advanced : {false, true}) {
            // What is written before a failure does not count.
            WorkflowSetting setting(repairingBy({QStringLiteral("output outFilePath half"), line}));
            QVERIFY(setting.importFiles(setting.files(1)));
            setting.probe.run().sampleFilePath = setting.file(QStringLiteral("sample.mp4"));
            QVERIFY(runToEnd(setting, advanced));
            const QString text = advanced ? advancedFailure : quickFailure;
            QCOMPARE(setting.probe.run().itemStatuses, QStringList{text});
            QCOMPARE(shownStatuses(setting), QStringList{text});
            QCOMPARE(setting.probe.run().outputFiles, QStringList());
            QCOMPARE(setting.log(QStringLiteral("repair item finished")),
                     QStringList{QStringLiteral("INFO repair item finished, ok=0, outputs=, raw=") +
                                 raw});
            QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       0/1"));
        }
    }

    void aPositiveCodeOfAnAdvancedRepairIsASuccess()
    {
        WorkflowSetting setting(
            repairingBy({QStringLiteral("output outFilePath good"),
                         QStringLiteral("answer {\"err_code\":7,\"function\":1}")}));
        QVERIFY(setting.importFiles(setting.files(1)));
        setting.probe.run().sampleFilePath = setting.file(QStringLiteral("sample.mp4"));
        QVERIFY(runToEnd(setting, true));
        QCOMPARE(setting.probe.run().itemStatuses, QStringList{oneOutput});
    }

    void filesThatHaveGoneFail()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(QFile::remove(paths[0]));
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().itemStatuses, (QStringList{quickFailure, oneOutput}));
        QCOMPARE(payloads(setting).size(), 1);
    }

    void aSampleThatHasGoneFailsAll()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(2)));
        setting.probe.run().sampleFilePath = QStringLiteral("/no/such/sample.mp4");
        QVERIFY(runToEnd(setting, true));
        QCOMPARE(setting.probe.run().itemStatuses, QStringList(2, advancedFailure));
        QCOMPARE(payloads(setting).size(), 0);
    }

    void aServiceThatIsNotThereFailsAll()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(2)));
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().itemStatuses, QStringList(2, quickFailure));
        QCOMPARE(setting.probe.page(), 2);
        QVERIFY(!setting.probe.saveButton()->isEnabled());
    }

    void oneFailureDoesNotStopTheOthers_data()
    {
        QTest::addColumn<QString>("line");
        QTest::newRow("code") << QStringLiteral("answer {\"err_code\":-20}");
        QTest::newRow("crash") << QStringLiteral("signal 9");
    }

    void oneFailureDoesNotStopTheOthers()
    {
        QFETCH(const QString, line);
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when damagedPath a.mp4: ") + line);
        WorkflowSetting setting(script);
        const QStringList paths = setting.files({QStringLiteral("a.mp4"), QStringLiteral("b.mp4")});
        QVERIFY(setting.importFiles(paths));
        Modals modals;
        QVERIFY(runToEnd(setting));
        QCOMPARE(modals.titles(), QStringList());
        const auto &run = setting.probe.run();
        QCOMPARE(run.itemStatuses, (QStringList{quickFailure, oneOutput}));
        QCOMPARE(run.itemSucceeded, (QList<bool>{false, true}));
        QCOMPARE(run.outputSources, QStringList{paths[1]});
        QCOMPARE(run.firstOutputPath, plannedOutputs(setting).first());
        QCOMPARE(setting.probe.resultThumbs().keys(), QStringList{paths[1]});
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       1/2"));
        QVERIFY(setting.probe.saveButton()->isEnabled());
    }

    void aResultsThumbnailIsMadeFromItsFirstOutput()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.resultThumbs(),
                 (QHash<QString, QString>{{paths[0], WindowProbe::thumbnailPath(paths[0], true)}}));
        QVERIFY(setting.fullLog().contains(
            QStringLiteral("INFO extractFirstFrameScale begin, videoPath=%1, photoPath=%2, scale=2")
                .arg(plannedOutputs(setting).first(), WindowProbe::thumbnailPath(paths[0], true))));
        QCOMPARE(setting.probe.resultRows().first()->content().thumbPath,
                 WindowProbe::thumbnailPath(paths[0], true));
    }

    void theLogTellsOfTheRun()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths =
            setting.files({QStringLiteral("a %1.mp4"), QStringLiteral("b.mp4")});
        QVERIFY(setting.importFiles(paths));
        const qsizetype before = setting.log().size();
        QVERIFY(runToEnd(setting));
        const QStringList outputs = plannedOutputs(setting);
        QCOMPARE(setting.fullLog(QStringLiteral("repair item begin")),
                 (QStringList{QStringLiteral("INFO repair item begin, index=1, total=2, damaged=") +
                                  paths[0] + QStringLiteral(", output=") + outputs[0],
                              QStringLiteral("INFO repair item begin, index=2, total=2, damaged=") +
                                  paths[1] + QStringLiteral(", output=") + outputs[1]}));
        const QString finished = QStringLiteral("INFO repair item finished, ok=1, outputs=");
        const QString raw = QStringLiteral(", raw={\"err_code\":0,\"function\":0}");
        QCOMPARE(setting.log().mid(before),
                 (QStringList{QStringLiteral("INFO startRepair queue count=2"),
                              finished + outputs[0] + raw, finished + outputs[1] + raw,
                              QStringLiteral("INFO showResultPage collected outputs=") +
                                  outputs.join(QLatin1Char('|'))}));
    }

    void atTheEndAllIsFreeAgain()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(2)));
        QVERIFY(runToEnd(setting));
        QVERIFY(setting.probe.repairButton()->isEnabled());
        QVERIFY(setting.probe.advancedModeCheck()->isEnabled());
        QCOMPARE(setting.probe.page(), 2);
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 2 output file(s)"));
        const QStringList first = setting.probe.run().outputFiles;
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().outputFiles.size(), 2);
        for (const QString &output : first) {
            QVERIFY(!setting.probe.run().outputFiles.contains(output));
            QVERIFY(QFile::exists(output));
        }
        QCOMPARE(setting.fault.leftovers(), QStringList());
    }

    void aRunGoesOnAfterRemoveAll()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths.mid(0, 2)));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {repairing, waiting}));
        WorkflowSetting::settle();
        QTest::mouseClick(setting.button(2, QStringLiteral("Remove All")), Qt::LeftButton);
        QCOMPARE(setting.probe.page(), 0);
        QVERIFY(setting.probe.repairRunning());
        const auto &run = setting.probe.run();
        QVERIFY(run.itemStatuses.isEmpty());

        setting.probe.addDamagedFiles({paths[2]}, true);
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.metadataReady(), 30000);
        QCOMPARE(setting.probe.page(), 1);
        QVERIFY(!setting.probe.repairButton()->isEnabled());
        setting.probe.startRepair(false);
        QCOMPARE(setting.log(QStringLiteral("WARN startRepair")), QStringList{alreadyRunning});
        QVERIFY(run.repairQueue.isEmpty());

        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        // The old run's items have no place any more; its files are there all the same.
        QCOMPARE(run.repairQueue + run.itemStatuses, QStringList());
        QVERIFY(run.itemSucceeded.isEmpty());
        QCOMPARE(run.repairTotal, 0);
        QCOMPARE(run.outputSources, paths.mid(0, 2));
        QCOMPARE(run.outputFiles, plannedOutputs(setting));
        QCOMPARE(run.firstOutputPath, plannedOutputs(setting).first());
        QCOMPARE(setting.probe.resultRows().size(), 0);
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       0/0"));
        QCOMPARE(setting.probe.saveAllButton()->text(), QStringLiteral("Save All (2)"));
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 2 output file(s)"));
        QCOMPARE(setting.probe.page(), 2);
        QCOMPARE(setting.probe.damagedFiles(), QStringList{paths[2]});
        QVERIFY(setting.probe.repairButton()->isEnabled());
    }

    void anImportDuringARunDropsItsRows()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles({paths[0]}));
        setting.probe.startRepair(false);
        QVERIFY(waitForStatuses(setting, {repairing}));
        WorkflowSetting::settle();
        setting.probe.addDamagedFiles({paths[1]}, true);
        QVERIFY(setting.probe.repairRunning());
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.resultRows().size(), 0);
        QCOMPARE(setting.probe.damagedFiles(), QStringList{paths[1]});
        QVERIFY(runToEnd(setting));
        QCOMPARE(setting.probe.run().outputSources, QStringList{paths[1]});
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       1/1"));
    }

    void aRunMayBeRemovedBeforeItsRowsAreShown()
    {
        WorkflowSetting setting(held());
        QVERIFY(setting.importFiles(setting.files(3)));
        setting.probe.startRepair(false);
        setting.probe.resetToImportPage();
        QCOMPARE(setting.probe.resultRows().size(), 0);
        QVERIFY(setting.probe.repairRunning());
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(setting.probe.run().itemStatuses.isEmpty());
        QCOMPARE(setting.probe.resultRows().size(), 0);
    }

    void anImportMayDropARunBeforeItsRowsAreShown()
    {
        WorkflowSetting setting(held());
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths));
        setting.probe.startRepair(false);
        setting.probe.addDamagedFiles({paths[0]}, true);
        WorkflowSetting::settle();
        QCOMPARE(setting.probe.page(), 1);
        QCOMPARE(setting.probe.importRows().size(), 1);
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.resultRows().size(), 0);
    }

    void aWindowThatGoesDropsTheRun()
    {
        const FaultFolder fault(held());
        const QString link =
            QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        QVERIFY(fault.placeAt(link));
        QStringList paths;
        for (int i = 0; i < 3; ++i) {
            paths.append(fault.path(QStringLiteral("%1.mp4").arg(i)));
            writeFile(paths.last(), "video");
        }
        {
            MainWindow window;
            WindowProbe probe(window);
            probe.damagedFiles() = paths;
            probe.startRepair(false);
            QTRY_COMPARE_WITH_TIMEOUT(fault.startCount(), 1, 30000);
        }
        fault.release();
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        QCoreApplication::processEvents();
        QCOMPARE(textsOf(readLog(WorkflowSetting::logPath()))
                     .filter(QStringLiteral("repair item finished")),
                 QStringList());
        // The others are not begun.
        QCOMPARE(fault.startCount(), 1);
        QCOMPARE(fault.leftovers(), QStringList());
        QVERIFY(fault.takeBack());
    }

    void theRunsLabelFollowsTheFlag()
    {
        WorkflowSetting setting;
        setting.probe.setRepairRunning(true);
        QVERIFY(setting.probe.repairRunning());
        QCOMPARE(setting.probe.progressLabel()->text(), QStringLiteral("Processing..."));
        setting.probe.setRepairRunning(false);
        QVERIFY(!setting.probe.repairRunning());
        QCOMPARE(setting.probe.progressLabel()->text(), QString());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(RepairRunTest)

#include "tst_repair_run.moc"
