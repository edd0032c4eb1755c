#include "metadata/SupportedFormats.h"

#include "app/TextPattern.h"

#include <QFileInfo>

const QStringList &supportedExtensions()
{
    static const QStringList extensions =
        QStringLiteral("mp4 mov avi mkv mpg wmv 3gp rsv mts ts dat flv m4v webm m2ts swf mpeg mxf "
                       "rmvb insv 3g2 rm klv aep")
            .split(QLatin1Char(' '));
    return extensions;
}

bool isSupportedFormat(const QString &path)
{
    return supportedExtensions().contains(QFileInfo(path).suffix().toLower());
}

QStringList unsupportedFileNames(const QStringList &paths)
{
    QStringList names;
    for (const QString &path : paths) {
        if (!isSupportedFormat(path))
            names.append(QFileInfo(path).fileName());
    }
    return names;
}

QString importFilter()
{
    return TextPattern::fill(QStringLiteral("Video files (*.%1);;All files (*.*)"),
                             supportedExtensions().join(QStringLiteral(" *.")));
}

QString sampleFilter()
{
    // A list of its own, on purpose: a sample must be playable, which the rarer containers among
    // the damaged seldom are, and one container is common among samples only.
    return QStringLiteral("Video files (*.mp4 *.mov *.m4v *.3gp *.3g2 *.insv *.wmv *.asf *.avi "
                          "*.mkv *.flv *.mts *.m2ts *.mpeg *.mpg);;All files (*.*)");
}
