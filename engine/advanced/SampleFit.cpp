#include "engine/advanced/SampleFit.h"

#include "engine/EngineError.h"
#include "engine/log/LogLine.h"
#include "engine/recording/PacketContent.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace {

// Key pictures that are tried, and how many pictures behind each.
constexpr int keysToTry = 6;
constexpr int picturesBehindKey = 6;
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

/** Decodes pictures as a track of the sample. */
class TrialDecoder
{
public:
    explicit TrialDecoder(const AVCodecParameters &parameters)
        : packet(Ffmpeg::makePacket()), frame(Ffmpeg::makeFrame())
    {
        const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
        decoder.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
        if (!decoder)
            throw std::bad_alloc();
        decoder->thread_count = 1;
        decoder->err_recognition = AV_EF_EXPLODE | AV_EF_BITSTREAM | AV_EF_BUFFER | AV_EF_CAREFUL;
        if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0 ||
            avcodec_open2(decoder.get(), codec, nullptr) < 0)
            decoder.reset();
    }

    void decode(ByteView bytes)
    {
        if (!decoder || av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
            return;
        std::copy(bytes.begin(), bytes.end(), packet->data);
        hasError = avcodec_send_packet(decoder.get(), packet.get()) < 0 || hasError;
        av_packet_unref(packet.get());
        receive();
    }

    /** Everything decoded, and nothing of it had to be guessed. */
    bool finish()
    {
        if (!decoder)
            return false;
        avcodec_send_packet(decoder.get(), nullptr);
        receive();
        return !hasError && frames > 0;
    }

    /** Of all that was shown. */
    std::uint64_t hash() const { return pictureHash; }

private:
    void receive()
    {
        int result = avcodec_receive_frame(decoder.get(), frame.get());
        for (; result >= 0; result = avcodec_receive_frame(decoder.get(), frame.get())) {
            hasError = hasError || frame->decode_error_flags != 0 ||
                       (frame->flags & AV_FRAME_FLAG_CORRUPT) != 0;
            ++frames;
            addToHash();
            av_frame_unref(frame.get());
        }
        hasError = hasError || (result != AVERROR(EAGAIN) && result != AVERROR_EOF);
    }

    /** The first plane is enough. */
    void addToHash()
    {
        constexpr std::uint64_t prime = 0x100000001b3;
        const int bytesPerSample =
            frame->width > 0 ? std::min(frame->linesize[0] / frame->width, 2) : 0;
        for (int y = 0; y < frame->height; ++y) {
            const std::uint8_t *line = frame->data[0] + std::ptrdiff_t{y} * frame->linesize[0];
            for (int x = 0; x < frame->width * bytesPerSample; ++x)
                pictureHash = (pictureHash ^ line[x]) * prime;
        }
    }

    Ffmpeg::CodecContextPtr decoder;
    Ffmpeg::PacketPtr packet;
    Ffmpeg::FramePtr frame;
    bool hasError = false;
    int frames = 0;
    std::uint64_t pictureHash = 0xcbf29ce484222325;
};

/** What a picture alone looks like; 0 when it cannot be decoded. */
std::uint64_t lookOf(const AVCodecParameters &parameters, ByteView picture)
{
    TrialDecoder decoder(parameters);
    decoder.decode(picture);
    return decoder.finish() ? decoder.hash() | 1U : 0;
}

/** Where the last unit of a picture begins, with its length. */
std::size_t lastUnit(ByteView picture, unsigned width)
{
    std::size_t place = 0;
    for (std::size_t next = 0; next + width < picture.size();) {
        place = next;
        next += width + static_cast<std::size_t>(PacketContent::lengthField(&picture[next], width));
    }
    return place;
}

/**
 * A decoder with the right parameters needs a coded picture to its last bytes, and nothing behind
 * them; one with wrong ones loses its way, and ends somewhere.
 */
bool isUsedToItsEnd(const AVCodecParameters &parameters, ByteView picture, unsigned width)
{
    constexpr std::size_t tail = 16;
    constexpr std::size_t moreBytes = 64;
    const std::size_t start = lastUnit(picture, width);
    const std::size_t size = picture.size() - start - width;
    const std::uint64_t look = lookOf(parameters, picture);
    if (look == 0 || size < 4 * tail)
        return look != 0;
    Bytes changed(picture.begin(), picture.end());
    for (std::size_t i = changed.size() - tail; i < changed.size(); ++i)
        changed[i] = static_cast<std::uint8_t>(changed[i] ^ (0x55U + (i & 0x3fU)));
    if (lookOf(parameters, changed) == look)
        return false;
    Bytes longer(picture.begin(), picture.end());
    for (std::size_t i = 0; i < moreBytes; ++i)
        longer.push_back(static_cast<std::uint8_t>(0x9dU + 37U * i));
    patchBe(longer, start, size + moreBytes, width);
    return lookOf(parameters, longer) == look;
}

/** The sample's own pictures are used to their end: some recorders pad them. */
bool samplePicturesEndExactly(const SampleProfile &sample)
{
    const IsoTrack &track = sample.recording.tracks[sample.video];
    return track.nalLengthSize > 0 && !sample.keyPicture.empty() &&
           isUsedToItsEnd(*streamOf(sample, sample.video)->codecpar, sample.keyPicture,
                          track.nalLengthSize);
}

/** Decodes a key picture and those behind it. Returns where it stopped; sets whether all was well.
 */
std::uint64_t tryKey(const SampleProfile &sample, MediaWindow &media, std::uint64_t place,
                     bool &isGood)
{
    TrialDecoder decoder(*streamOf(sample, sample.video)->codecpar);
    for (int i = 0; i <= picturesBehindKey; ++i) {
        const auto picture = sample.pictures->pictureAt(media, place);
        if (!picture || !picture->isComplete || (i > 0 && picture->isKey))
            break;
        decoder.decode(media.view(place, static_cast<std::size_t>(picture->size)));
        place += picture->size;
        const auto next = findPicture(sample, media, place);
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
    auto place = findPicture(sample, media, from);
    while (place && tried < keysToTry) {
        media.keepFrom(*place);
        const auto picture = sample.pictures->pictureAt(media, *place);
        std::uint64_t next = *place + picture->size;
        if (picture->isKey) {
            bool isGood = false;
            next = std::max(next, tryKey(sample, media, *place, isGood));
            const ByteView bytes = media.view(*place, static_cast<std::size_t>(picture->size));
            if (isGood && (!endsExactly ||
                           isUsedToItsEnd(*streamOf(sample, sample.video)->codecpar, bytes, width)))
                ++good;
            ++tried;
            // One may look right by chance; and damage may have hit some.
            if (good >= 2)
                return;
        }
        place = findPicture(sample, media, next);
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
