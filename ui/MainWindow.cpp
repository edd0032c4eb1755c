#include "ui/MainWindow.h"

#include "service/ServiceGate.h"
#include "ui/Buttons.h"
#include "ui/Logo.h"
#include "ui/StyleSheet.h"
#include "ui/TitleBar.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QStackedWidget>
#include <QVBoxLayout>

/** What the frame's connections are made between. */
struct FrameControls
{
    QPushButton *home = nullptr;
    QPushButton *crumb = nullptr;
    QPushButton *side = nullptr;
    QPushButton *menuButton = nullptr;
    QMenu *menu = nullptr;
    QAction *showLog = nullptr;
    QPushButton *minimize = nullptr;
    QPushButton *maximize = nullptr;
    QPushButton *close = nullptr;
};

namespace {

constexpr int gapBelowMenuButton = 4;

QString maximizeGlyph()
{
    return QStringLiteral("□");
}

QString maximizeName()
{
    return QStringLiteral("Maximize");
}

} // namespace

MainWindow::MainWindow(QWidget *parent)
    : QMainWindow(parent), serviceGate(std::make_shared<ServiceGate>())
{
    setWindowFlags(Qt::Window | Qt::FramelessWindowHint);
    setWindowTitle(QStringLiteral("Vellumix File Repair"));
    setMinimumSize(1120, 720);
    // Before there are widgets: set later, it would have to visit each of them.
    setStyleSheet(StyleSheet::application());

    auto *root = new QWidget(this);
    root->setObjectName(QStringLiteral("Root"));
    auto *rootLayout = new QVBoxLayout(root);
    rootLayout->setContentsMargins(0, 0, 0, 0);
    rootLayout->setSpacing(0);

    FrameControls controls;
    QWidget *titleBar = createTitleBar(controls);
    auto *content = new QWidget;
    auto *contentLayout = new QHBoxLayout(content);
    contentLayout->setContentsMargins(0, 0, 0, 0);
    contentLayout->setSpacing(0);
    QWidget *sidePanel = createSidePanel(controls);
    createMenu(controls);
    pages = createPages();

    contentLayout->addWidget(sidePanel);
    contentLayout->addWidget(pages, 1);
    rootLayout->addWidget(titleBar);
    rootLayout->addWidget(content, 1);

    connectFrame(controls);
    setCentralWidget(root);
}

MainWindow::~MainWindow()
{
    serviceGate->close(std::chrono::milliseconds::zero());
}

QWidget *MainWindow::createTitleBar(FrameControls &controls)
{
    auto *titleBar = new TitleBar(this, nullptr);
    titleBar->setObjectName(QStringLiteral("TopNav"));
    auto *layout = new QHBoxLayout(titleBar);
    layout->setContentsMargins(14, 12, 14, 8);

    // Wanted: the path shows the same two steps whatever page is shown.
    controls.home = makeNavButton(QStringLiteral("Home"), true);
    controls.crumb = makeNavButton(QStringLiteral("Video Repair"), false);
    controls.menuButton = makeMenuButton();
    auto *separator = new QLabel(QStringLiteral("|"));
    separator->setStyleSheet(QString::fromUtf16(StyleSheet::titleBarSeparator));
    controls.minimize = makeWindowButton(QStringLiteral("−"), QStringLiteral("Minimize"));
    controls.maximize = makeWindowButton(maximizeGlyph(), maximizeName());
    controls.close = makeWindowButton(QStringLiteral("×"), QStringLiteral("Close"));

    layout->addWidget(new LogoLabel(findLogoPath(QApplication::applicationDirPath())));
    layout->addSpacing(8);
    layout->addWidget(controls.home);
    layout->addWidget(new QLabel(QStringLiteral("/")));
    layout->addWidget(controls.crumb);
    layout->addStretch(1);
    layout->addWidget(controls.menuButton);
    layout->addWidget(separator);
    layout->addWidget(controls.minimize);
    layout->addWidget(controls.maximize);
    layout->addWidget(controls.close);
    return titleBar;
}

QWidget *MainWindow::createSidePanel(FrameControls &controls)
{
    auto *panel = new QFrame;
    panel->setFixedWidth(192);
    panel->setStyleSheet(QString::fromUtf16(StyleSheet::sidePanel));
    auto *layout = new QVBoxLayout(panel);
    layout->setContentsMargins(14, 8, 12, 16);
    layout->setSpacing(10);
    controls.side = makeSideNavButton(QStringLiteral("Video Repair"), true);
    layout->addWidget(controls.side);
    layout->addStretch(1);
    return panel;
}

void MainWindow::createMenu(FrameControls &controls)
{
    controls.menu = new QMenu(controls.menuButton);
    controls.menu->setStyleSheet(QString::fromUtf16(StyleSheet::menu));
    // Wanted: the one entry is in the language of those who read the log. It shows the log folder.
    controls.showLog = controls.menu->addAction(QStringLiteral("查看日志"));
}

QStackedWidget *MainWindow::createPages()
{
    auto *stack = new QStackedWidget;
    stack->addWidget(createImportPage());
    stack->addWidget(createFileListPage());
    stack->addWidget(createResultPage());
    return stack;
}

void MainWindow::connectFrame(const FrameControls &controls)
{
    for (QPushButton *button : {controls.home, controls.crumb, controls.side})
        connect(button, &QPushButton::clicked, this, &MainWindow::resetToImportPage);
    connect(controls.menuButton, &QPushButton::clicked, this,
            [menu = controls.menu, button = controls.menuButton] {
                menu->exec(button->mapToGlobal(QPoint(0, button->height() + gapBelowMenuButton)));
            });
    connect(controls.showLog, &QAction::triggered, this, &MainWindow::openLogFolder);
    connect(controls.minimize, &QPushButton::clicked, this, &MainWindow::showMinimized);
    connect(controls.maximize, &QPushButton::clicked, this,
            [this, button = controls.maximize] { toggleMaximized(button); });
    connect(controls.close, &QPushButton::clicked, this, &MainWindow::close);
}

// Wanted: the glyph tells what the button did last. Maximising in another way leaves it.
void MainWindow::toggleMaximized(QPushButton *maximizeButton)
{
    if (isMaximized()) {
        showNormal();
        maximizeButton->setText(maximizeGlyph());
        maximizeButton->setAccessibleName(maximizeName());
    } else {
        showMaximized();
        maximizeButton->setText(QStringLiteral("❐"));
        maximizeButton->setAccessibleName(QStringLiteral("Restore"));
    }
}

void MainWindow::closeEvent(QCloseEvent *event)
{
    shutdownRepairServiceProcesses();
    QMainWindow::closeEvent(event);
}
