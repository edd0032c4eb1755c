#include "engine/advanced/PictureFinder.h"

#include <algorithm>

namespace {

constexpr std::size_t searchStep = 65536;

// Runs between pictures may be so much longer than the sample's.
constexpr std::uint64_t moreOfRun = 65536;

} // namespace

void PictureFinder::forget()
{
    known = {};
    found.reset();
}

std::optional<FoundPicture> PictureFinder::at(std::uint64_t place)
{
    for (const Known &one : known) {
        if (one.isSet && one.place == place)
            return one.picture;
    }
    Known &entry = known[oldest];
    oldest = (oldest + 1) % known.size();
    entry = {.place = place, .isSet = true, .picture = sample.pictures->pictureAt(media, place)};
    return entry.picture;
}

std::optional<std::uint64_t> PictureFinder::firstIn(std::uint64_t from, std::uint64_t to)
{
    if (found && searchedFrom <= from && from <= *found)
        return *found < to ? found : std::nullopt;
    constexpr std::size_t startSize = VideoRecogniser::startSize;
    for (std::uint64_t place = from; place < to && !stop.stop_requested();) {
        const ByteView bytes = media.view(place, searchStep + startSize);
        if (bytes.size() < startSize)
            return std::nullopt;
        const auto count = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size() - startSize + 1, to - place));
        const std::size_t start = sample.pictures->findStart(bytes.data(), count);
        place += start;
        if (start == count)
            continue;
        if (at(place)) {
            searchedFrom = from;
            found = place;
            return place;
        }
        ++place;
    }
    return std::nullopt;
}

bool PictureFinder::holdsPictures(std::uint64_t place, const FoundPicture &picture)
{
    const std::uint64_t usual = sample.tracks[sample.video].largest;
    if (picture.size <= usual)
        return false;
    // The first that is whole begins within so many bytes, and the next behind it.
    const std::uint64_t to =
        std::min(place + picture.size, place + 2 * (usual + sample.largestRun) + moreOfRun);
    for (auto inner = firstIn(place + 1, to); inner; inner = firstIn(*inner + 1, to)) {
        const FoundPicture one = *at(*inner);
        const std::uint64_t end = *inner + one.size;
        if (one.isComplete && one.size <= usual && firstIn(end, end + 2 * sample.largestRun + 1))
            return true;
    }
    return false;
}

bool PictureFinder::isCertain(std::uint64_t place, const FoundPicture &picture)
{
    if (!picture.isComplete || holdsPictures(place, picture))
        return false;
    const std::uint64_t end = place + picture.size;
    if (sample.pictures->hasMarks() || end >= media.end() || at(end))
        return true;
    // Sound follows, and then the next picture.
    const std::uint64_t reach = end + 2 * sample.largestRun + moreOfRun;
    return reach >= media.end() || firstIn(end, reach).has_value();
}

std::optional<std::uint64_t> PictureFinder::next(std::uint64_t from)
{
    for (auto place = firstIn(from, media.end()); place; place = firstIn(from, media.end())) {
        // What follows is searched as well, and takes the place of what was found here.
        if (isCertain(*place, *at(*place)))
            return place;
        from = *place + 1;
    }
    return std::nullopt;
}

std::optional<std::uint64_t> PictureFinder::likely(std::uint64_t from, std::uint64_t to)
{
    for (auto place = firstIn(from, to); place; place = firstIn(*place + 1, to)) {
        const FoundPicture picture = *at(*place);
        if (picture.isComplete && !holdsPictures(*place, picture))
            return place;
    }
    return std::nullopt;
}
