#include "engine/matroska/TrackEntries.h"

#include <algorithm>

namespace {

std::string textOf(const SourceFile &source, const Element &element)
{
    constexpr std::uint64_t longest = 64;
    const ByteView bytes = source.view(
        element.body(), static_cast<std::size_t>(std::min(element.bodySize(), longest)));
    std::string text(bytes.begin(), bytes.end());
    return text.substr(0, text.find('\0'));
}

bool isAvc(const std::string &codec)
{
    return codec == "V_MPEG4/ISO/AVC";
}

bool isHevc(const std::string &codec)
{
    return codec == "V_MPEGH/ISO/HEVC";
}

/** As the private data of H.264 and HEVC say; 0 without them, and of other codecs. */
unsigned nalLengthSizeOf(const SourceFile &source, const std::vector<Element> &fields,
                         const std::string &codec)
{
    const auto data = findElement(fields, MatroskaId::codecPrivate);
    if (!data || (!isAvc(codec) && !isHevc(codec)))
        return 0;
    const std::uint64_t place = isAvc(codec) ? 4 : 21;
    const ByteView byte = source.view(data->body() + place, 1);
    constexpr unsigned usual = 4;
    return byte.empty() ? usual : (byte[0] & 3U) + 1;
}

/**
 * Codecs of which frames are stored without what their decoders want before them, or in another
 * order, or whose times FFmpeg's reader takes for those of decoding.
 */
bool isReadOtherwise(const std::string &codec)
{
    return codec == "V_PRORES" || codec == "V_MS/VFW/FOURCC" || codec == "A_WAVPACK4" ||
           codec.starts_with("A_REAL/") || codec.find("WEBVTT") != std::string::npos;
}

} // namespace

std::int64_t timescaleOf(std::uint64_t timestampScale)
{
    constexpr std::int64_t nanosecondsPerSecond = 1000000000;
    return std::max<std::int64_t>(nanosecondsPerSecond / static_cast<std::int64_t>(timestampScale),
                                  1);
}

void setContent(MatroskaTrack &track, unsigned nalLengthSize)
{
    constexpr const char *verbatim[] = {"V_MPEG4/ISO/AVC", "V_MPEGH/ISO/HEVC", "V_MJPEG", "V_VP8",
                                        "V_VP9",           "A_OPUS",           "A_AC3",   "A_EAC3",
                                        "A_MPEG/L2",       "A_MPEG/L3"};
    const bool isAac = track.codec.starts_with("A_AAC");
    track.isReadOtherwise = isReadOtherwise(track.codec);
    track.isVerbatim =
        isAac || track.codec.starts_with("A_PCM") ||
        std::find(std::begin(verbatim), std::end(verbatim), track.codec) != std::end(verbatim);
    if (nalLengthSize > 0)
        track.content = {.nalLengthSize = nalLengthSize,
                         .isHevc = isHevc(track.codec),
                         .impossibleZeros = PacketContent::zerosInPicture};
    else if (isAac)
        track.content.impossibleZeros = PacketContent::zerosInSound;
}

std::optional<MatroskaTrack> readTrackEntry(const SourceFile &source, const Element &entry,
                                            std::uint64_t timestampScale)
{
    constexpr std::uint64_t videoType = 1;
    constexpr std::uint64_t audioType = 2;
    constexpr std::uint64_t subtitleType = 17;
    constexpr std::uint64_t metadataType = 33;
    // Nanoseconds: an hour.
    constexpr std::uint64_t longestDuration = 3600ULL * 1000000000ULL;
    const auto fields = childrenOf(source, entry);
    const auto number = findElement(fields, MatroskaId::trackNumber);
    if (entry.id != MatroskaId::trackEntry || entry.isCut || !number)
        return std::nullopt;
    MatroskaTrack track;
    track.number = numberOf(source, *number);
    track.timescale = timescaleOf(timestampScale);
    const auto type = findElement(fields, MatroskaId::trackType);
    const std::uint64_t typeNumber = type ? numberOf(source, *type) : 0;
    track.kind = typeNumber == videoType   ? TrackKind::Video
                 : typeNumber == audioType ? TrackKind::Audio
                                           : TrackKind::Other;
    if (const auto codec = findElement(fields, MatroskaId::codecId))
        track.codec = textOf(source, *codec);
    track.isStream =
        !track.codec.empty() && (track.kind != TrackKind::Other || typeNumber == subtitleType ||
                                 typeNumber == metadataType);
    if (const auto length = findElement(fields, MatroskaId::defaultDuration))
        track.lastDuration = static_cast<std::int64_t>(
            std::min(numberOf(source, *length), longestDuration) / timestampScale);
    // What is encoded once more looks like nothing that we know.
    const bool isEncoded = findElement(fields, MatroskaId::contentEncodings).has_value();
    if (!isEncoded)
        setContent(track, nalLengthSizeOf(source, fields, track.codec));
    track.isReadOtherwise = track.isReadOtherwise || isEncoded ||
                            findElement(fields, MatroskaId::trackTimestampScale).has_value();
    return track;
}

std::vector<MatroskaTrack> readTracks(const SourceFile &source, const Element &tracks,
                                      std::uint64_t timestampScale)
{
    std::vector<MatroskaTrack> found;
    for (const Element &entry : childrenOf(source, tracks)) {
        if (found.size() >= mostTracks)
            break;
        if (auto track = readTrackEntry(source, entry, timestampScale))
            found.push_back(std::move(*track));
    }
    return found;
}
