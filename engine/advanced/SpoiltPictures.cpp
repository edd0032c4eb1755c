#include "engine/advanced/SpoiltPictures.h"

#include "engine/advanced/TrialDecoder.h"

#include <algorithm>
#include <iterator>

namespace {

// In one file; with more damage than that, a few more pictures that are not whole do not matter.
constexpr std::uint64_t mostDecoded = 512ULL << 20U;
// From a key picture to the one in question.
constexpr std::ptrdiff_t mostPictures = 600;
constexpr std::uint64_t mostBytes = 64ULL << 20U;

} // namespace

SpoiltPictures::SpoiltPictures(const SampleProfile &ofSample, const SourceFile &damaged)
    : sample(ofSample), source(damaged), bytesLeft(mostDecoded)
{
}

SpoiltPictures::Trial SpoiltPictures::decode(Pictures::const_iterator from,
                                             Pictures::const_iterator to, bool hasOtherEnd)
{
    TrialDecoder decoder(*streamOf(sample, sample.video)->codecpar);
    for (auto picture = from; picture != to; ++picture) {
        const Bytes bytes = source.copy(picture->offset, picture->size);
        bytesLeft -= std::min<std::uint64_t>(bytesLeft, bytes.size());
        decoder.decode(hasOtherEnd && std::next(picture) == to ? withOtherEnd(bytes) : bytes);
    }
    const bool isSound = decoder.finish();
    return {.isSound = isSound, .shown = decoder.shown(), .look = decoder.hash()};
}

bool SpoiltPictures::isLastSpoilt(const std::vector<Packet> &pictures)
{
    if (pictures.empty() || pictures.back().isLost != 0 || bytesLeft == 0 ||
        sample.recording.tracks[sample.video].nalLengthSize == 0)
        return false;
    const auto isKey = [](const Packet &packet) { return packet.isKey != 0; };
    const auto isLost = [](const Packet &packet) { return packet.isLost != 0; };
    const auto key = std::find_if(pictures.rbegin(), pictures.rend(), isKey);
    if (key == pictures.rend())
        return false;
    const auto from = std::prev(key.base());
    std::uint64_t bytes = 0;
    for (auto picture = from; picture != pictures.end(); ++picture)
        bytes += picture->size;
    if (pictures.end() - from > mostPictures || bytes > mostBytes ||
        std::any_of(from, pictures.end(), isLost))
        return false;
    const Trial trial = decode(from, pictures.end(), false);
    const auto last = std::prev(pictures.end());
    // It may be for one before it.
    if (!trial.isSound)
        return from == last || decode(from, last, false).isSound;
    if (ending == Ending::Unknown)
        ending = samplePicturesEndExactly(sample) ? Ending::Exact : Ending::Padded;
    // Where noise has taken the decoder off the way, it has ended before the picture does.
    if (ending == Ending::Padded)
        return false;
    const bool isShown =
        trial.shown == pictures.end() - from || decode(from, last, false).shown < trial.shown;
    if (!isShown)
        return false;
    return decode(from, pictures.end(), true).look == trial.look;
}
