#include "metadata/SupportedFormats.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/ComparisonDialog.h"
#include "ui/DropLineEdit.h"
#include "ui/SampleDialog.h"

#include <QCheckBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QGridLayout>
#include <QMimeData>

namespace {

const QString sampleTitle = QStringLiteral("Add Sample Video");
const QString comparisonTitle = QStringLiteral("Video Parameter Comparison");
const QString browseTitle = QStringLiteral("Select Sample Video");

const QString evenStyle =
    QStringLiteral("background:#2f304d;color:#dfe5f6;padding:10px;border:1px solid #454b68;");
const QString oddStyle =
    QStringLiteral("background:#24283f;color:#dfe5f6;padding:10px;border:1px solid #454b68;");
const QString redStyle =
    QStringLiteral("background:#2f304d;color:#ff4d55;padding:10px;border:1px solid #454b68;");
const QString headerStyle = QStringLiteral(
    "background:#1d2138;color:#ffffff;font-weight:700;padding:12px;border:1px solid #454b68;");

/** Good services, whose answer to a metadata request for this file is `answer`. */
QStringList answering(const QString &name, const QString &answer)
{
    QStringList script = WorkflowSetting::goodScript();
    script.insert(
        1, QStringLiteral("when method 107: when videoPath %1: answer %2").arg(name, answer));
    return script;
}

QStringList holding(const QString &name)
{
    QStringList script = WorkflowSetting::goodScript();
    script.insert(1, QStringLiteral("when method 107: when videoPath %1: waitFile go").arg(name));
    return script;
}

/** Of two repairs the first fails, and the second goes on until it is let go. */
QStringList firstFailsSecondWaits()
{
    QStringList script = WorkflowSetting::goodScript();
    script.insert(1, QStringLiteral("when method 0: when damagedPath second.mp4: waitFile go"));
    script.insert(1, QStringLiteral("when method 0: when damagedPath first.mp4: answer "
                                    "{\"err_code\":-21}"));
    return script;
}

/** The table's cells of one line, as "TEXT" or "TEXT!" when red. */
QStringList lineOf(const QDialog *dialog, int line)
{
    const auto *table = dialog->findChild<QGridLayout *>();
    QStringList texts;
    for (int column = 0; column < table->columnCount(); ++column) {
        const auto *label = qobject_cast<QLabel *>(table->itemAtPosition(line, column)->widget());
        texts.append(label->text() +
                     (label->styleSheet() == redStyle ? QStringLiteral("!") : QString()));
    }
    return texts;
}

QString styleAt(const QDialog *dialog, int line, int column)
{
    return dialog->findChild<QGridLayout *>()->itemAtPosition(line, column)->widget()->styleSheet();
}

} // namespace

/** The way to an advanced repair: the sample, and its parameters beside the damaged file's. */
class SampleComparisonTest : public TestCase
{
    Q_OBJECT

private:
    class Setting : public WorkflowSetting
    {
    public:
        explicit Setting(const QStringList &script = goodScript()) : WorkflowSetting(script) {}

        ~Setting() { fault.release(); }

        /** Imports a damaged video, and has a sample beside it. */
        bool begin()
        {
            sample = file(QStringLiteral("sample.mp4"));
            return importFiles({file(QStringLiteral("damaged.mp4"))});
        }

        /** The sample dialog is answered with this path and "OK". */
        void expectSample(const QString &path)
        {
            modals.expect([path](QDialog *dialog) {
                QCOMPARE(dialog->windowTitle(), sampleTitle);
                dialog->findChild<DropLineEdit *>()->setText(path);
                buttonOf(*dialog, QStringLiteral("OK"))->click();
            });
        }

        /** The comparison is looked at and answered. */
        void expectComparison(const std::function<void(QDialog *)> &look, bool repair = false)
        {
            modals.expect([this, look, repair](QDialog *dialog) {
                QCOMPARE(dialog->windowTitle(), comparisonTitle);
                runningWhenShown = probe.repairRunning();
                look(dialog);
                hasCome = true;
                if (repair)
                    buttonOf(*dialog, QStringLiteral("Repair"))->click();
                else
                    dialog->reject();
            });
        }

