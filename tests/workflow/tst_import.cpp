#include "metadata/MetadataText.h"
#include "metadata/SupportedFormats.h"
#include "tests/support/LayoutText.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/DropPanel.h"
#include "ui/LineLabel.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QDropEvent>
#include <QFileDialog>
#include <QHelpEvent>
#include <QImage>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QRandomGenerator>
#include <QScrollBar>
#include <QUrl>

#ifndef Q_OS_WIN
#include <sys/stat.h>
#endif

namespace {

const QString dialogTitle = QStringLiteral("Select Videos to Repair");

/** What a row says of a file as long as nothing is known of it. */
QString plainDetail(const QString &path)
{
    return sizeText(QFileInfo(path).size()) + QStringLiteral("    ") + formatText(path) +
           QStringLiteral("    No audio");
}

QString fileNameOf(const QString &path)
{
    return QFileInfo(path).fileName();
}

/** All that an import may change, as text. */
QStringList stateOf(WindowProbe &probe)
{
    const auto &run = probe.run();
    const auto joined = [](const QStringList &list) { return list.join(QLatin1Char('|')); };
    QStringList texts{joined(probe.damagedFiles()),
                      probe.damagedFilePath(),
                      probe.damagedMetadataText(),
                      run.sampleFilePath,
                      run.firstOutputPath,
                      joined(run.outputFiles),
                      joined(run.outputSources),
                      joined(run.repairQueue),
                      joined(run.itemStatuses),
                      run.previewSourcePath,
                      probe.listHeaderLabel()->text(),
                      probe.progressLabel()->text(),
                      probe.summaryLabel()->text()};
    for (const qsizetype number :
         {qsizetype(probe.page()), qsizetype(run.repairTotal), qsizetype(run.advancedRun),
          run.itemSucceeded.size(), qsizetype(probe.metadataLoading()),
          qsizetype(probe.metadataReady()), qsizetype(probe.repairRunning()),
          qsizetype(probe.repairButton()->isEnabled()), probe.sourceThumbs().size(),
          probe.resultThumbs().size(), probe.pendingThumbs().size()})
        texts.append(QString::number(number));
    return texts;
}

/** A run that is over, with everything in it. */
void haveResults(WindowProbe &probe, const QStringList &files)
{
    probe.run().sampleFilePath = QStringLiteral("/sample.mp4");
    probe.run().begin(files, true);
    probe.run().addOutput(QStringLiteral("/out.mp4"), files.first());
    probe.run().setStatus(0, QStringLiteral("Repair succeeded, 1 output file(s)"));
    probe.run().setSucceeded(0, true);
    probe.run().firstOutputPath = QStringLiteral("/out.mp4");
    probe.run().previewSourcePath = files.first();
    probe.showResultPage(1, 0, true);
}

/** Labels as a page may have them. */
struct SummaryLabels
{
    explicit SummaryLabels(WindowProbe &probe)
    {
        probe.titleLabel() = &title;
        probe.sizeLabel() = &size;
        probe.frameRateLabel() = &frameRate;
        probe.resolutionLabel() = &resolution;
        probe.fileLabel() = &file;
    }

    QLabel title{QStringLiteral("before")};
    QLabel size{QStringLiteral("before")};
    QLabel frameRate{QStringLiteral("before")};
    QLabel resolution{QStringLiteral("before")};
    QLabel file{QStringLiteral("before")};
};

} // namespace

/** Files come into the list, and the list shows them. */
class ImportTest : public TestCase
{
    Q_OBJECT

private:
    static QStringList namesOf(const QList<ImportRow *> &rows)
    {
        QStringList names;
        for (const ImportRow *row : rows)
            names.append(row->content().fileName);
        return names;
    }

    /** Chooses the files with the button, in the dialog. */
    static void choose(WorkflowSetting &setting, QPushButton *button, const QStringList &paths)
    {
        Modals modals;
        modals.expectFileDialog(dialogTitle, paths);
        QVERIFY(button != nullptr);
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(modals.problems(), QStringList());
        QVERIFY(setting.waitUntilIdle());
    }

    static void drop(WorkflowSetting &setting, const QList<QUrl> &urls)
    {
        QMimeData data;
        data.setUrls(urls);
        QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        auto *panel = setting.probe.pageWidget(0)->findChild<DropPanel *>();
        // Straight to the widget: the application would look for the drag's source.
        static_cast<QObject *>(panel)->event(&event);
    }

private Q_SLOTS:
    void theDialogAsksForVideos()
    {
        WorkflowSetting setting;
        Modals modals;
        QStringList filters;
        QFileDialog::FileMode mode = QFileDialog::AnyFile;
        QWidget *parent = nullptr;
        modals.expect([&](QDialog *dialog) {
            auto *files = qobject_cast<QFileDialog *>(dialog);
            filters = files->nameFilters();
            mode = files->fileMode();
            parent = files->parentWidget();
            files->reject();
        });
        setting.probe.chooseDamagedFile();
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(modals.titles(), QStringList{dialogTitle});
        QCOMPARE(filters.join(QStringLiteral(";;")),
                 QStringLiteral("Video files (*.mp4 *.mov *.avi *.mkv *.mpg *.wmv *.3gp *.rsv "
                                "*.mts *.ts *.dat *.flv *.m4v *.webm *.m2ts *.swf *.mpeg *.mxf "
                                "*.rmvb *.insv *.3g2 *.rm *.klv *.aep);;All files (*.*)"));
        QCOMPARE(mode, QFileDialog::ExistingFiles);
        QCOMPARE(parent, &setting.window);
    }

