#include "tests/support/Desktop.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/LogTail.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "workflow/FileCopy.h"
#include "workflow/SaveNames.h"

#include <QDir>
#include <QFileDialog>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QUrl>

#ifndef Q_OS_WIN
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <filesystem>
#include <utility>

/** Copies of the repaired files, under names from the damaged ones. */
class SavingTest : public TestCase
{
    Q_OBJECT

private:
    /** A window with outputs of a run that is over. */
    class Setting
    {
    public:
        Setting() : probe(window)
        {
            probe.damagedFilePath() = path(QStringLiteral("films/first.MOV"));
            QDir().mkpath(path(QStringLiteral("films")));
            QDir().mkpath(path(QStringLiteral("saved")));
        }

        QString path(const QString &relative) const { return folder.filePath(relative); }

        /** An output of the damaged file of this name. */
        QString addOutput(const QString &damaged, const QByteArray &content,
                          const QString &suffix = QStringLiteral("mp4"))
        {
            QString output =
                path(QStringLiteral("data/%1.%2").arg(probe.run().outputFiles.size()).arg(suffix));
            writeFile(output, content);
            probe.run().addOutput(output, path(QStringLiteral("films/") + damaged));
            return output;
        }

        QStringList saved() const { return entriesOf(path(QStringLiteral("saved"))); }

        QByteArray savedContent(const QString &name) const
        {
            return readFile(path(QStringLiteral("saved/") + name));
        }

        MainWindow window;
        WindowProbe probe;
        Modals modals;
        Desktop desktop;

    private:
        QTemporaryDir folder;
    };

#ifndef Q_OS_WIN
    /** An output that comes bit by bit: a pipe, which the test writes to. */
    class SlowOutput
    {
    public:
        SlowOutput(Setting &setting, const QString &damaged)
        {
            const QString path = setting.path(QStringLiteral("slow.mp4"));
            ::mkfifo(path.toUtf8().constData(), 0600);
            descriptor = ::open(path.toUtf8().constData(), O_RDWR | O_CLOEXEC);
            setting.probe.run().addOutput(path, setting.path(QStringLiteral("films/") + damaged));
        }
        ~SlowOutput() { end(); }
        SlowOutput(const SlowOutput &) = delete;
        SlowOutput &operator=(const SlowOutput &) = delete;

        void write(const QByteArray &content) const
        {
            QCOMPARE(
                ::write(descriptor, content.constData(), static_cast<std::size_t>(content.size())),
                content.size());
        }

        void end()
        {
            if (descriptor >= 0)
                ::close(std::exchange(descriptor, -1));
        }

    private:
        int descriptor = -1;
    };
#endif

    static QString saveTitle()
    {
        return QStringLiteral("Save Repaired Video");
    }
    static QString folderTitle()
    {
        return QStringLiteral("Select Save Folder");
    }
    static QString complete()
    {
        return QStringLiteral("Save Complete");
    }
    static QString failed()
    {
        return QStringLiteral("Save Failed");
    }

private Q_SLOTS:
    void namesFollowTheDamagedFile()
    {
        QCOMPARE(proposedSavePath(QStringLiteral("/films/clip.MOV"), QStringLiteral("/d/r.mp4")),
                 QDir::toNativeSeparators(
                     QFileInfo(QStringLiteral("/films/clip_repaired.mp4")).absoluteFilePath()));
        QCOMPARE(proposedSavePath(QStringLiteral("/films/a.b.avi"), QStringLiteral("/d/r.avi")),
                 QDir::toNativeSeparators(
                     QFileInfo(QStringLiteral("/films/a.b_repaired.avi")).absoluteFilePath()));
        // What looks like a placeholder in a name is a name.
        QCOMPARE(proposedSavePath(QStringLiteral("/films/100%2 %1.avi"), QStringLiteral("/d/r.x")),
                 QDir::toNativeSeparators(
                     QFileInfo(QStringLiteral("/films/100%2 %1_repaired.x")).absoluteFilePath()));
        QCOMPARE(numberedSaveName(QStringLiteral("/films/clip.MOV"), 3, QStringLiteral("/d/r.mp4")),
                 QStringLiteral("clip_3_repaired.mp4"));
        QCOMPARE(numberedSaveName(QStringLiteral("/films/%2%3.MOV"), 12, QStringLiteral("/r.mkv")),
                 QStringLiteral("%2%3_12_repaired.mkv"));
        QCOMPARE(saveFilter(QStringLiteral("/d/r.mkv")),
                 QStringLiteral("Video files (*.mkv);;All files (*.*)"));
    }

