#include "engine/advanced/SampleFit.h"

#include "engine/EngineError.h"
#include "engine/advanced/PictureFinder.h"
#include "engine/advanced/TrialDecoder.h"
#include "engine/log/LogLine.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

// Key pictures that are tried, and how many pictures behind each. Damage may have hit most of the
// former, and one of the latter; then fewer have to do. With wrong parameters, the first goes
// wrong.
constexpr int keysToTry = 12;
constexpr int picturesBehindKey = 6;
constexpr int fewestBehindKey = 2;
// As much of the media is searched for them.
constexpr std::uint64_t mostSearched = 256ULL << 20U;

EngineError misfit(const std::string &what)
{
    logLine(TarnLogWarn, "the sample does not fit: " + what);
    return {ErrorCode::SampleDoesNotFit,
            "The sample does not fit the damaged video: " + what +
                " Choose a file that the same device recorded with the same settings."};
}

const char *nameOf(const IsoTrack &video)
{
    if (video.nalLengthSize > 0)
        return video.isHevc ? "HEVC" : "H.264";
    return video.codecType == be32(reinterpret_cast<const std::uint8_t *>("jpeg")) ? "motion JPEG"
                                                                                   : "intra video";
}

/** Units with a length before each lead from one to the next, of which the first is one of these.
 */
bool startsWithUnit(const SourceFile &file, std::uint64_t place, bool isHevc)
{
    constexpr unsigned width = 4;
    constexpr std::uint64_t largest = 8U << 20U;
    constexpr std::array<std::uint8_t, 6> avc = {0x09, 0x06, 0x67, 0x65, 0x27, 0x25};
    constexpr std::array<std::uint8_t, 7> hevc = {0x46, 0x4e, 0x40, 0x26, 0x28, 0x2a, 0x42};
    int units = 0;
    for (; units < 3; ++units) {
        const ByteView bytes = file.view(place, width + 2);
        if (bytes.size() < width + 2)
            break;
        const std::uint64_t size = be32(bytes.data());
        const bool isFirst = units == 0;
        const std::uint8_t header = bytes[width];
        const bool isKnown =
            isHevc ? bytes[width + 1] == 1 &&
                         (!isFirst || std::find(hevc.begin(), hevc.end(), header) != hevc.end())
                   : !isFirst || std::find(avc.begin(), avc.end(), header) != avc.end();
        if (size < 2 || size > largest || !isKnown || !PacketContent::isNalHeader(header, isHevc))
            break;
        place += width + size;
    }
    return units > 0;
}

/** What the media looks like at its beginning; empty when it looks like nothing known. */
std::string codecAt(const SourceFile &file, std::uint64_t place)
{
    const ByteView bytes = file.view(place, 8);
    if (bytes.size() < 8)
        return {};
    if (be24(bytes.data()) == 0xffd8ff)
        return "motion JPEG";
    if (startsWithUnit(file, place, true))
        return "HEVC";
    if (startsWithUnit(file, place, false))
        return "H.264";
    return {};
}

/**
 * Decodes a key picture and at most `behind` of those behind it. Returns where it stopped; sets
 * whether all was well.
 */
std::uint64_t tryKey(const SampleProfile &sample, MediaWindow &media, PictureFinder &pictures,
                     std::uint64_t place, int behind, bool &isGood)
{
    TrialDecoder decoder(*streamOf(sample, sample.video)->codecpar);
    for (int i = 0; i <= behind; ++i) {
        const auto picture = pictures.at(place);
        if (!picture || !picture->isComplete || (i > 0 && picture->isKey))
            break;
        decoder.decode(media.view(place, static_cast<std::size_t>(picture->size)));
        place += picture->size;
        const auto next = pictures.next(place);
        // A picture behind a gap may need one that is not there.
        if (!next || *next - place > 2 * sample.largestRun)
            break;
        place = *next;
    }
    isGood = decoder.finish();
    return place;
}

std::string rateText(double rate)
{
    std::array<char, 32> text = {};
    std::snprintf(text.data(), text.size(), "%.4g", rate);
    return text.data();
}

double secondsOf(const SampleProfile &sample, const WalkedMedia &walked, std::size_t track)
{
    const IsoTrack &description = sample.recording.tracks[track];
    std::int64_t units = 0;
    for (const Packet &packet : walked.packets[track])
        units += description.uniformSize > 0 ? packet.size / description.uniformSize : 1;
    return static_cast<double>(units * sample.tracks[track].duration) /
           static_cast<double>(description.timescale);
}

