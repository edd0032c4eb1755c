#include "tests/support/Desktop.h"
#include "tests/support/LayoutText.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "ui/Buttons.h"
#include "ui/Logo.h"
#include "ui/TitleBar.h"

#include <QAccessible>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPushButton>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>

#include <memory>

/** The window's frame: its bar, its navigation, its menu, and where it can be moved. */
class MainWindowTest : public TestCase
{
    Q_OBJECT

private:
    const QString logoName = QStringLiteral("Vellumix-logo.png");
    std::unique_ptr<MainWindow> window;

    TitleBar *bar() const { return window->findChild<TitleBar *>(QStringLiteral("TopNav")); }
    LogoLabel *logo() const { return window->findChild<LogoLabel *>(); }
    QStackedWidget *pages() const { return window->findChild<QStackedWidget *>(); }
    QMenu *menu() const { return window->findChild<QMenu *>(); }

    static QPushButton *buttonIn(const QWidget *widget, const QString &text)
    {
        for (auto *button : widget->findChildren<QPushButton *>()) {
            if (button->text() == text)
                return button;
        }
        return nullptr;
    }

    QPushButton *barButton(const QString &text) const { return buttonIn(bar(), text); }

    QFrame *sidePanel() const
    {
        for (auto *frame : window->findChildren<QFrame *>()) {
            if (frame->maximumWidth() == 192)
                return frame;
        }
        return nullptr;
    }

    QPushButton *sideButton() const
    {
        return buttonIn(sidePanel(), QStringLiteral("Video Repair"));
    }

    /** The maximise button, whatever its glyph says. */
    QPushButton *maximizeButton() const
    {
        QPushButton *button = barButton(QStringLiteral("□"));
        return button != nullptr ? button : barButton(QStringLiteral("❐"));
    }

    static QPushButton *clicked(QPushButton *button)
    {
        QTest::mouseClick(button, Qt::LeftButton);
        return button;
    }

    static QString appFile(const QString &name)
    {
        return QDir(QCoreApplication::applicationDirPath()).absoluteFilePath(name);
    }

    static void writePicture(const QString &path, const QSize &size, const QColor &colour = Qt::red)
    {
        QImage image(size, QImage::Format_RGB32);
        image.fill(colour);
        if (!QDir().mkpath(QFileInfo(path).path()) || !image.save(path))
            qWarning("no picture %s", qPrintable(path));
    }

    /** Sends a mouse event at a place of the screen. Returns whether it was taken. */
    static bool mouse(QWidget *widget, QEvent::Type type, const QPoint &place,
                      Qt::MouseButton button, Qt::MouseButtons buttons)
    {
        QMouseEvent event(type, widget->mapFromGlobal(QPointF(place)), QPointF(place), button,
                          buttons, Qt::NoModifier);
        QCoreApplication::sendEvent(widget, &event);
        return event.isAccepted();
    }

    static bool press(QWidget *widget, const QPoint &place, Qt::MouseButton button = Qt::LeftButton)
    {
        return mouse(widget, QEvent::MouseButtonPress, place, button, button);
    }

    static bool moveTo(QWidget *widget, const QPoint &place,
                       Qt::MouseButtons buttons = Qt::LeftButton)
    {
        return mouse(widget, QEvent::MouseMove, place, Qt::NoButton, buttons);
    }

    static bool release(QWidget *widget, const QPoint &place,
                        Qt::MouseButton button = Qt::LeftButton)
    {
        return mouse(widget, QEvent::MouseButtonRelease, place, button, Qt::NoButton);
    }

    bool doubleClick(Qt::MouseButton button = Qt::LeftButton) const
    {
        const QPoint place = bar()->mapToGlobal(QPoint(400, 5));
        const bool taken = mouse(bar(), QEvent::MouseButtonDblClick, place, button, button);
        release(bar(), place, button);
        return taken;
    }

    QPoint windowPlace() const { return window->frameGeometry().topLeft(); }

    void showAt(const QPoint &place) const
    {
        window->move(place);
        window->show();
        QVERIFY(QTest::qWaitForWindowExposed(window.get()));
        QTRY_COMPARE(windowPlace(), place);
    }