    void cancellingChangesNothing()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(2)));
        const QStringList before = stateOf(setting.probe);
        const qsizetype lines = setting.log().size();
        choose(setting, setting.button(1, QStringLiteral("+ Add Videos")), {});
        QCOMPARE(stateOf(setting.probe), before);
        QCOMPARE(setting.log().mid(lines), QStringList{QStringLiteral("INFO chooseDamagedFile "
                                                                      "canceled")});
    }

    void theFirstChoiceIsTheList()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(3);
        choose(setting, setting.button(0, QStringLiteral("+ Add")), paths);
        QCOMPARE(setting.probe.damagedFiles(), paths);
        QCOMPARE(setting.probe.damagedFilePath(), paths.first());
        QCOMPARE(setting.probe.page(), 1);
        QCOMPARE(setting.log().first(), QStringLiteral("INFO Damaged files selected, count=3"));
    }

    void theListPageAdds()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(4);
        QVERIFY(setting.importFiles(paths.mid(2)));
        choose(setting, setting.button(1, QStringLiteral("+ Add Videos")),
               {paths[1], paths[3], paths[0]});
        const QStringList all{paths[2], paths[3], paths[1], paths[0]};
        QCOMPARE(setting.probe.damagedFiles(), all);
        QCOMPARE(setting.probe.damagedFilePath(), paths[2]);
        QCOMPARE(setting.probe.page(), 1);
        QVERIFY(setting.log().contains(QStringLiteral("INFO Damaged files selected, count=3")));
    }

    void otherPagesReplace_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QString>("button");
        QTest::newRow("import page") << 0 << QStringLiteral("+ Add");
        QTest::newRow("result page") << 2 << QStringLiteral("Add Videos");
    }

    void otherPagesReplace()
    {
        QFETCH(const int, page);
        QFETCH(const QString, button);
        WorkflowSetting setting;
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths.mid(0, 2)));
        setting.probe.showPage(page);
        choose(setting, setting.button(page, button), {paths[2]});
        QCOMPARE(setting.probe.damagedFiles(), QStringList{paths[2]});
        QCOMPARE(setting.probe.damagedFilePath(), paths[2]);
        QCOMPARE(setting.probe.page(), 1);
    }

    void anEmptyListPageReplacesToo()
    {
        WorkflowSetting setting;
        setting.probe.showPage(1);
        const QStringList paths = setting.files(1);
        choose(setting, setting.button(1, QStringLiteral("+ Add Videos")), paths);
        QCOMPARE(setting.probe.damagedFiles(), paths);
    }

    void whatIsNoFileIsLeftOut()
    {
        WorkflowSetting setting;
        const QString good = setting.file(QStringLiteral("good.mp4"));
        const QString missing = setting.fault.path(QStringLiteral("missing %1.mp4"));
        const QString folder = setting.fault.path(QStringLiteral("videos"));
        const QString padded = QLatin1Char(' ') + good;
        setting.probe.addDamagedFiles({QString(), QStringLiteral(" \t\n"), missing, folder, good,
                                       padded, QStringLiteral("no-such-relative.mp4")},
                                      true);
        QCOMPARE(setting.probe.damagedFiles(), QStringList{good});
        const QString skipped = QStringLiteral("WARN Skipped invalid damaged file, path=");
        QCOMPARE(setting.log(QStringLiteral("Skipped")),
                 (QStringList{skipped + missing, skipped + folder, skipped + padded,
                              skipped + QStringLiteral("no-such-relative.mp4")}));
    }

#ifndef Q_OS_WIN
    // Links are not for everybody there, and pipes are no files.

    void linksToFilesAreFiles()
    {
        WorkflowSetting setting;
        const QString file = setting.file(QStringLiteral("file.mp4"));
        const QString link = setting.fault.path(QStringLiteral("link.mp4"));
        const QString dangling = setting.fault.path(QStringLiteral("dangling.mp4"));
        const QString pipe = setting.fault.path(QStringLiteral("pipe.mp4"));
        QVERIFY(QFile::link(file, link));
        QVERIFY(QFile::link(QStringLiteral("/no/such/file"), dangling));
        QCOMPARE(mkfifo(qPrintable(pipe), 0600), 0);
        setting.probe.addDamagedFiles({link, dangling, pipe, file}, true);
        QCOMPARE(setting.probe.damagedFiles(), (QStringList{link, file}));
        const QString skipped = QStringLiteral("WARN Skipped invalid damaged file, path=");
        QCOMPARE(setting.log(QStringLiteral("Skipped")),
                 (QStringList{skipped + dangling, skipped + pipe}));
    }
