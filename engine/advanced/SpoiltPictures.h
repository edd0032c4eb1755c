#pragma once

#include "engine/advanced/SampleProfile.h"

#include <cstdint>
#include <vector>

/**
 * Tells pictures that begin well and were overwritten further on with something that is no long run
 * of zeros: only decoding them tells. It costs as much as decoding all since the last key picture,
 * so it is for those few pictures before which nothing is wrong and behind which something is. For
 * one thread.
 */
class SpoiltPictures
{
public:
    /** Both must live as long. */
    SpoiltPictures(const SampleProfile &ofSample, const SourceFile &damaged);

    /**
     * The last of these pictures does not decode, though all that it needs does. Also false where
     * that cannot be told, and when enough has been decoded.
     */
    bool isLastSpoilt(const std::vector<Packet> &pictures);

private:
    using Pictures = std::vector<Packet>;

    struct Trial
    {
        bool isSound = false;
        /** Decoders leave out pictures that need others than those that were decoded. */
        std::ptrdiff_t shown = 0;
        std::uint64_t look = 0;
    };

    Trial decode(Pictures::const_iterator from, Pictures::const_iterator to, bool hasOtherEnd);

    const SampleProfile &sample;
    const SourceFile &source;
    /** Told when it is first needed. */
    enum class Ending { Unknown, Exact, Padded } ending = Ending::Unknown;
    std::uint64_t bytesLeft;
};