    /** Clicks the menu button, and does something with the menu that opens. */
    template <typename Function>
    void withOpenMenu(Function function) const
    {
        // Said by the platform without a display for each menu that opens.
        if (QGuiApplication::platformName() == QStringLiteral("offscreen")) {
            QTest::ignoreMessage(QtWarningMsg, "This plugin does not support raise()");
            QTest::ignoreMessage(QtWarningMsg,
                                 "This plugin does not support grabbing the keyboard");
        }
        bool done = false;
        QTimer poll;
        connect(&poll, &QTimer::timeout, menu(), [&] {
            if (done || QApplication::activePopupWidget() != menu())
                return;
            done = true;
            function();
            menu()->close();
        });
        poll.start(1);
        clicked(barButton(QStringLiteral("☰")));
        QVERIFY(done);
    }

    /** The page's buttons as the tabulator key reaches them, from the first one on. */
    QStringList tabOrder() const
    {
        QStringList texts;
        const QWidget *widget = window.get();
        while ((widget = widget->nextInFocusChain()) != window.get()) {
            const auto *button = qobject_cast<const QAbstractButton *>(widget);
            if (button == nullptr || !button->isVisible() || !button->isEnabled())
                continue;
            if ((button->focusPolicy() & Qt::TabFocus) != 0)
                texts.append(button->text());
        }
        return texts;
    }

    static QString spokenName(QWidget *widget)
    {
        QAccessibleInterface *interface = QAccessible::queryAccessibleInterface(widget);
        return interface == nullptr ? QStringLiteral("none") : interface->text(QAccessible::Name);
    }

    void fillState(WindowProbe &probe) const
    {
        const QString path = QStringLiteral("/films/broken.mp4");
        probe.damagedFiles() = {path, QStringLiteral("/films/other.mp4")};
        probe.damagedFilePath() = path;
        probe.damagedMetadataText() = QStringLiteral("1.00 MB    No audio");
        probe.metadataLoading() = true;
        probe.metadataReady() = true;
        auto &run = probe.run();
        run.sampleFilePath = path;
        run.firstOutputPath = path;
        run.outputFiles = {path};
        run.outputSources = {path};
        run.repairQueue = {path};
        run.itemStatuses = {path};
        run.itemSucceeded = {true};
        run.previewSourcePath = path;
        run.repairTotal = 7;
        run.advancedRun = true;
        probe.sourceThumbs().insert(path, path);
        probe.resultThumbs().insert(path, path);
        probe.pendingThumbs().insert(path);
        window->findChild<QCheckBox *>()->setChecked(true);
    }

    /** Everything is as in a new window, but for a run that is going on. */
    void verifyStartedOver(WindowProbe &probe) const
    {
        QCOMPARE(probe.page(), 0);
        QCOMPARE(probe.damagedFiles(), QStringList());
        QCOMPARE(probe.damagedFilePath(), QString());
        QCOMPARE(probe.damagedMetadataText(), QString());
        QVERIFY(!probe.metadataLoading());
        QVERIFY(!probe.metadataReady());
        const auto &run = probe.run();
        QCOMPARE(run.sampleFilePath, QString());
        QCOMPARE(run.firstOutputPath, QString());
        QCOMPARE(run.outputFiles, QStringList());
        QCOMPARE(run.outputSources, QStringList());
        QCOMPARE(run.repairQueue, QStringList());
        QCOMPARE(run.itemStatuses, QStringList());
        QCOMPARE(run.itemSucceeded, QList<bool>());
        QCOMPARE(run.previewSourcePath, QString());
        QCOMPARE(run.repairTotal, 0);
        QVERIFY(!run.advancedRun);
        QVERIFY(probe.sourceThumbs().isEmpty());
        QVERIFY(probe.resultThumbs().isEmpty());
        QVERIFY(probe.pendingThumbs().isEmpty());
        QCOMPARE(probe.waitingThumbCount(), 0);
        QVERIFY(!window->findChild<QCheckBox *>()->isChecked());
    }

private Q_SLOTS:
    void initTestCase() { window = std::make_unique<MainWindow>(); }