#endif

    void formatAndSizeDoNotMatter()
    {
        WorkflowSetting setting;
        const QStringList paths{setting.file(QStringLiteral("empty.mp4"), {}),
                                setting.file(QStringLiteral("notes.txt")),
                                setting.file(QStringLiteral("no suffix"))};
        setting.probe.addDamagedFiles(paths, true);
        QCOMPARE(setting.probe.damagedFiles(), paths);
    }

    void pathsBecomeAbsolute()
    {
        WorkflowSetting setting;
        const QString path = setting.file(QStringLiteral("one.mp4"));
        setting.probe.addDamagedFiles({QDir::current().relativeFilePath(path), path}, true);
        QCOMPARE(setting.probe.damagedFiles(), QStringList{path});
    }

    void aFileIsTakenOnce()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(3);
        setting.probe.addDamagedFiles({paths[1], paths[0], paths[1], paths[1]}, true);
        QCOMPARE(setting.probe.damagedFiles(), (QStringList{paths[1], paths[0]}));
        setting.probe.addDamagedFiles({paths[0], paths[2], paths[1], paths[2]}, false);
        QCOMPARE(setting.probe.damagedFiles(), (QStringList{paths[1], paths[0], paths[2]}));
        QCOMPARE(setting.probe.damagedFilePath(), paths[1]);
    }

    void namesThatDifferInCaseAreTwoFiles()
    {
        WorkflowSetting setting;
        const QStringList paths =
            setting.files({QStringLiteral("clip.mp4"), QStringLiteral("CLIP.mp4")});
        setting.probe.addDamagedFiles(paths, true);
        QCOMPARE(setting.probe.damagedFiles(), paths);
        QCOMPARE(namesOf(setting.probe.importRows()),
                 (QStringList{QStringLiteral("clip.mp4"), QStringLiteral("CLIP.mp4")}));
    }

    void nothingAcceptedChangesNothing_data()
    {
        QTest::addColumn<bool>("replace");
        QTest::newRow("replace") << true;
        QTest::newRow("add") << false;
    }

    void nothingAcceptedChangesNothing()
    {
        QFETCH(const bool, replace);
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(2)));
        haveResults(setting.probe, setting.probe.damagedFiles());
        const QStringList before = stateOf(setting.probe);
        QVERIFY(setting.probe.metadataReady());
        const int services = setting.fault.startCount();
        setting.probe.addDamagedFiles(
            {QString(), QStringLiteral("  "), setting.fault.path({}), QStringLiteral("/no/such")},
            replace);
        QCOMPARE(stateOf(setting.probe), before);
        setting.probe.addDamagedFiles({}, replace);
        QCOMPARE(stateOf(setting.probe), before);
        QCOMPARE(setting.probe.page(), 2);
        QCOMPARE(setting.fault.startCount(), services);
    }

    void anImportDropsTheResults_data()
    {
        QTest::addColumn<bool>("replace");
        QTest::newRow("replace") << true;
        QTest::newRow("add") << false;
    }

    void anImportDropsTheResults()
    {
        QFETCH(const bool, replace);
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(2)));
        haveResults(setting.probe, setting.probe.damagedFiles());
        setting.probe.repairRunning() = true;
        setting.probe.metadataReady() = true;
        setting.probe.addDamagedFiles({setting.file(QStringLiteral("new.mp4"))}, replace);
        const auto &run = setting.probe.run();
        QCOMPARE(run.sampleFilePath + run.firstOutputPath + run.previewSourcePath, QString());
        QCOMPARE(run.outputFiles + run.outputSources + run.repairQueue + run.itemStatuses,
                 QStringList());
        QVERIFY(run.itemSucceeded.isEmpty());
        QCOMPARE(run.repairTotal, 0);
        QCOMPARE(run.succeededCount(), 0);
        QVERIFY(!run.advancedRun);
        QVERIFY(!setting.probe.metadataReady());
        QCOMPARE(setting.probe.page(), 1);
        // A run that goes on is guarded as before.
        QVERIFY(setting.probe.repairRunning());
        QVERIFY(!setting.probe.repairButton()->isEnabled());
    }

    void theHeaderCounts()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(3);
        setting.probe.addDamagedFiles({paths[0]}, true);
        QCOMPARE(setting.probe.listHeaderLabel()->text(), QStringLiteral("Videos to Repair (1)"));
        setting.probe.addDamagedFiles(paths, false);
        QCOMPARE(setting.probe.listHeaderLabel()->text(), QStringLiteral("Videos to Repair (3)"));
    }

    void summaryLabelsTellOfTheCurrentFile()
    {
        WorkflowSetting setting;
        const QString first =
            setting.file(QStringLiteral("first %2.mp4"), QByteArray(1572864, 'v'));
        const QStringList others = setting.files(2);
        const SummaryLabels labels(setting.probe);
        setting.probe.addDamagedFiles({first}, true);
        QCOMPARE(labels.title.text(), QStringLiteral("first %2.mp4"));
        QCOMPARE(labels.size.text(), QStringLiteral("▪ 1.50 MB"));
        QCOMPARE(labels.file.text(), QStringLiteral("▪ ") + first);
        QCOMPARE(labels.frameRate.text(), QString());
        QCOMPARE(labels.resolution.text(), QStringLiteral("Analyzing..."));
        setting.probe.addDamagedFiles({others[0]}, false);
        QCOMPARE(labels.title.text(), QStringLiteral("first %2.mp4 and 2 videos"));
        setting.probe.addDamagedFiles({others[1]}, false);
        QCOMPARE(labels.title.text(), QStringLiteral("first %2.mp4 and 3 videos"));
        QCOMPARE(labels.file.text(), QStringLiteral("▪ ") + first);
        setting.probe.addDamagedFiles({others[1]}, true);
        QCOMPARE(labels.title.text(), QStringLiteral("video 2.mp4"));
        QCOMPARE(labels.size.text(), QStringLiteral("▪ 0.00 MB"));
    }

    void summaryLabelsMayBeAbsent()
    {
        WorkflowSetting setting;
        QLabel title;
        setting.probe.titleLabel() = &title;
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        QCOMPARE(title.text(), QStringLiteral("video 1.mp4 and 2 videos"));
        QCOMPARE(setting.probe.damagedFiles(), paths);
    }

    void aRowsFrame()
    {
        WorkflowSetting setting;
        setting.probe.addDamagedFiles(setting.files(1), true);
        const QList<ImportRow *> rows = setting.probe.importRows();
        QCOMPARE(rows.size(), 1);
        const ImportRow &row = *rows.first();
        QCOMPARE(row.styleSheet(),
                 QStringLiteral("QFrame{background:#ffffff;border-bottom:1px solid #e4ebf5;}"));
        const auto *layout = qobject_cast<QBoxLayout *>(row.layout());
        QCOMPARE(layout->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(layout->contentsMargins(), QMargins(10, 12, 10, 12));
        QCOMPARE(layout->spacing(), 16);
        QCOMPARE(layoutText(*layout),
                 (QStringList{QStringLiteral("ThumbWidget#Thumb"), QStringLiteral("layout x 1")}));
        const auto *thumb = row.findChild<QWidget *>(QStringLiteral("Thumb"));
        QCOMPARE(thumb->minimumSize(), QSize(104, 76));
        QCOMPARE(thumb->maximumSize(), QSize(104, 76));
        const auto *texts = qobject_cast<QBoxLayout *>(layout->itemAt(1)->layout());
        QCOMPARE(texts->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(texts->spacing(), 8);
        QCOMPARE(texts->count(), 2);
        const auto *name = qobject_cast<QLabel *>(texts->itemAt(0)->widget());
        const auto *detail = qobject_cast<QLabel *>(texts->itemAt(1)->widget());
        QCOMPARE(name->objectName(), QStringLiteral("FileName"));
        QCOMPARE(name->text(), QStringLiteral("video 1.mp4"));
        QVERIFY(!name->wordWrap());
        QVERIFY(!detail->wordWrap());
    }

    void rowsStandAtTheTop()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(3)));
        const QList<ImportRow *> rows = setting.probe.importRows();
        QCOMPARE(rows.size(), 3);
        QCoreApplication::processEvents();
        const auto *layout = qobject_cast<QBoxLayout *>(setting.list(1)->widget()->layout());
        QCOMPARE(layout->count(), 4);
        QVERIFY(layout->itemAt(3)->spacerItem() != nullptr);
        QCOMPARE(layout->stretch(3), 1);
        int top = 18;
        for (const ImportRow *row : rows) {
            QCOMPARE(row->y(), top);
            QCOMPARE(row->height(), rows.first()->sizeHint().height());
            QVERIFY(row->isVisible());
            top += row->height() + 10;
        }
    }

    void detailsTellSizeAndFormat()
    {
        WorkflowSetting setting;
        const QString big = setting.file(QStringLiteral("BIG.MOV"), QByteArray(1048576, 'v'));
        const QString bare = setting.file(QStringLiteral("bare"));
        QVERIFY(setting.importFiles({big, bare}));
        const QList<ImportRow *> rows = setting.probe.importRows();
        QCOMPARE(rows.size(), 2);
        QCOMPARE(labelTexts(*rows[0]),
                 (QStringList{QStringLiteral("BIG.MOV"),
                              QStringLiteral("1.00 MB    .mov    No audio")}));
        QCOMPARE(labelTexts(*rows[1]),
                 (QStringList{QStringLiteral("bare"), QStringLiteral("0.00 MB    /    No audio")}));
    }

    void theSummaryIsShownInTheFirstRowOnly()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(3)));
        const QString plain = QStringLiteral("0.00 MB    .mp4    No audio");
        setting.probe.damagedMetadataText() = QStringLiteral("all is known");
        setting.probe.refreshImportRows();
        QStringList details;
        for (const ImportRow *row : setting.probe.importRows())
            details.append(labelTexts(*row).last());
        QCOMPARE(details, (QStringList{QStringLiteral("all is known"), plain, plain}));
        setting.probe.damagedMetadataText().clear();
        setting.probe.refreshImportRows();
        for (const ImportRow *row : setting.probe.importRows())
            QCOMPARE(labelTexts(*row).last(), plain);
    }

    void rowsShowTheirThumbnails()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        QImage picture(8, 8, QImage::Format_RGB32);
        picture.fill(QColor(10, 200, 30));
        const QString photo = setting.fault.path(QStringLiteral("photo.png"));
        QVERIFY(picture.save(photo));
        setting.probe.sourceThumbs().insert(paths[1], photo);
        setting.probe.resultThumbs().insert(paths[0], photo);
        setting.probe.refreshImportRows();
        const QList<ImportRow *> rows = setting.probe.importRows();
        QCOMPARE(rows.size(), 2);
        QList<QColor> middles;
        for (ImportRow *row : rows) {
            auto *thumb = row->findChild<QWidget *>(QStringLiteral("Thumb"));
            const QImage image = thumb->grab().toImage();
            middles.append(image.pixelColor(image.rect().center() + QPoint(20, 20)));
        }
        QVERIFY(middles[0] != QColor(10, 200, 30));
        QCOMPARE(middles[1], QColor(10, 200, 30));
    }

    void filesAreAddedToTheListThatWasOnTheScreen()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles({paths[0]}));
        Modals modals;
        modals.expect([&](QDialog *dialog) {
            // As an old run does that goes on behind the dialog.
            setting.probe.showPage(2);
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))->setText(paths[1]);
            QMetaObject::invokeMethod(dialog, "accept", Qt::QueuedConnection);
        });
        setting.button(1, QStringLiteral("+ Add Videos"))->click();
        QCOMPARE(modals.problems(), QStringList());
        QCOMPARE(setting.probe.damagedFiles(), paths);
        QVERIFY(setting.waitUntilIdle());
    }

    void aThumbnailIsAskedForForEachFile()
    {
        QStringList script = WorkflowSetting::goodScript();
        script.insert(1, QStringLiteral("waitFile go"));
        WorkflowSetting setting(script);
        const QStringList paths = setting.files(10);
        setting.probe.addDamagedFiles(paths, true);
        QSet<QString> pending;
        for (const QString &path : paths)
            pending.insert(QStringLiteral("source|") + path);
        QCOMPARE(setting.probe.pendingThumbs(), pending);
        QTRY_COMPARE(setting.probe.waitingThumbKeys(), paths.mid(8));
        setting.fault.release();
        QVERIFY(setting.waitUntilIdle());
        QHash<QString, QString> photos;
        for (const QString &path : paths)
            photos.insert(path, WindowProbe::thumbnailPath(path, false));
        QCOMPARE(setting.probe.sourceThumbs(), photos);
        for (const ImportRow *row : setting.probe.importRows())
            QVERIFY(!row->content().thumbPath.isEmpty());
    }

    void addingAsksForWhatIsMissingOnly()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(3);
        QVERIFY(setting.importFiles(paths.mid(0, 2)));
        // Two pictures and the metadata.
        QCOMPARE(setting.fault.startCount(), 3);
        setting.probe.addDamagedFiles({paths[2]}, false);
        QCOMPARE(setting.probe.pendingThumbs(),
                 QSet<QString>{QStringLiteral("source|") + paths[2]});
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.fault.startCount(), 5);
    }

    void aDropReplacesTheList()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(4);
        QVERIFY(setting.importFiles(paths.mid(0, 2)));
        setting.probe.showPage(0);
        const QString folder = setting.fault.path(QStringLiteral("videos"));
        drop(setting,
             {QUrl::fromLocalFile(paths[3]), QUrl::fromLocalFile(folder),
              QUrl(QStringLiteral("https://example.org/clip.mp4")), QUrl::fromLocalFile(paths[2])});
        QCOMPARE(setting.probe.damagedFiles(), (QStringList{paths[3], paths[2]}));
        QCOMPARE(setting.probe.page(), 1);
        QCOMPARE(setting.log(QStringLiteral("Skipped")),
                 QStringList{QStringLiteral("WARN Skipped invalid damaged file, path=") + folder});
        QCOMPARE(setting.log(QStringLiteral("Damaged files selected")), QStringList());
    }

    void aDropWithoutAFileChangesNothing()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(2)));
        setting.probe.showPage(0);
        const QStringList before = stateOf(setting.probe);
        drop(setting, {QUrl(QStringLiteral("https://example.org/clip.mp4"))});
        drop(setting, {QUrl::fromLocalFile(setting.fault.path(QStringLiteral("videos")))});
        QCOMPARE(stateOf(setting.probe), before);
    }

    void removeAllEmptiesEverything_data()
    {
        QTest::addColumn<int>("page");
        QTest::newRow("file list") << 1;
        QTest::newRow("results") << 2;
    }

    void removeAllEmptiesEverything()
    {
        QFETCH(const int, page);
        WorkflowSetting setting(WorkflowSetting::goodScript());
        QVERIFY(setting.importFiles(setting.files(2)));
        haveResults(setting.probe, setting.probe.damagedFiles());
        setting.probe.resultThumbs().insert(QStringLiteral("key"), QStringLiteral("/photo"));
        setting.probe.advancedModeCheck()->setChecked(true);
        setting.probe.showPage(page);
        const QHash<QString, QString> photos = setting.probe.sourceThumbs();
        QCOMPARE(photos.size(), 2);
        QTest::mouseClick(setting.button(page, QStringLiteral("Remove All")), Qt::LeftButton);
        const QStringList state = stateOf(setting.probe);
        QCOMPARE(state.mid(0, 10).join(QString()), QString());
        QCOMPARE(state.mid(13), QStringList(11, QStringLiteral("0")));
        QVERIFY(!setting.probe.advancedModeCheck()->isChecked());
        for (const QString &photo : photos)
            QVERIFY(QFile::exists(photo));
    }

    void removeAllKeepsTheRunsGuard()
    {
        WorkflowSetting setting;
        QVERIFY(setting.importFiles(setting.files(1)));
        setting.probe.repairRunning() = true;
        setting.probe.resetToImportPage();
        QVERIFY(setting.probe.repairRunning());
        QVERIFY(!setting.probe.advancedModeCheck()->isEnabled());
        setting.probe.repairRunning() = false;
    }

    void filesMayBeRemovedBeforeTheirRowsAreShown()
    {
        WorkflowSetting setting;
        const QStringList paths = setting.files(3);
        setting.probe.addDamagedFiles(paths, true);
        setting.probe.resetToImportPage();
        QCOMPARE(setting.probe.importRows().size(), 0);
        QCOMPARE(setting.probe.page(), 0);
        setting.probe.addDamagedFiles({paths[1]}, true);
        QCOMPARE(namesOf(setting.probe.importRows()), QStringList{QStringLiteral("video 2.mp4")});
    }

    void filesMayComeBackAfterRemoveAll()
    {
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const QStringList paths = setting.files(2);
        QVERIFY(setting.importFiles(paths));
        const int services = setting.fault.startCount();
        setting.probe.resetToImportPage();
        QVERIFY(setting.probe.sourceThumbs().isEmpty());
        setting.probe.addDamagedFiles({paths[1], paths[0]}, true);
        // The pictures are still there, and known at once.
        QCOMPARE(setting.probe.sourceThumbs().size(), 2);
        QVERIFY(setting.waitUntilIdle());
        QCOMPARE(setting.fault.startCount(), services + 1);
        QCOMPARE(namesOf(setting.probe.importRows()),
                 (QStringList{QStringLiteral("video 2.mp4"), QStringLiteral("video 1.mp4")}));
    }

    void namesGoThroughUnharmed_data()
    {
        QTest::addColumn<QString>("name");
        QStringList names{
            QStringLiteral("with blanks  two.mp4"), QStringLiteral("100 %1 %2 %L1 %n.mp4"),
            QStringLiteral("видео 二 فيديو.mp4"),   QStringLiteral("a & b && &c.mp4"),
            QStringLiteral(" blank in front.mp4"),  QStringLiteral("🎬.mp4")};
#ifndef Q_OS_WIN
        names += {QStringLiteral("it's \"quoted\".mp4"), QStringLiteral("two\nlines.mp4"),
                  QStringLiteral("<b>bold</b>.mp4"), QStringLiteral("back\\slash.mp4")};
#endif
        for (const QString &name : names)
            QTest::newRow(qPrintable(name.simplified())) << name;
    }

    void namesGoThroughUnharmed()
    {
        QFETCH(QString, name);
        // A tag without a slash: that would be a folder.
        name.remove(QLatin1Char('/'));
        WorkflowSetting setting(WorkflowSetting::goodScript());
        const SummaryLabels labels(setting.probe);
        const QString path = setting.file(name);
        QVERIFY(QFile::exists(path));
        QVERIFY(setting.importFiles({path, setting.file(QStringLiteral("other.mp4"))}));
        QCOMPARE(setting.probe.damagedFilePath(), path);
        const QList<ImportRow *> rows = setting.probe.importRows();
        QCOMPARE(rows.size(), 2);
        const auto *label = rows[0]->findChild<QLabel *>(QStringLiteral("FileName"));
        QCOMPARE(label->text(), name);
        QCOMPARE(label->textFormat(), Qt::PlainText);
        QVERIFY(!rows[0]->content().thumbPath.isEmpty());
        QCOMPARE(labels.title.text(), name + QStringLiteral(" and 2 videos"));
        QVERIFY(setting.probe.metadataReady());
        QCOMPARE(setting.log(QStringLiteral("loadDamagedMetadata begin")),
                 QStringList{QStringLiteral("INFO loadDamagedMetadata begin, filePath=") + path});
    }

    void listsOfAnyLengthScrollAsIfAllRowsWereThere();
    void filesAddedOutOfSightMakeTheListLonger();
