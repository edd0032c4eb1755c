#include "tests/support/TestCase.h"
#include "tests/support/WindowProbe.h"
#include "ui/Buttons.h"
#include "ui/StyleSheet.h"

#include <QFrame>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QScrollArea>

#include <memory>

namespace {

/** One rule of the window's sheet: whom it is for, and what it says. */
struct Rule
{
    const char *selector;
    const char *declarations;
};

/** The window's sheet, rule by rule. */
constexpr Rule rules[] = {
    {"QMainWindow, QWidget#Root",
     "background: #eef4fb; color: #14203a; font-family: \"Microsoft YaHei\", \"Segoe UI\"; "
     "font-size: 14px;"},
    {"QFrame#TopNav", "background: transparent; border: none;"},
    {"QLabel#CrumbActive",
     "color: #111827; font-weight: 700; background: #d9ebff; border-radius: 7px; "
     "padding: 8px 12px;"},
    {"QLabel#Crumb", "color: #26334f; font-weight: 700; padding: 8px 10px;"},
    {"QFrame#UploadPanel", "background: #f4f8fd; border: 2px dashed #2d7dff; border-radius: 10px;"},
    {"QLabel#UploadTitle", "color: #000000; font-size: 28px; font-weight: 800;"},
    {"QLabel#UploadHint", "color: #5d6b85; font-size: 16px;"},
    {"QLabel#LinkText", "color: #006cff; font-size: 15px;"},
    {"QFrame#WhitePanel", "background: #ffffff; border: none; border-radius: 10px;"},
    {"QLabel#TabActive", "color: #006cff; font-size: 16px; font-weight: 800;"},
    {"QLabel#Tab", "color: #68738a; font-size: 16px; font-weight: 800;"},
    {"QFrame#Divider", "background: #dce5f1; min-height: 1px; max-height: 1px;"},
    {"QFrame#Thumb", "background: #39a9d6; border-radius: 6px;"},
    {"QLabel#FileName", "color: #111827; font-size: 18px; font-weight: 800;"},
    {"QLabel#Meta", "color: #536079; font-size: 14px;"},
    {"QLabel#Remove", "color: #ff3b30; font-size: 16px;"},
    {"QFrame#Footer", "background: #ffffff; border-top: 1px solid #e4ebf5;"},
    {"QFrame#ResultPage", "background: #070b21; color: #f7f8ff;"},
    {"QFrame#ResultSide", "background: #15182d; border: none;"},
    {"QFrame#ResultRow", "background: #080c25; border-bottom: 1px solid #222842;"},
    {"QFrame#ResultFooter", "background: #15182d; border-top: 1px solid #252b45;"},
    {"QLabel#ResultName", "color: #ffffff; font-size: 18px; font-weight: 800;"},
    {"QLabel#ResultStatus", "color: #cdd5ea;"},
    {"QPushButton#PrimaryButton",
     "background: #0a83ff; color: white; border: none; border-radius: 9px; "
     "min-height: 46px; min-width: 248px; padding: 0 28px; font-size: 18px; "
     "font-weight: 700;"},
    {"QPushButton#PrimaryButton:hover", "background: #1592ff;"},
    {"QPushButton#PrimaryButton:disabled", "background: #9abff2;"},
    {"QPushButton#BlueButton",
     "background: #2f83ff; color: white; border: none; border-radius: 7px; "
     "min-height: 34px; padding: 0 22px;"},
    {"QPushButton#BlueButton:hover", "background: #4392ff;"},
    {"QPushButton#BlueButton:disabled", "background: #8eb4f1; color: #eaf1ff;"},
    {"QPushButton#OutlineButton",
     "background: transparent; color: #0a7cff; border: 1px solid #2f83ff; "
     "border-radius: 7px; min-height: 34px; padding: 0 22px;"},
    {"QPushButton#OutlineButton:hover", "background: #edf6ff;"},
    {"QPushButton#DangerButton",
     "background: #ffffff; color: #ff3b30; border: 1px solid #ff3b30; border-radius: 7px; "
     "min-height: 34px; padding: 0 22px;"},
    {"QLineEdit",
     "background: #292d49; color: #ffffff; border: 1px solid #61698b; border-radius: 6px; "
     "min-height: 34px; padding: 0 10px;"},
    {"QDialog", "background: #30304b; color: #ffffff;"},
    {"QDialog QLabel", "color: #dfe5f6;"},
    {"QCheckBox", "color: #5f6b82; spacing: 8px;"},
    {"QCheckBox::indicator",
     "width: 40px; height: 22px; border-radius: 11px; background: #c3c8d4;"},
    {"QCheckBox::indicator:checked", "background: #2f83ff;"},
};

/** The sheets of single widgets. */
namespace Expected {

constexpr char16_t crumbActive[] =
    u"QPushButton{color:#111827;font-weight:700;background:#d9ebff;border:0;"
    u"border-radius:7px;padding:8px 12px;text-align:left;}";
constexpr char16_t crumbInactive[] =
    u"QPushButton{color:#26334f;font-weight:700;background:transparent;border:0;"
    u"border-radius:7px;padding:8px 10px;text-align:left;} QPushButton:hover{"
    u"background:#e0efff;}";
constexpr char16_t sideNavActive[] =
    u"QPushButton{color:#0a65d8;background:#dcecff;border:0;border-radius:8px;"
    u"padding:0 14px;text-align:left;font-weight:700;}";
constexpr char16_t sideNavInactive[] =
    u"QPushButton{color:#46546f;background:transparent;border:0;border-radius:8px;"
    u"padding:0 14px;text-align:left;font-weight:700;} QPushButton:hover{"
    u"background:#e0efff;}";
constexpr char16_t menuButton[] =
    u"QPushButton{color:#26334f;background:transparent;border:0;border-radius:6px;"
    u"font-size:22px;font-weight:700;}QPushButton:hover{background:#d9ebff;}";
constexpr char16_t windowButton[] =
    u"QPushButton{color:#46546f;background:transparent;border:0;border-radius:6px;"
    u"font-size:18px;}QPushButton:hover{background:#d9ebff;color:#111827;}";
constexpr char16_t titleBarSeparator[] = u"color:#9aa6bb;font-size:20px;padding:0 2px;";
constexpr char16_t sidePanel[] = u"QFrame{background:#eef4fb;border:none;}";
constexpr char16_t menu[] =
    u"QMenu{background:#ffffff;color:#14203a;border:1px solid #dce5f1;"
    u"border-radius:8px;padding:6px;}QMenu::item{padding:8px 28px 8px 12px;"
    u"border-radius:6px;}QMenu::item:selected{background:#e0efff;color:#0a65d8;}";
constexpr char16_t fileListScroll[] =
    u"QScrollArea{background:transparent;border:none;} QScrollBar:vertical{"
    u"background:#edf3fb;width:10px;} QScrollBar::handle:vertical{"
    u"background:#b8c7dc;border-radius:5px;}";
constexpr char16_t fileListContent[] = u"background:transparent;";
constexpr char16_t resultSummary[] =
    u"color:#f4f7ff;background:#2b2d4a;border-radius:7px;padding:14px 16px;";
constexpr char16_t resultScroll[] =
    u"QScrollArea{background:#080c25;border:none;} QScrollBar:vertical{"
    u"background:#15182d;width:10px;} QScrollBar::handle:vertical{"
    u"background:#48506d;border-radius:5px;}";
constexpr char16_t resultContent[] = u"background:#080c25;";

} // namespace Expected

/** The sheet that the rules make: a line for each, after an empty first one. */
QString assembled()
{
    QByteArray sheet = "\n";
    for (const Rule &rule : rules) {
        sheet += rule.selector;
        sheet += " { ";
        sheet += rule.declarations;
        sheet += " }\n";
    }
    return QString::fromLatin1(sheet);
}

} // namespace