/** Picture and sound of one recording last equally long. */
void requireEqualLength(const SampleProfile &sample, const WalkedMedia &walked)
{
    constexpr double tolerated = 0.04;
    constexpr double leastSeconds = 2;
    const double video = secondsOf(sample, walked, sample.video);
    if (sample.tracks[sample.video].isVariable || !walked.gaps.empty() || video < leastSeconds)
        return;
    for (std::size_t i = 0; i < sample.tracks.size(); ++i) {
        const Coding coding = sample.tracks[i].coding;
        const double sound = secondsOf(sample, walked, i);
        if ((coding != Coding::Aac && coding != Coding::Plain) || sound == 0 ||
            std::abs(sound - video) <= std::max(tolerated * video, leastSeconds / 2))
            continue;
        if (sample.hasUntoldSound())
            throw EngineError(ErrorCode::NotAvailable,
                              "The recording has sound of kinds that recovery cannot tell apart "
                              "yet.");
        const IsoTrack &track = sample.recording.tracks[sample.video];
        const double rate = static_cast<double>(track.timescale) /
                            static_cast<double>(sample.tracks[sample.video].duration);
        throw misfit("with " + rateText(rate) +
                     " pictures a second as in the sample, its picture and its sound would last "
                     "differently long (" +
                     rateText(video) + " and " + rateText(sound) + " seconds).");
    }
}

} // namespace

void requireFittingPictures(const SampleProfile &sample, const SourceFile &damaged,
                            std::uint64_t from, std::uint64_t to)
{
    MediaWindow media(damaged);
    media.setEnd(std::min(to, from + mostSearched));
    const std::string ofSample = nameOf(sample.recording.tracks[sample.video]);
    const unsigned width = sample.recording.tracks[sample.video].nalLengthSize;
    const bool endsExactly = samplePicturesEndExactly(sample);
    int tried = 0;
    int good = 0;
    PictureFinder pictures(sample, media);
    auto place = pictures.next(from);
    while (place && tried < keysToTry) {
        media.keepFrom(*place);
        const auto picture = pictures.at(*place);
        std::uint64_t next = *place + picture->size;
        if (picture->isKey) {
            bool isGood = false;
            next =
                std::max(next, tryKey(sample, media, pictures, *place, picturesBehindKey, isGood));
            if (!isGood)
                tryKey(sample, media, pictures, *place, fewestBehindKey, isGood);
            const ByteView bytes = media.view(*place, static_cast<std::size_t>(picture->size));
            if (isGood && (!endsExactly ||
                           isUsedToItsEnd(*streamOf(sample, sample.video)->codecpar, bytes, width)))
                ++good;
            ++tried;
            // One may look right by chance, but does not end where its bytes do.
            if (good >= (endsExactly ? 1 : 2))
                return;
        }
        place = pictures.next(next);
    }
    // There may be one alone.
    if (good > 0 && tried == 1)
        return;
    if (tried > 0)
        throw misfit("its pictures cannot be decoded with the sample's parameters. They were "
                     "recorded in another size or with other settings.");
    const std::string ofDamaged = codecAt(damaged, from);
    if (!ofDamaged.empty() && ofDamaged != ofSample)
        throw misfit("it looks like " + ofDamaged + ", and the sample is " + ofSample + ".");
    throw misfit("no key picture like those of the sample (" + ofSample + ") is in it.");
}

void requireFittingMedia(const SampleProfile &sample, const WalkedMedia &walked)
{
    const std::size_t pictures = walked.packets[sample.video].size();
    if (pictures == 0)
        throw misfit("no picture like those of the sample is in it.");
    const auto whole = static_cast<std::size_t>(
        std::count_if(walked.packets[sample.video].begin(), walked.packets[sample.video].end(),
                      [](const Packet &packet) { return packet.isLost == 0; }));
    if (whole * 4 < pictures)
        throw misfit("its pictures are made of other parts than the sample's.");
    if (isMisfit(walked))
        throw misfit(sample.share ? "what stands between its pictures is not sound like the "
                                    "sample's."
                                  : "there is something between its pictures, such as sound, that "
                                    "the sample does not have.");
    requireEqualLength(sample, walked);
}