#ifndef Q_OS_WIN
    // Line breaks are no part of names there.
    void everyNameTakesOneLine();
#endif
    void aNameThatDoesNotFitIsInTheToolTip();
};

namespace {

/** Compares what the file list shows with what it has to. */
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
        const QList<ImportRow *> rows = setting.probe.importRows();
        const QStringList &files = setting.probe.damagedFiles();
        if (rows.isEmpty())
            return QStringLiteral("no rows of %1").arg(files.size());
        const qsizetype first = indexOf(rows.first());
        const int height = rows.first()->height();
        for (qsizetype i = 0; i < rows.size(); ++i) {
            const QString wrong = problemOf(*rows[i], first + i, height);
            if (!wrong.isEmpty())
                return QStringLiteral("row %1 of %2: %3")
                    .arg(first + i)
                    .arg(files.size())
                    .arg(wrong);
        }
        return problemOfList(first, first + rows.size(), height);
    }

    qsizetype indexOf(const ImportRow *row) const
    {
        const QStringList &files = setting.probe.damagedFiles();
        for (qsizetype i = 0; i < files.size(); ++i) {
            if (fileNameOf(files[i]) == row->content().fileName)
                return i;
        }
        return -1;
    }

    QString problemOf(const ImportRow &row, qsizetype index, int height) const
    {
        const QStringList &files = setting.probe.damagedFiles();
        if (index < 0 || index >= files.size())
            return QStringLiteral("not in the list: ") + row.content().fileName;
        const QString &file = files[index];
        const QString summary = index == 0 ? setting.probe.damagedMetadataText() : QString();
        const QStringList expected{fileNameOf(file),
                                   summary.isEmpty() ? plainDetail(file) : summary};
        if (labelTexts(row) != expected)
            return QStringLiteral("not \"%1\" but \"%2\"")
                .arg(expected.join(QLatin1Char('|')), labelTexts(row).join(QLatin1Char('|')));
        if (row.content().thumbPath != setting.probe.sourceThumbs().value(file))
            return QStringLiteral("picture ") + row.content().thumbPath;
        const QRect place(4, 18 + static_cast<int>(index) * (height + 10),
                          setting.list(1)->widget()->width() - 8, height);
        if (row.geometry() != place || !row.isVisible())
            return QStringLiteral("at %1 %2 %3 %4")
                .arg(row.x())
                .arg(row.y())
                .arg(row.width())
                .arg(row.height());
        return {};
    }

    QString problemOfList(qsizetype first, qsizetype end, int height) const
    {
        const QScrollArea &area = *setting.list(1);
        const auto count = static_cast<int>(setting.probe.damagedFiles().size());
        const int whole = qMax(36 + count * height + (count - 1) * 10, area.viewport()->height());
        if (area.widget()->height() != whole)
            return QStringLiteral("%1 high, not %2").arg(area.widget()->height()).arg(whole);
        const int top = area.verticalScrollBar()->value();
        const int bottom = top + area.viewport()->height();
        for (int i = 0; i < count; ++i) {
            const int y = 18 + i * (height + 10);
            if (y < bottom && y + height > top && (i < first || i >= end))
                return QStringLiteral("row %1 is in sight and not there").arg(i);
        }
        return {};
    }

    WorkflowSetting &setting;
};

