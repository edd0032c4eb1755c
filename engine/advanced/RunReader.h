#pragma once

#include "engine/advanced/SampleProfile.h"

#include <cstdint>
#include <vector>

/** What a run of bytes between two pictures was found to be. */
struct RunReading
{
    struct Part
    {
        std::size_t track = 0;
        std::uint64_t offset = 0;
        std::uint32_t size = 0;
    };

    std::vector<Part> parts;
    /** How many of the parts stand before the first bytes that mean nothing. */
    std::size_t partsBefore = 0;
    /** Bytes that mean nothing, and are no padding. */
    std::uint64_t unknown = 0;
    /** Sound of which it cannot be told which track's it is: packets, or samples. */
    std::uint64_t unshared = 0;

    bool isExact() const { return unknown == 0 && unshared == 0; }
};

/** Tells sound, data and padding between pictures apart. */
class RunReader
{
public:
    RunReader(SampleProfile &ofSample, MediaWindow &ofMedia) : sample(ofSample), media(ofMedia) {}

    /** Takes the data that stands before everything else. Returns where it ends. */
    std::uint64_t readLeading(std::uint64_t from, RunReading &found) const;

    /** How much is done for a run that is not what the sample led to expect. */
    enum class Effort {
        /** It is told that it is none. */
        Little,
        /** Sound is looked for in it, which takes long. */
        Much,
    };

    /**
     * Reads the bytes from one place to another.
     *
     * @param isEnded a picture begins there; otherwise something may be missing before it
     */
    RunReading read(std::uint64_t from, std::uint64_t to, bool isEnded, Effort with);

private:
    struct Found
    {
        std::size_t track = 0;
        std::size_t place = 0;
        std::uint32_t size = 0;
    };

    /** A track of data whose packets stand between pictures. */
    bool standsAmongOthers(std::size_t track) const;
    Found nextData(std::size_t from) const;
    void readSound(std::size_t from, std::size_t to);
    std::size_t skipBoxes(std::size_t from, std::size_t to) const;
    void readAac(std::size_t from, std::size_t to);
    bool readAacBesideOthers(std::size_t from, std::size_t to);
    bool readExactAac(std::size_t from, std::size_t to);
    bool readPaddedAac(std::size_t from, std::size_t to);
    void salvageAac(std::size_t from, std::size_t to);
    void readPlain(std::size_t from, std::size_t to);
    std::size_t beginningOfPicture(std::size_t from, std::size_t to) const;
    std::size_t endOfPicture(std::size_t from, std::size_t to) const;
    bool isPlain(std::size_t size) const;
    void readData(std::size_t from, std::size_t to);
    bool isPadding(std::size_t from, std::size_t to) const;

    void addData(std::size_t track, std::size_t place, std::size_t size);
    void addFrames(std::size_t place, const std::vector<std::uint32_t> &sizes, bool isWhole);
    void shareFrames(const std::vector<Found> &frames, bool isWhole);
    void addPlain(std::size_t place, std::size_t size);
    void addUnknown(std::uint64_t size);

    SampleProfile &sample;
    MediaWindow &media;
    std::uint64_t start = 0;
    bool hasEnd = false;
    Effort effort = Effort::Little;
    Bytes bytes;
    RunReading reading;
};
