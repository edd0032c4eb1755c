// The real client, which shows one page after another and saves a picture of each:
//
//   Screenshots FOLDER
//
// writes FOLDER/NAME.png for everything that the client can show, as it is on the screen. Needs a
// display of at least the window's size.

#include "app/ClientMain.h"
#include "tests/support/WindowProbe.h"

#include <QApplication>
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

class Photographer
{
public:
    Photographer(MainWindow &mainWindow, const QString &outputFolder)
        : window(mainWindow), probe(mainWindow), folder(outputFolder)
    {
    }

    void showEverything()
    {
        shoot(QStringLiteral("import-page"));
        shootMenu();
        probe.showPage(1);
        shoot(QStringLiteral("file-list-page"));
        probe.showPage(2);
        shoot(QStringLiteral("result-page"));
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
};

} // namespace

int main(int argc, char *argv[])
{
    return clientMain(argc, argv, [](MainWindow &window) {
        const QString folder = QCoreApplication::arguments().value(1);
        QDir().mkpath(folder);
        QTimer::singleShot(0, &window, [&window, folder] {
            Photographer(window, folder).showEverything();
            window.close();
        });
    });
}