/** One of the things that may happen to the file list. */
void doSomething(WorkflowSetting &setting, QRandomGenerator &random, const QStringList &pool)
{
    WindowProbe &probe = setting.probe;
    const auto some = [&](int most) {
        const int from = random.bounded(static_cast<int>(pool.size()));
        return pool.mid(from, 1 + random.bounded(most));
    };
    QScrollBar *bar = setting.list(1)->verticalScrollBar();
    switch (random.bounded(12)) {
    case 0:
        probe.resetToImportPage();
        if (random.bounded(2) == 0)
            QCoreApplication::processEvents();
        [[fallthrough]];
    case 1:
        probe.addDamagedFiles(some(random.bounded(2) == 0 ? 5 : 120), true);
        break;
    case 2:
        probe.addDamagedFiles(some(20), false);
        break;
    case 3:
    case 4:
        probe.sourceThumbs().insert(
            probe.damagedFiles()[random.bounded(static_cast<int>(probe.damagedFiles().size()))],
            QStringLiteral("/photo %1").arg(random.bounded(1000)));
        probe.refreshImportRows();
        break;
    case 5:
        probe.damagedMetadataText() = QStringLiteral("text %1").arg(random.bounded(3));
        probe.refreshImportRows();
        break;
    case 6:
        setting.window.resize(1120 + random.bounded(400), 720 + random.bounded(600));
        break;
    case 7:
        probe.showPage(2);
        QCoreApplication::processEvents();
        probe.showPage(1);
        break;
    default:
        bar->setValue(random.bounded(bar->maximum() + 1));
    }
}

} // namespace