    /** A new window, and nothing beside the program, for the next test. */
    void cleanup()
    {
        QFile::remove(appFile(logoName));
        QDir(appFile(QStringLiteral("Logs"))).removeRecursively();
        window = std::make_unique<MainWindow>();
    }

    void cleanupTestCase() { window.reset(); }

    void theWindowDrawsItsOwnFrame()
    {
        QVERIFY(window->isWindow());
        QCOMPARE(window->windowFlags() & Qt::WindowType_Mask, Qt::WindowFlags(Qt::Window));
        QVERIFY(window->windowFlags().testFlag(Qt::FramelessWindowHint));
        QCOMPARE(window->windowTitle(), QStringLiteral("Vellumix File Repair"));
        QCOMPARE(window->minimumSize(), QSize(1120, 720));
        QCOMPARE(window->parentWidget(), nullptr);
        for (const QLabel *label : window->findChildren<QLabel *>())
            QVERIFY(!label->text().contains(QStringLiteral("Vellumix")));
    }

    void theWindowOpensAtItsMinimum()
    {
        window->resize(860, 560);
        window->show();
        QCOMPARE(window->size(), QSize(1120, 720));
        QCOMPARE(sidePanel()->width(), 192);
        QCOMPARE(sidePanel()->mapTo(window.get(), QPoint()).x(), 0);
        QCOMPARE(pages()->mapTo(window.get(), QPoint()).x(), 192);
        QCOMPARE(pages()->width(), 1120 - 192);
        QCOMPARE(bar()->geometry().topLeft(), QPoint(0, 0));
        QCOMPARE(bar()->width(), 1120);
        QCOMPARE(pages()->height(), 720 - bar()->height());
    }

