#include "ui/StyleSheet.h"

#include <QStringList>

namespace {

// Latin-1. The rules for CrumbActive, Crumb and Remove address no widget of today; the sheet is
// kept whole, as designers hand it on.
constexpr char applicationSheet[] = R"(
QMainWindow, QWidget#Root { background: #eef4fb; color: #14203a; font-family: "Microsoft YaHei", "Segoe UI"; font-size: 14px; }
QFrame#TopNav { background: transparent; border: none; }
QLabel#CrumbActive { color: #111827; font-weight: 700; background: #d9ebff; border-radius: 7px; padding: 8px 12px; }
QLabel#Crumb { color: #26334f; font-weight: 700; padding: 8px 10px; }
QFrame#UploadPanel { background: #f4f8fd; border: 2px dashed #2d7dff; border-radius: 10px; }
QLabel#UploadTitle { color: #000000; font-size: 28px; font-weight: 800; }
QLabel#UploadHint { color: #5d6b85; font-size: 16px; }
QLabel#LinkText { color: #006cff; font-size: 15px; }
QFrame#WhitePanel { background: #ffffff; border: none; border-radius: 10px; }
QLabel#TabActive { color: #006cff; font-size: 16px; font-weight: 800; }
QLabel#Tab { color: #68738a; font-size: 16px; font-weight: 800; }
QFrame#Divider { background: #dce5f1; min-height: 1px; max-height: 1px; }
QFrame#Thumb { background: #39a9d6; border-radius: 6px; }
QLabel#FileName { color: #111827; font-size: 18px; font-weight: 800; }
QLabel#Meta { color: #536079; font-size: 14px; }
QLabel#Remove { color: #ff3b30; font-size: 16px; }
QFrame#Footer { background: #ffffff; border-top: 1px solid #e4ebf5; }
QFrame#ResultPage { background: #070b21; color: #f7f8ff; }
QFrame#ResultSide { background: #15182d; border: none; }
QFrame#ResultRow { background: #080c25; border-bottom: 1px solid #222842; }
QFrame#ResultFooter { background: #15182d; border-top: 1px solid #252b45; }
QLabel#ResultName { color: #ffffff; font-size: 18px; font-weight: 800; }
QLabel#ResultStatus { color: #cdd5ea; }
QPushButton#PrimaryButton { background: #0a83ff; color: white; border: none; border-radius: 9px; min-height: 46px; min-width: 248px; padding: 0 28px; font-size: 18px; font-weight: 700; }
QPushButton#PrimaryButton:hover { background: #1592ff; }
QPushButton#PrimaryButton:disabled { background: #9abff2; }
QPushButton#BlueButton { background: #2f83ff; color: white; border: none; border-radius: 7px; min-height: 34px; padding: 0 22px; }
QPushButton#BlueButton:hover { background: #4392ff; }
QPushButton#BlueButton:disabled { background: #8eb4f1; color: #eaf1ff; }
QPushButton#OutlineButton { background: transparent; color: #0a7cff; border: 1px solid #2f83ff; border-radius: 7px; min-height: 34px; padding: 0 22px; }
QPushButton#OutlineButton:hover { background: #edf6ff; }
QPushButton#DangerButton { background: #ffffff; color: #ff3b30; border: 1px solid #ff3b30; border-radius: 7px; min-height: 34px; padding: 0 22px; }
QLineEdit { background: #292d49; color: #ffffff; border: 1px solid #61698b; border-radius: 6px; min-height: 34px; padding: 0 10px; }
QDialog { background: #30304b; color: #ffffff; }
QDialog QLabel { color: #dfe5f6; }
QCheckBox { color: #5f6b82; spacing: 8px; }
QCheckBox::indicator { width: 40px; height: 22px; border-radius: 11px; background: #c3c8d4; }
QCheckBox::indicator:checked { background: #2f83ff; }
)";

} // namespace

QString StyleSheet::application()
{
    return QString::fromLatin1(applicationSheet);
}

QString StyleSheet::rulesFor(const QString &selector)
{
    QString rules;
    const QStringList lines = application().split(QLatin1Char('\n'));
    for (const QString &line : lines) {
        if (line.startsWith(selector + QLatin1Char(' ')) ||
            line.startsWith(selector + QLatin1Char(':')))
            rules += line + QLatin1Char('\n');
    }
    return rules;
}
