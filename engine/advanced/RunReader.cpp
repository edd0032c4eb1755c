#include "engine/advanced/RunReader.h"

#include "engine/iso/Box.h"

#include <algorithm>
#include <array>

namespace {

// Of a longer run, most is what was lost: its beginning and end are looked at.
constexpr std::uint64_t longestRun = 8U << 20U;
// How far before a picture sound is searched for in what means nothing.
constexpr std::size_t longestSearch = 65536;

constexpr std::array boxesInMedia = {fourCc("free"), fourCc("wide"), fourCc("skip"),
                                     fourCc("mdat"), fourCc("moof"), fourCc("styp"),
                                     fourCc("sidx"), fourCc("mfra"), fourCc("uuid")};

} // namespace

std::uint64_t RunReader::readLeading(std::uint64_t from, RunReading &found) const
{
    std::uint64_t place = from;
    for (const std::size_t track : sample.leading) {
        const std::uint32_t size = sample.tracks[track].framing.fixed();
        found.parts.push_back({track, place, size});
        place += size;
    }
    found.partsBefore = found.parts.size();
    // They are there when a picture or sound follows.
    if (place > from && sample.pictures->pictureAt(media, place))
        return place;
    found = {};
    return from;
}

RunReading RunReader::read(std::uint64_t from, std::uint64_t to, bool isEnded, Effort with)
{
    reading = {};
    effort = with;
    start = from;
    hasEnd = isEnded;
    if (to - from > longestRun) {
        addUnknown(to - from - longestRun);
        start = to - longestRun;
    }
    const ByteView view = media.view(start, static_cast<std::size_t>(to - start));
    bytes.assign(view.begin(), view.end());
    for (std::size_t place = 0; place < bytes.size();) {
        const Found data = nextData(place);
        readSound(place, data.place);
        if (data.size > 0)
            addData(data.track, data.place, data.size);
        place = data.place + data.size;
    }
    if (reading.unknown == 0)
        reading.partsBefore = reading.parts.size();
    return std::move(reading);
}

bool RunReader::standsAmongOthers(std::size_t track) const
{
    return sample.tracks[track].coding == Coding::Data && !sample.tracks[track].isUntold &&
           std::find(sample.leading.begin(), sample.leading.end(), track) == sample.leading.end();
}

RunReader::Found RunReader::nextData(std::size_t from) const
{
    const ByteView all = bytes;
    for (std::size_t track = 0; track < sample.tracks.size(); ++track) {
        const TrackProfile &profile = sample.tracks[track];
        if (profile.coding != Coding::Data || !profile.framing.isDistinct())
            continue;
        for (std::size_t place = from; place < bytes.size(); ++place) {
            const std::uint32_t size = profile.framing.sizeAt(all.subspan(place));
            if (size > 0 && size <= bytes.size() - place)
                return {track, place, size};
        }
    }
    return {0, bytes.size(), 0};
}

std::size_t RunReader::skipBoxes(std::size_t from, std::size_t to) const
{
    constexpr std::size_t header = 8;
    constexpr std::size_t longHeader = 16;
    while (to - from >= header) {
        const FourCc type = be32(&bytes[from + 4]);
        const std::uint32_t size = be32(&bytes[from]);
        if (std::find(boxesInMedia.begin(), boxesInMedia.end(), type) == boxesInMedia.end())
            break;
        // Media is what is wanted: only its header goes.
        const std::size_t step = type == fourCc("mdat") ? (size == 1 ? longHeader : header) : size;
        if (step < header || step > to - from)
            break;
        from += step;
    }
    return from;
}

bool RunReader::isPadding(std::size_t from, std::size_t to) const
{
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                       bytes.begin() + static_cast<std::ptrdiff_t>(to),
                       [](std::uint8_t byte) { return byte == 0; });
}

void RunReader::readSound(std::size_t from, std::size_t to)
{
    from = skipBoxes(from, to);
    if (from == to)
        return;
    if (sample.aac)
        readAac(from, to);
    else if (sample.plainFrame > 0)
        readPlain(from, to);
    else
        readData(from, to);
}

bool RunReader::readExactAac(std::size_t from, std::size_t to)
{
    if (from >= to || !sample.aac->mayBegin(bytes[from]))
        return false;
    const auto chain = sample.aac->chainFrom(ByteView(bytes).subspan(from, to - from));
    if (!chain.isExact)
        return false;
    addFrames(from, chain.sizes, hasEnd);
    return true;
}

