#include "tests/support/LayoutText.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/PreviewCard.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QImage>
#include <QPointer>
#include <QRandomGenerator>
#include <QScrollBar>

namespace {

const QString waiting = QStringLiteral("Waiting");
const QString repairing = QStringLiteral("Repairing");
const QString succeeded = QStringLiteral("Repair succeeded, 1 output file(s)");
const QString quickFailure =
    QStringLiteral("Quick repair failed. Try Advanced Repair with a sample video.");
const QString advancedFailure = QStringLiteral("Advanced repair failed.");
const QString okStyle = QStringLiteral("color:#cdd5ea;");
const QString openStyle = QStringLiteral("color:#ffbd72;");

QString path(int number)
{
    return QStringLiteral("/films/clip %1.mp4").arg(number);
}

QStringList paths(int count)
{
    QStringList list;
    for (int i = 0; i < count; ++i)
        list.append(path(i));
    return list;
}

/** The item ends well, with so many outputs. */
void succeed(RunState &run, int index, int outputs = 1)
{
    const QString damaged = run.repairQueue[index];
    for (int i = 0; i < outputs; ++i)
        run.addOutput(QStringLiteral("/out/%1/%2.mp4").arg(index).arg(i), damaged);
    run.setStatus(index, QStringLiteral("Repair succeeded, %1 output file(s)").arg(outputs));
    run.setSucceeded(index, true);
}

void fail(RunState &run, int index)
{
    run.setStatus(index, run.advancedRun ? advancedFailure : quickFailure);
    run.setSucceeded(index, false);
}

/** "NAME|STATUS|STYLE|ACTION" of a row, the action as "text#object name", "-" when disabled. */
QString rowText(const ResultRow &row)
{
    const auto *name = row.findChild<QLabel *>(QStringLiteral("ResultName"));
    const auto *status = row.findChild<QLabel *>(QStringLiteral("ResultStatus"));
    QStringList texts{name->text(), status->text(), status->styleSheet()};
    const auto buttons = row.findChildren<QPushButton *>();
    for (const QPushButton *button : buttons)
        texts.append((button->isEnabled() ? QString() : QStringLiteral("-")) + button->text() +
                     QLatin1Char('#') + button->objectName());
    return texts.join(QLatin1Char('|'));
}

QStringList rowTexts(const WindowProbe &probe)
{
    QStringList texts;
    for (const ResultRow *row : probe.resultRows())
        texts.append(rowText(*row));
    return texts;
}

QString expectedRow(int number, const QString &status, const QString &style,
                    const QString &action = {})
{
    QStringList texts{QStringLiteral("clip %1.mp4").arg(number), status, style};
    if (!action.isEmpty())
        texts.append(action);
    return texts.join(QLatin1Char('|'));
}

/** Writes down each text that a label is given, however soon the next takes its place. */
class TextLayout : public QVBoxLayout
{
public:
    /** Takes the label over. */
    TextLayout(QWidget *parent, QLabel *watchedLabel) : QVBoxLayout(parent), label(watchedLabel)
    {
        addWidget(label);
        label->show();
    }

    void invalidate() override
    {
        if (texts.isEmpty() || texts.last() != label->text())
            texts.append(label->text());
        QVBoxLayout::invalidate();
    }

    QStringList texts;

private:
    QLabel *label;
};

const QString previewAction = QStringLiteral("Preview#OutlineButton");
const QString advancedAction = QStringLiteral("Advanced Repair#BlueButton");

} // namespace

/** What the result page tells of a run, and what can be done there. */
class ResultsTest : public TestCase
{
    Q_OBJECT

private:
    /** The counters and what is enabled: summary, preview, save, save all. */
    static QString counters(WorkflowSetting &setting)
    {
        WindowProbe &probe = setting.probe;
        QStringList texts{probe.summaryLabel()->text()};
        for (const QPushButton *button :
             {probe.previewButton(), probe.saveButton(), probe.saveAllButton()})
            texts.append((button->isEnabled() ? QString() : QStringLiteral("-")) + button->text());
        return texts.join(QLatin1Char('|'));
    }

    static QPushButton *rowButton(WorkflowSetting &setting, int index)
    {
        return setting.probe.resultRows()[index]->findChild<QPushButton *>();
    }