    void theBarStandsAboveTheContent()
    {
        const QWidget *root = window->centralWidget();
        QCOMPARE(widgetText(*root), QStringLiteral("QWidget#Root"));
        const auto *layout = qobject_cast<QVBoxLayout *>(root->layout());
        QVERIFY(layout != nullptr);
        QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(layout->spacing(), 0);
        QCOMPARE(layoutText(*layout),
                 (QStringList{QStringLiteral("TitleBar#TopNav"), QStringLiteral("QWidget x 1")}));
        const auto *content = qobject_cast<QHBoxLayout *>(layout->itemAt(1)->widget()->layout());
        QVERIFY(content != nullptr);
        QCOMPARE(content->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(content->spacing(), 0);
        QCOMPARE(layoutText(*content),
                 (QStringList{QStringLiteral("QFrame"), QStringLiteral("QStackedWidget x 1")}));
    }

    void theBarsItems()
    {
        const auto *layout = qobject_cast<QHBoxLayout *>(bar()->layout());
        QVERIFY(layout != nullptr);
        QCOMPARE(layout->contentsMargins(), QMargins(14, 12, 14, 8));
        QCOMPARE(
            layoutText(*layout),
            (QStringList{QStringLiteral("LogoLabel ''"), QStringLiteral("space 8"),
                         QStringLiteral("QPushButton 'Home'"), QStringLiteral("QLabel '/'"),
                         QStringLiteral("QPushButton 'Video Repair'"), QStringLiteral("stretch 1"),
                         QStringLiteral("QPushButton '☰'"), QStringLiteral("QLabel '|'"),
                         QStringLiteral("QPushButton '−'"), QStringLiteral("QPushButton '□'"),
                         QStringLiteral("QPushButton '×'")}));
        for (const QPushButton *button : bar()->findChildren<QPushButton *>()) {
            QVERIFY2(button->isFlat(), qPrintable(button->text()));
            QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
        }
    }

    void theBarsSizes()
    {
        window->show();
        QCOMPARE(logo()->size(), QSize(172, 42));
        QCOMPARE(barButton(QStringLiteral("☰"))->minimumSize(), QSize(36, 34));
        QCOMPARE(barButton(QStringLiteral("☰"))->maximumSize(), QSize(36, 34));
        for (const auto &glyph : {QStringLiteral("−"), QStringLiteral("□"), QStringLiteral("×")}) {
            QCOMPARE(barButton(glyph)->minimumSize(), QSize(42, 34));
            QCOMPARE(barButton(glyph)->maximumSize(), QSize(42, 34));
        }
    }

    void theSidePanelsItems()
    {
        const auto *layout = qobject_cast<QVBoxLayout *>(sidePanel()->layout());
        QVERIFY(layout != nullptr);
        QCOMPARE(sidePanel()->minimumWidth(), 192);
        QCOMPARE(layout->contentsMargins(), QMargins(14, 8, 12, 16));
        QCOMPARE(layout->spacing(), 10);
        QCOMPARE(layoutText(*layout), (QStringList{QStringLiteral("QPushButton 'Video Repair'"),
                                                   QStringLiteral("stretch 1")}));
        QVERIFY(sideButton()->isFlat());
        QCOMPARE(sideButton()->minimumHeight(), 48);
    }

    void factoriesOfTheFrame()
    {
        const QString text = QStringLiteral("text");
        const std::unique_ptr<QPushButton> path(makeNavButton(text, false));
        const std::unique_ptr<QPushButton> side(makeSideNavButton(text, false));
        const std::unique_ptr<QPushButton> menuButton(makeMenuButton());
        const std::unique_ptr<QPushButton> control(makeWindowButton(text, text));
        for (const auto *button : {path.get(), side.get(), menuButton.get(), control.get()}) {
            QCOMPARE(button->parentWidget(), nullptr);
            QVERIFY(button->isFlat());
            QCOMPARE(button->cursor().shape(), Qt::PointingHandCursor);
        }
        QCOMPARE(path->text(), text);
        QCOMPARE(path->minimumSize(), QSize(0, 0));
        QCOMPARE(side->text(), text);
        QCOMPARE(side->minimumHeight(), 48);
        QCOMPARE(menuButton->text(), QStringLiteral("☰"));
        QCOMPARE(control->text(), text);
    }

    void pagesAndTheirIndexes()
    {
        QCOMPARE(pages()->count(), 3);
        QCOMPARE(pages()->currentIndex(), 0);
        QVERIFY(pages()->widget(0)->findChild<QWidget *>(QStringLiteral("UploadPanel")) != nullptr);
        QVERIFY(pages()->widget(1)->findChild<QWidget *>(QStringLiteral("WhitePanel")) != nullptr);
        QCOMPARE(pages()->widget(2)->objectName(), QStringLiteral("ResultPage"));
    }

    void thePathLooksTheSameOnEveryPage()
    {
        window->show();
        const QImage before = bar()->grab().toImage();
        for (const int index : {1, 2}) {
            pages()->setCurrentIndex(index);
            QCOMPARE(bar()->grab().toImage(), before);
        }
    }

    void theMenuHasOneEntry()
    {
        QCOMPARE(menu()->parent(), barButton(QStringLiteral("☰")));
        QCOMPARE(menu()->actions().size(), 1);
        QCOMPARE(menu()->actions().constFirst()->text(), QStringLiteral("查看日志"));
    }

    void theMenuOpensBelowItsButton()
    {
        // So that the menu's place is on the screen, which is smaller than the window.
        showAt(QPoint(-500, 20));
        const QPushButton *button = barButton(QStringLiteral("☰"));
        QPoint place;
        bool modal = false;
        withOpenMenu([&] {
            place = menu()->geometry().topLeft();
            modal = menu()->isVisible();
        });
        QVERIFY(modal);
        QVERIFY(!menu()->isVisible());
        QCOMPARE(place, button->mapToGlobal(QPoint(0, 34 + 4)));
    }

    void theMenuShowsTheLogFolder()
    {
        const Desktop desktop;
        const QString folder = appFile(QStringLiteral("Logs"));
        QVERIFY(!QFileInfo::exists(folder));
        showAt(QPoint(-500, 20));
        withOpenMenu([this] {
            QAction *entry = menu()->actions().constFirst();
            QTest::mouseClick(menu(), Qt::LeftButton, Qt::NoModifier,
                              menu()->actionGeometry(entry).center());
        });
        QVERIFY(QFileInfo(folder).isDir());
        QCOMPARE(desktop.opened, QStringList{folder});
    }

    void theLogFolderIsOpenedAsItIs()
    {
        const Desktop desktop;
        const QString kept = appFile(QStringLiteral("Logs/kept.txt"));
        QVERIFY(QDir().mkpath(QFileInfo(kept).path()));
        QFile file(kept);
        QVERIFY(file.open(QIODevice::WriteOnly));
        menu()->actions().constFirst()->trigger();
        QVERIFY(QFileInfo::exists(kept));
        QCOMPARE(desktop.opened, QStringList{appFile(QStringLiteral("Logs"))});
    }

    void logoIsSearchedInThreeFolders()
    {
        const QTemporaryDir folder;
        const QString program = folder.filePath(QStringLiteral("a/b/c/d/program"));
        QVERIFY(QDir().mkpath(program));
        QCOMPARE(findLogoPath(program), QString());
        const auto place = [&](const QString &path) {
            QString full = QDir(folder.path()).absoluteFilePath(path + logoName);
            writePicture(full, {10, 10});
            return full;
        };
        // Nearer and farther ones do not count.
        for (const auto &path : {QStringLiteral("a/b/c/d/"), QStringLiteral("a/b/c/"), QString()})
            place(path);
        QCOMPARE(findLogoPath(program), QString());
        const QString fourUp = place(QStringLiteral("a/"));
        QCOMPARE(findLogoPath(program), fourUp);
        const QString threeUp = place(QStringLiteral("a/b/"));
        QCOMPARE(findLogoPath(program), threeUp);
        const QString beside = place(QStringLiteral("a/b/c/d/program/"));
        QCOMPARE(findLogoPath(program), beside);
        QVERIFY(QFile::remove(threeUp));
        QCOMPARE(findLogoPath(program), beside);
    }

    void withoutALogoTheLabelIsEmpty()
    {
        QCOMPARE(findLogoPath(QCoreApplication::applicationDirPath()), QString());
        QVERIFY(logo()->pixmap(Qt::ReturnByValue).isNull());
        QCOMPARE(logo()->text(), QString());
        QCOMPARE(logo()->minimumSize(), QSize(172, 42));
        QCOMPARE(logo()->maximumSize(), QSize(172, 42));
        QCOMPARE(logo()->alignment(), Qt::AlignLeft | Qt::AlignVCenter);
    }

    void aFileThatIsNoPictureLeavesTheLabelEmpty()
    {
        QFile file(appFile(logoName));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write("no picture"), 10);
        file.close();
        window = std::make_unique<MainWindow>();
        QVERIFY(logo()->pixmap(Qt::ReturnByValue).isNull());
        window->show();
        QCOMPARE(logo()->size(), QSize(172, 42));
    }

