#pragma once

#include <QFrame>
#include <QString>
#include <QStringList>

#include <functional>

/**
 * A panel that takes dropped files. It passes every local path on as it is, folders and files of
 * any kind alike, with forward slashes; which of them are of use is the receiver's business. Links
 * that are not local files are left out. Nothing shows while something is dragged over it.
 *
 * The callbacks run inside the drop, which on some systems is an event loop of its own.
 */
class DropPanel : public QFrame
{
    Q_OBJECT

public:
    explicit DropPanel(QWidget *parent = nullptr);

    /** Called with the first path when onFilesDropped is not set. */
    std::function<void(const QString &)> onFileDropped;

    /** Called with all paths in the order of the drop; there is at least one. */
    std::function<void(const QStringList &)> onFilesDropped;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;
};
