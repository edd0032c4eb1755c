#pragma once

#include <QString>
#include <QStringList>

/**
 * What FFmpeg's libraries read of a file. `stream` is a stream specifier as FFmpeg's
 * programs take it ("v:0", "a", "2"). A file that does not open ends the program.
 */
namespace Footage {

/** For each stream its codec and kind, the size of its pictures, its sample rate and channels. */
QStringList streams(const QString &path);

/** A hash of each packet's bytes of a stream, in order. */
QStringList packetHashes(const QString &path, const QString &stream);

/** "pts,dts" of each packet of a stream in milliseconds, counted from the first packet's pts. */
QStringList packetTimes(const QString &path, const QString &stream);

/** The decode times alone. */
QStringList decodeTimes(const QString &path, const QString &stream);

/** Number of packets of a stream that end at or before the byte offset `end` of the file. */
int packetsBefore(const QString &path, const QString &stream, qint64 end);

} // namespace Footage