    static QImage plainPicture(const QColor &colour)
    {
        QImage image(8, 8, QImage::Format_RGB32);
        image.fill(colour);
        return image;
    }

private Q_SLOTS:
    void beforeAnyRunThereIsNothing()
    {
        WorkflowSetting setting;
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       0/0|-Preview|-Save (0)|-Save All (0)"));
        setting.probe.showPage(2);
        QCOMPARE(rowTexts(setting.probe), QStringList());
        const QLayout *layout = setting.list(2)->widget()->layout();
        QCOMPARE(layout->count(), 1);
        QVERIFY(layout->itemAt(0)->spacerItem() != nullptr);
    }

    void rowsOfAQuickRun()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(5), false);
        run.setStatus(1, repairing);
        succeed(run, 2);
        fail(run, 3);
        succeed(run, 4, 3);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QCOMPARE(
            rowTexts(setting.probe),
            (QStringList{expectedRow(0, waiting, openStyle), expectedRow(1, repairing, openStyle),
                         expectedRow(2, succeeded, okStyle, previewAction),
                         expectedRow(3, quickFailure, openStyle, advancedAction),
                         expectedRow(4, QStringLiteral("Repair succeeded, 3 output file(s)"),
                                     okStyle, previewAction)}));
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       2/5|Preview|Save (4)|Save All (4)"));
    }

    void rowsOfAnAdvancedRun()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(4), true);
        run.setStatus(1, repairing);
        succeed(run, 2);
        fail(run, 3);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QCOMPARE(
            rowTexts(setting.probe),
            (QStringList{expectedRow(0, waiting, openStyle), expectedRow(1, repairing, openStyle),
                         expectedRow(2, succeeded, okStyle, previewAction),
                         expectedRow(3, advancedFailure, openStyle)}));
    }

    void successWithoutAnOutputCannotBePreviewed()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(2), false);
        run.setStatus(0, succeeded);
        run.setSucceeded(0, true);
        // The other's output; a name that is like another's does not count.
        run.addOutput(QStringLiteral("/out.mp4"), QStringLiteral("/films/CLIP 0.mp4"));
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QCOMPARE(rowTexts(setting.probe),
                 (QStringList{expectedRow(0, succeeded, okStyle, QLatin1Char('-') + previewAction),
                              expectedRow(1, waiting, openStyle)}));
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       0/2|Preview|Save (1)|Save All (1)"));
    }

    void theTotalIsTheRunsOrElseTheQueues()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), false);
        run.repairTotal = 7;
        setting.probe.refreshResultList();
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       0/7"));
        run.repairTotal = 0;
        setting.probe.refreshResultList();
        QCOMPARE(setting.probe.summaryLabel()->text(), QStringLiteral("All Videos       0/3"));
    }

    void aRowsFrame()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(1), false);
        succeed(run, 0);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        const ResultRow &row = *setting.probe.resultRows().first();
        QCOMPARE(row.objectName(), QStringLiteral("ResultRow"));
        QCOMPARE(row.minimumHeight(), 104);
        const auto *layout = qobject_cast<QBoxLayout *>(row.layout());
        QCOMPARE(layout->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(layout->contentsMargins(), QMargins(26, 14, 24, 14));
        QCOMPARE(layout->spacing(), 20);
        QCOMPARE(layoutText(*layout),
                 (QStringList{QStringLiteral("ThumbWidget#Thumb"), QStringLiteral("layout x 1"),
                              QStringLiteral("QPushButton#OutlineButton 'Preview'")}));
        const auto *thumb = row.findChild<QWidget *>(QStringLiteral("Thumb"));
        QCOMPARE(thumb->minimumSize(), QSize(94, 68));
        QCOMPARE(thumb->maximumSize(), QSize(94, 68));
        const auto *texts = qobject_cast<QBoxLayout *>(layout->itemAt(1)->layout());
        QCOMPARE(texts->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(texts->spacing(), 8);
        QCOMPARE(layoutText(*texts),
                 (QStringList{QStringLiteral("LineLabel#ResultName 'clip 0.mp4'"),
                              QStringLiteral("LineLabel#ResultStatus '%1'").arg(succeeded)}));
        QVERIFY(!row.findChild<QLabel *>(QStringLiteral("ResultName"))->wordWrap());
    }

    void rowsTouchAndStandAtTheTop()
    {
        WorkflowSetting setting;
        setting.probe.run().begin(paths(3), false);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QCOMPARE(setting.probe.resultRows().size(), 3);
        QCoreApplication::processEvents();
        int top = 0;
        for (const ResultRow *row : setting.probe.resultRows()) {
            QCOMPARE(row->y(), top);
            QVERIFY(row->height() >= 104);
            QCOMPARE(row->width(), setting.list(2)->viewport()->width());
            top += row->height();
        }
        const auto *layout = qobject_cast<QBoxLayout *>(setting.list(2)->widget()->layout());
        QCOMPARE(layout->count(), 4);
        QCOMPARE(layout->stretch(3), 1);
    }

    void namesAreShownAsTheyAre()
    {
        WorkflowSetting setting;
        const QStringList names{QStringLiteral("<b>bold<.mp4"), QStringLiteral("100 %1 %2.mp4"),
                                QStringLiteral("it's \"so\" && so.mp4"),
                                QStringLiteral("видео 二.mp4"), QStringLiteral("two\nlines.mp4")};
        QStringList queue;
        for (const QString &name : names)
            queue.append(QStringLiteral("/films/") + name);
        setting.probe.run().begin(queue, false);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QStringList shown;
        for (const ResultRow *row : setting.probe.resultRows()) {
            const auto *label = row->findChild<QLabel *>(QStringLiteral("ResultName"));
            QCOMPARE(label->textFormat(), Qt::PlainText);
            shown.append(label->text());
        }
        QCOMPARE(shown, names);
    }

    void thumbnailsFallBackToTheSources()
    {
        WorkflowSetting setting;
        const QColor source(10, 200, 30);
        const QColor result(200, 10, 30);
        const QString sourcePhoto = setting.fault.path(QStringLiteral("source.png"));
        const QString resultPhoto = setting.fault.path(QStringLiteral("result.png"));
        QVERIFY(plainPicture(source).save(sourcePhoto));
        QVERIFY(plainPicture(result).save(resultPhoto));
        setting.probe.run().begin(paths(4), false);
        setting.probe.sourceThumbs() = {{path(0), sourcePhoto}, {path(1), sourcePhoto}};
        setting.probe.resultThumbs() = {{path(1), resultPhoto}, {path(2), resultPhoto}};
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QList<QColor> colours;
        for (ResultRow *row : setting.probe.resultRows()) {
            auto *thumb = row->findChild<QWidget *>(QStringLiteral("Thumb"));
            const QImage image = thumb->grab().toImage();
            colours.append(image.pixelColor(image.rect().center() + QPoint(20, 20)));
        }
        QCOMPARE(colours.size(), 4);
        QCOMPARE(colours.mid(0, 3), (QList<QColor>{source, result, result}));
        QVERIFY(colours[3] != source && colours[3] != result);
    }

    void anArrivingSourceThumbnailIsShownHereToo()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList files = setting.files(1);
        setting.probe.run().begin(files, false);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QCOMPARE(setting.probe.resultRows().first()->content().thumbPath, QString());
        setting.probe.requestThumbnail(files[0], files[0], false);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.probe.resultRows().first()->content().thumbPath,
                 WindowProbe::thumbnailPath(files[0], false));
    }

    void theEndIsShown_data()
    {
        QTest::addColumn<bool>("advanced");
        QTest::newRow("quick") << false;
        QTest::newRow("advanced") << true;
    }

    void theEndIsShown()
    {
        QFETCH(const bool, advanced);
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), advanced);
        succeed(run, 0, 2);
        fail(run, 1);
        succeed(run, 2);
        QWidget holder;
        const auto *watch = new TextLayout(&holder, setting.probe.summaryLabel());
        holder.show();
        setting.probe.showResultPage(2, 1, advanced);
        QCOMPARE(watch->texts.mid(watch->texts.size() - 2),
                 (QStringList{advanced ? QStringLiteral("Advanced Done       2/3")
                                       : QStringLiteral("Quick Done       2/3"),
                              QStringLiteral("All Videos       2/3")}));
        QCOMPARE(setting.log(),
                 QStringList{QStringLiteral("INFO showResultPage collected outputs="
                                            "/out/0/0.mp4|/out/0/1.mp4|/out/2/0.mp4")});
        QCOMPARE(setting.probe.page(), 2);
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 3 output file(s)"));
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       2/3|Preview|Save (3)|Save All (3)"));
        QCOMPARE(setting.probe.resultRows().size(), 3);
    }

    void theEndOfAFruitlessRun()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(2), false);
        fail(run, 0);
        fail(run, 1);
        setting.probe.showResultPage(0, 2, false);
        QCOMPARE(setting.log(), QStringList{QStringLiteral("INFO showResultPage collected "
                                                           "outputs=")});
        QCOMPARE(setting.probe.progressLabel()->text(),
                 QStringLiteral("Generated 0 output file(s)"));
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       0/2|-Preview|-Save (0)|-Save All (0)"));
        QCOMPARE(rowTexts(setting.probe),
                 (QStringList{expectedRow(0, quickFailure, openStyle, advancedAction),
                              expectedRow(1, quickFailure, openStyle, advancedAction)}));
    }

    void duringARunTheProgressStays()
    {
        WorkflowSetting setting;
        setting.probe.setRepairRunning(true);
        setting.probe.showResultPage(0, 0, false);
        QCOMPARE(setting.probe.progressLabel()->text(), QStringLiteral("Processing..."));
        QCOMPARE(setting.probe.page(), 2);
        setting.probe.setRepairRunning(false);
    }

    void previewOfARowIsOfItsFile()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), false);
        succeed(run, 0);
        succeed(run, 2);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        Modals modals;
        QString shown;
        const auto press = [&](QPushButton *button) {
            modals.expect([&](QDialog *dialog) {
                shown = dialog->windowTitle() +
                        QString::number(dialog->findChildren<PreviewCard *>().size());
                dialog->reject();
            });
            QTest::mouseClick(button, Qt::LeftButton);
        };
        press(rowButton(setting, 2));
        QTRY_COMPARE_WITH_TIMEOUT(shown, QStringLiteral("clip 2.mp4  (0.00 MB)1"), 30000);
        QCOMPARE(run.previewSourcePath, path(2));
        press(rowButton(setting, 0));
        QTRY_COMPARE_WITH_TIMEOUT(shown, QStringLiteral("clip 0.mp4  (0.00 MB)1"), 30000);
        QCOMPARE(run.previewSourcePath, path(0));
        press(setting.probe.previewButton());
        QTRY_COMPARE_WITH_TIMEOUT(shown, QStringLiteral("clip 0.mp4  (0.00 MB)2"), 30000);
        QCOMPARE(run.previewSourcePath, QString());
        QCOMPARE(modals.problems(), QStringList());
    }

    void bothSaveButtonsSaveWhatThereIs()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(2), false);
        Modals modals;
        QStringList expected;
        const auto press = [&](QPushButton *button, const QString &title) {
            modals.expect([](QDialog *dialog) { dialog->reject(); });
            expected.append(title);
            QTest::mouseClick(button, Qt::LeftButton);
        };
        for (const QString &title :
             {QStringLiteral("Save Repaired Video"), QStringLiteral("Select Save Folder")}) {
            succeed(run, run.outputFiles.isEmpty() ? 0 : 1);
            setting.probe.refreshResultList();
            press(setting.probe.saveButton(), title);
            press(setting.probe.saveAllButton(), title);
        }
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), expected);
    }

    void aFailedRowLeadsToAdvancedRepair()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(2), false);
        fail(run, 1);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        QVERIFY(!setting.probe.advancedModeCheck()->isChecked());
        setting.probe.damagedFilePath() = path(1);
        Modals modals;
        modals.expect([](QDialog *dialog) { dialog->reject(); });
        QTest::mouseClick(rowButton(setting, 1), Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(modals.titles(), QStringList{QStringLiteral("Add Sample Video")},
                                  30000);
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(setting.probe.page(), 1);
        QVERIFY(setting.probe.advancedModeCheck()->isChecked());
        QVERIFY(!setting.probe.repairRunning());
    }

    void aRowMayBeRebuiltByItsOwnClick()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), false);
        fail(run, 1);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        Modals modals;
        const QPointer<QPushButton> button = rowButton(setting, 1);
        connect(button, &QPushButton::pressed, &setting.window, [&] {
            succeed(run, 1);
            setting.probe.refreshResultList();
            QCoreApplication::processEvents();
        });
        connect(button, &QPushButton::clicked, &setting.window, [&] {
            succeed(run, 2);
            setting.probe.refreshResultList();
            QCoreApplication::processEvents();
        });
        button->click();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(button.isNull());
        // The click was on what the row showed then.
        QTRY_COMPARE_WITH_TIMEOUT(setting.probe.page(), 1, 30000);
        setting.probe.showPage(2);
        QCOMPARE(rowTexts(setting.probe),
                 (QStringList{expectedRow(0, waiting, openStyle),
                              expectedRow(1, succeeded, okStyle, previewAction),
                              expectedRow(2, succeeded, okStyle, previewAction)}));
    }

    void theFocusStaysWithARowThatChanges()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), false);
        fail(run, 1);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        setting.settle();
        setting.window.activateWindow();
        rowButton(setting, 1)->setFocus();
        QTRY_COMPARE_WITH_TIMEOUT(QApplication::focusWidget(), rowButton(setting, 1), 30000);
        succeed(run, 1);
        setting.probe.refreshResultList();
        setting.settle();
        QCOMPARE(rowButton(setting, 1)->text(), QStringLiteral("Preview"));
        QCOMPARE(QApplication::focusWidget(), rowButton(setting, 1));
    }

    void theListMayBeScrolledAwayFromTheFocus()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(200), false);
        for (int i = 0; i < 200; ++i)
            fail(run, i);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        setting.settle();
        setting.window.activateWindow();
        rowButton(setting, 3)->setFocus();
        QTRY_COMPARE_WITH_TIMEOUT(QApplication::focusWidget(), rowButton(setting, 3), 30000);
        auto *area = setting.probe.pageWidget(2)->findChild<QScrollArea *>();
        QScrollBar *bar = area->verticalScrollBar();
        // By less than all, so that old and new rows overlap, and then to the end.
        for (const int value : {bar->maximum() / 20, bar->maximum() / 10, bar->maximum()}) {
            bar->setValue(value);
            setting.settle();
            QCOMPARE(bar->value(), value);
            int visible = 0;
            for (const ResultRow *row : area->findChildren<ResultRow *>())
                visible += row->isHidden() ? 0 : 1;
            QCOMPARE(visible, setting.probe.resultRows().size());
        }
        QCOMPARE(setting.probe.resultRows().last()->content().damagedFile, paths(200).last());
        QCOMPARE(QApplication::focusWidget(), area);
    }

    void aClickMayRemoveAll()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(2), false);
        succeed(run, 0);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        Modals modals;
        const QPointer<QPushButton> button = rowButton(setting, 0);
        connect(button, &QPushButton::clicked, &setting.window, [&] {
            setting.probe.resetToImportPage();
            setting.probe.refreshResultList();
        });
        button->click();
        QCOMPARE(rowTexts(setting.probe), QStringList());
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QVERIFY(button.isNull());
        QCOMPARE(counters(setting),
                 QStringLiteral("All Videos       0/0|-Preview|-Save (0)|-Save All (0)"));
    }

    void afterRemoveAllTheListIsEmpty()
    {
        WorkflowSetting setting;
        RunState &run = setting.probe.run();
        run.begin(paths(3), false);
        succeed(run, 0);
        setting.probe.showResultPage(1, 2, false);
        QCOMPARE(setting.probe.resultRows().size(), 3);
        setting.probe.resetToImportPage();
        QCOMPARE(rowTexts(setting.probe), QStringList());
    }

    void whatIsRemovedBeforeItIsShownDoesNoHarm()
    {
        WorkflowSetting setting;
        setting.probe.run().begin(paths(3), false);
        setting.probe.showPage(2);
        setting.probe.refreshResultList();
        setting.probe.resetToImportPage();
        QCOMPARE(rowTexts(setting.probe), QStringList());
    }

    void theNextRunsListIsRightAfterRemoveAll()
    {
        WorkflowSetting setting;
        setting.probe.run().begin(paths(200), false);
        setting.probe.showResultPage(0, 200, false);
        WorkflowSetting::settle();
        QScrollBar *bar = setting.list(2)->verticalScrollBar();
        bar->setValue(bar->maximum());
        WorkflowSetting::settle();
        setting.probe.resetToImportPage();
        setting.window.resize(1300, 1000);
        WorkflowSetting::settle();
        QCOMPARE(setting.probe.page(), 0);
        setting.probe.run().begin(paths(2), false);
        setting.probe.showResultPage(0, 2, false);
        WorkflowSetting::settle();
        QCOMPARE(rowTexts(setting.probe), (QStringList{expectedRow(0, waiting, openStyle),
                                                       expectedRow(1, waiting, openStyle)}));
    }

    void aLongListIsAsHighAsItsRows_data()
    {
        QTest::addColumn<int>("count");
        for (const int count : {1, 10, 40, 150, 1000})
            QTest::addRow("%d", count) << count;
    }

    void aLongListIsAsHighAsItsRows()
    {
        QFETCH(const int, count);
        WorkflowSetting setting;
        setting.probe.run().begin(paths(count), false);
        setting.probe.showResultPage(0, count, false);
        WorkflowSetting::settle();
        const QScrollArea &area = *setting.list(2);
        const int height = setting.probe.resultRows().first()->height();
        QTRY_COMPARE_WITH_TIMEOUT(area.widget()->height(),
                                  qMax(count * height, area.viewport()->height()), 5000);
        area.verticalScrollBar()->setValue(area.verticalScrollBar()->maximum());
        WorkflowSetting::settle();
        const ResultRow &last = *setting.probe.resultRows().last();
        QCOMPARE(last.content().damagedFile, path(count - 1));
        QCOMPARE(last.y(), (count - 1) * height);
    }

    void listsOfAnyLengthScrollAsIfAllRowsWereThere();

