#include "tests/support/Desktop.h"
#include "tests/support/FaultTool.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/DropLineEdit.h"
#include "ui/PreviewArea.h"
#include "ui/PreviewCard.h"
#include "ui/PreviewDialog.h"
#include "ui/ThumbWidget.h"
#include "workflow/PreviewClip.h"

#include <QCheckBox>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QImage>
#include <QRegularExpression>

namespace {

const QString transparentStyle = QStringLiteral("background:transparent;border-radius:6px;");
const QString selectedStyle = QStringLiteral("background:#3a3c5c;border-radius:6px;");

QCheckBox *selectAllOf(const QDialog *dialog)
{
    const auto boxes = dialog->findChildren<QCheckBox *>();
    for (QCheckBox *box : boxes) {
        if (box->text().startsWith(QStringLiteral("Select All")))
            return box;
    }
    return nullptr;
}

QList<PreviewCard *> cardsOf(const QDialog *dialog)
{
    return dialog->findChildren<PreviewCard *>();
}

/** For each card its two names and, when it is highlighted, "*". */
QStringList cardTexts(const QDialog *dialog)
{
    QStringList texts;
    for (const PreviewCard *card : cardsOf(dialog))
        texts.append(QString(card->checkBox()->text()).replace(u'\n', u'|') +
                     (card->styleSheet() == selectedStyle ? QStringLiteral("*") : QString()));
    return texts;
}

QList<bool> checks(const QDialog *dialog)
{
    QList<bool> states;
    for (const PreviewCard *card : cardsOf(dialog))
        states.append(card->checkBox()->isChecked());
    return states;
}

/** Does something when the dialog's own answer has returned: it may show dialogs of its own. */
template <typename Action>
void later(QObject *context, Action action)
{
    QTimer::singleShot(0, context, action);
}

} // namespace

/** Repaired files in the preview: which are shown, how they are played, what can be done there. */
class PreviewTest : public TestCase
{
    Q_OBJECT

private:
    class Setting : public WorkflowSetting
    {
    public:
        explicit Setting(const QStringList &script = goodScript()) : WorkflowSetting(script) {}

        /** The results of a run: pairs of a damaged file's name and its output's. */
        QStringList addOutputs(const QList<std::pair<QString, QString>> &names)
        {
            QStringList outputs;
            QStringList sources;
            for (const auto &[damaged, output] : names) {
                sources.append(file(damaged, QByteArray(qsizetype{1536} * 1024, 'd')));
                outputs.append(fault.path(QStringLiteral("outputs/") + output));
                writeFile(outputs.last(), "repaired");
            }
            QStringList queue = sources;
            queue.removeDuplicates();
            probe.damagedFiles() = queue;
            probe.damagedFilePath() = queue.first();
            probe.run().begin(queue, false);
            for (qsizetype i = 0; i < outputs.size(); ++i)
                probe.run().addOutput(outputs[i], sources[i]);
            return outputs;
        }

        QString toolFolder() const { return fault.serviceRoot() + QStringLiteral("/lib/x64"); }

        /** Shows the preview, and looks at it before it is closed. */
        void show(const std::function<void(PreviewDialog *)> &look)
        {
            modals.expect([look](QDialog *dialog) {
                auto *preview = qobject_cast<PreviewDialog *>(dialog);
                QVERIFY(preview != nullptr);
                later(preview, [preview, look] {
                    look(preview);
                    preview->reject();
                });
            });
            probe.showPreviewDialog();
        }

        QString problems() const { return modals.problems().join(u'\n'); }

        Modals modals;
        Desktop desktop;
    };

    static QString clip(const QString &name)
    {
        return WindowProbe::publicDataPath() + QLatin1Char('/') + name;
    }

private Q_SLOTS:
    void cleanup()
    {
        const QStringList names = entriesOf(WindowProbe::publicDataPath());
        for (const QString &name : names) {
            if (name.contains(QStringLiteral("_preview_30s.")))
                QVERIFY(QFile::remove(clip(name)));
        }
    }

