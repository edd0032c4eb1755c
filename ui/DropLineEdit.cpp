#include "ui/DropLineEdit.h"

#include "ui/DropAction.h"

#include <QDir>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

DropLineEdit::DropLineEdit(const QString &text, QWidget *parent) : QLineEdit(text, parent)
{
    setAcceptDrops(true);
}

void DropLineEdit::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        acceptAsCopy(event);
    else
        QLineEdit::dragEnterEvent(event);
}

void DropLineEdit::dropEvent(QDropEvent *event)
{
    const QList<QUrl> urls = event->mimeData()->urls();
    if (urls.isEmpty()) {
        QLineEdit::dropEvent(event);
        return;
    }
    const QString path = urls.first().toLocalFile();
    setText(QDir::toNativeSeparators(path));
    if (onFileDropped)
        onFileDropped(path);
    acceptAsCopy(event);
}