private:
    static void compareWithFreshList(WorkflowSetting &setting);
};

namespace {

/** Compares what the result list shows with what it has to. */
class ListCheck
{
public:
    explicit ListCheck(WorkflowSetting &workflowSetting) : setting(workflowSetting) {}

    QString problem()
    {
        return lastingProblem([this] { return presentProblem(); });
    }

private:
    QString presentProblem()
    {
        const QList<ResultRow *> rows = setting.probe.resultRows();
        const RunState &run = setting.probe.run();
        if (run.repairQueue.isEmpty())
            return rows.isEmpty() ? QString() : QStringLiteral("rows of nothing");
        if (rows.isEmpty())
            return QStringLiteral("no rows of %1").arg(run.repairQueue.size());
        const qsizetype first = run.repairQueue.indexOf(rows.first()->content().damagedFile);
        const int height = rows.first()->height();
        for (qsizetype i = 0; i < rows.size(); ++i) {
            const QString wrong = problemOf(*rows[i], first + i, height);
            if (!wrong.isEmpty())
                return QStringLiteral("row %1: %2").arg(first + i).arg(wrong);
        }
        return problemOfList(first, first + rows.size(), height);
    }

    QString expectedText(qsizetype index) const
    {
        const RunState &run = setting.probe.run();
        const QString &damaged = run.repairQueue[index];
        const QString &status = run.itemStatuses[index];
        const bool isOk = run.itemSucceeded[index];
        QString action;
        if (isOk)
            action = (run.outputSources.contains(damaged) ? QString() : QStringLiteral("-")) +
                     previewAction;
        else if (status != waiting && status != repairing && !run.advancedRun)
            action = advancedAction;
        QStringList texts{QFileInfo(damaged).fileName(), status, isOk ? okStyle : openStyle};
        if (!action.isEmpty())
            texts.append(action);
        return texts.join(QLatin1Char('|'));
    }