    void theLogoIsFittedIntoTheLabel_data()
    {
        QTest::addColumn<QSize>("picture");
        QTest::addColumn<QSize>("fitted");
        QTest::newRow("as large") << QSize(172, 42) << QSize(172, 42);
        QTest::newRow("square") << QSize(100, 100) << QSize(42, 42);
        QTest::newRow("wide") << QSize(688, 84) << QSize(172, 21);
        QTest::newRow("small") << QSize(20, 7) << QSize(120, 42);
    }

    void theLogoIsFittedIntoTheLabel()
    {
        QFETCH(const QSize, picture);
        QFETCH(const QSize, fitted);
        writePicture(appFile(logoName), picture);
        window = std::make_unique<MainWindow>();
        QCOMPARE(logo()->pixmap(Qt::ReturnByValue).deviceIndependentSize().toSize(), fitted);
        window->show();
        QCOMPARE(logo()->size(), QSize(172, 42));
        // To the left, and in the middle between above and below.
        const QImage image = logo()->grab().toImage();
        const int middle = image.height() / 2;
        QCOMPARE(image.pixelColor(1, middle), QColor(Qt::red));
        QCOMPARE(image.pixelColor(fitted.width() - 2, middle), QColor(Qt::red));
        const int above = (42 - fitted.height()) / 2;
        QCOMPARE(image.pixelColor(1, above + 1), QColor(Qt::red));
        QCOMPARE(image.pixelColor(1, 42 - above - 2), QColor(Qt::red));
        if (above > 2)
            QVERIFY(image.pixelColor(1, above - 2) != QColor(Qt::red));
    }

