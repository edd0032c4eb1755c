#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

/**
 * Short texts about a video, for people. Free functions from values to a value: they never fail
 * and may be called from any thread. A value that is not known is unknownText(), which callers
 * compare against; it is never an empty string.
 *
 * The keys are those of the repair service's answer to a metadata request.
 */

/** What stands for a value that is not known: "/". */
QString unknownText();

/**
 * The object that describes the video in a service's answer: its member "video_info" or, where
 * that is no object, "vedio_info". Empty when neither is one: the answer carries no metadata.
 */
QJsonObject videoInfoObject(const QJsonObject &responseData);

/**
 * The first of `keys` whose member is a text that is not blank, as stored, or a number. Numbers
 * have three decimals under keys that contain "rate", otherwise none. `fallback` when there is
 * none.
 */
QString firstMetadataText(const QJsonObject &info, const QStringList &keys,
                          const QString &fallback);

/** The codec: a text as stored, or the name that the service's codec number stands for. */
QString codecText(const QJsonObject &info);

/** "WIDTHxHEIGHT" in pixels, or what the service stores as "resolution". */
QString resolutionText(const QJsonObject &info);

/** Pictures per second; a number with three decimals. */
QString frameRateText(const QJsonObject &info);

/** Bits per second; a number with three decimals. */
QString bitrateText(const QJsonObject &info);

/** Who made the recording device. */
QString manufacturerText(const QJsonObject &info);

/** The recording device's model. */
QString deviceModelText(const QJsonObject &info);

/** "N.NN MB", of 1024 * 1024 bytes each. */
QString sizeText(qint64 bytes);

/** The lower-case suffix of a path's file name with its dot, for instance ".mp4". */
QString formatText(const QString &path);

/**
 * One line about a file: its size now, frame rate, resolution, sound and bitrate, as far as
 * known.
 *
 * @param filePath the file, for its size; nothing is read from it
 */
QString metadataSummary(const QJsonObject &info, const QString &filePath);

/** Text of the page's frame-rate label: "N fps", or empty when it is not known. */
QString frameRateLabelText(const QJsonObject &info);

/** Text of the page's resolution label, empty when it is not known. */
QString resolutionLabelText(const QJsonObject &info);

/** Text of the page's file label; none when the bitrate is not known, which keeps its text. */
std::optional<QString> fileLabelText(const QJsonObject &info, const QString &filePath);
