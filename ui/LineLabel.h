#pragma once

#include <QLabel>

/**
 * A label whose text takes one line, whatever it holds: line breaks are shown as blanks, and where
 * there is no room for the whole the middle is left out and a tool tip has it. So no name makes a
 * row higher than others, or pushes away what stands beside it. text() is always the whole.
 */
class LineLabel : public QLabel
{
    Q_OBJECT

public:
    explicit LineLabel(const QString &text, QWidget *parent = nullptr);

    /** The text with blanks for its line breaks. */
    static QString singleLine(QString text);

    /** A tool tip that shows the text as it is, whatever marks it holds. */
    static QString toolTipFor(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void provideToolTip();
    QString visibleLine() const;
    QSize sizeFor(const QString &shown) const;
};
