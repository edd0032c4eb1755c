#pragma once

#include "engine/advanced/SampleProfile.h"

#include <array>
#include <cstdint>
#include <optional>
#include <stop_token>
#include <utility>

/**
 * Finds the pictures in media that is walked from its beginning to its end. Remembers the places
 * that were looked at last: each is asked for several times before the walk is past it. For one
 * thread.
 */
class PictureFinder
{
public:
    /**
     * Both must live as long.
     *
     * @param whenToStop when it is asked for, nothing is found any more
     */
    PictureFinder(const SampleProfile &ofSample, MediaWindow &ofMedia,
                  std::stop_token whenToStop = {})
        : sample(ofSample), media(ofMedia), stop(std::move(whenToStop))
    {
    }

    /** The picture at a place, if there is one. */
    std::optional<FoundPicture> at(std::uint64_t place);

    /** The next place at or after `from` where a picture certainly begins. */
    std::optional<std::uint64_t> next(std::uint64_t from);

    /**
     * The first place of a span where a whole picture seems to begin, whatever comes behind it.
     * What stands before it has to tell whether one does.
     */
    std::optional<std::uint64_t> likely(std::uint64_t from, std::uint64_t to);

    /** Other parameters hold: what was found may be something else. */
    void forget();

private:
    struct Known
    {
        std::uint64_t place = 0;
        bool isSet = false;
        std::optional<FoundPicture> picture = {};
    };

    /** The first place that looks like a picture's beginning. */
    std::optional<std::uint64_t> firstIn(std::uint64_t from, std::uint64_t to);
    /**
     * Bytes in the middle of a picture may look like the beginning of a longer one, whose end is
     * then somewhere. Longer than the sample's, and with whole pictures in it, it is none.
     */
    bool holdsPictures(std::uint64_t place, const FoundPicture &picture);
    bool isCertain(std::uint64_t place, const FoundPicture &picture);

    const SampleProfile &sample;
    MediaWindow &media;
    std::stop_token stop;
    std::array<Known, 4> known = {};
    std::size_t oldest = 0;
    /** The last search that found something: from where, and where. */
    std::uint64_t searchedFrom = 0;
    std::optional<std::uint64_t> found;
};