        bool waitForComparison()
        {
            return QTest::qWaitFor([this] { return hasCome; }, 50000);
        }

        QString problems() const { return modals.problems().join(u'\n'); }

        Modals modals;
        QString sample;
        bool hasCome = false;
        bool runningWhenShown = true;
    };

    /** Runs the whole flow with the sample, and returns what `look` makes of the comparison. */
    static void compare(Setting &setting, const std::function<void(QDialog *)> &look)
    {
        setting.expectSample(setting.sample);
        setting.expectComparison(look);
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.waitForComparison());
        QCOMPARE(setting.problems(), QString());
    }

private Q_SLOTS:
    void theSampleDialogLooksAsItShould()
    {
        Setting setting;
        QVERIFY(setting.begin());
        setting.probe.run().sampleFilePath = QStringLiteral("/earlier.mp4");
        setting.modals.expect([&](QDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), sampleTitle);
            QVERIFY(dialog->isModal());
            QCOMPARE(dialog->size(), QSize(545, 248));
            QCOMPARE(dialog->layout()->contentsMargins(), QMargins(30, 28, 30, 28));
            const auto labels = dialog->findChildren<QLabel *>();
            QCOMPARE(labels.value(0)->text(),
                     QStringLiteral("Add a sample video for advanced repair"));
            QCOMPARE(labels.value(0)->styleSheet(),
                     QStringLiteral("font-size:16px;font-weight:700;"));
            QCOMPARE(labels.value(1)->text(),
                     QStringLiteral("Use a playable video from the same device, or one with the "
                                    "same format as the damaged video."));
            QVERIFY(labels.value(1)->wordWrap());
            auto *edit = dialog->findChild<DropLineEdit *>();
            QCOMPARE(edit->text(), QStringLiteral("/earlier.mp4"));
            QCOMPARE(edit->placeholderText(), QStringLiteral("Click to add a video"));
            QCOMPARE(dialog->focusWidget(), edit);
            for (const QString &text : {QStringLiteral("Browse"), QStringLiteral("OK")}) {
                QCOMPARE(buttonOf(*dialog, text)->objectName(), QStringLiteral("BlueButton"));
                QCOMPARE(buttonOf(*dialog, text)->cursor().shape(), Qt::PointingHandCursor);
            }
            QVERIFY(buttonOf(*dialog, QStringLiteral("OK"))->isDefault());
            dialog->reject();
        });
        setting.probe.chooseSampleAndCompare();
        QCOMPARE(setting.problems(), QString());
        // Rejected: the earlier sample stays, and nothing starts.
        QCOMPARE(setting.probe.run().sampleFilePath, QStringLiteral("/earlier.mp4"));
        QVERIFY(!setting.probe.repairRunning());
    }

    void theTabKeyGoesFromFieldToBrowseToOk()
    {
        SampleDialog dialog({});
        dialog.show();
        dialog.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&dialog));
        QTest::keyClick(&dialog, Qt::Key_Tab);
        QVERIFY(buttonOf(dialog, QStringLiteral("Browse"))->hasFocus());
        QTest::keyClick(&dialog, Qt::Key_Tab);
        QVERIFY(buttonOf(dialog, QStringLiteral("OK"))->hasFocus());
    }

    void browsingWritesTheChosenFileIntoTheField_data()
    {
        QTest::addColumn<bool>("byField");
        QTest::newRow("button") << false;
        QTest::newRow("click on the field") << true;
    }

    void browsingWritesTheChosenFileIntoTheField()
    {
        QFETCH(const bool, byField);
        Setting setting;
        const QString sample = setting.file(QStringLiteral("my sample.mp4"));
        SampleDialog dialog(QStringLiteral("/earlier.mp4"));
        dialog.open();
        auto *edit = dialog.findChild<DropLineEdit *>();
        QStringList filters;
        setting.modals.expect([](QDialog *) {}); // The dialog itself.
        QTRY_COMPARE(setting.problems(), QString());
        setting.modals.expect([&](QDialog *files) {
            QCOMPARE(files->windowTitle(), browseTitle);
            filters = qobject_cast<QFileDialog *>(files)->nameFilters();
            files->reject();
        });
        const auto browse = [&] {
            if (byField)
                QTest::mouseClick(edit, Qt::LeftButton);
            else
                QTest::mouseClick(buttonOf(dialog, QStringLiteral("Browse")), Qt::LeftButton);
        };
        browse();
        QTRY_COMPARE(setting.problems(), QString());
        QTRY_COMPARE(filters.join(QStringLiteral(";;")), sampleFilter());
        // A cancelled file dialog changes nothing.
        QCOMPARE(edit->text(), QStringLiteral("/earlier.mp4"));

        setting.modals.expectFileDialog(browseTitle, {sample});
        browse();
        QTRY_COMPARE(edit->text(), QDir::toNativeSeparators(sample));
        QCOMPARE(setting.problems(), QString());
        dialog.reject();
    }

    void markingTextInTheFieldOpensNothing()
    {
        Modals modals;
        modals.expect([](QDialog *) {}); // The dialog itself.
        SampleDialog dialog(QStringLiteral("/earlier.mp4"));
        dialog.show();
        QTRY_COMPARE(modals.titles(), QStringList{sampleTitle});
        auto *edit = dialog.findChild<DropLineEdit *>();
        const QPoint from(20, edit->height() / 2);
        const QPoint to(80, edit->height() / 2);
        QTest::mousePress(edit, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, edit->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                         Qt::NoModifier);
        QCoreApplication::sendEvent(edit, &move);
        QTest::mouseRelease(edit, Qt::LeftButton, {}, to);
        WorkflowSetting::settle();
        QVERIFY(edit->hasSelectedText());
        QTest::mouseClick(edit, Qt::RightButton);
        WorkflowSetting::settle();
        if (QWidget *menu = QApplication::activePopupWidget())
            menu->close();
        QCOMPARE(modals.titles(), QStringList{sampleTitle});
    }

    void aDroppedFileIsTheSample()
    {
        Setting setting;
        QVERIFY(setting.begin());
        setting.modals.expect([&](QDialog *dialog) {
            QMimeData data;
            data.setUrls({QUrl::fromLocalFile(setting.sample)});
            auto *edit = dialog->findChild<DropLineEdit *>();
            QDragEnterEvent enter(edit->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                                  Qt::NoModifier);
            QCoreApplication::sendEvent(edit, &enter);
            QDropEvent drop(edit->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                            Qt::NoModifier);
            QCoreApplication::sendEvent(edit, &drop);
            QTest::keyClick(edit, Qt::Key_Return);
        });
        setting.expectComparison([](QDialog *) {});
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.waitForComparison());
        QCOMPARE(setting.problems(), QString());
        QCOMPARE(setting.probe.run().sampleFilePath, QDir::toNativeSeparators(setting.sample));
    }

    void aBlankFieldKeepsTheDialogOpen_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("blanks") << QStringLiteral(" \t ");
    }

    void aBlankFieldKeepsTheDialogOpen()
    {
        QFETCH(const QString, text);
        SampleDialog dialog(text);
        dialog.show();
        buttonOf(dialog, QStringLiteral("OK"))->click();
        QVERIFY(dialog.isVisible());
        QTest::keyClick(dialog.findChild<DropLineEdit *>(), Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Rejected));
    }

    void whiteSpaceAroundThePathIsLeftOut()
    {
        Setting setting;
        QVERIFY(setting.begin());
        setting.expectSample(QStringLiteral("  ") + setting.sample + QStringLiteral("\t"));
        setting.expectComparison([](QDialog *) {});
        setting.probe.chooseSampleAndCompare();
        QCOMPARE(setting.probe.run().sampleFilePath, setting.sample);
        QVERIFY(setting.waitForComparison());
    }

    void withoutADamagedFileOneIsAskedFor()
    {
        Setting setting;
        setting.modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), {});
        setting.probe.chooseSampleAndCompare();
        QCOMPARE(setting.problems(), QString());
        QVERIFY(!setting.probe.repairRunning());

        const QString damaged = setting.file(QStringLiteral("damaged.mp4"));
        setting.modals.expectFileDialog(QStringLiteral("Select Videos to Repair"), {damaged});
        setting.modals.expect([](QDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), sampleTitle);
            dialog->reject();
        });
        setting.probe.chooseSampleAndCompare();
        QCOMPARE(setting.problems(), QString());
        QCOMPARE(setting.probe.damagedFilePath(), damaged);
        QVERIFY(setting.waitUntilIdle());
    }

    void theWindowIsLockedWhileTheFilesAreAsked()
    {
        Setting setting(holding(QStringLiteral("sample.mp4")));
        QVERIFY(setting.begin());
        const LogTail tail;
        setting.expectSample(setting.sample);
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.probe.repairRunning());
        QVERIFY(setting.probe.isComparing());
        QCOMPARE(setting.probe.progressLabel()->text(), QStringLiteral("Processing..."));
        QVERIFY(!setting.probe.repairButton()->isEnabled());
        QVERIFY(!setting.probe.advancedModeCheck()->isEnabled());
        QCOMPARE(tail.texts().filter(QStringLiteral("compare")),
                 QStringList{QStringLiteral("INFO Sample metadata compare begin, damaged=%1, "
                                            "sample=%2")
                                 .arg(setting.probe.damagedFilePath(), setting.sample)});

        // Neither a repair nor another comparison may begin.
        setting.probe.startRepair(false);
        setting.probe.chooseSampleAndCompare();
        QCOMPARE(tail.texts().filter(QStringLiteral("ignored")),
                 (QStringList{QStringLiteral("WARN startRepair ignored because repair is already "
                                             "running"),
                              QStringLiteral("WARN chooseSampleAndCompare ignored because a "
                                             "comparison is already running")}));

        setting.expectComparison([](QDialog *) {});
        setting.fault.release();
        QVERIFY(setting.waitForComparison());
        QCOMPARE(setting.problems(), QString());
        QVERIFY(!setting.runningWhenShown);
        QCOMPARE(setting.probe.progressLabel()->text(), QString());
        QVERIFY(setting.probe.repairButton()->isEnabled());
        QVERIFY(!setting.probe.isComparing());
    }

    void theComparisonLooksAsItShould()
    {
        Setting setting(
            answering(QStringLiteral("damaged.mp4"),
                      QStringLiteral("{\"err_code\":0,\"video_info\":{\"codec\":\"h264\","
                                     "\"make\":\"<b>Acme</b>\",\"width\":1280,"
                                     "\"height\":720}}")));
        QVERIFY(setting.begin());
        compare(setting, [](QDialog *dialog) {
            QVERIFY(dialog->isModal());
            // It grows where the font needs it, and no more.
            QCOMPARE(dialog->size(), QSize(545, qMax(375, dialog->minimumSizeHint().height())));
            QCOMPARE(dialog->layout()->contentsMargins(), QMargins(8, 8, 8, 16));
            QCOMPARE(dialog->layout()->spacing(), 14);
            const auto *table = dialog->findChild<QGridLayout *>();
            QCOMPARE(table->spacing(), 0);
            QCOMPARE(table->contentsMargins(), QMargins());
            QCOMPARE(table->rowCount(), 8);
            QCOMPARE(lineOf(dialog, 0),
                     (QStringList{QStringLiteral("Parameter"), QStringLiteral("Damaged Video"),
                                  QStringLiteral("Sample Video")}));
            for (int column = 0; column < 3; ++column)
                QCOMPARE(styleAt(dialog, 0, column), headerStyle);
            QCOMPARE(lineOf(dialog, 1),
                     (QStringList{QStringLiteral("Format"), QStringLiteral(".mp4"),
                                  QStringLiteral(".mp4")}));
            QCOMPARE(lineOf(dialog, 3),
                     (QStringList{QStringLiteral("Manufacturer"), QStringLiteral("<b>Acme</b>"),
                                  QStringLiteral("/")}));
            for (int line = 1; line < 8; ++line) {
                for (int column = 0; column < 2; ++column)
                    QCOMPARE(styleAt(dialog, line, column), line % 2 == 1 ? evenStyle : oddStyle);
            }
            const auto labels = dialog->findChildren<QLabel *>();
            QCOMPARE(labels.last()->text(),
                     QStringLiteral("The sample video will be used for all damaged videos."));
            QCOMPARE(labels.last()->styleSheet(), QStringLiteral("color:#aab2c8;"));
            const QPushButton *repair = buttonOf(*dialog, QStringLiteral("Repair"));
            QCOMPARE(repair->objectName(), QStringLiteral("BlueButton"));
            QVERIFY(repair->isDefault());
            QCOMPARE(dialog->focusWidget(), repair);
        });
    }

    void onlyADifferentKnownSampleValueIsRed()
    {
        // Of the damaged file codec and resolution are known, of the sample codec and maker.
        QStringList script =
            answering(QStringLiteral("damaged.mp4"),
                      QStringLiteral("{\"err_code\":0,\"video_info\":{\"codec\":\"h264\","
                                     "\"width\":1280,\"height\":720,\"frame_rate\":25}}"));
        script.insert(1, QStringLiteral("when method 107: when videoPath sample.mp4: answer "
                                        "{\"err_code\":0,\"video_info\":{\"codec\":\"h265\","
                                        "\"manufacture\":\"Acme\",\"frame_rate\":25}}"));
        Setting setting(script);
        QVERIFY(setting.begin());
        compare(setting, [](QDialog *dialog) {
            QCOMPARE(lineOf(dialog, 2),
                     (QStringList{QStringLiteral("Codec"), QStringLiteral("h264"),
                                  QStringLiteral("h265!")}));
            QCOMPARE(lineOf(dialog, 3),
                     (QStringList{QStringLiteral("Manufacturer"), QStringLiteral("/"),
                                  QStringLiteral("Acme!")}));
            QCOMPARE(lineOf(dialog, 6),
                     (QStringList{QStringLiteral("Frame Rate"), QStringLiteral("25.000"),
                                  QStringLiteral("25.000")}));
            QCOMPARE(lineOf(dialog, 7),
                     (QStringList{QStringLiteral("Resolution"), QStringLiteral("1280x720"),
                                  QStringLiteral("/")}));
            // Cells that are not red have their row's style.
            QCOMPARE(styleAt(dialog, 6, 2), oddStyle);
            QCOMPARE(styleAt(dialog, 7, 2), evenStyle);
        });
    }

    void aFailureIsLoggedAndShownAsUnknown_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("word");
        QTest::addColumn<int>("column");
        QTest::newRow("damaged") << "damaged.mp4"
                                 << "Damaged" << 1;
        QTest::newRow("sample") << "sample.mp4"
                                << "Sample" << 2;
    }

    void aFailureIsLoggedAndShownAsUnknown()
    {
        QFETCH(const QString, name);
        QFETCH(const QString, word);
        QFETCH(const int, column);
        const QString raw = QStringLiteral("{\"err_code\":-21,\"message\":\"no\"}");
        Setting setting(answering(name, raw));
        QVERIFY(setting.begin());
        const LogTail tail;
        compare(setting, [&](QDialog *dialog) {
            QCOMPARE(lineOf(dialog, 1).value(column), QStringLiteral(".mp4"));
            for (int line = 2; line < 8; ++line)
                QCOMPARE(lineOf(dialog, line).value(column), QStringLiteral("/"));
        });
        const QStringList lines = tail.texts().filter(QStringLiteral("metadata compare"));
        QCOMPARE(lines.filter(QStringLiteral("failed")).size(), 1);
        const QString failed = lines.filter(QStringLiteral("failed")).first();
        QCOMPARE(failed, QStringLiteral("WARN %1 metadata compare failed, message=RepairService "
                                        "request failed, err_code=-21., raw=")
                                 .arg(word) +
                             raw);
        QCOMPARE(lines.contains(QStringLiteral("INFO Sample metadata compare success")),
                 word == QStringLiteral("Damaged"));
    }

    void repairAfterAFailedSampleStillStarts()
    {
        Setting setting(
            answering(QStringLiteral("sample.mp4"), QStringLiteral("{\"err_code\":-21}")));
        QVERIFY(setting.begin());
        setting.expectSample(setting.sample);
        setting.expectComparison([](QDialog *) {}, true);
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.waitForComparison());
        QTRY_VERIFY_WITH_TIMEOUT(!setting.probe.run().outputFiles.isEmpty(), 50000);
        QVERIFY(setting.probe.run().advancedRun);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.problems(), QString());
    }

    void theAdvancedRunSendsTheSample()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 1: when samplePath sample.mp4: "
                                        "output outFilePath with the sample"));
        script.removeAll(QStringLiteral("when method 1: output outFilePath repaired"));
        Setting setting(script);
        QVERIFY(setting.begin());
        setting.expectSample(setting.sample);
        setting.expectComparison([](QDialog *) {}, true);
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.waitForComparison());
        QTRY_COMPARE_WITH_TIMEOUT(setting.probe.run().outputFiles.size(), 1, 50000);
        QCOMPARE(readFile(setting.probe.run().outputFiles.first()), QByteArray("with the sample"));
        QVERIFY(setting.waitUntilIdle());
        // The sample stays for the next run.
        QCOMPARE(setting.probe.run().sampleFilePath, setting.sample);
        QCOMPARE(setting.problems(), QString());
    }

    void closingTheComparisonStartsNothing()
    {
        Setting setting;
        QVERIFY(setting.begin());
        compare(setting, [](QDialog *) {});
        QVERIFY(!setting.probe.repairRunning());
        QVERIFY(setting.probe.run().repairQueue.isEmpty());
        QCOMPARE(setting.probe.run().sampleFilePath, setting.sample);
    }

    void escapeClosesAndEnterRepairs()
    {
        ComparisonDialog dialog(comparisonRows({}, {}, {}, {}));
        dialog.show();
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Rejected));
        dialog.show();
        QTest::keyClick(&dialog, Qt::Key_Return);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Accepted));
    }

    void longValuesTakeOneLineAndEndInATip()
    {
        const QString endless = QString(3000, u'x') + QString(300, u'\n');
        ComparisonDialog dialog({{QStringLiteral("Device"), endless, QStringLiteral("short")}});
        dialog.show();
        QCOMPARE(dialog.width(), 545);
        ComparisonDialog plain(
            {{QStringLiteral("Device"), QStringLiteral("x"), QStringLiteral("short")}});
        plain.show();
        QCOMPARE(dialog.minimumSizeHint().height(), plain.minimumSizeHint().height());
        QCOMPARE(lineOf(&dialog, 1).value(1), endless);
    }

    void aComparisonOfAListThatIsGoneIsNotShown_data()
    {
        QTest::addColumn<bool>("imports");
        QTest::newRow("everything removed") << false;
        QTest::newRow("another list") << true;
    }

    void aComparisonOfAListThatIsGoneIsNotShown()
    {
        QFETCH(const bool, imports);
        Setting setting(holding(QStringLiteral("sample.mp4")));
        QVERIFY(setting.begin());
        const QString damaged = setting.probe.damagedFilePath();
        setting.expectSample(setting.sample);
        setting.probe.chooseSampleAndCompare();
        if (imports)
            setting.probe.addDamagedFiles({setting.file(QStringLiteral("other.mp4"))}, true);
        else
            setting.probe.resetToImportPage();
        // The guard stays until the answer has come.
        QVERIFY(setting.probe.repairRunning());
        const LogTail tail;
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QVERIFY(tail.texts().contains(
            QStringLiteral("WARN Sample metadata compare ignored, damaged=%1, sample=%2")
                .arg(damaged, setting.sample)));
        QCOMPARE(setting.modals.titles(), QStringList{sampleTitle});
    }

    void aComparisonDuringARunLeavesTheRunItsGuard()
    {
        Setting setting(firstFailsSecondWaits());
        setting.sample = setting.file(QStringLiteral("sample.mp4"));
        const QString first = setting.file(QStringLiteral("first.mp4"));
        QVERIFY(setting.importFiles({first, setting.file(QStringLiteral("second.mp4"))}));
        setting.probe.startRepair(false);
        QTRY_COMPARE_WITH_TIMEOUT(
            setting.probe.run().itemStatuses.value(0),
            QStringLiteral("Quick repair failed. Try Advanced Repair with a sample video."), 50000);

        setting.expectSample(setting.sample);
        setting.expectComparison([](QDialog *) {}, true);
        setting.modals.expectWarning(QStringLiteral("Please Wait"),
                                     QStringLiteral("A repair is still running. Please try again "
                                                    "when it has finished."));
        const LogTail tail;
        QTest::mouseClick(setting.probe.resultRows().first()->findChild<QPushButton *>(),
                          Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(setting.problems(), QString(), 50000);
        QVERIFY(setting.runningWhenShown);
        QTRY_COMPARE(tail.texts().filter(QStringLiteral("already running")).size(), 1);
        QVERIFY(setting.probe.repairRunning());
        QVERIFY(!setting.probe.run().advancedRun);
        QCOMPARE(setting.probe.run().repairQueue.size(), 2);

        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.run().itemSucceeded, (QList<bool>{false, true}));
        QCOMPARE(setting.probe.run().sampleFilePath, setting.sample);
    }

    void whoIsToldToWaitStartsNothing()
    {
        Setting setting(firstFailsSecondWaits());
        setting.sample = setting.file(QStringLiteral("sample.mp4"));
        QVERIFY(setting.importFiles({setting.file(QStringLiteral("first.mp4")),
                                     setting.file(QStringLiteral("second.mp4"))}));
        setting.probe.startRepair(false);
        setting.expectSample(setting.sample);
        setting.expectComparison([](QDialog *) {}, true);
        // The run comes to its end while the message is open.
        bool hasEnded = false;
        setting.modals.expect([&](QDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Please Wait"));
            setting.fault.release();
            QTimer::singleShot(0, dialog, [&, dialog] {
                hasEnded = QTest::qWaitFor([&] { return !setting.probe.isRunUnderWay(); }, 50000);
                dialog->accept();
            });
        });
        setting.probe.chooseSampleAndCompare();
        QTRY_VERIFY_WITH_TIMEOUT(hasEnded, 50000);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.problems(), QString());
        QVERIFY(!setting.probe.run().advancedRun);
        QCOMPARE(setting.probe.run().outputFiles.size(), 1);
    }

    void aRunThatEndsDuringAComparisonLeavesItsGuard()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 107: when videoPath sample.mp4: waitFile go"));
        script.insert(
            1, QStringLiteral("when method 0: when damagedPath second.mp4: waitFile second"));
        Setting setting(script);
        setting.sample = setting.file(QStringLiteral("sample.mp4"));
        QVERIFY(setting.importFiles({setting.file(QStringLiteral("first.mp4")),
                                     setting.file(QStringLiteral("second.mp4"))}));
        setting.probe.startRepair(false);
        QTRY_VERIFY_WITH_TIMEOUT(setting.probe.run().itemSucceeded.value(0), 50000);
        setting.expectSample(setting.sample);
        setting.probe.chooseSampleAndCompare();
        writeFile(setting.fault.serviceRoot() + QStringLiteral("/second"));
        QTRY_VERIFY_WITH_TIMEOUT(!setting.probe.isRunUnderWay(), 50000);
        QVERIFY(setting.probe.repairRunning());
        setting.expectComparison([](QDialog *) {});
        setting.fault.release();
        QVERIFY(setting.waitForComparison());
        QVERIFY(!setting.runningWhenShown);
    }

    void aSampleThatIsGoneFailsTheItems()
    {
        Setting setting;
        QVERIFY(setting.begin());
        setting.expectSample(setting.sample);
        setting.expectComparison([&](QDialog *) { QVERIFY(QFile::remove(setting.sample)); }, true);
        setting.probe.chooseSampleAndCompare();
        QVERIFY(setting.waitForComparison());
        QTRY_COMPARE_WITH_TIMEOUT(setting.probe.run().itemStatuses,
                                  QStringList{QStringLiteral("Advanced repair failed.")}, 50000);
        QVERIFY(setting.waitUntilIdle());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(SampleComparisonTest)

#include "tst_sample_comparison.moc"