    /** Run once for each scale of a screen. */
    void theLogoIsAsSharpAsTheScreen()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(logoName);
        const double ratio = logo()->devicePixelRatioF();
        QImage stripes((QSizeF(172, 42) * ratio).toSize(), QImage::Format_RGB32);
        for (int x = 0; x < stripes.width(); ++x) {
            for (int y = 0; y < stripes.height(); ++y)
                stripes.setPixelColor(x, y, x % 2 == 0 ? Qt::black : Qt::white);
        }
        QVERIFY(stripes.save(path));
        LogoLabel label(path);
        const QPixmap fitted = label.pixmap(Qt::ReturnByValue);
        QCOMPARE(fitted.devicePixelRatio(), ratio);
        QCOMPARE(fitted.toImage().convertToFormat(QImage::Format_RGB32).copy(), [&] {
            stripes.setDevicePixelRatio(ratio);
            return stripes;
        }());
        QCOMPARE(label.grab().toImage().pixelColor(11, 11), QColor(Qt::white));
        QCOMPARE(label.grab().toImage().pixelColor(12, 11), QColor(Qt::black));
    }

    void theBarDragsTheWindow()
    {
        showAt(QPoint(10, 20));
        const QPoint from = bar()->mapToGlobal(QPoint(400, 5));
        QVERIFY(!press(bar(), from));
        QVERIFY(!moveTo(bar(), from + QPoint(30, 40)));
        QCOMPARE(windowPlace(), QPoint(40, 60));
        moveTo(bar(), from + QPoint(-5, 7));
        QCOMPARE(windowPlace(), QPoint(5, 27));
        QVERIFY(!release(bar(), from + QPoint(-5, 7)));
        moveTo(bar(), from + QPoint(100, 100));
        QCOMPARE(windowPlace(), QPoint(5, 27));
    }

    void onlyTheLeftButtonDrags()
    {
        showAt(QPoint(10, 20));
        const QPoint from = bar()->mapToGlobal(QPoint(400, 5));
        press(bar(), from, Qt::RightButton);
        moveTo(bar(), from + QPoint(30, 40), Qt::RightButton);
        moveTo(bar(), from + QPoint(30, 40), Qt::LeftButton);
        QCOMPARE(windowPlace(), QPoint(10, 20));
        press(bar(), from);
        moveTo(bar(), from + QPoint(30, 40), Qt::NoButton);
        moveTo(bar(), from + QPoint(30, 40), Qt::RightButton);
        QCOMPARE(windowPlace(), QPoint(10, 20));
        moveTo(bar(), from + QPoint(30, 40), Qt::LeftButton | Qt::RightButton);
        QCOMPARE(windowPlace(), QPoint(40, 60));
        // The release of any button ends it.
        release(bar(), from + QPoint(30, 40), Qt::RightButton);
        moveTo(bar(), from);
        QCOMPARE(windowPlace(), QPoint(40, 60));
    }

    void whatIsNoButtonDragsAsWell_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("logo") << QString();
        QTest::newRow("slash") << QStringLiteral("/");
        QTest::newRow("separator") << QStringLiteral("|");
    }

    void whatIsNoButtonDragsAsWell()
    {
        QFETCH(const QString, text);
        showAt(QPoint(10, 20));
        for (QLabel *label : bar()->findChildren<QLabel *>()) {
            if (label->text() != text)
                continue;
            const QPoint from = label->mapToGlobal(label->rect().center());
            press(label, from);
            moveTo(label, from + QPoint(30, 40));
            QCOMPARE(windowPlace(), QPoint(40, 60));
            return;
        }
        QFAIL("no such label");
    }

    void buttonsDoNotDrag()
    {
        showAt(QPoint(10, 20));
        for (QPushButton *button : bar()->findChildren<QPushButton *>()) {
            const QPoint from = button->mapToGlobal(button->rect().center());
            QVERIFY(press(button, from));
            moveTo(button, from + QPoint(300, 400));
            moveTo(bar(), from + QPoint(300, 400));
            // Off the button, so that nothing is clicked.
            release(button, from + QPoint(300, 400));
            QCOMPARE(windowPlace(), QPoint(10, 20));
        }
    }

    void aMaximizedWindowStays()
    {
        showAt(QPoint(10, 20));
        clicked(maximizeButton());
        QTRY_VERIFY(window->isMaximized());
        const QPoint place = windowPlace();
        const QPoint from = bar()->mapToGlobal(QPoint(400, 5));
        press(bar(), from);
        moveTo(bar(), from + QPoint(30, 40));
        release(bar(), from + QPoint(30, 40));
        QCOMPARE(windowPlace(), place);
        clicked(maximizeButton());
        QTRY_VERIFY(!window->isMaximized());
        const QPoint restored = windowPlace();
        const QPoint again = bar()->mapToGlobal(QPoint(400, 5));
        press(bar(), again);
        moveTo(bar(), again + QPoint(30, 40));
        QCOMPARE(windowPlace(), restored + QPoint(30, 40));
    }

    void aBarWithoutAWindowDoesNothing()
    {
        TitleBar alone(nullptr, nullptr);
        const QPoint place(5, 5);
        QVERIFY(!press(&alone, place));
        QVERIFY(!moveTo(&alone, place + QPoint(30, 40)));
        QVERIFY(!mouse(&alone, QEvent::MouseButtonDblClick, place, Qt::LeftButton, Qt::LeftButton));
        QVERIFY(!release(&alone, place));
        QCOMPARE(alone.windowState(), Qt::WindowNoState);
    }

    void theButtonMaximizesAndRestores()
    {
        showAt(QPoint(10, 20));
        const QPushButton *button = maximizeButton();
        QCOMPARE(button->text(), QStringLiteral("□"));
        clicked(maximizeButton());
        QTRY_VERIFY(window->isMaximized());
        QCOMPARE(button->text(), QStringLiteral("❐"));
        clicked(maximizeButton());
        QTRY_VERIFY(!window->isMaximized());
        QCOMPARE(button->text(), QStringLiteral("□"));
        QCOMPARE(window->size(), QSize(1120, 720));
    }

    void aDoubleClickMaximizesAndRestores()
    {
        showAt(QPoint(10, 20));
        QVERIFY(!doubleClick());
        QTRY_VERIFY(window->isMaximized());
        doubleClick();
        QTRY_VERIFY(!window->isMaximized());
        doubleClick(Qt::RightButton);
        doubleClick(Qt::MiddleButton);
        QVERIFY(!window->isMaximized());
    }

    void aDoubleClickLeavesTheGlyph()
    {
        showAt(QPoint(10, 20));
        doubleClick();
        QTRY_VERIFY(window->isMaximized());
        QCOMPARE(maximizeButton()->text(), QStringLiteral("□"));
        clicked(maximizeButton());
        QTRY_VERIFY(!window->isMaximized());
        QCOMPARE(maximizeButton()->text(), QStringLiteral("□"));
        clicked(maximizeButton());
        QTRY_VERIFY(window->isMaximized());
        doubleClick();
        QTRY_VERIFY(!window->isMaximized());
        QCOMPARE(maximizeButton()->text(), QStringLiteral("❐"));
        clicked(maximizeButton());
        QTRY_VERIFY(window->isMaximized());
        QCOMPARE(maximizeButton()->text(), QStringLiteral("❐"));
    }

    void theButtonMinimizes()
    {
        showAt(QPoint(10, 20));
        clicked(barButton(QStringLiteral("−")));
        QTRY_VERIFY(window->isMinimized());
    }

    void threeButtonsStartOver_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<int>("page");
        for (const int page : {0, 1, 2}) {
            QTest::addRow("home, page %d", page) << 0 << page;
            QTest::addRow("path, page %d", page) << 1 << page;
            QTest::addRow("side, page %d", page) << 2 << page;
        }
    }

    void threeButtonsStartOver()
    {
        QFETCH(const int, which);
        QFETCH(const int, page);
        window->show();
        WindowProbe probe(*window);
        for (const bool running : {true, false}) {
            fillState(probe);
            probe.repairRunning() = running;
            probe.showPage(page);
            QPushButton *const buttons[] = {barButton(QStringLiteral("Home")),
                                            barButton(QStringLiteral("Video Repair")),
                                            sideButton()};
            clicked(buttons[which]);
            verifyStartedOver(probe);
            QCOMPARE(probe.repairRunning(), running);
        }
    }

    void aNewWindowIsAsOneStartedOver()
    {
        WindowProbe probe(*window);
        verifyStartedOver(probe);
        QVERIFY(!probe.repairRunning());
    }

    void glyphsHaveSpokenNames()
    {
        showAt(QPoint(10, 20));
        QCOMPARE(spokenName(barButton(QStringLiteral("☰"))), QStringLiteral("Menu"));
        QCOMPARE(spokenName(barButton(QStringLiteral("−"))), QStringLiteral("Minimize"));
        QCOMPARE(spokenName(maximizeButton()), QStringLiteral("Maximize"));
        QCOMPARE(spokenName(barButton(QStringLiteral("×"))), QStringLiteral("Close"));
        QCOMPARE(spokenName(barButton(QStringLiteral("Home"))), QStringLiteral("Home"));
        clicked(maximizeButton());
        QTRY_VERIFY(window->isMaximized());
        QCOMPARE(spokenName(maximizeButton()), QStringLiteral("Restore"));
        clicked(maximizeButton());
        QTRY_VERIFY(!window->isMaximized());
        QCOMPARE(spokenName(maximizeButton()), QStringLiteral("Maximize"));
    }

    void theTabulatorFollowsTheEye_data()
    {
        QTest::addColumn<int>("page");
        QTest::addColumn<QStringList>("buttons");
        QTest::newRow("import") << 0 << QStringList{QStringLiteral("+ Add")};
        QTest::newRow("file list")
            << 1
            << QStringList{QStringLiteral("+ Add Videos"), QStringLiteral("Remove All"),
                           QStringLiteral("Advanced Repair Mode"), QStringLiteral("Repair")};
        QTest::newRow("results") << 2
                                 << QStringList{
                                        QStringLiteral("Add Videos"), QStringLiteral("Remove All"),
                                        QStringLiteral("Preview"), QStringLiteral("Save (0)"),
                                        QStringLiteral("Save All (0)")};
    }

    void theTabulatorFollowsTheEye()
    {
        QFETCH(const int, page);
        QFETCH(const QStringList, buttons);
        window->show();
        pages()->setCurrentIndex(page);
        for (auto *button : pages()->widget(page)->findChildren<QPushButton *>())
            button->setEnabled(true);
        const QStringList frame{QStringLiteral("Home"),        QStringLiteral("Video Repair"),
                                QStringLiteral("☰"),           QStringLiteral("−"),
                                QStringLiteral("□"),           QStringLiteral("×"),
                                QStringLiteral("Video Repair")};
        QCOMPARE(tabOrder(), frame + buttons);
    }

    void theSpaceKeyPressesTheFocusedButton()
    {
        showAt(QPoint(10, 20));
        window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(window.get()));
        maximizeButton()->setFocus();
        QTRY_COMPARE(QApplication::focusWidget(), maximizeButton());
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
        QTRY_VERIFY(window->isMaximized());
        pages()->setCurrentIndex(1);
        auto *check = window->findChild<QCheckBox *>();
        check->setFocus();
        QTest::keyClick(check, Qt::Key_Space);
        QVERIFY(check->isChecked());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(MainWindowTest)

#include "tst_main_window.moc"