    void nothingToSave()
    {
        Setting setting;
        setting.modals.expectWarning(QStringLiteral("Unable to Save"),
                                     QStringLiteral("The repaired output file does not exist."));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void oneOutputIsProposedBesideItsDamagedFile()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("clip.MOV"), "repaired");
        QString directory;
        QStringList selected;
        QStringList filters;
        setting.modals.expect([&](QDialog *dialog) {
            auto *files = qobject_cast<QFileDialog *>(dialog);
            directory = files->directory().path();
            selected = files->selectedFiles();
            filters = files->nameFilters();
            QCOMPARE(files->windowTitle(), saveTitle());
            QCOMPARE(files->acceptMode(), QFileDialog::AcceptSave);
            files->reject();
        });
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(directory, setting.path(QStringLiteral("films")));
        QCOMPARE(selected, QStringList{setting.path(QStringLiteral("films/clip_repaired.mp4"))});
        QCOMPARE(filters, (QStringList{QStringLiteral("Video files (*.mp4)"),
                                       QStringLiteral("All files (*.*)")}));
        // A cancelled dialog ends it silently.
        QVERIFY(setting.desktop.opened.isEmpty());
        QCOMPARE(entriesOf(setting.path(QStringLiteral("films"))), QStringList());
    }

    void oneOutputIsCopied()
    {
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("clip.MOV"), "repaired");
        const QString target = setting.path(QStringLiteral("saved/my film.mp4"));
        setting.modals.expectFileDialog(saveTitle(), {target});
        setting.modals.expectInformation(complete(), QStringLiteral("Saved to:\n") +
                                                         QDir::toNativeSeparators(target));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(readFile(target), QByteArray("repaired"));
        QCOMPARE(readFile(output), QByteArray("repaired"));
        QCOMPARE(setting.desktop.opened, QStringList{setting.path(QStringLiteral("saved"))});
    }

    void oneOutputThatCannotBeCopied()
    {
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("clip.MOV"), "repaired");
        QVERIFY(QFile::remove(output));
        const QString target = setting.path(QStringLiteral("saved/a.mp4"));
        setting.modals.expectFileDialog(saveTitle(), {target});
        setting.modals.expectWarning(failed(), QStringLiteral("Unable to write the target file."));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(setting.saved(), QStringList());
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void severalOutputsAreNumberedOverAll()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), "a1");
        setting.addOutput(QStringLiteral("a.mov"), "a2");
        setting.addOutput(QStringLiteral("b %1.mov"), "b3", QStringLiteral("mkv"));
        writeFile(setting.path(QStringLiteral("saved/a_2_repaired.mp4")), "from an earlier time");
        const QString folder = setting.path(QStringLiteral("saved"));
        setting.modals.expectFileDialog(folderTitle(), {folder});
        setting.modals.expectInformation(complete(), QStringLiteral("Saved 3 file(s) to:\n") +
                                                         QDir::toNativeSeparators(folder));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(setting.saved(), (QStringList{QStringLiteral("a_1_repaired.mp4"),
                                               QStringLiteral("a_2_repaired.mp4"),
                                               QStringLiteral("b %1_3_repaired.mkv")}));
        QCOMPARE(setting.savedContent(QStringLiteral("a_1_repaired.mp4")), QByteArray("a1"));
        QCOMPARE(setting.savedContent(QStringLiteral("a_2_repaired.mp4")), QByteArray("a2"));
        QCOMPARE(setting.savedContent(QStringLiteral("b %1_3_repaired.mkv")), QByteArray("b3"));
        QCOMPARE(setting.desktop.opened, QStringList{folder});
    }

    void theFolderDialogStartsAtTheCurrentFileAndMayBeCancelled()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), "a1");
        setting.addOutput(QStringLiteral("b.mov"), "b2");
        QString directory;
        QFileDialog::FileMode mode = QFileDialog::AnyFile;
        setting.modals.expect([&](QDialog *dialog) {
            auto *files = qobject_cast<QFileDialog *>(dialog);
            directory = files->directory().path();
            mode = files->fileMode();
            files->reject();
        });
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(directory, setting.path(QStringLiteral("films")));
        QCOMPARE(mode, QFileDialog::Directory);
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void aPartOfSeveralIsReportedByItsCount()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), "a1");
        QVERIFY(QFile::remove(setting.addOutput(QStringLiteral("b.mov"), "b2")));
        setting.addOutput(QStringLiteral("c.mov"), "c3");
        const QString folder = setting.path(QStringLiteral("saved"));
        setting.modals.expectFileDialog(folderTitle(), {folder});
        setting.modals.expectInformation(complete(), QStringLiteral("Saved 2 file(s) to:\n") +
                                                         QDir::toNativeSeparators(folder));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(setting.saved(), (QStringList{QStringLiteral("a_1_repaired.mp4"),
                                               QStringLiteral("c_3_repaired.mp4")}));
    }

    void noneOfSeveral()
    {
        Setting setting;
        QVERIFY(QFile::remove(setting.addOutput(QStringLiteral("a.mov"), "a1")));
        QVERIFY(QFile::remove(setting.addOutput(QStringLiteral("b.mov"), "b2")));
        setting.modals.expectFileDialog(folderTitle(), {setting.path(QStringLiteral("saved"))});
        setting.modals.expectWarning(failed(),
                                     QStringLiteral("Unable to write to the target folder."));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void aFailedCopyTakesWhatStoodThere()
    {
        Setting setting;
        const QString target = setting.path(QStringLiteral("saved/old.mp4"));
        writeFile(target, "old");
        CopyProgress progress;
        // This opens, and cannot be read.
        const QString source = QStringLiteral("/proc/self/mem");
        QCOMPARE(copyFiles({{.source = source, .target = target}}, progress), 0);
        QCOMPARE(setting.saved(), QStringList());
        writeFile(setting.path(QStringLiteral("data/x.mp4")), "new");
        QCOMPARE(copyFiles({{.source = setting.path(QStringLiteral("data/x.mp4")),
                             .target = setting.path(QStringLiteral("no/such/folder/x.mp4"))}},
                           progress),
                 0);
    }

    void aFileIsNotCopiedOntoItself_data()
    {
        QTest::addColumn<bool>("isHardLink");
        QTest::newRow("by its own path") << false;
        QTest::newRow("by another path") << true;
    }

    void aFileIsNotCopiedOntoItself()
    {
        QFETCH(const bool, isHardLink);
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("a.mov"), "the only one");
        const QString target = isHardLink ? setting.path(QStringLiteral("saved/link")) : output;
        if (isHardLink)
            std::filesystem::create_hard_link(output.toStdString(), target.toStdString());
        CopyProgress progress;
        QCOMPARE(copyFiles({{.source = output, .target = target}}, progress), 1);
        QCOMPARE(readFile(output), QByteArray("the only one"));
        QCOMPARE(progress.state().done, progress.state().total);
    }

    void aNameMayBeAsLongAsNamesCanBe()
    {
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("a.mov"), "repaired");
        const QString name = QString(251, u'n') + QStringLiteral(".mp4");
        CopyProgress progress;
        QCOMPARE(
            copyFiles({{.source = output, .target = setting.path(QStringLiteral("saved/") + name)}},
                      progress),
            1);
        QCOMPARE(setting.saved(), QStringList{name});
        QCOMPARE(setting.savedContent(name), QByteArray("repaired"));
    }

    void oneOutputReplacesWhatIsThere_data()
    {
        QTest::addColumn<bool>("isOutputThere");
        QTest::newRow("replaced") << true;
        QTest::newRow("the copy fails, and the old file is gone too") << false;
    }

    void oneOutputReplacesWhatIsThere()
    {
        QFETCH(const bool, isOutputThere);
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("a.mov"), "new");
        const QString target = setting.path(QStringLiteral("saved/a.mp4"));
        writeFile(target, "old");
        if (!isOutputThere)
            QVERIFY(QFile::remove(output));
        setting.modals.expectFileDialog(saveTitle(), {target});
        // The file dialog's own question.
        setting.modals.expect([](QDialog *dialog) {
            const auto *box = qobject_cast<QMessageBox *>(dialog);
            QVERIFY(box != nullptr);
            box->button(QMessageBox::Yes)->click();
        });
        if (isOutputThere)
            setting.modals.expectInformation(complete(), QStringLiteral("Saved to:\n") +
                                                             QDir::toNativeSeparators(target));
        else
            setting.modals.expectWarning(failed(),
                                         QStringLiteral("Unable to write the target file."));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(u'\n'), QString());
        QCOMPARE(setting.savedContent(QStringLiteral("a.mp4")),
                 isOutputThere ? QByteArray("new") : QByteArray());
        QCOMPARE(setting.saved().isEmpty(), !isOutputThere);
    }

    void withoutASourceTheCurrentFileGivesTheName()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), "a1");
        setting.addOutput(QStringLiteral("b.mov"), "b2");
        setting.probe.run().outputSources.removeLast();
        const QString folder = setting.path(QStringLiteral("saved"));
        setting.modals.expectFileDialog(folderTitle(), {folder});
        setting.modals.expectInformation(complete(), QStringLiteral("Saved 2 file(s) to:\n") +
                                                         QDir::toNativeSeparators(folder));
        const LogTail tail;
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(u'\n'), QString());
        QCOMPARE(setting.saved(), (QStringList{QStringLiteral("a_1_repaired.mp4"),
                                               QStringLiteral("first_2_repaired.mp4")}));
        // Nothing of it is logged.
        QCOMPARE(tail.texts(), QStringList());
    }

    void aCancelledCopyLeavesNothing()
    {
        Setting setting;
        const QString output = setting.addOutput(QStringLiteral("a.mov"), "content");
        const QString old = setting.path(QStringLiteral("saved/a.mp4"));
        writeFile(old, "old");
        CopyProgress progress;
        progress.cancel();
        QCOMPARE(copyFiles({{.source = output, .target = old}}, progress), 0);
        // Nothing was begun, so what stood there stays.
        QCOMPARE(readFile(old), QByteArray("old"));
        QCOMPARE(setting.saved(), QStringList{QStringLiteral("a.mp4")});
    }

