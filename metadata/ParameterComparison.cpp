#include "metadata/ParameterComparison.h"

#include "metadata/MetadataText.h"

bool ComparisonRow::isMismatch() const
{
    return sample != damaged && sample != unknownText();
}

QList<ComparisonRow> comparisonRows(const QJsonObject &damagedInfo, const QString &damagedPath,
                                    const QJsonObject &sampleInfo, const QString &samplePath)
{
    const auto row = [&](const QString &parameter, QString (*text)(const QJsonObject &)) {
        return ComparisonRow{parameter, text(damagedInfo), text(sampleInfo)};
    };
    return {{QStringLiteral("Format"), formatText(damagedPath), formatText(samplePath)},
            row(QStringLiteral("Codec"), codecText),
            row(QStringLiteral("Manufacturer"), manufacturerText),
            row(QStringLiteral("Device"), deviceModelText),
            row(QStringLiteral("Bitrate"), bitrateText),
            row(QStringLiteral("Frame Rate"), frameRateText),
            row(QStringLiteral("Resolution"), resolutionText)};
}
