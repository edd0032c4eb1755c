#pragma once

#include "tests/support/Desktop.h"
#include "tests/support/FaultFolder.h"
#include "tests/support/Modals.h"
#include "tests/support/TestCase.h"
#include "tests/support/WorkflowSetting.h"
#include "ui/DropLineEdit.h"
#include "ui/PreviewDialog.h"

#include <QCheckBox>
#include <QDropEvent>
#include <QGridLayout>
#include <QLabel>
#include <QMimeData>
#include <QUrl>

/** What a person does and sees, for tests of whole jobs. */
namespace Journey {

constexpr int longMs = 55000;

/** Waits for the button as a person does: rows come into sight when their list is next painted. */
inline void press(const QWidget &window, const QString &text)
{
    QPushButton *button = nullptr;
    QVERIFY2(QTest::qWaitFor([&] {
                 button = buttonOf(window, text);
                 return button != nullptr && button->isEnabled();
             }),
             qPrintable(text));
    QTest::mouseClick(button, Qt::LeftButton);
}

/** Presses when the event that is at work has ended: what follows may be modal. */
inline void pressLater(QWidget *window, const QString &text)
{
    QTimer::singleShot(0, window, [window, text] { press(*window, text); });
}

inline void drop(QWidget *target, const QStringList &paths)
{
    QList<QUrl> urls;
    for (const QString &path : paths)
        urls.append(QUrl::fromLocalFile(path));
    QMimeData data;
    data.setUrls(urls);
    QDragEnterEvent enter(target->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                          Qt::NoModifier);
    QCoreApplication::sendEvent(target, &enter);
    QDropEvent event(target->rect().center(), Qt::CopyAction, &data, Qt::LeftButton,
                     Qt::NoModifier);
    QCoreApplication::sendEvent(target, &event);
    QVERIFY(event.isAccepted());
}

inline void dropOnImportPage(const MainWindow &window, const QStringList &paths)
{
    drop(window.findChild<QWidget *>(QStringLiteral("UploadPanel")), paths);
}

/** "NAME|STATUS|BUTTON" of every row of the result page. */
inline QStringList resultRows(const WindowProbe &probe)
{
    QStringList rows;
    for (const ResultRow *row : probe.resultRows()) {
        const auto *button = row->findChild<QPushButton *>();
        rows.append(labelTexts(*row).join(u'|') + u'|' +
                    (button == nullptr ? QString() : button->text()));
    }
    return rows;
}

/** The lines of a comparison, as "PARAMETER|DAMAGED|SAMPLE", red values marked by "!". */
inline QStringList comparisonLines(const QDialog &dialog)
{
    const auto *table = dialog.findChild<QGridLayout *>();
    QStringList lines;
    for (int line = 1; line < table->rowCount(); ++line) {
        QStringList cells;
        for (int column = 0; column < table->columnCount(); ++column) {
            const auto *cell =
                qobject_cast<QLabel *>(table->itemAtPosition(line, column)->widget());
            const bool isRed = cell->styleSheet().contains(QStringLiteral("color:#ff4d55"));
            cells.append(cell->text() + (isRed ? QStringLiteral("!") : QString()));
        }
        lines.append(cells.join(u'|'));
    }
    return lines;
}

} // namespace Journey
