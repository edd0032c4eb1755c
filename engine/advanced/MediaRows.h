#pragma once

#include "engine/advanced/MediaWalk.h"

#include <cstdint>

/** Units of a track (packets, or samples of plain sound) between which something lies. */
struct UnitRange
{
    double least = -1e12;
    double most = 1e12;
    bool isKnown = false;

    UnitRange movedBy(double units) const { return {least + units, most + units, isKnown}; }

    /** The only whole multiple in it, or that nearest to its middle; not below 0. */
    std::int64_t multiple(std::int64_t grain) const;

    /** How far the nearest multiple from 0 on is from the range, in multiples; 0: within it. */
    double distance(std::int64_t grain) const;

    /** Where a recording's track begins: with its pictures, unless that is out of the range. */
    double beginning() const;
};

/**
 * A walk's packets in rows: a row is what stands between two gaps, before the first or behind the
 * last one, so row `i` stands behind gap `i - 1`. Rows may be empty.
 */
class MediaRows
{
public:
    /** Both must live as long. */
    MediaRows(const SampleProfile &ofSample, const WalkedMedia &ofWalk)
        : sample(ofSample), walked(ofWalk)
    {
    }

    std::size_t count() const { return walked.gaps.size() + 1; }

    /** The numbers of a row's first packet of a track, and of the one behind its last. */
    std::size_t first(std::size_t track, std::size_t row) const
    {
        return row == 0 ? 0 : walked.gaps[row - 1].packetsBefore[track];
    }
    std::size_t end(std::size_t track, std::size_t row) const
    {
        return row < walked.gaps.size() ? walked.gaps[row].packetsBefore[track]
                                        : walked.packets[track].size();
    }

    /** Units of a packet: the samples of plain sound, otherwise one. */
    std::int64_t unitsOf(std::size_t track, const Packet &packet) const;

    /** How many units of a track last as long as a picture, where all pictures last equally. */
    double unitsPerPicture(std::size_t track) const;

    /**
     * By how many units a row's first packet of a track is later than its first picture is
     * decoded, if the track stands beside the pictures as it does in the sample; pictures last
     * equally long. Not known where there are no pictures beside it.
     */
    UnitRange besidePictures(std::size_t track, std::size_t row) const;

    /** When a row's first packet of a track is there, in its units, by the times of the pictures.
     */
    UnitRange besideTimedPictures(std::size_t track, std::size_t row) const;

private:
    /** @param unitsAt when a picture is decoded, in the track's units */
    template <typename UnitsAt>
    UnitRange beside(std::size_t track, std::size_t row, UnitsAt unitsAt) const;

    const SampleProfile &sample;
    const WalkedMedia &walked;
};