bool RunReader::readAacBesideOthers(std::size_t from, std::size_t to)
{
    for (std::size_t track = 0; track < sample.tracks.size(); ++track) {
        const TrackProfile &profile = sample.tracks[track];
        const std::uint32_t size = profile.framing.fixed();
        if (!standsAmongOthers(track) || size == 0 || size > to - from)
            continue;
        if (size == to - from) {
            addData(track, from, size);
            return true;
        }
        if (readExactAac(from, to - size)) {
            addData(track, to - size, size);
            return true;
        }
        const std::size_t before = reading.parts.size();
        if (readExactAac(from + size, to)) {
            addData(track, from, size);
            std::rotate(reading.parts.begin() + static_cast<std::ptrdiff_t>(before),
                        reading.parts.end() - 1, reading.parts.end());
            return true;
        }
    }
    return false;
}

/** Frames in pieces that begin at certain places, with zeros before these. */
bool RunReader::readPaddedAac(std::size_t from, std::size_t to)
{
    if (!sample.hasPadding)
        return false;
    std::vector<Found> frames;
    const auto takePiece = [&](std::size_t end) {
        // The last byte of a frame holds a mark: it is no zero.
        while (end > from && bytes[end - 1] == 0)
            --end;
        while (from < end && bytes[from] == 0)
            ++from;
        if (from == end || !sample.aac->mayBegin(bytes[from]))
            return from == end;
        const auto chain = sample.aac->chainFrom(ByteView(bytes).subspan(from, end - from));
        if (!chain.isExact)
            return false;
        for (const std::uint32_t size : chain.sizes) {
            frames.push_back({.place = from, .size = size});
            from += size;
        }
        return true;
    };
    const std::uint64_t step = sample.alignment;
    for (std::uint64_t border = (start + from) / step * step + step; border < start + to;
         border += step) {
        const auto end = static_cast<std::size_t>(border - start);
        if (step > 1 && bytes[end - 1] == 0 && bytes[end] != 0)
            takePiece(end);
    }
    if (!takePiece(to) || frames.empty())
        return false;
    shareFrames(frames, hasEnd);
    return true;
}

void RunReader::readAac(std::size_t from, std::size_t to)
{
    if (bytes[to - 1] == 0 && readPaddedAac(from, to))
        return;
    if (readExactAac(from, to) || readPaddedAac(from, to) || readAacBesideOthers(from, to))
        return;
    if (effort == Effort::Much)
        salvageAac(from, to);
    else
        addUnknown(to - from);
}

void RunReader::salvageAac(std::size_t from, std::size_t to)
{
    const ByteView all = bytes;
    if (sample.aac->mayBegin(bytes[from])) {
        const auto chain = sample.aac->longestFrom(all.subspan(from, to - from));
        addFrames(from, chain.sizes, false);
        for (const std::uint32_t size : chain.sizes)
            from += size;
    }
    if (!hasEnd || to != bytes.size()) {
        readData(from, to);
        return;
    }
    const std::size_t searched = std::max(from, to - std::min(to, longestSearch));
    AacFrames::Chain chain;
    const auto found = sample.aac->startOfChainTo(all.subspan(searched, to - searched), chain);
    const std::size_t begin = found ? searched + *found : to;
    readData(from, begin);
    if (found)
        addFrames(begin, chain.sizes, true);
}

bool RunReader::isPlain(std::size_t size) const
{
    return size % sample.plainGrain == 0 && size <= 2 * sample.largestRun;
}

/** Where a picture begins of which the rest is missing; `to` when there is none. */
std::size_t RunReader::beginningOfPicture(std::size_t from, std::size_t to) const
{
    constexpr std::size_t startSize = VideoRecogniser::startSize;
    const auto grain = static_cast<std::size_t>(sample.plainGrain);
    const std::size_t last = std::min<std::size_t>(to - from, 2 * sample.largestRun + startSize);
    for (std::size_t place = from; place + startSize <= from + last; place += grain) {
        if (sample.pictures->isBegun(ByteView(bytes).subspan(place)))
            return place;
    }
    return to;
}

/**
 * Where a picture has ended of which the rest is missing: sound stands between pictures, whatever
 * is lost further ahead; `to` when there is none.
 */
