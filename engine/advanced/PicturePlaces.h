#pragma once

#include "engine/advanced/MediaRows.h"

#include <optional>
#include <vector>

/** Where the pictures of a walk stand among all that were recorded. */
struct PicturePlaces
{
    /** How many are missing before each row (see MediaRows). */
    std::vector<std::int64_t> missing;
    /** By row: the place, in the order of showing, of the picture with an order count of 0 from
     * which the row's first pictures count. */
    std::vector<std::int64_t> base;
};

/**
 * Tells how many pictures are missing in each gap. Several accounts of that are followed through
 * the recording at once, and the one that goes best with all of it is believed:
 *
 * - Order counts, of which only the lowest bits are there, go on behind a gap or have begun anew
 *   with a key picture in it; key pictures mostly come at one distance.
 * - As many pictures are decoded as shown, but for the few that wait for others.
 * - Sound stands beside the pictures as in the sample. Its packets last longer or shorter than
 *   pictures, so most other numbers of pictures would put it elsewhere.
 * - So many bytes are so many pictures, more or less.
 *
 * @param sound the track that is held against the pictures; none where pictures do not last equally
 */
PicturePlaces placePictures(const SampleProfile &sample, const WalkedMedia &walked,
                            std::optional<std::size_t> sound);