/** The look: every style text to the letter, and that each is where it belongs. */
class StyleSheetTest : public TestCase
{
    Q_OBJECT

private:
    std::unique_ptr<MainWindow> window;

    QString sheetOfButton(const char16_t *text, int index = 0) const
    {
        QList<QPushButton *> found;
        for (QPushButton *button : window->findChildren<QPushButton *>()) {
            if (button->text() == QString::fromUtf16(text))
                found.append(button);
        }
        return index < found.size() ? found.at(index)->styleSheet() : QStringLiteral("no button");
    }

    QString sheetOfLabel(const char16_t *text) const
    {
        for (const QLabel *label : window->findChildren<QLabel *>()) {
            if (label->text() == QString::fromUtf16(text))
                return label->styleSheet();
        }
        return QStringLiteral("no label");
    }

    QScrollArea *scrollAreaOf(int page) const
    {
        const auto *pages = window->findChild<QStackedWidget *>();
        return pages->widget(page)->findChild<QScrollArea *>();
    }

    static QString sheetOf(QPushButton *button)
    {
        const std::unique_ptr<QPushButton> owner(button);
        return owner->styleSheet();
    }

private Q_SLOTS:
    void initTestCase() { window = std::make_unique<MainWindow>(); }
    void cleanupTestCase() { window.reset(); }

