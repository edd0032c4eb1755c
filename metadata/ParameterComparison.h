#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>

/** One parameter of two videos, in words. */
struct ComparisonRow
{
    QString parameter;
    /** Of the damaged video; "/" when it is not known. */
    QString damaged;
    /** Of the sample video; "/" when it is not known. */
    QString sample;

    /** The sample's value is known and is not the damaged video's, letter by letter. */
    bool isMismatch() const;

    bool operator==(const ComparisonRow &) const = default;
};

/**
 * What tells whether a sample fits a damaged video, row by row. May be called from any thread.
 *
 * @param damagedInfo the damaged video's metadata; empty when it could not be told
 * @param sampleInfo the same of the sample
 */
QList<ComparisonRow> comparisonRows(const QJsonObject &damagedInfo, const QString &damagedPath,
                                    const QJsonObject &sampleInfo, const QString &samplePath);