    QString problemOf(const ResultRow &row, qsizetype index, int height) const
    {
        const RunState &run = setting.probe.run();
        if (index < 0 || index >= run.repairQueue.size())
            return QStringLiteral("not in the list: ") + row.content().damagedFile;
        if (rowText(row) != expectedText(index))
            return QStringLiteral("not \"%1\" but \"%2\"").arg(expectedText(index), rowText(row));
        const QString &damaged = run.repairQueue[index];
        if (row.content().thumbPath != setting.probe.resultThumbs().value(
                                           damaged, setting.probe.sourceThumbs().value(damaged)))
            return QStringLiteral("picture ") + row.content().thumbPath;
        const QRect place(0, static_cast<int>(index) * height, setting.list(2)->widget()->width(),
                          height);
        if (row.geometry() != place || !row.isVisible())
            return QStringLiteral("at %1, %2 high").arg(row.y()).arg(row.height());
        return {};
    }

    QString problemOfList(qsizetype first, qsizetype end, int height) const
    {
        const QScrollArea &area = *setting.list(2);
        const auto count = static_cast<int>(setting.probe.run().repairQueue.size());
        const int whole = qMax(count * height, area.viewport()->height());
        if (area.widget()->height() != whole)
            return QStringLiteral("%1 high, not %2").arg(area.widget()->height()).arg(whole);
        const int top = area.verticalScrollBar()->value();
        for (int i = 0; i < count; ++i) {
            const bool isInSight =
                (i + 1) * height > top && i * height < top + area.viewport()->height();
            if (isInSight && (i < first || i >= end))
                return QStringLiteral("row %1 is in sight and not there").arg(i);
        }
        return QStringLiteral("%1/%2").arg(run().succeededCount()).arg(count) ==
                       setting.probe.summaryLabel()->text().section(QLatin1Char(' '), -1)
                   ? QString()
                   : setting.probe.summaryLabel()->text();
    }