void ImportTest::listsOfAnyLengthScrollAsIfAllRowsWereThere()
{
    WorkflowSetting setting;
    QStringList pool;
    for (int i = 0; i < 150; ++i) {
        pool.append(setting.file(QStringLiteral("%1 clip.%2").arg(i).arg(i % 7),
                                 QByteArray(qsizetype(i) * 1000, 'v')));
        // Their pictures are of an earlier day.
        if (i % 2 == 0)
            writeFile(WindowProbe::thumbnailPath(pool.last(), false), "photo");
    }
    QRandomGenerator random(4711);
    ListCheck check(setting);
    setting.probe.addDamagedFiles(pool, true);
    QCOMPARE(check.problem(), QString());
    for (int step = 1; step <= 450; ++step) {
        doSomething(setting, random, pool);
        if (step % 3 != 0)
            continue;
        const QString problem = check.problem();
        QVERIFY2(problem.isEmpty(), qPrintable(QStringLiteral("%1: %2").arg(step).arg(problem)));
        if (step % 45 != 0)
            continue;
        MainWindow fresh;
        WindowProbe freshProbe(fresh);
        fresh.resize(setting.window.size());
        fresh.show();
        // Answers that come meanwhile are in the one window, and in the other with the next try.
        const auto looksTheSame = [&] {
            freshProbe.damagedFiles() = setting.probe.damagedFiles();
            freshProbe.sourceThumbs() = setting.probe.sourceThumbs();
            freshProbe.damagedMetadataText() = setting.probe.damagedMetadataText();
            freshProbe.showPage(1);
            freshProbe.refreshImportRows();
            WorkflowSetting::settle();
            QScrollArea *list = setting.list(1);
            auto *freshList = freshProbe.pageWidget(1)->findChild<QScrollArea *>();
            freshList->verticalScrollBar()->setValue(list->verticalScrollBar()->value());
            WorkflowSetting::settle();
            return freshList->widget()->size() == list->widget()->size() &&
                   freshList->grab().toImage() == list->grab().toImage();
        };
        QTRY_VERIFY(looksTheSame());
    }
}

