#include "metadata/MetadataText.h"

#include "app/TextPattern.h"

#include <QDir>
#include <QFileInfo>
#include <QHash>

namespace {

const QHash<int, QString> &codecNames()
{
    static const QHash<int, QString> names = {
        {0, unknownText()},           {1, QStringLiteral("h264")}, {2, QStringLiteral("h265")},
        {3, QStringLiteral("mjpeg")}, {4, QStringLiteral("mpeg")},
    };
    return names;
}

bool isFilledText(const QJsonValue &value)
{
    return value.isString() && !value.toString().trimmed().isEmpty();
}

QString fpsText(const QString &frameRate)
{
    return TextPattern::fill(QStringLiteral("%1 fps"), frameRate);
}

} // namespace

QString unknownText()
{
    return QStringLiteral("/");
}

QJsonObject videoInfoObject(const QJsonObject &responseData)
{
    const QJsonValue info = responseData.value(QStringLiteral("video_info"));
    // The misspelt key is wanted: there are services that answer with it.
    return info.isObject() ? info.toObject()
                           : responseData.value(QStringLiteral("vedio_info")).toObject();
}

QString firstMetadataText(const QJsonObject &info, const QStringList &keys, const QString &fallback)
{
    for (const QString &key : keys) {
        const QJsonValue value = info.value(key);
        if (isFilledText(value))
            return value.toString();
        if (value.isDouble()) {
            // Wanted: bitrates, too, have "rate" in their name and show three decimals.
            const int decimals = key.contains(QStringLiteral("rate")) ? 3 : 0;
            return QString::number(value.toDouble(), 'f', decimals);
        }
    }
    return fallback;
}

QString codecText(const QJsonObject &info)
{
    const QJsonValue codec = info.value(QStringLiteral("codec"));
    if (isFilledText(codec))
        return codec.toString();
    const QJsonValue videoCodec = info.value(QStringLiteral("video_codec"));
    if (isFilledText(videoCodec))
        return videoCodec.toString();
    const int number = videoCodec.toInt(-1);
    if (number < 0)
        return unknownText();
    return codecNames().value(number, QString::number(number));
}

QString resolutionText(const QJsonObject &info)
{
    const int width = info.value(QStringLiteral("width")).toInt();
    const int height = info.value(QStringLiteral("height")).toInt();
    if (width > 0 && height > 0)
        return TextPattern::fill(QStringLiteral("%1x%2"), width, height);
    return firstMetadataText(info, {QStringLiteral("resolution")}, unknownText());
}

QString frameRateText(const QJsonObject &info)
{
    return firstMetadataText(
        info, {QStringLiteral("video_frame_rate"), QStringLiteral("frame_rate")}, unknownText());
}

QString bitrateText(const QJsonObject &info)
{
    return firstMetadataText(info, {QStringLiteral("video_avg_bitrate"), QStringLiteral("bitrate")},
                             unknownText());
}

QString manufacturerText(const QJsonObject &info)
{
    return firstMetadataText(info, {QStringLiteral("make"), QStringLiteral("manufacture")},
                             unknownText());
}

QString deviceModelText(const QJsonObject &info)
{
    return firstMetadataText(info, {QStringLiteral("model"), QStringLiteral("device")},
                             unknownText());
}

QString sizeText(qint64 bytes)
{
    const double megabytes = static_cast<double>(bytes) / 1024 / 1024;
    return QString::number(megabytes, 'f', 2) + QStringLiteral(" MB");
}

QString formatText(const QString &path)
{
    const QString suffix = QFileInfo(path).suffix().toLower();
    return suffix.isEmpty() ? unknownText() : QLatin1Char('.') + suffix;
}

QString metadataSummary(const QJsonObject &info, const QString &filePath)
{
    const QString frameRate = frameRateText(info);
    const QString resolution = resolutionText(info);
    const QString bitrate = bitrateText(info);

    QStringList parts = {sizeText(QFileInfo(filePath).size())};
    if (frameRate != unknownText())
        parts.append(fpsText(frameRate));
    if (resolution != unknownText())
        parts.append(resolution);
    // Wanted: a fixed part of the line. Services tell nothing of sound that could be relied on.
    parts.append(QStringLiteral("No audio"));
    if (bitrate != unknownText())
        parts.append(TextPattern::fill(QStringLiteral("Bitrate: %1"), bitrate));
    return parts.join(QStringLiteral("    "));
}

QString frameRateLabelText(const QJsonObject &info)
{
    const QString frameRate = frameRateText(info);
    return frameRate == unknownText() ? QString() : fpsText(frameRate);
}

QString resolutionLabelText(const QJsonObject &info)
{
    const QString resolution = resolutionText(info);
    return resolution == unknownText() ? QString() : resolution;
}

std::optional<QString> fileLabelText(const QJsonObject &info, const QString &filePath)
{
    const QString bitrate = bitrateText(info);
    if (bitrate == unknownText())
        return {};
    return TextPattern::fill(QStringLiteral("%1    Bitrate: %2"),
                             QDir::toNativeSeparators(QFileInfo(filePath).absoluteFilePath()),
                             bitrate);
}
