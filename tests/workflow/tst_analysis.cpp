#include "tests/support/MetadataLabels.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"

#include <QCheckBox>
#include <QJsonDocument>

namespace {

const QString fullMetadata =
    QStringLiteral("{\"width\":1920,\"height\":1080,\"video_frame_rate\":29.97,"
                   "\"bitrate\":5000000,\"codec\":\"h264\"}");
const QString fullSummary =
    QStringLiteral("0.00 MB    29.970 fps    1920x1080    No audio    Bitrate: 5000000.000");

/** A service that says this of every video, and makes its pictures. */
QStringList answering(const QString &answer)
{
    QStringList script = WorkflowSetting::goodScript();
    script[1] = QStringLiteral("when method 107: answer ") + answer;
    return script;
}

/** One that waits to be released before it tells of a video. */
QStringList held(QStringList script, const QString &name = {})
{
    const QString wait = QStringLiteral("waitFile go");
    script.insert(1,
                  name.isEmpty()
                      ? QStringLiteral("when method 107: ") + wait
                      : QStringLiteral("when method 107: when videoPath %1: %2").arg(name, wait));
    return script;
}

} // namespace

/** What the service says of the current file, and what the window makes of it. */
class AnalysisTest : public TestCase
{
    Q_OBJECT

private:
    static QStringList analysisLog(const WorkflowSetting &setting)
    {
        return setting.log(QStringLiteral("loadDamagedMetadata"));
    }

    /** The lines that begin an analysis. */
    static QStringList beginLog(const QString &path)
    {
        const QString root =
            QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        return {QStringLiteral("INFO loadDamagedMetadata begin, filePath=") + path,
                QStringLiteral("INFO loadDamagedMetadata request, serviceRoot=%1, "
                               "configPath=%2/config, logPath=%3/Logs, "
                               "tempPath=%4/Vellumix/Tessaly")
                    .arg(QDir::toNativeSeparators(root), root,
                         QCoreApplication::applicationDirPath(), qEnvironmentVariable("PUBLIC"))};
    }

    static QString firstDetail(WorkflowSetting &setting)
    {
        const QList<ImportRow *> rows = setting.probe.importRows();
        return rows.isEmpty() ? QStringLiteral("no row") : labelTexts(*rows.first()).last();
    }

