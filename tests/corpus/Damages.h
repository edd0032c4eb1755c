#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <set>
#include <vector>

/** A file after something happened to it, and which of its bytes came through it. */
class DamagedFile
{
public:
    /** Nothing has happened yet. */
    explicit DamagedFile(const QByteArray &original);

    /** The content as it is now. */
    const QByteArray &bytes() const { return content; }

    /** Whether these bytes of the original are all still there, in one piece. */
    bool survives(std::int64_t offset, std::int64_t size) const;

    // What can happen to a file. Offsets are in the file as it was before.

    void cut(qsizetype size);
    /** Other bytes of the same number. */
    void overwrite(qsizetype offset, const QByteArray &with);
    void zero(qsizetype offset, qsizetype size);
    void insert(qsizetype offset, const QByteArray &bytes);
    /** Bytes that stay, but mean nothing without others that are gone. */
    void giveUp(qsizetype offset, qsizetype size) { forget(offset, offset + size); }
    /** A track of which the file tells nothing any more; tracks count from 0. */
    void giveUpTrack(std::size_t number) { lostTracks.insert(number); }
    bool tellsOfTrack(std::size_t number) const { return !lostTracks.contains(number); }

private:
    /** A span of the original, unharmed. */
    struct Span
    {
        std::int64_t from;
        std::int64_t to;
        /** Where it stands now. */
        std::int64_t now;
    };

    void splitAt(qsizetype now);
    void forget(qsizetype from, qsizetype to);

    QByteArray content;
    std::vector<Span> spans;
    std::set<std::size_t> lostTracks;
};

/** Damages by what they leave behind. All are the same on every run. */
namespace Damage {

// Any container.
DamagedFile cutAt(const QByteArray &original, double part);
DamagedFile zeroedHead(const QByteArray &original, qsizetype size);
/** Blocks of one size, at places of a fixed seed behind the first 64 KiB, filled with zeros. */
DamagedFile zeroedBlocks(const QByteArray &original, int count, qsizetype size, unsigned seed);

// MP4 and QuickTime.
/** The index at the end is gone. */
DamagedFile lostIndex(const QByteArray &original);
/** And besides, the file is overwritten with zeros up to so many bytes of the media. */
DamagedFile lostBeginning(const QByteArray &original, qsizetype size);
/** And besides, blocks of one size of the media are overwritten, at places of a fixed seed. */
enum class Fill { Zeros, Noise };
DamagedFile lostIndexAndBlocks(const QByteArray &original, int count, qsizetype size, Fill fill,
                               unsigned seed);
/** The media's length is said to be `size`; 0 is "to the end". */
DamagedFile mediaSize(const QByteArray &original, quint32 size);
/** The index at the end is cut off after a part of it; what it tells of no track is given up. */
DamagedFile cutIndex(const QByteArray &original, double part);
/** Every place in the index is `shift` bytes too far. */
DamagedFile shiftedOffsets(const QByteArray &original, qint32 shift);
/** Bytes stand before the media that the index knows nothing of. */
DamagedFile insertedBeforeMedia(const QByteArray &original, qsizetype size);
/** The `number`th fragment's header is gone, all of it, and with it what it tells of; or the first
 * bytes only. */
DamagedFile lostFragmentHeader(const QByteArray &original, int number, qsizetype bytes = -1);
/** All sample durations are multiplied; 0 makes them zero. */
DamagedFile durations(const QByteArray &original, quint32 factor);

// AVI.
/** No index, and no sizes that a finished file has. */
DamagedFile unfinishedAvi(const QByteArray &original);

// Transport streams.
/** Bytes of a fixed seed stand at a part of the file's length. */
DamagedFile insertedJunk(const QByteArray &original, double part, qsizetype size);

} // namespace Damage
