// The real client, which shows one page after another and saves a picture of each:
//
//   Screenshots FOLDER VIDEOS
//
// writes FOLDER/NAME.png for everything that the client can show, as it is on the screen, with the
// damaged videos of the folder VIDEOS. Needs a display of at least the window's size.

#include "app/ClientMain.h"
#include "tests/support/WindowProbe.h"
#include "ui/DropLineEdit.h"
#include "ui/PreviewCard.h"

#include <QApplication>
#include <QCheckBox>
#include <QDialog>
#include <QDir>
#include <QHelpEvent>
#include <QListView>
#include <QPointer>
#include <QProgressDialog>
#include <QPushButton>
#include <QScreen>
#include <QTemporaryDir>
#include <QTemporaryFile>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <cstdlib>
#include <functional>

namespace {

// Long enough for everything to be painted.
constexpr int settleMs = 200;
constexpr int waitMs = 120000;
constexpr int lookMs = 50;

// Nothing of it is stored, but copying it takes a while.
constexpr qint64 hugeBytes = 8LL * 1024 * 1024 * 1024;

class Photographer
{
public:
    Photographer(MainWindow &mainWindow, const QString &outputFolder, const QString &videoFolder)
        : window(mainWindow), probe(mainWindow), folder(outputFolder), source(videoFolder)
    {
    }

    void showEverything()
    {
        shoot(QStringLiteral("import-page"));
        shootMenu();
        const QStringList files = videos();
        probe.addDamagedFiles(files, true);
        shoot(QStringLiteral("file-list-analyzing"));
        waitFor([&] { return !probe.metadataLoading() && probe.pendingThumbs().isEmpty(); });
        shoot(QStringLiteral("file-list-page"));
        probe.startRepair(false);
        waitFor([this] { return !probe.run().outputFiles.isEmpty(); });
        shoot(QStringLiteral("result-page-running"));
        waitFor([this] { return !probe.repairRunning() && probe.pendingThumbs().isEmpty(); });
        shoot(QStringLiteral("result-page"));
        shootPreview();
        shootSaving();
        shootAdvancedRepair();
        shootModal({QStringLiteral("failed-dialog-quick")},
                   [this] { probe.showRepairFailedDialog(false); });
        shootModal({QStringLiteral("failed-dialog-advanced")},
                   [this] { probe.showRepairFailedDialog(true); });
        probe.resetToImportPage();
        shootModal({QStringLiteral("message")}, [this] { probe.saveResults(); });
    }

private:
    /** Saves what the screen shows where the window is. */
    void shoot(const QString &name)
    {
        // Until everything that is to be painted is on the screen.
        require(QTest::qWaitForWindowExposed(&window), QStringLiteral("show the window"));
        QTest::qWait(settleMs);
        const QRect area = window.frameGeometry();
        const QPixmap picture =
            window.screen()->grabWindow(0, area.x(), area.y(), area.width(), area.height());
        require(picture.save(folder + QLatin1Char('/') + name + QStringLiteral(".png")),
                QStringLiteral("write ") + name);
    }

    static void require(bool done, const QString &what)
    {
        if (done)
            return;
        std::fprintf(stderr, "cannot %s\n", qPrintable(what));
        std::_Exit(1);
    }

    QStringList videos() const
    {
        QStringList paths;
        const QFileInfoList files = QDir(source).entryInfoList(QDir::Files, QDir::Name);
        for (const QFileInfo &file : files) {
            if (!file.fileName().startsWith(QStringLiteral("Sample")))
                paths.append(file.filePath());
        }
        return paths;
    }

    template <typename Condition>
    static void waitFor(Condition condition)
    {
        require(QTest::qWaitFor(condition, waitMs), QStringLiteral("come to an end"));
    }