    void clipNames_data()
    {
        QTest::addColumn<QString>("output");
        QTest::addColumn<QString>("expected");
        QTest::newRow("plain") << "/data/1234/repair_1234.mp4"
                               << "/public/repair_1234_preview_30s.mp4";
        QTest::newRow("dots") << "/data/a.b.c.MOV"
                              << "/public/a.b.c_preview_30s.MOV";
        QTest::newRow("no suffix") << "/data/film"
                                   << "/public/film_preview_30s.";
        QTest::newRow("percent") << "/data/%2 %1.mkv"
                                 << "/public/%2 %1_preview_30s.mkv";
    }

    void clipNames()
    {
        QFETCH(const QString, output);
        QFETCH(const QString, expected);
        QCOMPARE(previewClipPath(QStringLiteral("/public"), output), expected);
    }

    void theToolIsCalledOnceForAClip()
    {
        const QTemporaryDir folder;
        const FaultTool tool(folder.path());
        const QString output = folder.filePath(QStringLiteral("my 100% 'film' $(x).mp4"));
        const QString target = folder.filePath(QStringLiteral("new/folder/clip.mp4"));
        QCOMPARE(makePreviewClip(tool.path, output, target), target);
        QCOMPARE(tool.calls(), QStringList{FaultTool::expectedCall(output, target)});
        QCOMPARE(readFile(target), QByteArray("clip\n"));
        QCOMPARE(makePreviewClip(tool.path, output, target), target);
        QCOMPARE(tool.calls().size(), 1);
    }

    void withoutAToolTheWholeFileIsPlayed()
    {
        const QTemporaryDir folder;
        const QString target = folder.filePath(QStringLiteral("clips/clip.mp4"));
        const QString output = QStringLiteral("/film.mp4");
        QCOMPARE(makePreviewClip(folder.filePath(QStringLiteral("none")), output, target), output);
        // A folder is no tool.
        QCOMPARE(makePreviewClip(folder.path(), output, target), output);
        // An earlier clip is played all the same.
        writeFile(target, "clip");
        QCOMPARE(makePreviewClip(folder.filePath(QStringLiteral("none")), output, target), target);
    }

    void aToolThatFailsOrCannotStartLeavesTheWholeFile()
    {
        const QTemporaryDir folder;
        const QString target = folder.filePath(QStringLiteral("clip.mp4"));
        const QString output = QStringLiteral("/film.mp4");
        const FaultTool failing(folder.path(), {QStringLiteral("exit 1")});
        QCOMPARE(makePreviewClip(failing.path, output, target), output);
        QCOMPARE(failing.calls().size(), 1);
        // No program, though its name says so.
        QVERIFY(QFile::remove(failing.path));
        writeFile(failing.path, "MZ");
        QCOMPARE(makePreviewClip(failing.path, output, target), output);
        QCOMPARE(failing.calls().size(), 1);
        // Its exit code is not looked at.
        const QTemporaryDir other;
        const FaultTool complaining(other.path(),
                                    {QStringLiteral("write clip"), QStringLiteral("exit 1")});
        QCOMPARE(makePreviewClip(complaining.path, output, target), target);
    }

    void aToolThatHangsIsEndedAndWhatItLeftGoes()
    {
        QCOMPARE(previewToolLimit, std::chrono::milliseconds(15000));
        const QTemporaryDir folder;
        const FaultTool tool(folder.path(), {QStringLiteral("write half"), QStringLiteral("noteId"),
                                             QStringLiteral("hang")});
        const QString target = folder.filePath(QStringLiteral("clip.mp4"));
        const QString output = QStringLiteral("/film.mp4");
        int beats = 0;
        QTimer beat;
        connect(&beat, &QTimer::timeout, this, [&] { ++beats; });
        beat.start(5);
        QElapsedTimer timer;
        timer.start();
        QCOMPARE(makePreviewClip(tool.path, output, target, std::chrono::milliseconds(700)),
                 output);
        QVERIFY2(timer.elapsed() >= 700, qPrintable(QString::number(timer.elapsed())));
        // The window lives meanwhile.
        QVERIFY(beats > 1);
        QVERIFY(!QFile::exists(target));
        const qint64 pid = readFile(target + QStringLiteral(".pid")).trimmed().toLongLong();
        QVERIFY(pid > 0);
        QVERIFY(!isRunning(pid));
        QCOMPARE(QGuiApplication::overrideCursor(), nullptr);
    }