    /** "repair SWITCH": what of the actions is enabled. */
    static QString enabledActions(WorkflowSetting &setting)
    {
        return QStringLiteral("%1 %2")
            .arg(setting.probe.repairButton()->isEnabled())
            .arg(setting.probe.advancedModeCheck()->isEnabled());
    }

private Q_SLOTS:
    void withoutAFileNothingIsAsked()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const MetadataLabels labels(setting.probe);
        setting.probe.loadDamagedMetadata();
        QCOMPARE(setting.log(), QStringList{QStringLiteral("WARN loadDamagedMetadata skipped, "
                                                           "empty damagedFilePath")});
        QVERIFY(!setting.probe.metadataLoading());
        QCOMPARE(setting.probe.damagedMetadataText(), QString());
        QCOMPARE(labels.frameRate.text() + labels.resolution.text() + labels.file.text(),
                 QStringLiteral("beforebeforebefore"));
        QCOMPARE(setting.fault.startCount(), 0);
    }

    void whileItIsAskedThePageSaysSo()
    {
        WorkflowSetting setting(held(answering(QStringLiteral("{\"err_code\":0}"))));
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(2);
        setting.probe.metadataReady() = true;
        setting.probe.addDamagedFiles(paths, true);
        QVERIFY(setting.probe.metadataLoading());
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.damagedMetadataText(), QStringLiteral("Analyzing..."));
        QCOMPARE(firstDetail(setting), QStringLiteral("Analyzing..."));
        QCOMPARE(labelTexts(*setting.probe.importRows()[1]).last(),
                 QStringLiteral("0.00 MB    .mp4    No audio"));
        QCOMPARE(labels.frameRate.text(), QString());
        QCOMPARE(labels.resolution.text(), QStringLiteral("Analyzing..."));
        QCOMPARE(labels.file.text(), QStringLiteral("▪ ") + paths[0]);
        QCOMPARE(enabledActions(setting), QStringLiteral("0 0"));
        QCOMPARE(analysisLog(setting), beginLog(paths[0]));
    }

    void aGoodAnswerIsShown()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(fullMetadata));
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(setting.probe.metadataReady());
        QVERIFY(!setting.probe.metadataLoading());
        QCOMPARE(setting.probe.damagedMetadataText(), fullSummary);
        QCOMPARE(firstDetail(setting), fullSummary);
        QCOMPARE(labelTexts(*setting.probe.importRows()[1]).last(),
                 QStringLiteral("0.00 MB    .mp4    No audio"));
        QCOMPARE(labels.frameRate.text(), QStringLiteral("29.970 fps"));
        QCOMPARE(labels.resolution.text(), QStringLiteral("1920x1080"));
        QCOMPARE(labels.file.text(), paths[0] + QStringLiteral("    Bitrate: 5000000.000"));
        QCOMPARE(enabledActions(setting), QStringLiteral("1 1"));
        QStringList expected = beginLog(paths[0]);
        const QJsonObject object = QJsonDocument::fromJson(fullMetadata.toUtf8()).object();
        expected.append(QStringLiteral("INFO loadDamagedMetadata success, metadata=") +
                        QString::fromUtf8(QJsonDocument(object).toJson(QJsonDocument::Compact)));
        QCOMPARE(analysisLog(setting), expected);
    }

    void oneFileOnlyIsAskedFor()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths));
        QCOMPARE(setting.fullLog(QStringLiteral("extractMetadata begin")),
                 QStringList{QStringLiteral("INFO extractMetadata begin, videoPath=") + paths[0]});
    }

    void labelsMayBeAbsent()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(fullMetadata));
        QVERIFY(setting.importFiles(setting.files(1)));
        QCOMPARE(setting.probe.damagedMetadataText(), fullSummary);
        setting.fault.setScript(answering(QStringLiteral("{\"err_code\":-1}")));
        QVERIFY(setting.importFiles(setting.files(1)));
        QCOMPARE(setting.probe.damagedMetadataText(), QString());
    }

    void unknownValuesLeaveTheFileLabel()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(QStringLiteral("{\"other\":true}")));
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(setting.probe.metadataReady());
        QCOMPARE(firstDetail(setting), QStringLiteral("0.00 MB    No audio"));
        QCOMPARE(labels.frameRate.text(), QString());
        QCOMPARE(labels.resolution.text(), QString());
        QCOMPARE(labels.file.text(), QStringLiteral("▪ ") + paths[0]);
    }

    void theKeyMayBeMisspelt_data()
    {
        QTest::addColumn<QString>("members");
        QTest::newRow("alone") << QStringLiteral("\"vedio_info\":{\"width\":4,\"height\":3}");
        QTest::newRow("beside null")
            << QStringLiteral("\"video_info\":null,\"vedio_info\":{\"width\":4,\"height\":3}");
        QTest::newRow("beside a text")
            << QStringLiteral("\"video_info\":\"x\",\"vedio_info\":{\"width\":4,\"height\":3}");
        QTest::newRow("less than the right one")
            << QStringLiteral("\"video_info\":{\"width\":4,\"height\":3},"
                              "\"vedio_info\":{\"width\":8,\"height\":6}");
    }

    void theKeyMayBeMisspelt()
    {
        QFETCH(const QString, members);
        WorkflowSetting setting(
            answering(QStringLiteral("{\"err_code\":0,\"function\":107,%1}").arg(members)));
        QVERIFY(setting.importFiles(setting.files(1)));
        QVERIFY(setting.probe.metadataReady());
        QCOMPARE(analysisLog(setting).last(),
                 QStringLiteral("INFO loadDamagedMetadata success, "
                                "metadata={\"height\":3,\"width\":4}"));
        QCOMPARE(firstDetail(setting), QStringLiteral("0.00 MB    4x3    No audio"));
    }

    void anAnswerWithoutMetadataClears_data()
    {
        QTest::addColumn<QString>("answer");
        QTest::newRow("no object") << QStringLiteral("{\"err_code\":0}");
        QTest::newRow("an empty object") << QStringLiteral("{\"err_code\":0,\"video_info\":{}}");
        QTest::newRow("no object by name")
            << QStringLiteral("{\"err_code\":0,\"video_info\":[1],\"vedio_info\":7}");
        // What stands first is taken, though the other has more.
        QTest::newRow("an empty object before a full one")
            << QStringLiteral("{\"err_code\":0,\"video_info\":{},\"vedio_info\":{\"width\":1}}");
    }

    void anAnswerWithoutMetadataClears()
    {
        QFETCH(const QString, answer);
        WorkflowSetting setting(answering(answer));
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QStringList expected = beginLog(paths[0]);
        expected.append(QStringLiteral("WARN loadDamagedMetadata empty metadata, raw=") + answer);
        QCOMPARE(analysisLog(setting), expected);
        checkCleared(setting, labels, paths[0]);
    }

    void aFailureClears_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("raw");
        QTest::addColumn<QString>("message");
        const QString coded = QStringLiteral("{\"err_code\":-12,\"video_info\":{\"width\":1}}");
        QTest::newRow("code") << QStringLiteral("answer ") + coded << coded
                              << QStringLiteral("RepairService request failed, err_code=-12.");
        const QString uncoded = QStringLiteral("{\"video_info\":{\"width\":1}}");
        QTest::newRow("no code") << QStringLiteral("answer ") + uncoded << uncoded
                                 << QStringLiteral("RepairService request failed, err_code=-1.");
        // A positive code is a success for repairs alone.
        const QString positive =
            QStringLiteral("{\"err_code\":3,\"function\":107,\"video_info\":{\"width\":1}}");
        QTest::newRow("positive code")
            << QStringLiteral("answer ") + positive << positive
            << QStringLiteral("RepairService request failed, err_code=3.");
        QTest::newRow("no JSON") << QStringLiteral("answer no %1 JSON")
                                 << QStringLiteral("no %1 JSON") << QString();
        QTest::newRow("the service ends") << QStringLiteral("exit 3") << QString() << QString();
        QTest::newRow("the service crashes")
            << QStringLiteral("signal 9") << QString() << QString();
    }

    void aFailureClears()
    {
        QFETCH(const QString, line);
        QFETCH(const QString, raw);
        QFETCH(const QString, message);
        QStringList script = WorkflowSetting::goodScript();
        script[1] = QStringLiteral("when method 107: ") + line;
        WorkflowSetting setting(script);
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        const QStringList log = analysisLog(setting);
        QCOMPARE(log.size(), 3);
        QCOMPARE(log.mid(0, 2), beginLog(paths[0]));
        const QString begin = QStringLiteral("WARN loadDamagedMetadata failed, message=");
        const QString end = QStringLiteral(", raw=") + raw;
        QVERIFY2(log[2].startsWith(begin) && log[2].endsWith(end), qPrintable(log[2]));
        const QString told = log[2].mid(begin.size(), log[2].size() - begin.size() - end.size());
        QVERIFY(!told.isEmpty());
        if (!message.isEmpty())
            QCOMPARE(told, message);
        checkCleared(setting, labels, paths[0]);
    }

    void aServiceThatIsNotThereClears()
    {
        WorkflowSetting setting;
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(analysisLog(setting).last().startsWith(
            QStringLiteral("WARN loadDamagedMetadata failed, message=")));
        checkCleared(setting, labels, paths[0]);
    }

    void aFileThatHasGoneClears()
    {
        QStringList script = WorkflowSetting::goodScript();
        WorkflowSetting setting(script);
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(QFile::remove(paths[0]));
        setting.probe.loadDamagedMetadata();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(analysisLog(setting).last(),
                 QStringLiteral("WARN loadDamagedMetadata failed, message=Video file not found: "
                                "%1, raw=")
                     .arg(paths[0]));
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.damagedMetadataText(), QString());
    }

    void aFailureAfterASuccessTakesItBack()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(fullMetadata));
        const MetadataLabels labels(setting.probe);
        const QStringList paths = setting.files(1);
        QVERIFY(setting.importFiles(paths));
        QVERIFY(setting.probe.metadataReady());
        setting.fault.setScript(answering(QStringLiteral("{\"err_code\":-1}")));
        QVERIFY(setting.importFiles(paths));
        checkCleared(setting, labels, paths[0]);
    }

    void aStaleAnswerChangesNothing()
    {
        WorkflowSetting setting(
            held(WorkflowSetting::goodScript(fullMetadata), QStringLiteral("a.mp4")));
        const MetadataLabels labels(setting.probe);
        const QString a = setting.file(QStringLiteral("a.mp4"));
        const QString b = setting.file(QStringLiteral("b.mp4"), QByteArray(1048576, 'v'));
        setting.probe.addDamagedFiles({a}, true);
        setting.probe.addDamagedFiles({b}, true);
        QVERIFY(setting.probe.metadataLoading());
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.metadataReady(), 30000);
        QVERIFY(!setting.probe.metadataLoading());
        const QString summary = setting.probe.damagedMetadataText();
        QVERIFY(summary.startsWith(QStringLiteral("1.00 MB")));
        const QString stale = QStringLiteral("WARN loadDamagedMetadata ignored stale response, "
                                             "responseFile=%1, currentFile=%2")
                                  .arg(a, b);
        QVERIFY(!setting.log().contains(stale));

        setting.fault.release();
        QTRY_VERIFY_WITH_TIMEOUT(setting.log().contains(stale), 30000);
        QCOMPARE(analysisLog(setting).last(), stale);
        QVERIFY(setting.probe.metadataReady());
        QVERIFY(!setting.probe.metadataLoading());
        QCOMPARE(setting.probe.damagedMetadataText(), summary);
        QCOMPARE(firstDetail(setting), summary);
        QCOMPARE(labels.file.text(), b + QStringLiteral("    Bitrate: 5000000.000"));
        QCOMPARE(enabledActions(setting), QStringLiteral("1 1"));
    }

    void aStaleAnswerLeavesTheNewerRequestGoing()
    {
        WorkflowSetting setting(
            held(WorkflowSetting::goodScript(fullMetadata), QStringLiteral("b.mp4")));
        const QString a = setting.file(QStringLiteral("a.mp4"));
        const QString b = setting.file(QStringLiteral("b.mp4"));
        setting.probe.addDamagedFiles({a}, true);
        setting.probe.addDamagedFiles({b}, true);
        QTRY_VERIFY_WITH_TIMEOUT(!setting.log(QStringLiteral("ignored stale response")).isEmpty(),
                                 30000);
        QVERIFY(setting.probe.metadataLoading());
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.damagedMetadataText(), QStringLiteral("Analyzing..."));
        QCOMPARE(enabledActions(setting), QStringLiteral("0 0"));
        setting.fault.release();
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.metadataReady(), 30000);
        QCOMPARE(setting.probe.damagedMetadataText(), fullSummary);
        QCOMPARE(enabledActions(setting), QStringLiteral("1 1"));
    }

    void namesThatDifferInCaseAreStaleToEachOther()
    {
        WorkflowSetting setting(held(WorkflowSetting::goodScript(), QStringLiteral("clip.mp4")));
        const QString lower = setting.file(QStringLiteral("clip.mp4"));
        const QString upper = setting.file(QStringLiteral("CLIP.mp4"));
        setting.probe.addDamagedFiles({lower}, true);
        setting.probe.addDamagedFiles({upper}, true);
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.metadataReady(), 30000);
        setting.fault.release();
        QTRY_COMPARE_WITH_TIMEOUT(
            setting.log(QStringLiteral("ignored stale")),
            QStringList{QStringLiteral("WARN loadDamagedMetadata ignored stale response, "
                                       "responseFile=%1, currentFile=%2")
                            .arg(lower, upper)},
            30000);
    }

    void anAnswerAfterRemoveAllIsStale()
    {
        WorkflowSetting setting(held(WorkflowSetting::goodScript(fullMetadata)));
        const QStringList paths = setting.files(1);
        setting.probe.addDamagedFiles(paths, true);
        WorkflowSetting::settle();
        setting.probe.resetToImportPage();
        QVERIFY(!setting.probe.metadataLoading());
        setting.fault.release();
        QTRY_COMPARE_WITH_TIMEOUT(
            setting.log(QStringLiteral("ignored stale")),
            QStringList{QStringLiteral("WARN loadDamagedMetadata ignored stale response, "
                                       "responseFile=%1, currentFile=")
                            .arg(paths[0])},
            30000);
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.damagedMetadataText(), QString());
        QCOMPARE(setting.probe.page(), 0);
        QCOMPARE(enabledActions(setting), QStringLiteral("0 1"));
    }

    void addingAFileAsksForTheSameAgain()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(fullMetadata));
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles({paths[0]}));
        setting.probe.addDamagedFiles({paths[1]}, false);
        QVERIFY(setting.probe.metadataLoading());
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.damagedMetadataText(), QStringLiteral("Analyzing..."));
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(
            setting.log(QStringLiteral("loadDamagedMetadata begin")),
            QStringList(2, QStringLiteral("INFO loadDamagedMetadata begin, filePath=") + paths[0]));
        QCOMPARE(firstDetail(setting), fullSummary);
    }

    void theActionsFollowTheFlags_data()
    {
        QTest::addColumn<bool>("running");
        QTest::addColumn<bool>("loading");
        QTest::addColumn<bool>("ready");
        QTest::addColumn<bool>("files");
        QTest::addColumn<QString>("enabled");
        for (int bits = 0; bits < 16; ++bits) {
            const bool running = (bits & 1) != 0;
            const bool loading = (bits & 2) != 0;
            const bool hasFiles = (bits & 8) != 0;
            const int isFree = running || loading ? 0 : 1;
            QTest::addRow("%d", bits)
                << running << loading << ((bits & 4) != 0) << hasFiles
                << QStringLiteral("%1 %2").arg(hasFiles ? isFree : 0).arg(isFree);
        }
    }

    void theActionsFollowTheFlags()
    {
        QFETCH(const bool, running);
        QFETCH(const bool, loading);
        QFETCH(const bool, ready);
        QFETCH(const bool, files);
        QFETCH(const QString, enabled);
        WorkflowSetting setting;
        setting.probe.repairRunning() = running;
        setting.probe.metadataLoading() = loading;
        setting.probe.metadataReady() = ready;
        if (files)
            setting.probe.damagedFiles() = setting.files(1);
        setting.probe.updateActionButtons();
        QCOMPARE(enabledActions(setting), enabled);
    }

    void anAnswerDuringARunEnablesNothing()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript(fullMetadata));
        setting.probe.setRepairRunning(true);
        setting.probe.addDamagedFiles(setting.files(1), true);
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.metadataReady(), 30000);
        QCOMPARE(enabledActions(setting), QStringLiteral("0 0"));
        setting.probe.setRepairRunning(false);
        QCOMPARE(enabledActions(setting), QStringLiteral("1 1"));
        QVERIFY(setting.waitUntilIdle());
    }

    void aWindowThatGoesDropsTheAnswer()
    {
        const FaultFolder fault(held(WorkflowSetting::goodScript(fullMetadata)));
        const QString link =
            QCoreApplication::applicationDirPath() + QStringLiteral("/RepairService");
        QVERIFY(fault.placeAt(link));
        const QString video = fault.path(QStringLiteral("video.mp4"));
        writeFile(video, "video");
        {
            MainWindow window;
            WindowProbe(window).addDamagedFiles({video}, true);
            QTRY_COMPARE_WITH_TIMEOUT(fault.startCount(), 2, 30000);
        }
        fault.release();
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        QCoreApplication::processEvents();
        QCOMPARE(textsOf(readLog(WorkflowSetting::logPath()))
                     .filter(QStringLiteral("loadDamagedMetadata success")),
                 QStringList());
        QCOMPARE(fault.leftovers(), QStringList());
        QVERIFY(fault.takeBack());
    }

private:
    /** As after an answer that told nothing: no summary, and the actions are free. */
    static void checkCleared(WorkflowSetting &setting, const MetadataLabels &labels,
                             const QString &path)
    {
        QVERIFY(!setting.probe.metadataReady());
        QVERIFY(!setting.probe.metadataLoading());
        QCOMPARE(setting.probe.damagedMetadataText(), QString());
        QCOMPARE(firstDetail(setting), QStringLiteral("0.00 MB    .mp4    No audio"));
        QCOMPARE(labels.frameRate.text(), QString());
        QCOMPARE(labels.resolution.text(), QString());
        QCOMPARE(labels.file.text(), QStringLiteral("▪ ") + path);
        QCOMPARE(enabledActions(setting), QStringLiteral("1 1"));
    }
};

VELLUMIX_WINDOW_TEST_MAIN(AnalysisTest)

#include "tst_analysis.moc"