    const RunState &run() const { return setting.probe.run(); }

    WorkflowSetting &setting;
};

/** One of the things that may happen to a run's items. */
void doSomethingToItem(WindowProbe &probe, QRandomGenerator &random)
{
    RunState &run = probe.run();
    if (run.repairQueue.isEmpty())
        return;
    const int index = random.bounded(static_cast<int>(run.repairQueue.size()));
    const QString damaged = run.repairQueue[index];
    switch (random.bounded(5)) {
    case 0:
        run.setStatus(index, repairing);
        break;
    case 1:
        if (!run.itemSucceeded[index])
            succeed(run, index, 1 + random.bounded(3));
        break;
    case 2:
        fail(run, index);
        break;
    case 3:
        probe.sourceThumbs().insert(damaged, QStringLiteral("/s%1").arg(random.bounded(100)));
        break;
    default:
        probe.resultThumbs().insert(damaged, QStringLiteral("/r%1").arg(random.bounded(100)));
    }
    probe.refreshResultList();
}

void doSomething(WorkflowSetting &setting, QRandomGenerator &random)
{
    QScrollBar *bar = setting.list(2)->verticalScrollBar();
    switch (random.bounded(12)) {
    case 0:
        setting.probe.resetToImportPage();
        WorkflowSetting::settle();
        setting.probe.showPage(2);
        break;
    case 1:
    case 2:
        setting.probe.run().begin(paths(1 + random.bounded(random.bounded(2) == 0 ? 5 : 150)),
                                  random.bounded(2) == 0);
        setting.probe.refreshResultList();
        break;
    case 3:
        setting.window.resize(1120 + random.bounded(400), 720 + random.bounded(600));
        break;
    case 4:
        setting.probe.showPage(1);
        QCoreApplication::processEvents();
        setting.probe.showPage(2);
        break;
    case 5:
    case 6:
    case 7:
        bar->setValue(random.bounded(bar->maximum() + 1));
        break;
    default:
        doSomethingToItem(setting.probe, random);
    }
}

} // namespace