    /**
     * Runs `action`, which shows modal dialogs one after another: of each a picture is taken under
     * the next of `names`, and it is left by `leave`, or closed.
     */
    void shootModal(const QStringList &names, const std::function<void()> &action,
                    const std::function<void(QDialog *)> &leave = &QDialog::reject)
    {
        QStringList left = names;
        QList<QPointer<QDialog>> seen;
        QTimer look;
        QObject::connect(&look, &QTimer::timeout, &window, [&] {
            auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget());
            if (left.isEmpty() || dialog == nullptr || seen.contains(dialog))
                return;
            seen.append(dialog);
            // A picture waits until all is painted, and must not begin anew meanwhile.
            look.stop();
            shoot(left.takeFirst());
            look.start(lookMs);
            leave(dialog);
        });
        look.start(lookMs);
        action();
        waitFor([&] { return left.isEmpty() && QApplication::activeModalWidget() == nullptr; });
    }

    void shootTip(QWidget *widget)
    {
        const QPoint place = widget->rect().center();
        QHelpEvent ask(QEvent::ToolTip, place, widget->mapToGlobal(place));
        QCoreApplication::sendEvent(widget, &ask);
        shoot(QStringLiteral("tool-tip"));
    }

    void shootPreview()
    {
        shootModal(
            {QStringLiteral("preview-dialog")}, [this] { probe.showPreviewDialog(); },
            [this](QDialog *dialog) {
                shootTip(dialog->findChildren<PreviewCard *>().last()->checkBox());
                dialog->reject();
            });
    }

    /** All is saved; with one output so large that the copy is cancelled, and then without. */
    void shootSaving()
    {
        const QTemporaryDir target;
        const auto leave = [&target](QDialog *dialog) {
            if (auto *progress = qobject_cast<QProgressDialog *>(dialog))
                progress->cancel();
            else if (dialog->findChild<QListView *>() != nullptr)
                chooseFolder(dialog, target.path());
            else
                dialog->accept();
        };
        QTemporaryFile large(QDir::tempPath() + QStringLiteral("/XXXXXX.mp4"));
        require(large.open() && large.resize(hugeBytes), QStringLiteral("make a large file"));
        const RunState before = probe.run();
        probe.run().addOutput(large.fileName(), before.repairQueue.first());
        shootModal(
            {QStringLiteral("save-folder"), QStringLiteral("save-progress"),
             QStringLiteral("save-complete")},
            [this] { probe.saveResults(); }, leave);
        probe.run() = before;
    }

    static void chooseFolder(QDialog *dialog, const QString &folder)
    {
        dialog->findChild<QLineEdit *>()->setText(folder);
        dialog->accept();
    }

    void shootAdvancedRepair()
    {
        const QString sample = source + QStringLiteral("/Sample from the same camera.mp4");
        const auto leave = [&sample](QDialog *dialog) {
            if (auto *edit = dialog->findChild<DropLineEdit *>()) {
                edit->setText(sample);
                QTest::keyClick(dialog, Qt::Key_Return);
            } else {
                dialog->reject();
            }
        };
        shootModal(
            {QStringLiteral("sample-dialog"), QStringLiteral("comparison-dialog")},
            [this] { probe.chooseSampleAndCompare(); }, leave);
    }

    void shootMenu()
    {
        QTimer::singleShot(0, &window, [this] {
            shoot(QStringLiteral("menu"));
            QApplication::activePopupWidget()->close();
        });
        const auto buttons = window.findChildren<QPushButton *>();
        for (QPushButton *button : buttons) {
            if (button->accessibleName() == QStringLiteral("Menu"))
                button->click();
        }
    }

    MainWindow &window;
    WindowProbe probe;
    QString folder;
    QString source;
};

} // namespace

int main(int argc, char *argv[])
{
    return clientMain(argc, argv, [](MainWindow &window) {
        const QString folder = QCoreApplication::arguments().value(1);
        const QString videos = QCoreApplication::arguments().value(2);
        QDir().mkpath(folder);
        QTimer::singleShot(0, &window, [&window, folder, videos] {
            Photographer(window, folder, videos).showEverything();
            window.close();
        });
    });
}