    void theWindowsSheetRuleByRule()
    {
        const QStringList actual = StyleSheet::application().split(QLatin1Char('\n'));
        const QStringList expected = assembled().split(QLatin1Char('\n'));
        for (qsizetype line = 0; line < qMin(actual.size(), expected.size()); ++line)
            QCOMPARE(actual.at(line), expected.at(line));
        QCOMPARE(actual.size(), expected.size());
        QCOMPARE(std::size(rules), std::size_t(38));
    }

    void theWindowsSheetToTheByte()
    {
        const QString sheet = StyleSheet::application();
        QCOMPARE(sheet.toUtf8(), assembled().toUtf8());
        QCOMPARE(QString::fromLatin1(sheet.toLatin1()), sheet);
    }

    void theWindowBearsIt() { QCOMPARE(window->styleSheet(), assembled()); }

    void sheetsOfSingleWidgets_data()
    {
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("expected");
        const auto row = [](const char *name, const char16_t *actual, const char16_t *expected) {
            QTest::newRow(name) << QString::fromUtf16(actual) << QString::fromUtf16(expected);
        };
        row("crumbActive", StyleSheet::crumbActive, Expected::crumbActive);
        row("crumbInactive", StyleSheet::crumbInactive, Expected::crumbInactive);
        row("sideNavActive", StyleSheet::sideNavActive, Expected::sideNavActive);
        row("sideNavInactive", StyleSheet::sideNavInactive, Expected::sideNavInactive);
        row("menuButton", StyleSheet::menuButton, Expected::menuButton);
        row("windowButton", StyleSheet::windowButton, Expected::windowButton);
        row("titleBarSeparator", StyleSheet::titleBarSeparator, Expected::titleBarSeparator);
        row("sidePanel", StyleSheet::sidePanel, Expected::sidePanel);
        row("menu", StyleSheet::menu, Expected::menu);
        row("fileListScroll", StyleSheet::fileListScroll, Expected::fileListScroll);
        row("fileListContent", StyleSheet::fileListContent, Expected::fileListContent);
        row("resultSummary", StyleSheet::resultSummary, Expected::resultSummary);
        row("resultScroll", StyleSheet::resultScroll, Expected::resultScroll);
        row("resultContent", StyleSheet::resultContent, Expected::resultContent);
    }

    void sheetsOfSingleWidgets()
    {
        QFETCH(const QString, actual);
        QFETCH(const QString, expected);
        QCOMPARE(actual, expected);
    }

    void buttonsAreMadeWithTheirSheets()
    {
        const QString text = QStringLiteral("x");
        QCOMPARE(sheetOf(makeNavButton(text, true)), QString::fromUtf16(Expected::crumbActive));
        QCOMPARE(sheetOf(makeNavButton(text, false)), QString::fromUtf16(Expected::crumbInactive));
        QCOMPARE(sheetOf(makeSideNavButton(text, true)),
                 QString::fromUtf16(Expected::sideNavActive));
        QCOMPARE(sheetOf(makeSideNavButton(text, false)),
                 QString::fromUtf16(Expected::sideNavInactive));
        QCOMPARE(sheetOf(makeMenuButton()), QString::fromUtf16(Expected::menuButton));
        QCOMPARE(sheetOf(makeWindowButton(text, text)), QString::fromUtf16(Expected::windowButton));
        QCOMPARE(sheetOf(makeObjectButton(text, text)), QString());
    }

