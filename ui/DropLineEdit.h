#pragma once

#include <QLineEdit>
#include <QString>

#include <functional>

/**
 * A line edit that takes a dropped file: it shows the path in the system's form. Dropped text goes
 * in as into any line edit. Of several files the first counts; a link that is no local file empties
 * the edit.
 */
class DropLineEdit : public QLineEdit
{
    Q_OBJECT

public:
    explicit DropLineEdit(const QString &text = {}, QWidget *parent = nullptr);

    /** Called with the dropped path, with forward slashes; empty for a link of another kind. */
    std::function<void(const QString &)> onFileDropped;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
};
