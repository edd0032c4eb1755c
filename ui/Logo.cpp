#include "ui/Logo.h"

#include <QDir>
#include <QEvent>
#include <QFileInfo>

QString findLogoPath(const QString &applicationFolder)
{
    const QStringList candidates = {
        QStringLiteral("Vellumix-logo.png"),
        QStringLiteral("../../../Vellumix-logo.png"),
        QStringLiteral("../../../../Vellumix-logo.png"),
    };
    const QDir folder(applicationFolder);
    for (const QString &candidate : candidates) {
        QString path = QDir::cleanPath(folder.absoluteFilePath(candidate));
        if (QFileInfo::exists(path))
            return path;
    }
    return {};
}

LogoLabel::LogoLabel(const QString &path, QWidget *parent) : QLabel(parent)
{
    setFixedSize(172, 42);
    setAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    if (!path.isEmpty())
        picture.load(path);
    fitPicture();
}

bool LogoLabel::event(QEvent *event)
{
    // Comes also when the window is moved to a screen of another scale.
    if (event->type() == QEvent::ScreenChangeInternal)
        fitPicture();
    return QLabel::event(event);
}

void LogoLabel::fitPicture()
{
    if (picture.isNull())
        return;
    const qreal ratio = devicePixelRatioF();
    QPixmap fitted = picture.scaled(size() * ratio, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    fitted.setDevicePixelRatio(ratio);
    setPixmap(fitted);
}