    void theFramesWidgetsBearTheirSheets()
    {
        const QString crumbInactive = QString::fromUtf16(Expected::crumbInactive);
        const QString sideNavActive = QString::fromUtf16(Expected::sideNavActive);
        QCOMPARE(sheetOfButton(u"Home"), QString::fromUtf16(Expected::crumbActive));
        const QString first = sheetOfButton(u"Video Repair", 0);
        const QString second = sheetOfButton(u"Video Repair", 1);
        QVERIFY((first == crumbInactive && second == sideNavActive) ||
                (first == sideNavActive && second == crumbInactive));
        QCOMPARE(sheetOfButton(u"☰"), QString::fromUtf16(Expected::menuButton));
        QCOMPARE(sheetOfButton(u"−"), QString::fromUtf16(Expected::windowButton));
        QCOMPARE(sheetOfButton(u"□"), QString::fromUtf16(Expected::windowButton));
        QCOMPARE(sheetOfButton(u"×"), QString::fromUtf16(Expected::windowButton));
        QCOMPARE(sheetOfLabel(u"|"), QString::fromUtf16(Expected::titleBarSeparator));
        QCOMPARE(sheetOfLabel(u"/"), QString());
        const auto *menu = window->findChild<QMenu *>();
        QVERIFY(menu != nullptr);
        QCOMPARE(menu->styleSheet(), QString::fromUtf16(Expected::menu));
    }

    void theSidePanelBearsItsSheet()
    {
        QList<QFrame *> panels;
        for (QFrame *frame : window->findChildren<QFrame *>()) {
            if (frame->minimumWidth() == 192 && frame->maximumWidth() == 192)
                panels.append(frame);
        }
        QCOMPARE(panels.size(), 1);
        QCOMPARE(panels.constFirst()->styleSheet(), QString::fromUtf16(Expected::sidePanel));
    }

    void thePagesWidgetsBearTheirSheets()
    {
        QCOMPARE(scrollAreaOf(1)->styleSheet(), QString::fromUtf16(Expected::fileListScroll));
        QCOMPARE(scrollAreaOf(1)->widget()->styleSheet(),
                 QString::fromUtf16(Expected::fileListContent));
        QCOMPARE(scrollAreaOf(2)->styleSheet(), QString::fromUtf16(Expected::resultScroll));
        QCOMPARE(scrollAreaOf(2)->widget()->styleSheet(),
                 QString::fromUtf16(Expected::resultContent));
        const auto *side = window->findChild<QFrame *>(QStringLiteral("ResultSide"));
        QVERIFY(side != nullptr);
        QCOMPARE(side->findChild<QLabel *>()->styleSheet(),
                 QString::fromUtf16(Expected::resultSummary));
    }

    void allOtherWidgetsBearNone()
    {
        int styled = 0;
        for (const QWidget *widget : window->findChildren<QWidget *>())
            styled += widget->styleSheet().isEmpty() ? 0 : 1;
        // 3 path and side buttons, 4 window buttons, separator, panel, menu, 2 lists with their
        // contents and scroll bars, the summary.
        QCOMPARE(styled, 17);
    }

    void objectNamesOfTheRules_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("type");
        QTest::addColumn<int>("count");
        const auto row = [](const char *name, const char *type, int count) {
            QTest::newRow(name) << QString::fromLatin1(name) << QByteArray(type) << count;
        };
        row("Root", "QWidget", 1);
        row("TopNav", "TitleBar", 1);
        row("UploadPanel", "DropPanel", 1);
        row("UploadTitle", "QLabel", 1);
        row("UploadHint", "QLabel", 1);
        row("LinkText", "QLabel", 1);
        row("WhitePanel", "QFrame", 1);
        row("TabActive", "QLabel", 1);
        row("Tab", "QLabel", 1);
        row("Divider", "QFrame", 1);
        row("Footer", "QFrame", 1);
        row("PrimaryButton", "QPushButton", 2);
        row("OutlineButton", "QPushButton", 4);
        row("DangerButton", "QPushButton", 1);
        row("BlueButton", "QPushButton", 2);
        row("Meta", "QLabel", 1);
        row("ResultPage", "QFrame", 1);
        row("ResultSide", "QFrame", 1);
        row("ResultFooter", "QFrame", 1);
        row("CrumbActive", "QLabel", 0);
        row("Crumb", "QLabel", 0);
        row("Remove", "QLabel", 0);
    }

    void objectNamesOfTheRules()
    {
        QFETCH(const QString, name);
        QFETCH(const QByteArray, type);
        QFETCH(const int, count);
        const QWidgetList found = window->findChildren<QWidget *>(name);
        QCOMPARE(found.size(), count);
        for (const QWidget *widget : found)
            QVERIFY2(widget->inherits(type), widget->metaObject()->className());
    }
};

VELLUMIX_WINDOW_TEST_MAIN(StyleSheetTest)

#include "tst_style_sheet.moc"