void ImportTest::filesAddedOutOfSightMakeTheListLonger()
{
    WorkflowSetting setting;
    const QStringList paths = setting.files(150);
    QVERIFY(setting.importFiles(paths.mid(0, 100)));
    ListCheck check(setting);
    QCOMPARE(check.problem(), QString());
    QScrollBar *bar = setting.list(1)->verticalScrollBar();
    bar->setValue(bar->maximum() / 2);
    QCOMPARE(check.problem(), QString());
    setting.probe.addDamagedFiles(paths, false);
    QVERIFY(setting.waitUntilIdle());
    QCOMPARE(check.problem(), QString());
    bar->setValue(bar->maximum());
    QCOMPARE(check.problem(), QString());
    QCOMPARE(setting.probe.importRows().last()->content().fileName,
             QStringLiteral("video 150.mp4"));
}

#ifndef Q_OS_WIN
void ImportTest::everyNameTakesOneLine()
{
    WorkflowSetting setting;
    const QString longName = QString(240, u'm') + QStringLiteral(".mp4");
    const QStringList names = {QStringLiteral("first.mp4"),
                               QStringLiteral("a\nname\nof\nmany\nlines.mp4"), longName};
    QVERIFY(setting.importFiles(setting.files(names)));
    setting.probe.showPage(1);
    WorkflowSetting::settle();
    const QList<ImportRow *> rows = setting.probe.importRows();
    QCOMPARE(rows.size(), 3);
    for (int i = 0; i < 3; ++i) {
        QCOMPARE(rows[i]->height(), rows[0]->height());
        QCOMPARE(rows[i]->findChild<QLabel *>(QStringLiteral("FileName"))->text(), names[i]);
        // What does not fit is left out in the middle, and the list is no wider for it.
        QVERIFY(rows[i]->width() <= setting.list(1)->viewport()->width());
    }
    QVERIFY(!setting.list(1)->horizontalScrollBar()->isVisible());
}
#endif

void ImportTest::aNameThatDoesNotFitIsInTheToolTip()
{
    LineLabel label(QStringLiteral("a name &\nof <b>two</b> lines"));
    label.resize(label.sizeHint());
    label.show();
    const auto askForTip = [&label] {
        QHelpEvent help(QEvent::ToolTip, QPoint(2, 2), label.mapToGlobal(QPoint(2, 2)));
        QCoreApplication::sendEvent(&label, &help);
        return label.toolTip();
    };
    QCOMPARE(askForTip(), QString());
    QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
    label.resize(60, label.height());
    QCOMPARE(askForTip(), QStringLiteral("<p style=\"white-space:pre-wrap\">a name &amp; of "
                                         "&lt;b&gt;two&lt;/b&gt; lines</p>"));
    QCOMPARE(label.text(), QStringLiteral("a name &\nof <b>two</b> lines"));
    QVERIFY(label.minimumSizeHint().width() < 10);
}

VELLUMIX_WINDOW_TEST_MAIN(ImportTest)

#include "tst_import.moc"
