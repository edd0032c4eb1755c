#include "ui/DropPanel.h"

#include "ui/DropAction.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QUrl>

namespace {

QStringList localPaths(const QList<QUrl> &urls)
{
    QStringList paths;
    for (const QUrl &url : urls) {
        if (const QString path = url.toLocalFile(); !path.isEmpty())
            paths.append(path);
    }
    return paths;
}

} // namespace

DropPanel::DropPanel(QWidget *parent) : QFrame(parent)
{
    setObjectName(QStringLiteral("UploadPanel"));
    setAcceptDrops(true);
}

void DropPanel::dragEnterEvent(QDragEnterEvent *event)
{
    if (event->mimeData()->hasUrls())
        acceptAsCopy(event);
}

void DropPanel::dropEvent(QDropEvent *event)
{
    const QStringList paths = localPaths(event->mimeData()->urls());
    if (paths.isEmpty())
        return;
    if (onFilesDropped)
        onFilesDropped(paths);
    else if (onFileDropped)
        onFileDropped(paths.first());
    else
        return;
    acceptAsCopy(event);
}