void ResultsTest::compareWithFreshList(WorkflowSetting &setting)
{
    MainWindow fresh;
    WindowProbe freshProbe(fresh);
    fresh.resize(setting.window.size());
    fresh.show();
    freshProbe.run() = setting.probe.run();
    freshProbe.sourceThumbs() = setting.probe.sourceThumbs();
    freshProbe.resultThumbs() = setting.probe.resultThumbs();
    freshProbe.showPage(2);
    freshProbe.refreshResultList();
    WorkflowSetting::settle();
    auto *freshList = freshProbe.pageWidget(2)->findChild<QScrollArea *>();
    QCOMPARE(freshList->widget()->size(), setting.list(2)->widget()->size());
    freshList->verticalScrollBar()->setValue(setting.list(2)->verticalScrollBar()->value());
    WorkflowSetting::settle();
    QCOMPARE(setting.list(2)->grab().toImage(), freshList->grab().toImage());
}

void ResultsTest::listsOfAnyLengthScrollAsIfAllRowsWereThere()
{
    WorkflowSetting setting;
    setting.probe.showPage(2);
    setting.probe.run().begin(paths(150), false);
    setting.probe.refreshResultList();
    QRandomGenerator random(1234);
    ListCheck check(setting);
    QCOMPARE(check.problem(), QString());
    for (int step = 1; step <= 600; ++step) {
        doSomething(setting, random);
        if (step % 3 != 0)
            continue;
        const QString problem = check.problem();
        QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("%1: %2").arg(step).arg(problem)));
        if (step % 60 == 0)
            compareWithFreshList(setting);
    }
}

VELLUMIX_WINDOW_TEST_MAIN(ResultsTest)

#include "tst_results.moc"
