#include "metadata/SupportedFormats.h"
#include "tests/support/LayoutText.h"
#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "ui/Buttons.h"
#include "ui/DropPanel.h"
#include "ui/UploadGraphic.h"

#include <QCheckBox>
#include <QDialog>
#include <QDragEnterEvent>
#include <QImage>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QMouseEvent>
#include <QPixmap>
#include <QPushButton>
#include <QScrollArea>
#include <QUrl>
#include <QVBoxLayout>

#include <memory>

namespace {

/** Without what lies behind the widget. */
QImage painted(QWidget &widget)
{
    QImage image(widget.size(), QImage::Format_ARGB32);
    image.fill(Qt::transparent);
    widget.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
    return image;
}

bool hasColour(const QImage &image, const QColor &colour)
{
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (image.pixelColor(x, y) == colour)
                return true;
        }
    }
    return false;
}

/** The colour between a button's border and its text. */
QColor ground(QWidget &widget)
{
    return painted(widget).pixelColor(8, widget.height() / 2);
}

/** Letters so large that their strokes show the text's own colour. */
void enlargeText(QWidget &widget)
{
    QFont font = widget.font();
    font.setPixelSize(60);
    widget.setFont(font);
    widget.adjustSize();
}

QBoxLayout *boxOf(const QWidget *widget)
{
    return qobject_cast<QBoxLayout *>(widget->layout());
}

} // namespace

/** The three pages: what stands where, what it says and how it looks. */
class PagesTest : public TestCase
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;

    QWidget *page(int index) const { return window->findChild<QStackedWidget *>()->widget(index); }

    template <typename Type>
    Type *named(int index, const char *name) const
    {
        return page(index)->findChild<Type *>(QString::fromLatin1(name));
    }

    QPushButton *button(int index, const QString &text) const
    {
        for (auto *candidate : page(index)->findChildren<QPushButton *>()) {
            if (candidate->text() == text)
                return candidate;
        }
        return nullptr;
    }

    QBoxLayout *boxAt(const QBoxLayout *layout, int index) const
    {
        return qobject_cast<QBoxLayout *>(layout->itemAt(index)->layout());
    }

    QCheckBox *advancedMode() const { return page(1)->findChild<QCheckBox *>(); }

    /** Size of a switch, by what lies around its middle; its text begins further to the right. */
    static QSize switchSize(const QImage &image, const QPoint &middle)
    {
        QSize size(0, 0);
        for (int x = 0; x < 44; ++x)
            size.rwidth() += image.pixelColor(x, middle.y()).alpha() > 127 ? 1 : 0;
        for (int y = 0; y < image.height(); ++y)
            size.rheight() += image.pixelColor(middle.x(), y).alpha() > 127 ? 1 : 0;
        return size;
    }

    static void hover(QWidget &widget)
    {
        widget.setAttribute(Qt::WA_UnderMouse);
        const QPointF point(8, widget.height() / 2.0);
        QMouseEvent event(QEvent::MouseMove, point, widget.mapToGlobal(point), Qt::NoButton,
                          Qt::NoButton, Qt::NoModifier);
        QCoreApplication::sendEvent(&widget, &event);
    }

