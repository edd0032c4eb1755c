#pragma once

#include <QString>

/**
 * Every style text of the window and its pages, each once. Colours, sizes and the order of the
 * rules are the product's look; none of them is repeated elsewhere.
 */
namespace StyleSheet {

/**
 * The sheet that is set on the main window and inherited by all that belongs to it. Widgets are
 * addressed by their object names.
 */
QString application();

/**
 * The lines of the application's sheet for one selector, with its states, for a widget whose
 * surroundings' own sheet would take their place.
 */
QString rulesFor(const QString &selector);

/** Sheets of single widgets. */
inline constexpr char16_t crumbActive[] =
    u"QPushButton{color:#111827;font-weight:700;background:#d9ebff;border:0;border-radius:7px;"
    u"padding:8px 12px;text-align:left;}";
inline constexpr char16_t crumbInactive[] =
    u"QPushButton{color:#26334f;font-weight:700;background:transparent;border:0;"
    u"border-radius:7px;padding:8px 10px;text-align:left;} QPushButton:hover{background:#e0efff;}";
inline constexpr char16_t sideNavActive[] =
    u"QPushButton{color:#0a65d8;background:#dcecff;border:0;border-radius:8px;padding:0 14px;"
    u"text-align:left;font-weight:700;}";
inline constexpr char16_t sideNavInactive[] =
    u"QPushButton{color:#46546f;background:transparent;border:0;border-radius:8px;padding:0 14px;"
    u"text-align:left;font-weight:700;} QPushButton:hover{background:#e0efff;}";
inline constexpr char16_t menuButton[] =
    u"QPushButton{color:#26334f;background:transparent;border:0;border-radius:6px;"
    u"font-size:22px;font-weight:700;}QPushButton:hover{background:#d9ebff;}";
inline constexpr char16_t windowButton[] =
    u"QPushButton{color:#46546f;background:transparent;border:0;border-radius:6px;"
    u"font-size:18px;}QPushButton:hover{background:#d9ebff;color:#111827;}";
inline constexpr char16_t titleBarSeparator[] = u"color:#9aa6bb;font-size:20px;padding:0 2px;";
inline constexpr char16_t sidePanel[] = u"QFrame{background:#eef4fb;border:none;}";
inline constexpr char16_t menu[] =
    u"QMenu{background:#ffffff;color:#14203a;border:1px solid #dce5f1;border-radius:8px;"
    u"padding:6px;}QMenu::item{padding:8px 28px 8px 12px;border-radius:6px;}"
    u"QMenu::item:selected{background:#e0efff;color:#0a65d8;}";
inline constexpr char16_t fileListScroll[] =
    u"QScrollArea{background:transparent;border:none;} "
    u"QScrollBar:vertical{background:#edf3fb;width:10px;} "
    u"QScrollBar::handle:vertical{background:#b8c7dc;border-radius:5px;}";
/** For the bars of both lists: without it they end in arrows that no colour here is made for. */
inline constexpr char16_t scrollBarEnds[] =
    u"QScrollBar::add-line:vertical,QScrollBar::sub-line:vertical{height:0;}";
inline constexpr char16_t fileListContent[] = u"background:transparent;";
inline constexpr char16_t importRow[] =
    u"QFrame{background:#ffffff;border-bottom:1px solid #e4ebf5;}";
inline constexpr char16_t resultStatusOk[] = u"color:#cdd5ea;";
/** Not repaired: still to come, or failed. */
inline constexpr char16_t resultStatusOpen[] = u"color:#ffbd72;";
inline constexpr char16_t resultSummary[] =
    u"color:#f4f7ff;background:#2b2d4a;border-radius:7px;padding:14px 16px;";
inline constexpr char16_t resultScroll[] =
    u"QScrollArea{background:#080c25;border:none;} "
    u"QScrollBar:vertical{background:#15182d;width:10px;} "
    u"QScrollBar::handle:vertical{background:#48506d;border-radius:5px;}";
inline constexpr char16_t resultContent[] = u"background:#080c25;";
/** For what has tool tips: a tip takes on the sheets around its widget, and would be dark on dark.
 */
inline constexpr char16_t toolTip[] =
    u"QToolTip{background:#ffffff;color:#14203a;border:1px solid #dce5f1;padding:4px;}";
inline constexpr char16_t sampleTitle[] = u"font-size:16px;font-weight:700;";
inline constexpr char16_t comparisonHeader[] =
    u"background:#1d2138;color:#ffffff;font-weight:700;padding:12px;border:1px solid #454b68;";
/** Cells of the first, third, ... row below the header. */
inline constexpr char16_t comparisonCell[] =
    u"background:#2f304d;color:#dfe5f6;padding:10px;border:1px solid #454b68;";
inline constexpr char16_t comparisonCellOdd[] =
    u"background:#24283f;color:#dfe5f6;padding:10px;border:1px solid #454b68;";
/** Wanted: the same background in all rows. */
inline constexpr char16_t comparisonMismatch[] =
    u"background:#2f304d;color:#ff4d55;padding:10px;border:1px solid #454b68;";
inline constexpr char16_t comparisonNote[] = u"color:#aab2c8;";
inline constexpr char16_t failureBadge[] =
    u"font-size:54px;font-weight:700;color:#ff554f;background:#4a4d68;border:1px solid #5f6483;"
    u"border-radius:36px;";
inline constexpr char16_t failureHeading[] = u"font-size:18px;font-weight:700;color:#ffffff;";
inline constexpr char16_t failureDetail[] = u"color:#ff5b58;font-size:14px;";
inline constexpr char16_t previewList[] = u"background:#20243a;border-radius:8px;";
/** The application's colour for check boxes is made for the light pages. */
inline constexpr char16_t previewCheckBox[] = u"QCheckBox{color:#dfe5f6;}";
/** For the list's bar, which the list's own sheet would make as dark as the list. */
inline constexpr char16_t previewScrollBar[] =
    u"QScrollBar:vertical{background:#15182d;width:10px;} "
    u"QScrollBar::handle:vertical{background:#48506d;border-radius:5px;} "
    u"QScrollBar::add-line:vertical,QScrollBar::sub-line:vertical{height:0;}";
inline constexpr char16_t previewCard[] = u"background:transparent;border-radius:6px;";
inline constexpr char16_t previewCardSelected[] = u"background:#3a3c5c;border-radius:6px;";
inline constexpr char16_t previewArea[] =
    u"background:#14172c;border:1px solid #4c5576;border-radius:8px;";
inline constexpr char16_t playButton[] =
    u"QPushButton{font-size:54px;color:white;background:rgba(0,0,0,90);border:1px solid #4f5b85;"
    u"border-radius:41px;padding:0 0 4px 6px;} "
    u"QPushButton:hover{background:rgba(47,131,255,130);border-color:#7dafff;}";

} // namespace StyleSheet
