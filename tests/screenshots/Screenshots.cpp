// The real client, which shows one page after another and saves a picture of each:
//
//   Screenshots FOLDER VIDEOS
//
// writes FOLDER/NAME.png for everything that the client can show, as it is on the screen, with the
// damaged videos of the folder VIDEOS. Needs a display of at least the window's size.

#include "app/ClientMain.h"
#include "tests/support/WindowProbe.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QPushButton>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <cstdio>
#include <cstdlib>

namespace {

// Long enough for everything to be painted.
constexpr int settleMs = 200;
constexpr int waitMs = 120000;

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
        shootSaving();
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

    /** The message that nothing is there to save: it looks like all messages. */
    void shootSaving()
    {
        probe.resetToImportPage();
        QTimer::singleShot(settleMs, &window, [this] {
            shoot(QStringLiteral("message"));
            qobject_cast<QDialog *>(QApplication::activeModalWidget())->accept();
        });
        probe.saveResults();
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