private Q_SLOTS:
    void initTestCase() { window = std::make_unique<MainWindow>(); }
    /** A new window for the next test. */
    void cleanup() { window = std::make_unique<MainWindow>(); }
    void cleanupTestCase() { window.reset(); }

    void importPageIsOnePanel()
    {
        QCOMPARE(QByteArray(page(0)->metaObject()->className()), QByteArray("QWidget"));
        const QBoxLayout *layout = boxOf(page(0));
        QCOMPARE(layout->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(layoutText(*layout), QStringList{QStringLiteral("DropPanel#UploadPanel x 1")});
    }

    void importPanelsItems()
    {
        const QBoxLayout *layout = boxOf(named<DropPanel>(0, "UploadPanel"));
        QCOMPARE(layout->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(layout->contentsMargins(), QMargins(46, 48, 46, 42));
        QCOMPARE(layout->spacing(), 14);
        QStringList formats;
        for (const QString &extension : supportedExtensions())
            formats.append(extension.toUpper());
        QCOMPARE(
            layoutText(*layout),
            (QStringList{
                QStringLiteral("stretch 1"), QStringLiteral("layout"),
                QStringLiteral("QLabel#UploadTitle 'Import Damaged Videos'"),
                QStringLiteral("QLabel#UploadHint 'Click Add or drag damaged videos here'"),
                QStringLiteral("QLabel#LinkText 'Supported formats >>\nMP4, MOV, AVI, MKV, MPG, "
                               "WMV, 3GP, RSV, MTS, TS, DAT, FLV, M4V, WEBM, M2TS, SWF, MPEG, MXF, "
                               "RMVB, INSV, 3G2, RM, KLV, AEP'"),
                QStringLiteral("layout"), QStringLiteral("stretch 1")}));
        QVERIFY(named<QLabel>(0, "LinkText")->text().endsWith(formats.join(QStringLiteral(", "))));
        QCOMPARE(layoutText(*boxAt(layout, 1)),
                 (QStringList{QStringLiteral("stretch 0"), QStringLiteral("UploadGraphic"),
                              QStringLiteral("stretch 0")}));
        QCOMPARE(layoutText(*boxAt(layout, 5)),
                 (QStringList{QStringLiteral("stretch 0"),
                              QStringLiteral("QPushButton#PrimaryButton '+ Add'"),
                              QStringLiteral("stretch 0")}));
    }

    void importLabels()
    {
        for (const char *name : {"UploadTitle", "UploadHint", "LinkText"})
            QCOMPARE(named<QLabel>(0, name)->alignment(), Qt::AlignCenter);
        QVERIFY(!named<QLabel>(0, "UploadTitle")->wordWrap());
        QVERIFY(!named<QLabel>(0, "UploadHint")->wordWrap());
        const auto *formats = named<QLabel>(0, "LinkText");
        QVERIFY(formats->wordWrap());
        // Looks like a link, and is none.
        QVERIFY(!formats->openExternalLinks());
        QVERIFY((formats->textInteractionFlags() & Qt::LinksAccessibleByKeyboard) == 0);
        QCOMPARE(formats->cursor().shape(), Qt::ArrowCursor);
    }

    void importItemsStandInTheMiddle()
    {
        window->resize(1300, 900);
        window->show();
        const auto *panel = named<DropPanel>(0, "UploadPanel");
        const auto middle = [panel](const QWidget *widget) {
            return widget->mapTo(panel, widget->rect().center()).x();
        };
        QVERIFY(std::abs(middle(panel->findChild<UploadGraphic *>()) - panel->width() / 2) <= 1);
        QVERIFY(std::abs(middle(button(0, QStringLiteral("+ Add"))) - panel->width() / 2) <= 1);
        QCOMPARE(panel->findChild<UploadGraphic *>()->size(), QSize(150, 130));
    }

    void importPanelsCallbacks()
    {
        const auto *panel = named<DropPanel>(0, "UploadPanel");
        QVERIFY(panel->onFilesDropped);
        QVERIFY(!panel->onFileDropped);
    }

    void importPageNeverShowsAHighlight()
    {
        window->show();
        const QImage before = window->grab().toImage();
        auto *panel = named<DropPanel>(0, "UploadPanel");
        hover(*panel);
        QMimeData data;
        data.setUrls({QUrl(QStringLiteral("file:///films/clip.mp4"))});
        QDragEnterEvent event(QPoint(9, 9), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        static_cast<QObject *>(panel)->event(&event);
        QVERIFY(event.isAccepted());
        QCOMPARE(window->grab().toImage(), before);
    }

    void fileListPageIsAPanelAndAFooter()
    {
        QCOMPARE(QByteArray(page(1)->metaObject()->className()), QByteArray("QWidget"));
        const QBoxLayout *layout = boxOf(page(1));
        QCOMPARE(layout->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(layout->contentsMargins(), QMargins(4, 0, 14, 0));
        QCOMPARE(layout->spacing(), 0);
        QCOMPARE(layoutText(*layout), (QStringList{QStringLiteral("QFrame#WhitePanel x 1"),
                                                   QStringLiteral("QFrame#Footer")}));
    }

    void fileListPanelsItems()
    {
        const QBoxLayout *layout = boxOf(named<QFrame>(1, "WhitePanel"));
        QCOMPARE(layout->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(layout->contentsMargins(), QMargins(24, 18, 24, 10));
        QCOMPARE(layout->spacing(), 0);
        QCOMPARE(
            layoutText(*layout),
            (QStringList{QStringLiteral("layout"), QStringLiteral("space 16"),
                         QStringLiteral("QFrame#Divider"), QStringLiteral("QScrollArea x 1")}));
        const QBoxLayout *header = boxAt(layout, 0);
        QCOMPARE(header->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(
            layoutText(*header),
            (QStringList{QStringLiteral("QLabel#TabActive 'Videos to Repair (1)'"),
                         QStringLiteral("space 34"), QStringLiteral("QLabel#Tab 'Repair Results'"),
                         QStringLiteral("stretch 1")}));
    }

    void fileListStartsEmpty()
    {
        const auto *area = page(1)->findChild<QScrollArea *>();
        QVERIFY(area->widgetResizable());
        QCOMPARE(area->frameShape(), QFrame::NoFrame);
        const QBoxLayout *rows = boxOf(area->widget());
        QCOMPARE(rows->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(rows->contentsMargins(), QMargins(4, 18, 4, 18));
        QCOMPARE(rows->spacing(), 10);
        QCOMPARE(layoutText(*rows), QStringList{QStringLiteral("stretch 1")});
    }

    void fileListFooter()
    {
        const QBoxLayout *layout = boxOf(named<QFrame>(1, "Footer"));
        QCOMPARE(layout->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(layout->contentsMargins(), QMargins(24, 14, 24, 14));
        QCOMPARE(
            layoutText(*layout),
            (QStringList{
                QStringLiteral("QPushButton#OutlineButton '+ Add Videos'"),
                QStringLiteral("space 12"), QStringLiteral("QPushButton#DangerButton 'Remove All'"),
                QStringLiteral("stretch 1"), QStringLiteral("LineLabel#Meta ''"),
                QStringLiteral("space 12"), QStringLiteral("QCheckBox 'Advanced Repair Mode'"),
                QStringLiteral("space 12"), QStringLiteral("QPushButton#PrimaryButton 'Repair'")}));
        QVERIFY(!advancedMode()->isChecked());
        QVERIFY(!advancedMode()->isTristate());
    }

    void theTabOfResultsReactsToNothing()
    {
        window->show();
        WindowProbe(*window).showPage(1);
        QTest::mouseClick(named<QLabel>(1, "Tab"), Qt::LeftButton);
        QCOMPARE(WindowProbe(*window).page(), 1);
        QCOMPARE(named<QLabel>(1, "Tab")->cursor().shape(), Qt::ArrowCursor);
    }

    void resultPageIsTwoColumns()
    {
        QCOMPARE(QByteArray(page(2)->metaObject()->className()), QByteArray("QFrame"));
        QCOMPARE(page(2)->objectName(), QStringLiteral("ResultPage"));
        const QBoxLayout *layout = boxOf(page(2));
        QCOMPARE(layout->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(layout->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(layout->spacing(), 0);
        QCOMPARE(layoutText(*layout),
                 (QStringList{QStringLiteral("QFrame#ResultSide"), QStringLiteral("layout x 1")}));
        const QBoxLayout *right = boxAt(layout, 1);
        QCOMPARE(right->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(right->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(right->spacing(), 0);
        QCOMPARE(layoutText(*right), (QStringList{QStringLiteral("QScrollArea x 1"),
                                                  QStringLiteral("QFrame#ResultFooter")}));
    }

    void resultSummaryStandsAlone()
    {
        const auto *side = named<QFrame>(2, "ResultSide");
        QCOMPARE(side->minimumWidth(), 218);
        QCOMPARE(side->maximumWidth(), 218);
        const QBoxLayout *layout = boxOf(side);
        QCOMPARE(layout->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(layout->contentsMargins(), QMargins(16, 20, 16, 16));
        QCOMPARE(layout->count(), 2);
        const QString summary = side->findChild<QLabel *>()->text();
        QVERIFY2(summary.startsWith(QStringLiteral("All Videos       ")), qPrintable(summary));
        QVERIFY2(summary.mid(17).at(0).isDigit(), qPrintable(summary));
        QCOMPARE(layoutText(*layout), (QStringList{QStringLiteral("QLabel '%1'").arg(summary),
                                                   QStringLiteral("stretch 1")}));
    }

    void resultListStartsEmpty()
    {
        const auto *area = page(2)->findChild<QScrollArea *>();
        QVERIFY(area->widgetResizable());
        QCOMPARE(area->frameShape(), QFrame::NoFrame);
        const QBoxLayout *rows = boxOf(area->widget());
        QCOMPARE(rows->direction(), QBoxLayout::TopToBottom);
        QCOMPARE(rows->contentsMargins(), QMargins(0, 0, 0, 0));
        QCOMPARE(rows->spacing(), 0);
        QCOMPARE(layoutText(*rows), QStringList{QStringLiteral("stretch 1")});
    }

    void resultFooter()
    {
        const QBoxLayout *layout = boxOf(named<QFrame>(2, "ResultFooter"));
        QCOMPARE(layout->direction(), QBoxLayout::LeftToRight);
        QCOMPARE(layout->contentsMargins(), QMargins(20, 14, 22, 14));
        QCOMPARE(layoutText(*layout),
                 (QStringList{QStringLiteral("QPushButton#OutlineButton 'Add Videos'"),
                              QStringLiteral("space 12"),
                              QStringLiteral("QPushButton#OutlineButton 'Remove All'"),
                              QStringLiteral("stretch 1"),
                              QStringLiteral("QPushButton#OutlineButton 'Preview'"),
                              QStringLiteral("space 12"),
                              QStringLiteral("QPushButton#BlueButton 'Save (0)'"),
                              QStringLiteral("space 12"),
                              QStringLiteral("QPushButton#BlueButton 'Save All (0)'")}));
    }

    void everyButtonHasThePointingHand()
    {
        const auto buttons = window->findChildren<QPushButton *>();
        QCOMPARE(buttons.size(), 16);
        for (const QPushButton *each : buttons)
            QVERIFY2(each->cursor().shape() == Qt::PointingHandCursor, qPrintable(each->text()));
    }

    void factoriesOfPages()
    {
        const std::unique_ptr<QPushButton> made(
            makeObjectButton(QStringLiteral("text"), QStringLiteral("Name")));
        QCOMPARE(made->parentWidget(), nullptr);
        QCOMPARE(widgetText(*made), QStringLiteral("QPushButton#Name 'text'"));
        QVERIFY(!made->isFlat());
        const std::unique_ptr<QLabel> label(makeMetaLabel(QStringLiteral("details")));
        QCOMPARE(label->parentWidget(), nullptr);
        QCOMPARE(widgetText(*label), QStringLiteral("LineLabel#Meta 'details'"));
    }

    void removeAllStartsOver_data()
    {
        QTest::addColumn<int>("index");
        QTest::newRow("file list") << 1;
        QTest::newRow("results") << 2;
    }

    void removeAllStartsOver()
    {
        QFETCH(const int, index);
        WindowProbe probe(*window);
        window->show();
        probe.damagedFiles() = {QStringLiteral("/films/broken.mp4")};
        probe.damagedFilePath() = QStringLiteral("/films/broken.mp4");
        probe.run().outputFiles = {QStringLiteral("/films/whole.mp4")};
        advancedMode()->setChecked(true);
        probe.showPage(index);
        QTest::mouseClick(button(index, QStringLiteral("Remove All")), Qt::LeftButton);
        QCOMPARE(probe.page(), 0);
        QCOMPARE(probe.damagedFiles(), QStringList());
        QCOMPARE(probe.damagedFilePath(), QString());
        QCOMPARE(probe.run().outputFiles, QStringList());
        QVERIFY(!advancedMode()->isChecked());
    }

    void buttonsAreColouredByTheirState_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QColor>("normal");
        QTest::addColumn<QColor>("hovered");
        QTest::addColumn<QColor>("disabled");
        const auto row = [](int index, const char *text, const QColor &normal,
                            const QColor &hovered, const QColor &disabled) {
            QTest::newRow(text) << index << QString::fromLatin1(text) << normal << hovered
                                << disabled;
        };
        row(0, "+ Add", QColor(0x0a83ff), QColor(0x1592ff), QColor(0x9abff2));
        row(1, "Repair", QColor(0x0a83ff), QColor(0x1592ff), QColor(0x9abff2));
        row(2, "Save (0)", QColor(0x2f83ff), QColor(0x4392ff), QColor(0x8eb4f1));
        row(2, "Save All (0)", QColor(0x2f83ff), QColor(0x4392ff), QColor(0x8eb4f1));
        row(1, "Remove All", QColor(0xffffff), QColor(0xffffff), QColor(0xffffff));
    }

    void buttonsAreColouredByTheirState()
    {
        QFETCH(const int, index);
        QFETCH(const QString, text);
        window->show();
        WindowProbe(*window).showPage(index);
        QPushButton *tested = button(index, text);
        tested->setEnabled(true);
        QTEST(ground(*tested), "normal");
        hover(*tested);
        QTEST(ground(*tested), "hovered");
        tested->setAttribute(Qt::WA_UnderMouse, false);
        tested->setEnabled(false);
        QTEST(ground(*tested), "disabled");
    }

    void disabledSaveHasPaleText()
    {
        QPushButton *save = button(2, QStringLiteral("Save (0)"));
        enlargeText(*save);
        save->setEnabled(true);
        QVERIFY(hasColour(painted(*save), Qt::white));
        save->setEnabled(false);
        const QImage image = painted(*save);
        QVERIFY(hasColour(image, QColor(0xeaf1ff)));
        QVERIFY(!hasColour(image, Qt::white));
    }

    void outlineButtonsLookTheSameDisabled()
    {
        window->show();
        WindowProbe(*window).showPage(2);
        QPushButton *preview = button(2, QStringLiteral("Preview"));
        preview->setEnabled(true);
        const QImage before = painted(*preview);
        QVERIFY(hasColour(before, QColor(0x2f83ff)));
        preview->setEnabled(false);
        QCOMPARE(painted(*preview), before);
        preview->setEnabled(true);
        hover(*preview);
        QCOMPARE(ground(*preview), QColor(0xedf6ff));
    }

    void primaryButtonsAreLarge()
    {
        window->show();
        for (QPushButton *each :
             {button(0, QStringLiteral("+ Add")), button(1, QStringLiteral("Repair"))}) {
            WindowProbe(*window).showPage(each->text() == QStringLiteral("Repair") ? 1 : 0);
            QVERIFY(each->isVisible());
            QVERIFY2(each->width() >= 248, qPrintable(each->text()));
            QVERIFY2(each->height() >= 46, qPrintable(each->text()));
        }
    }

    void checkBoxesAreSwitches()
    {
        window->show();
        WindowProbe(*window).showPage(1);
        QCheckBox *check = advancedMode();
        for (const bool checked : {false, true}) {
            check->setChecked(checked);
            const QColor colour(checked ? 0x2f83ff : 0xc3c8d4);
            const QImage image = painted(*check);
            const int middle = check->height() / 2;
            const int top = middle - 11;
            QCOMPARE(switchSize(image, {20, middle}), QSize(40, 22));
            QCOMPARE(image.pixelColor(1, middle), colour);
            QCOMPARE(image.pixelColor(38, middle), colour);
            // A half circle at each end: nothing in the corners, narrower the further out.
            for (const QPoint &corner : {QPoint(0, 0), QPoint(39, 0), QPoint(0, 21), QPoint(39, 21),
                                         QPoint(2, 2), QPoint(37, 19)})
                QVERIFY(image.pixelColor(corner + QPoint(0, top)) != colour);
            for (const QPoint &inside :
                 {QPoint(4, 4), QPoint(35, 4), QPoint(4, 17), QPoint(35, 17)})
                QCOMPARE(image.pixelColor(inside + QPoint(0, top)), colour);
        }
    }

    void thePagesGrounds()
    {
        window->show();
        WindowProbe probe(*window);
        probe.showPage(1);
        const auto colourAt = [this](const QWidget *widget, const QPoint &point) {
            return window->grab().toImage().pixelColor(widget->mapTo(window.get(), point));
        };
        QCOMPARE(colourAt(page(1), {1, 300}), QColor(0xeef4fb));
        QCOMPARE(colourAt(named<QFrame>(1, "WhitePanel"), {300, 300}), QColor(0xffffff));
        const auto *divider = named<QFrame>(1, "Divider");
        QCOMPARE(divider->height(), 1);
        QCOMPARE(colourAt(divider, {100, 0}), QColor(0xdce5f1));
        const auto *footer = named<QFrame>(1, "Footer");
        QCOMPARE(colourAt(footer, {5, 0}), QColor(0xe4ebf5));
        QCOMPARE(colourAt(footer, {5, 20}), QColor(0xffffff));
        probe.showPage(2);
        QCOMPARE(colourAt(named<QFrame>(2, "ResultSide"), {100, 400}), QColor(0x15182d));
        QCOMPARE(colourAt(page(2)->findChild<QScrollArea *>(), {100, 100}), QColor(0x080c25));
        const auto *resultFooter = named<QFrame>(2, "ResultFooter");
        QCOMPARE(colourAt(resultFooter, {5, 0}), QColor(0x252b45));
        QCOMPARE(colourAt(resultFooter, {5, 20}), QColor(0x15182d));
    }

    void dialogsOfTheWindowAreDark()
    {
        QDialog dialog(window.get());
        auto *layout = new QVBoxLayout(&dialog);
        auto *label = new QLabel(QStringLiteral("MMM"));
        auto *edit = new QLineEdit(QStringLiteral("MMM"));
        layout->addWidget(label);
        layout->addWidget(edit);
        enlargeText(*label);
        enlargeText(*edit);
        dialog.adjustSize();
        QCOMPARE(dialog.grab().toImage().pixelColor(2, 2), QColor(0x30304b));
        QVERIFY(hasColour(painted(*label), QColor(0xdfe5f6)));
        QCOMPARE(ground(*edit), QColor(0x292d49));
        QVERIFY(hasColour(painted(*edit), Qt::white));
        QCOMPARE(painted(*edit).pixelColor(edit->width() / 2, 0), QColor(0x61698b));
        QVERIFY(edit->height() >= 34);
    }

    void dialogsWithoutTheWindowAreNot()
    {
        QDialog dialog;
        dialog.resize(100, 100);
        QVERIFY(dialog.grab().toImage().pixelColor(2, 2) != QColor(0x30304b));
    }
};

VELLUMIX_WINDOW_TEST_MAIN(PagesTest)

#include "tst_pages.moc"