std::size_t RunReader::endOfPicture(std::size_t from, std::size_t to) const
{
    const auto least = static_cast<std::size_t>(sample.leastPlain);
    const auto grain = static_cast<std::size_t>(sample.plainGrain);
    const std::size_t most = std::min<std::size_t>(to - from, 2 * sample.largestRun);
    for (std::size_t size = least; size < most; size += grain) {
        if (sample.pictures->isEnded(ByteView(bytes).subspan(from, to - size - from)))
            return to - size;
    }
    return least < to - from ? to - least : to;
}

void RunReader::readPlain(std::size_t from, std::size_t to)
{
    if (hasEnd && isPlain(to - from)) {
        addPlain(from, to - from);
        return;
    }
    for (std::size_t track = 0; track < sample.tracks.size(); ++track) {
        const TrackProfile &profile = sample.tracks[track];
        const std::uint32_t size = profile.framing.fixed();
        if (!hasEnd || !standsAmongOthers(track) || size == 0 || size > to - from ||
            !isPlain(to - from - size))
            continue;
        // Recorders write such data behind the sound.
        addPlain(from, to - from - size);
        addData(track, to - size, size);
        return;
    }
    const std::size_t begun = beginningOfPicture(from, to);
    if (begun < to || !hasEnd) {
        const std::size_t whole = (begun - from) - (begun - from) % sample.plainFrame;
        if (whole <= 2 * sample.largestRun) {
            addPlain(from, whole);
            from += whole;
        }
    }
    const std::size_t end =
        hasEnd && to == bytes.size() && !sample.hasPadding ? endOfPicture(from, to) : to;
    readData(from, end);
    addPlain(end, to - end);
}

void RunReader::readData(std::size_t from, std::size_t to)
{
    if (from >= to)
        return;
    if (isPadding(from, to) && sample.hasPadding)
        return;
    for (std::size_t track = 0; track < sample.tracks.size(); ++track) {
        const DataFraming &framing = sample.tracks[track].framing;
        if (!standsAmongOthers(track) || framing.isDistinct())
            continue;
        const std::size_t size = framing.fixed() > 0 ? framing.fixed() : to - from;
        // Packets of one size may be several; at the end of all, the last may not be whole.
        const bool isCutOff = !hasEnd && to == bytes.size() && to - from <= 2 * sample.largestRun;
        if (!framing.mayHaveSize(size) || ((to - from) % size != 0 && !isCutOff))
            continue;
        for (; to - from >= size; from += size)
            addData(track, from, size);
        break;
    }
    if (from == to)
        return;
    if (sample.hasUntoldSound() && to - from <= 2 * sample.largestRun)
        return;
    addUnknown(to - from);
}

void RunReader::addData(std::size_t track, std::size_t place, std::size_t size)
{
    reading.parts.push_back({track, start + place, static_cast<std::uint32_t>(size)});
}

void RunReader::addFrames(std::size_t place, const std::vector<std::uint32_t> &sizes, bool isWhole)
{
    std::vector<Found> frames;
    for (const std::uint32_t size : sizes) {
        frames.push_back({.place = place, .size = size});
        place += size;
    }
    shareFrames(frames, isWhole);
}

void RunReader::shareFrames(const std::vector<Found> &frames, bool isWhole)
{
    if (frames.empty())
        return;
    const auto shares = sample.share->share(frames.size(), isWhole);
    if (!shares) {
        reading.unshared += frames.size();
        return;
    }
    auto frame = frames.begin();
    for (const SoundShare::Part &share : *shares) {
        for (std::uint64_t i = 0; i < share.units; ++i, ++frame)
            addData(share.track, frame->place, frame->size);
    }
}

void RunReader::addPlain(std::size_t place, std::size_t size)
{
    if (size == 0)
        return;
    // A track's sample need not be as long as another's.
    const bool isOne = sample.share->trackCount() == 1;
    const std::uint64_t units =
        isOne ? size / sample.plainFrame : size / sample.plainFrame * sample.share->trackCount();
    const auto shares = sample.share->share(units, hasEnd);
    if (!shares) {
        reading.unshared += units;
        return;
    }
    for (const SoundShare::Part &share : *shares) {
        const std::size_t part = static_cast<std::size_t>(share.units) *
                                 sample.recording.tracks[share.track].uniformSize;
        addData(share.track, place, part);
        place += part;
    }
}

void RunReader::addUnknown(std::uint64_t size)
{
    if (reading.unknown == 0)
        reading.partsBefore = reading.parts.size();
    reading.unknown += size;
}