#ifndef Q_OS_WIN
    // A pipe is a file here, and can be as slow as wanted.

    void aLongCopyIsShownAndMayEndWell()
    {
        Setting setting;
        SlowOutput output(setting, QStringLiteral("clip.mov"));
        const QString target = setting.path(QStringLiteral("saved/clip.mp4"));
        setting.modals.expectFileDialog(saveTitle(), {target});
        QString text;
        setting.modals.expect([&](QDialog *dialog) {
            QCOMPARE(dialog->windowTitle(), QStringLiteral("Saving"));
            text = dialog->findChild<QLabel *>()->text();
            output.write("all of it");
            output.end();
        });
        setting.modals.expectInformation(complete(), QStringLiteral("Saved to:\n") +
                                                         QDir::toNativeSeparators(target));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(text, QStringLiteral("Copying clip.mp4\n0.00 MB of 0.00 MB"));
        QCOMPARE(readFile(target), QByteArray("all of it"));
    }

    void theDialogTellsHowMuchOfAllIsCopied()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), QByteArray(qsizetype{3} * 1024 * 1024, 'a'));
        SlowOutput output(setting, QStringLiteral("b.mov"));
        setting.addOutput(QStringLiteral("c.mov"), QByteArray(qsizetype{1024} * 1024, 'c'));
        const QString folder = setting.path(QStringLiteral("saved"));
        setting.modals.expectFileDialog(folderTitle(), {folder});
        QString text;
        int value = 0;
        setting.modals.expect([&](QDialog *dialog) {
            text = dialog->findChild<QLabel *>()->text();
            const auto *bar = dialog->findChild<QProgressBar *>();
            value = 100 * bar->value() / bar->maximum();
            output.end();
        });
        setting.modals.expectInformation(complete(), QStringLiteral("Saved 3 file(s) to:\n") +
                                                         QDir::toNativeSeparators(folder));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(u'\n'), QString());
        QCOMPARE(text, QStringLiteral("Copying b_2_repaired.mp4\n3.00 MB of 4.00 MB"));
        QCOMPARE(value, 75);
    }

    void aCancelIsShownUntilTheCopiesHaveEnded()
    {
        Setting setting;
        setting.window.show();
        SlowOutput output(setting, QStringLiteral("clip.mov"));
        setting.modals.expectFileDialog(saveTitle(),
                                        {setting.path(QStringLiteral("saved/clip.mp4"))});
        QString text;
        bool isVisible = false;
        setting.modals.expect([&](QDialog *dialog) {
            // Whatever way it is closed by.
            dialog->close();
            QCoreApplication::processEvents();
            isVisible = dialog->isVisible();
            text = dialog->findChild<QLabel *>()->text();
            QVERIFY(!dialog->findChild<QPushButton *>()->isEnabled());
            output.end();
        });
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(u'\n'), QString());
        QVERIFY(isVisible);
        QCOMPARE(text, QStringLiteral("Cancelling..."));
        QCOMPARE(setting.saved(), QStringList());
    }

    void aLongCopyMayBeCancelled()
    {
        Setting setting;
        SlowOutput output(setting, QStringLiteral("clip.mov"));
        output.write("the beginning");
        setting.modals.expectFileDialog(saveTitle(),
                                        {setting.path(QStringLiteral("saved/clip.mp4"))});
        setting.modals.expect([&](QDialog *dialog) {
            dialog->findChild<QPushButton *>()->click();
            output.end();
        });
        setting.probe.saveResults();
        // Nothing was copied: it ends without a word, and nothing is left.
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QVERIFY(Workers::awaitAll(std::chrono::seconds(30)));
        QCOMPARE(setting.saved(), QStringList());
        QVERIFY(setting.desktop.opened.isEmpty());
    }

    void whatWasCopiedBeforeACancelStays()
    {
        Setting setting;
        setting.addOutput(QStringLiteral("a.mov"), "whole");
        SlowOutput output(setting, QStringLiteral("b.mov"));
        setting.addOutput(QStringLiteral("c.mov"), "never begun");
        const QString folder = setting.path(QStringLiteral("saved"));
        setting.modals.expectFileDialog(folderTitle(), {folder});
        setting.modals.expect([&](QDialog *dialog) {
            dialog->findChild<QPushButton *>()->click();
            output.end();
        });
        setting.modals.expectInformation(complete(), QStringLiteral("Saved 1 file(s) to:\n") +
                                                         QDir::toNativeSeparators(folder));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QCOMPARE(setting.saved(), QStringList{QStringLiteral("a_1_repaired.mp4")});
    }

    void theWindowLivesDuringALongCopy()
    {
        Setting setting;
        SlowOutput output(setting, QStringLiteral("clip.mov"));
        int beats = 0;
        QTimer heart;
        connect(&heart, &QTimer::timeout, this, [&beats] { ++beats; });
        heart.start(5);
        setting.modals.expect([&](QDialog *dialog) {
            dialog->findChild<QLineEdit *>(QStringLiteral("fileNameEdit"))
                ->setText(setting.path(QStringLiteral("saved/clip.mp4")));
            QMetaObject::invokeMethod(dialog, "accept");
            beats = 0;
        });
        int beatsOfQuietWait = 0;
        setting.modals.expect([&](QDialog *) {
            beatsOfQuietWait = std::exchange(beats, 0);
            // From here on only the window's own loop runs; when it has, the copy may end.
            QTimer::singleShot(200, &setting.window, [&output] { output.end(); });
        });
        setting.modals.expectInformation(complete(), QStringLiteral("Saved to:\n") +
                                                         QDir::toNativeSeparators(setting.path(
                                                             QStringLiteral("saved/clip.mp4"))));
        setting.probe.saveResults();
        QCOMPARE(setting.modals.problems().join(QLatin1Char(0x0a)), QString());
        QVERIFY2(beatsOfQuietWait > 5, qPrintable(QString::number(beatsOfQuietWait)));
        QVERIFY2(beats > 5, qPrintable(QString::number(beats)));
    }
#endif

    void progressCountsBytesOverAllFiles()
    {
        Setting setting;
        const QString one = setting.addOutput(QStringLiteral("a.mov"), QByteArray(3000000, 'a'));
        const QString two = setting.addOutput(QStringLiteral("b.mov"), QByteArray(500000, 'b'));
        CopyProgress progress;
        const QString target = setting.path(QStringLiteral("saved/2"));
        QCOMPARE(copyFiles({{.source = one, .target = setting.path(QStringLiteral("saved/1"))},
                            {.source = two, .target = target}},
                           progress),
                 2);
        const CopyProgress::State state = progress.state();
        QCOMPARE(state.total, qint64{3500000});
        QCOMPARE(state.done, qint64{3500000});
        QCOMPARE(state.target, target);
    }
};

VELLUMIX_WINDOW_TEST_MAIN(SavingTest)

#include "tst_saving.moc"