    void theDialogLooksAsItShould()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a & b.mov"), QStringLiteral("one.mp4")},
                            {QStringLiteral("c.mov"), QStringLiteral("two.mkv")}});
        setting.show([&](PreviewDialog *dialog) {
            QVERIFY(dialog->isModal());
            QCOMPARE(dialog->size(), QSize(870, 552));
            QCOMPARE(dialog->windowTitle(), QStringLiteral("a & b.mov  (1.50 MB)"));
            QCOMPARE(selectAllOf(dialog)->text(), QStringLiteral("Select All (2)"));
            QVERIFY(selectAllOf(dialog)->isChecked());
            QCOMPARE(selectAllOf(dialog)->parentWidget()->styleSheet(),
                     QStringLiteral("background:#20243a;border-radius:8px;"));
            // "&&" is how a box shows one.
            QCOMPARE(cardTexts(dialog), (QStringList{QStringLiteral("a && b.mov|one.mp4*"),
                                                     QStringLiteral("c.mov|two.mkv")}));
            QCOMPARE(checks(dialog), (QList<bool>{true, true}));
            for (const PreviewCard *card : cardsOf(dialog)) {
                QCOMPARE(card->layout()->contentsMargins(), QMargins(8, 8, 8, 8));
                QCOMPARE(card->findChild<ThumbWidget *>()->size(), QSize(114, 92));
            }
            QCOMPARE(cardsOf(dialog)[1]->styleSheet(), transparentStyle);
            auto *area = dialog->findChild<PreviewArea *>();
            QCOMPARE(
                area->styleSheet(),
                QStringLiteral("background:#14172c;border:1px solid #4c5576;border-radius:8px;"));
            QCOMPARE(area->playButton()->size(), QSize(82, 82));
            QCOMPARE(area->playButton()->text(), QStringLiteral("▶"));
            QCOMPARE(area->playButton()->styleSheet(),
                     QStringLiteral("QPushButton{font-size:54px;color:white;background:rgba(0,0,0,"
                                    "90);border:1px solid #4f5b85;border-radius:41px;padding:0 0 "
                                    "4px 6px;} QPushButton:hover{background:rgba(47,131,255,130);"
                                    "border-color:#7dafff;}"));
            QVERIFY((area->rect().center() - area->playButton()->geometry().center())
                        .manhattanLength() <= 2);
            QCOMPARE(dialog->findChild<QLabel *>()->text(),
                     QStringLiteral("If the result is not satisfactory, try Advanced Repair with a "
                                    "sample video."));
            QCOMPARE(buttonOf(*dialog, QStringLiteral("Play 30s Preview"))->objectName(),
                     QStringLiteral("BlueButton"));
            QCOMPARE(buttonOf(*dialog, QStringLiteral("Advanced Repair"))->objectName(),
                     QStringLiteral("OutlineButton"));
            QCOMPARE(buttonOf(*dialog, QStringLiteral("Save Video (2)"))->objectName(),
                     QStringLiteral("BlueButton"));
            for (const QPushButton *button : dialog->findChildren<QPushButton *>())
                QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
            QCOMPARE(dialog->focusWidget(), cardsOf(dialog)[0]);
        });
        QCOMPARE(setting.problems(), QString());
    }

    void allOutputsOrThoseOfOneFile()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")},
                            {QStringLiteral("a.mov"), QStringLiteral("3.mp4")}});
        QStringList shown;
        const auto look = [&](PreviewDialog *dialog) { shown = cardTexts(dialog); };
        setting.show(look);
        QCOMPARE(shown, (QStringList{QStringLiteral("a.mov|1.mp4*"), QStringLiteral("b.mov|2.mp4"),
                                     QStringLiteral("a.mov|3.mp4")}));
        setting.probe.run().previewSourcePath = setting.file(QStringLiteral("a.mov"));
        setting.show(look);
        QCOMPARE(shown,
                 (QStringList{QStringLiteral("a.mov|1.mp4*"), QStringLiteral("a.mov|3.mp4")}));
        QCOMPARE(setting.problems(), QString());
    }

    void anOutputWithoutASourceIsTheCurrentFiles()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        setting.probe.run().outputSources.removeLast();
        setting.show([](PreviewDialog *dialog) {
            QCOMPARE(cardTexts(dialog),
                     (QStringList{QStringLiteral("a.mov|1.mp4*"), QStringLiteral("a.mov|2.mp4")}));
        });
        QCOMPARE(setting.problems(), QString());
    }

    void nothingToShow_data()
    {
        QTest::addColumn<bool>("hasOutputs");
        QTest::newRow("no outputs") << false;
        QTest::newRow("none of this file") << true;
    }

    void nothingToShow()
    {
        QFETCH(const bool, hasOutputs);
        Setting setting;
        if (hasOutputs) {
            setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")}});
            setting.probe.run().previewSourcePath = setting.file(QStringLiteral("b.mov"));
        }
        setting.modals.expectWarning(QStringLiteral("Preview Unavailable"),
                                     QStringLiteral("The repaired output file does not exist."));
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void aClickSelectsACardAndChecksIt()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        writeFile(setting.file(QStringLiteral("b.mov")), QByteArray(qsizetype{1024} * 1024, 'b'));
        setting.show([](PreviewDialog *dialog) {
            PreviewCard *second = cardsOf(dialog)[1];
            second->checkBox()->setChecked(false);
            QTest::mouseClick(second, Qt::LeftButton, {}, QPoint(4, 4));
            QCOMPARE(dialog->selectedIndex(), 1);
            QCOMPARE(cardTexts(dialog),
                     (QStringList{QStringLiteral("a.mov|1.mp4"), QStringLiteral("b.mov|2.mp4*")}));
            QCOMPARE(cardsOf(dialog)[0]->styleSheet(), transparentStyle);
            QVERIFY(second->checkBox()->isChecked());
            QCOMPARE(dialog->windowTitle(), QStringLiteral("b.mov  (1.00 MB)"));
            // The names belong to the card, the switch to the box.
            QTest::mouseClick(cardsOf(dialog)[0]->checkBox(), Qt::LeftButton, {},
                              QPoint(cardsOf(dialog)[0]->checkBox()->width() - 10, 10));
            QCOMPARE(dialog->selectedIndex(), 0);
            QTest::mouseClick(second->checkBox(), Qt::LeftButton, {},
                              QPoint(10, second->checkBox()->height() / 2));
            QVERIFY(!second->checkBox()->isChecked());
            QCOMPARE(dialog->selectedIndex(), 0);
            // A double click is a click.
            QTest::mouseDClick(second, Qt::LeftButton, {}, QPoint(4, 4));
            QCOMPARE(dialog->selectedIndex(), 1);
        });
        QCOMPARE(setting.problems(), QString());
    }

    void oddNamesAreShownAsTheyAre()
    {
        Setting setting;
        const QString odd = possibleName(QStringLiteral("100 %1 <b>x & y\nz.mov"));
        setting.addOutputs({{odd, QStringLiteral("%2.mp4")}});
        setting.show([&](PreviewDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), odd + QStringLiteral("  (1.50 MB)"));
            const QCheckBox *box = cardsOf(dialog).first()->checkBox();
            QCOMPARE(box->text(),
                     QString(odd).replace(u'&', QStringLiteral("&&")) + QStringLiteral("\n%2.mp4"));
            QCOMPARE(box->toolTip(), QStringLiteral("<p style=\"white-space:pre-wrap\">") +
                                         QString(odd).replace(u'\n', u' ').toHtmlEscaped() +
                                         QStringLiteral("\n%2.mp4</p>"));
        });
        QCOMPARE(setting.problems(), QString());
    }

    void namesTakeALineEach()
    {
        const auto picture = [](const QString &damaged, const QString &output) {
            PreviewCard card(damaged, output, {});
            card.resize(330, 108);
            return card.grab().toImage();
        };
        const QString output = QStringLiteral("o.mp4");
        QCOMPARE(picture(QStringLiteral("a\nb.mov"), output),
                 picture(QStringLiteral("a b.mov"), output));
        QVERIFY(picture(QStringLiteral("a & b.mov"), output) !=
                picture(QStringLiteral("a _ b.mov"), output));
        QVERIFY(picture(QStringLiteral("a & b.mov"), output) !=
                picture(QStringLiteral("a  b.mov"), output));
        // Of long ones beginning and end are seen.
        const QString middle(300, u'm');
        QCOMPARE(
            picture(QStringLiteral("begin") + middle + QStringLiteral("1.mov"), output),
            picture(QStringLiteral("begin") + middle + u'm' + QStringLiteral("1.mov"), output));
        QVERIFY(picture(QStringLiteral("begin") + middle + QStringLiteral("1.mov"), output) !=
                picture(QStringLiteral("begin") + middle + QStringLiteral("2.mov"), output));
    }

    void selectAllChecksAndUnchecksEveryRow()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        setting.show([](PreviewDialog *dialog) {
            selectAllOf(dialog)->click();
            QCOMPARE(checks(dialog), (QList<bool>{false, false}));
            selectAllOf(dialog)->click();
            QCOMPARE(checks(dialog), (QList<bool>{true, true}));
            // It follows the rows without changing them.
            cardsOf(dialog)[0]->checkBox()->click();
            QVERIFY(!selectAllOf(dialog)->isChecked());
            QCOMPARE(checks(dialog), (QList<bool>{false, true}));
            cardsOf(dialog)[0]->checkBox()->click();
            QVERIFY(selectAllOf(dialog)->isChecked());
        });
        QCOMPARE(setting.problems(), QString());
    }

    void keysGoThroughTheCards()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        int result = -1;
        setting.modals.expect([&](QDialog *shown) {
            later(shown, [&, shown] {
                auto *dialog = qobject_cast<PreviewDialog *>(shown);
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Up);
                QCOMPARE(dialog->selectedIndex(), 0);
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Down);
                QCOMPARE(dialog->selectedIndex(), 1);
                QCOMPARE(dialog->focusWidget(), cardsOf(dialog)[1]);
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Down);
                QCOMPARE(dialog->selectedIndex(), 1);
                // Enter plays what is selected.
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Return);
                QCOMPARE(setting.desktop.opened.size(), 1);
                QVERIFY(setting.desktop.opened.first().endsWith(QStringLiteral("/2.mp4")));
                QVERIFY(dialog->isVisible());
                QTest::keyClick(dialog, Qt::Key_Escape);
                result = dialog->result();
            });
        });
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
        QCOMPARE(result, static_cast<int>(QDialog::Rejected));
        QCOMPARE(setting.probe.page(), 0);
    }

    void keysGoOnFromACardThatWasClicked()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")},
                            {QStringLiteral("c.mov"), QStringLiteral("3.mp4")}});
        setting.show([](PreviewDialog *dialog) {
            const QCheckBox *names = cardsOf(dialog)[1]->checkBox();
            QTest::mouseClick(dialog->windowHandle(), Qt::LeftButton, {},
                              names->mapTo(dialog, QPoint(names->width() - 10, 10)));
            QCOMPARE(dialog->selectedIndex(), 1);
            QCOMPARE(dialog->focusWidget(), cardsOf(dialog)[1]);
            QTest::keyClick(dialog->focusWidget(), Qt::Key_Down);
            QCOMPARE(dialog->selectedIndex(), 2);
            QCOMPARE(dialog->focusWidget(), cardsOf(dialog)[2]);
        });
        QCOMPARE(setting.problems(), QString());
    }

    void theTabKeyFollowsTheEye()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        setting.show([](PreviewDialog *dialog) {
            selectAllOf(dialog)->setFocus();
            const QList<QWidget *> order = {cardsOf(dialog)[0],
                                            cardsOf(dialog)[0]->checkBox(),
                                            cardsOf(dialog)[1]->checkBox(),
                                            dialog->findChild<PreviewArea *>()->playButton(),
                                            buttonOf(*dialog, QStringLiteral("Play 30s Preview")),
                                            buttonOf(*dialog, QStringLiteral("Advanced Repair")),
                                            buttonOf(*dialog, QStringLiteral("Save Video (2)"))};
            for (QWidget *next : order) {
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Tab);
                QCOMPARE(dialog->focusWidget(), next);
            }
        });
        QCOMPARE(setting.problems(), QString());
    }

    void thePictureIsTheResultsElseTheSources()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")},
                            {QStringLiteral("c.mov"), QStringLiteral("3.mp4")}});
        const QString red = setting.fault.path(QStringLiteral("red.png"));
        const QString green = setting.fault.path(QStringLiteral("green.png"));
        QImage picture(160, 90, QImage::Format_RGB32);
        picture.fill(Qt::red);
        QVERIFY(picture.save(red));
        picture.fill(Qt::green);
        QVERIFY(picture.save(green));
        setting.probe.sourceThumbs() = {{setting.file(QStringLiteral("a.mov")), red},
                                        {setting.file(QStringLiteral("b.mov")), red}};
        setting.probe.resultThumbs() = {{setting.file(QStringLiteral("a.mov")), green}};
        setting.show([](PreviewDialog *dialog) {
            const QPoint inside(10, 46);
            const auto colour = [&](int card) {
                return cardsOf(dialog)[card]
                    ->findChild<ThumbWidget *>()
                    ->grab()
                    .toImage()
                    .pixelColor(inside);
            };
            QCOMPARE(colour(0), QColor(Qt::green));
            QCOMPARE(colour(1), QColor(Qt::red));
            QVERIFY(colour(2) != QColor(Qt::red) && colour(2) != QColor(Qt::green));

            auto *area = dialog->findChild<PreviewArea *>();
            const auto shown = [&] { return area->findChild<ThumbWidget *>(); };
            QCOMPARE(shown()->grab().toImage().pixelColor(inside), QColor(Qt::green));
            // As large as it goes, in its own proportions.
            QCOMPARE(shown()->width(), area->width() - 24);
            QVERIFY(qAbs(shown()->height() * 16 - shown()->width() * 9) <= 16);
            dialog->select(1);
            QCOMPARE(shown()->grab().toImage().pixelColor(inside), QColor(Qt::red));
            dialog->select(2);
            QCOMPARE(shown()->size(), QSize(124, 100));
        });
        QCOMPARE(setting.problems(), QString());
    }

    void bothButtonsPlayTheSelectedOutput()
    {
        Setting setting;
        const QStringList outputs =
            setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                                {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        const FaultTool tool(setting.toolFolder());
        setting.show([&](PreviewDialog *dialog) {
            QTest::mouseClick(buttonOf(*dialog, QStringLiteral("Play 30s Preview")),
                              Qt::LeftButton);
            QCOMPARE(tool.calls(), QStringList{FaultTool::expectedCall(
                                       outputs[0], clip(QStringLiteral("1_preview_30s.mp4")))});
            dialog->select(1);
            QTest::mouseClick(dialog->findChild<PreviewArea *>()->playButton(), Qt::LeftButton);
            QCOMPARE(
                tool.calls().value(1),
                FaultTool::expectedCall(outputs[1], clip(QStringLiteral("2_preview_30s.mp4"))));
            // Once for each, however often it is played.
            QTest::mouseClick(dialog->findChild<PreviewArea *>()->playButton(), Qt::LeftButton);
            QCOMPARE(tool.calls().size(), 2);
            QVERIFY(dialog->isVisible());
        });
        QCOMPARE(setting.desktop.opened, (QStringList{clip(QStringLiteral("1_preview_30s.mp4")),
                                                      clip(QStringLiteral("2_preview_30s.mp4")),
                                                      clip(QStringLiteral("2_preview_30s.mp4"))}));
        QCOMPARE(setting.problems(), QString());
    }

    void clicksDuringASlowClipAreLost()
    {
        Setting setting;
        const QStringList outputs =
            setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")}});
        const FaultTool tool(setting.toolFolder(),
                             {QStringLiteral("await"), QStringLiteral("write clip")});
        const QString go = clip(QStringLiteral("1_preview_30s.mp4.go"));
        setting.show([&](PreviewDialog *dialog) {
            QPushButton *button = buttonOf(*dialog, QStringLiteral("Play 30s Preview"));
            bool wasEnabled = true;
            QTimer::singleShot(0, dialog, [&] {
                wasEnabled = button->isEnabled();
                const QPoint place = button->mapTo(dialog, button->rect().center());
                for (int i = 0; i < 3; ++i)
                    QTest::mouseClick(dialog->windowHandle(), Qt::LeftButton, {}, place);
                QTest::keyClick(dialog->windowHandle(), Qt::Key_Return);
                writeFile(go);
            });
            button->setFocus();
            QTest::mouseClick(button, Qt::LeftButton);
            QCoreApplication::processEvents();
            QVERIFY(!wasEnabled);
            QVERIFY(button->isEnabled());
            QCOMPARE(dialog->focusWidget(), button);
        });
        QVERIFY(QFile::remove(go));
        QCOMPARE(setting.desktop.opened, QStringList{clip(QStringLiteral("1_preview_30s.mp4"))});
        QCOMPARE(tool.calls().size(), 1);
        QCOMPARE(setting.problems(), QString());
    }

    void anIndexThatIsNoneIsIgnored()
    {
        Setting setting;
        const QStringList outputs =
            setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")}});
        setting.show([](PreviewDialog *dialog) {
            dialog->openPreview(-1);
            dialog->openPreview(1);
            dialog->openPreview(0);
        });
        QCOMPARE(setting.desktop.opened, outputs);
        QCOMPARE(setting.problems(), QString());
    }

    void withoutAPlayerThereIsAMessage()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")}});
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral(
                                 "This plugin does not support QPlatformServices::open.*")));
        setting.modals.expect([](QDialog *dialog) {
            later(dialog, [dialog] {
                qobject_cast<PreviewDialog *>(dialog)->openPreview(0);
                dialog->reject();
            });
        });
        setting.modals.expectWarning(
            QStringLiteral("Unable to Open Preview"),
            QStringLiteral("No available player was found, or the file cannot be opened."));
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
    }

    void savingSavesAllOutputsWhateverIsShown()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")},
                            {QStringLiteral("b.mov"), QStringLiteral("2.mp4")}});
        setting.probe.run().previewSourcePath = setting.file(QStringLiteral("b.mov"));
        const QTemporaryDir target;
        setting.modals.expect([](QDialog *dialog) {
            later(dialog, [dialog] {
                for (const PreviewCard *card : cardsOf(dialog))
                    card->checkBox()->setChecked(false);
                QTest::mouseClick(buttonOf(*dialog, QStringLiteral("Save Video (1)")),
                                  Qt::LeftButton);
                // The preview is still there, under the boxes of the saving.
                QVERIFY(dialog->isVisible());
                dialog->reject();
            });
        });
        setting.modals.expectFileDialog(QStringLiteral("Select Save Folder"), {target.path()});
        setting.modals.expectInformation(QStringLiteral("Save Complete"),
                                         QStringLiteral("Saved 2 file(s) to:\n") +
                                             QDir::toNativeSeparators(target.path()));
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
        QCOMPARE(entriesOf(target.path()), (QStringList{QStringLiteral("a_1_repaired.mp4"),
                                                        QStringLiteral("b_2_repaired.mp4")}));
    }

    void advancedRepairClosesItAndAsksForTheSample()
    {
        Setting setting;
        setting.addOutputs({{QStringLiteral("a.mov"), QStringLiteral("1.mp4")}});
        setting.probe.showPage(2);
        setting.modals.expect([](QDialog *dialog) {
            later(dialog, [dialog] {
                QTest::mouseClick(buttonOf(*dialog, QStringLiteral("Advanced Repair")),
                                  Qt::LeftButton);
            });
        });
        bool isPreviewGone = false;
        setting.modals.expect([&](QDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Add Sample Video"));
            const auto *preview = setting.window.findChild<PreviewDialog *>();
            isPreviewGone = preview == nullptr || !preview->isVisible();
            dialog->reject();
        });
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
        QVERIFY(isPreviewGone);
        QVERIFY(setting.probe.advancedModeCheck()->isChecked());
        QCOMPARE(setting.probe.page(), 1);
    }

    void resultsThatArriveMeanwhileDoNotTouchIt()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 0: when damagedPath second: waitFile go"));
        Setting setting(script);
        QVERIFY(setting.importFiles(
            setting.files({QStringLiteral("first.mp4"), QStringLiteral("second.mp4")})));
        setting.probe.startRepair(false);
        QTRY_COMPARE_WITH_TIMEOUT(setting.probe.run().outputFiles.size(), 1, 50000);
        setting.show([&](PreviewDialog *dialog) {
            setting.fault.release();
            QVERIFY(setting.waitUntilIdle());
            QCOMPARE(setting.probe.run().outputFiles.size(), 2);
            QCOMPARE(cardsOf(dialog).size(), 1);
            setting.probe.resetToImportPage();
            dialog->openPreview(0);
        });
        QCOMPARE(setting.desktop.opened.size(), 1);
        QCOMPARE(setting.problems(), QString());
    }

    void aComparisonThatArrivesMeanwhileComesUpOverIt()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("when method 107: when videoPath sample.mp4: waitFile go"));
        Setting setting(script);
        QVERIFY(setting.importFiles(setting.files({QStringLiteral("first.mp4")})));
        setting.probe.startRepair(false);
        QVERIFY(setting.waitUntilIdle());
        const QStringList outputs = setting.probe.run().outputFiles;
        const QString sample = setting.file(QStringLiteral("sample.mp4"));
        setting.modals.expect([sample](QDialog *dialog) {
            dialog->findChild<DropLineEdit *>()->setText(sample);
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        setting.probe.chooseSampleAndCompare();
        setting.modals.expect([&](QDialog *) { setting.fault.release(); });
        QPointer<QDialog> comparison;
        setting.modals.expect([&](QDialog *dialog) {
            comparison = dialog;
            // The advanced run begins, with the preview of the last one still open.
            QTest::keyClick(dialog, Qt::Key_Return);
        });
        QTimer watch;
        connect(&watch, &QTimer::timeout, this, [&] {
            auto *preview = qobject_cast<PreviewDialog *>(QApplication::activeModalWidget());
            if (preview == nullptr || !setting.probe.run().advancedRun ||
                setting.probe.repairRunning())
                return;
            watch.stop();
            preview->openPreview(0);
            preview->reject();
        });
        watch.start(5);
        setting.probe.showPreviewDialog();
        QCOMPARE(setting.problems(), QString());
        QVERIFY(comparison.isNull());
        QCOMPARE(setting.desktop.opened, outputs);
        QCOMPARE(setting.probe.run().outputFiles.size(), 1);
        QVERIFY(setting.probe.run().outputFiles != outputs);
    }

    void manyOutputsAreShown()
    {
        Setting setting;
        QList<std::pair<QString, QString>> names;
        for (int i = 0; i < 50; ++i)
            names.append({QStringLiteral("a.mov"), QStringLiteral("%1.mp4").arg(i)});
        setting.addOutputs(names);
        setting.show([](PreviewDialog *dialog) {
            QCOMPARE(cardsOf(dialog).size(), 50);
            // The last is reached by keys, and scrolled to.
            for (int i = 0; i < 49; ++i)
                QTest::keyClick(dialog->focusWidget(), Qt::Key_Down);
            QCOMPARE(dialog->selectedIndex(), 49);
            QVERIFY(!cardsOf(dialog)[49]->visibleRegion().isEmpty());
            QVERIFY(cardsOf(dialog)[0]->visibleRegion().isEmpty());
        });
        QCOMPARE(setting.problems(), QString());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(PreviewTest)

#include "tst_preview.moc"
