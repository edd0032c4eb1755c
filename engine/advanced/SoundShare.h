#pragma once

#include <cstdint>
#include <optional>
#include <vector>

/**
 * How the sound between pictures is shared out among several tracks whose packets look alike:
 * learned from the order in which the sample's packets stand.
 */
class SoundShare
{
public:
    /** So many units (packets, or samples of plain sound) of one track, one after another. */
    struct Part
    {
        std::size_t track = 0;
        std::uint64_t units = 0;

        bool operator==(const Part &) const = default;
    };
    using Parts = std::vector<Part>;

    /**
     * @param tracks which tracks there are, in their order
     * @param runs what stands between pictures, in the order of the file
     */
    SoundShare(std::vector<std::size_t> tracks, const std::vector<Parts> &runs);

    /** Whose sound is whose can be told. */
    bool isClear() const { return kind != Kind::Unclear; }
    std::size_t trackCount() const { return tracks.size(); }

    /**
     * Shares out a run; none when it cannot be told.
     *
     * @param isWhole nothing is missing of the run
     */
    std::optional<Parts> share(std::uint64_t units, bool isWhole) const;

private:
    enum class Kind { Single, Alternating, Even, Unclear };

    bool isAlternating(const std::vector<Parts> &runs);
    bool isEven(const std::vector<Parts> &runs) const;
    Parts turnsOf(std::uint64_t units) const;

    std::vector<std::size_t> tracks;
    Kind kind = Kind::Unclear;
    /** Of each track, before the next one's turn. */
    std::uint64_t unitsPerTurn = 0;
};
