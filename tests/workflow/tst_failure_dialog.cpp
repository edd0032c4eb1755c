#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/RepairFailedDialog.h"

#include <QBoxLayout>
#include <QCheckBox>

namespace {

QStringList buttonTexts(const QDialog *dialog)
{
    QStringList texts;
    const auto buttons = dialog->findChildren<QPushButton *>();
    for (const QPushButton *button : buttons)
        texts.append(button->text() + QLatin1Char('#') + button->objectName());
    return texts;
}

} // namespace

/** The box that tells of a failed run. */
class FailureDialogTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void looks_data()
    {
        QTest::addColumn<bool>("advanced");
        QTest::addColumn<QStringList>("labels");
        QTest::addColumn<QStringList>("buttons");
        const QString badge = QStringLiteral("×");
        const QString close = QStringLiteral("Close#OutlineButton");
        QTest::newRow("quick") << false
                               << QStringList{badge,
                                              QStringLiteral("All videos have been processed."),
                                              QStringLiteral("1 file failed to repair.")}
                               << QStringList{close, QStringLiteral("Advanced Repair#BlueButton")};
        QTest::newRow("advanced") << true
                                  << QStringList{badge, QStringLiteral("Video Repair Failed"),
                                                 QStringLiteral(
                                                     "Advanced repair could not be completed.")}
                                  << QStringList{close};
    }

    void looks()
    {
        QFETCH(const bool, advanced);
        QFETCH(const QStringList, labels);
        QFETCH(const QStringList, buttons);
        RepairFailedDialog dialog(advanced);
        dialog.show();
        QVERIFY(dialog.isModal());
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Repair Failed"));
        QCOMPARE(dialog.size(), QSize(520, 230));
        QCOMPARE(dialog.layout()->contentsMargins(), QMargins(32, 28, 32, 26));
        QCOMPARE(dialog.layout()->spacing(), 18);
        QCOMPARE(dialog.layout()->itemAt(0)->layout()->spacing(), 22);
        QCOMPARE(labelTexts(dialog), labels);
        QCOMPARE(buttonTexts(&dialog), buttons);
        const auto texts = dialog.findChildren<QLabel *>();
        QCOMPARE(texts[0]->size(), QSize(72, 72));
        QCOMPARE(texts[0]->alignment(), Qt::AlignCenter);
        QCOMPARE(texts[0]->styleSheet(),
                 QStringLiteral("font-size:54px;font-weight:700;color:#ff554f;background:#4a4d68;"
                                "border:1px solid #5f6483;border-radius:36px;"));
        QCOMPARE(texts[1]->styleSheet(),
                 QStringLiteral("font-size:18px;font-weight:700;color:#ffffff;"));
        QCOMPARE(texts[2]->styleSheet(), QStringLiteral("color:#ff5b58;font-size:14px;"));
        QVERIFY(texts[2]->wordWrap());
    }

    void closingItDoesNothing_data()
    {
        QTest::addColumn<bool>("advanced");
        QTest::newRow("quick") << false;
        QTest::newRow("advanced") << true;
    }

    void closingItDoesNothing()
    {
        QFETCH(const bool, advanced);
        WorkflowSetting setting;
        setting.probe.showPage(2);
        Modals modals;
        int result = -1;
        modals.expect([&](QDialog *dialog) {
            for (QPushButton *button : dialog->findChildren<QPushButton *>()) {
                if (button->text() == QStringLiteral("Close"))
                    button->click();
            }
            result = dialog->result();
        });
        setting.probe.showRepairFailedDialog(advanced);
        QCOMPARE(result, static_cast<int>(QDialog::Rejected));
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), QStringList{QStringLiteral("Repair Failed")});
        QCOMPARE(setting.probe.page(), 2);
        QVERIFY(!setting.probe.advancedModeCheck()->isChecked());
    }

    void keys_data()
    {
        QTest::addColumn<bool>("advanced");
        QTest::addColumn<QString>("main");
        QTest::newRow("quick") << false << QStringLiteral("Advanced Repair");
        QTest::newRow("advanced") << true << QStringLiteral("Close");
    }

    void keys()
    {
        QFETCH(const bool, advanced);
        QFETCH(const QString, main);
        RepairFailedDialog dialog(advanced);
        dialog.show();
        const auto *focused = qobject_cast<QPushButton *>(dialog.focusWidget());
        QVERIFY(focused != nullptr);
        QCOMPARE(focused->text(), main);
        QVERIFY(focused->isDefault());
        const auto buttons = dialog.findChildren<QPushButton *>();
        for (const QPushButton *button : buttons)
            QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
        // Close stands first.
        QTest::keyClick(dialog.focusWidget(), Qt::Key_Tab);
        QCOMPARE(dialog.focusWidget(), buttons.first());
        QTest::keyClick(&dialog, Qt::Key_Escape);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.result(), static_cast<int>(QDialog::Rejected));
    }

    void advancedRepairAsksForTheSample()
    {
        WorkflowSetting setting;
        setting.probe.damagedFilePath() = setting.file(QStringLiteral("damaged.mp4"));
        setting.probe.showPage(2);
        Modals modals;
        modals.expect([](QDialog *dialog) { QTest::keyClick(dialog, Qt::Key_Return); });
        modals.expect([](QDialog *dialog) { dialog->reject(); });
        setting.probe.showRepairFailedDialog(false);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), (QStringList{QStringLiteral("Repair Failed"),
                                               QStringLiteral("Add Sample Video")}));
        QCOMPARE(setting.probe.page(), 1);
        QVERIFY(setting.probe.advancedModeCheck()->isChecked());
    }

    void enterAfterAnAdvancedRunCloses()
    {
        WorkflowSetting setting;
        setting.probe.damagedFilePath() = setting.file(QStringLiteral("damaged.mp4"));
        Modals modals;
        int result = -1;
        modals.expect([&](QDialog *dialog) {
            QTest::keyClick(dialog, Qt::Key_Return);
            result = dialog->result();
        });
        setting.probe.showRepairFailedDialog(true);
        QCOMPARE(modals.titles(), QStringList{QStringLiteral("Repair Failed")});
        QCOMPARE(result, static_cast<int>(QDialog::Rejected));
    }
};

VELLUMIX_WINDOW_TEST_MAIN(FailureDialogTest)

#include "tst_failure_dialog.moc"
