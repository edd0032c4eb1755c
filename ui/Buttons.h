#pragma once

#include <QString>

class QLabel;
class QPushButton;

/**
 * Factories for the window's buttons and labels. Each returns a new widget without a parent, for a
 * layout to adopt; every button has the pointing-hand cursor.
 */

/** A step of the title bar's path. */
QPushButton *makeNavButton(const QString &text, bool active);

/** An entry of the side panel. */
QPushButton *makeSideNavButton(const QString &text, bool active);

/** The title bar's menu button. */
QPushButton *makeMenuButton();

/**
 * One of the title bar's window controls.
 *
 * @param accessibleName what a screen reader says for the glyph
 */
QPushButton *makeWindowButton(const QString &glyph, const QString &accessibleName);

/** A button whose look the application style sheet gives by `objectName`. */
QPushButton *makeObjectButton(const QString &text, const QString &objectName);

/** A label on one line, which shows its text as it is, whatever marks it holds. */
QLabel *makeTextLabel(const QString &text, const QString &objectName);

/** A label for details of a file or for a state. */
QLabel *makeMetaLabel(const QString &text);
