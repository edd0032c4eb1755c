#include "engine/advanced/AacFrames.h"

#include <algorithm>
#include <bit>
#include <new>
#include <numeric>

namespace {

// Other sounds than the sample's make larger frames; none is larger than the format allows.
constexpr std::uint32_t largerFrames = 3;

/** A frame's last element is a mark of three ones, behind which zeros fill the last byte. */
bool endsWithMark(ByteView frame)
{
    constexpr unsigned mark = 7;
    if (frame.size() < 2 || frame.back() == 0)
        return false;
    const unsigned last = be16(&frame[frame.size() - 2]);
    return (last >> static_cast<unsigned>(std::countr_zero(last)) & mark) == mark;
}

} // namespace

AacFrames::AacFrames(const AVCodecParameters &ofTrack)
    : parameters(ofTrack),
      packet(Ffmpeg::makePacket()),
      frame(Ffmpeg::makeFrame()),
      lengths({ofTrack.extradata, static_cast<std::size_t>(ofTrack.extradata_size)})
{
    open();
}

void AacFrames::open()
{
    const AVCodec *codec = avcodec_find_decoder(parameters.codec_id);
    decoder.reset(codec != nullptr ? avcodec_alloc_context3(codec) : nullptr);
    if (!decoder)
        throw std::bad_alloc();
    decoder->thread_count = 1;
    decoder->err_recognition = AV_EF_EXPLODE;
    if (avcodec_parameters_to_context(decoder.get(), &parameters) < 0 ||
        avcodec_open2(decoder.get(), codec, nullptr) < 0)
        decoder.reset();
}

std::vector<std::uint32_t> AacFrames::remainders(ByteView bytes, bool &isWhole)
{
    std::vector<std::uint32_t> left;
    isWhole = false;
    if (!decoder || bytes.empty() ||
        av_new_packet(packet.get(), static_cast<int>(bytes.size())) < 0)
        return left;
    std::copy(bytes.begin(), bytes.end(), packet->data);
    int result = avcodec_send_packet(decoder.get(), packet.get());
    av_packet_unref(packet.get());
    while (result >= 0) {
        result = avcodec_receive_frame(decoder.get(), frame.get());
        if (result >= 0)
            left.push_back(static_cast<std::uint32_t>(frame->pkt_size));
        av_frame_unref(frame.get());
    }
    isWhole = result == AVERROR(EAGAIN);
    // What nonsense has left in the decoder must not spoil what comes next.
    if (!isWhole)
        open();
    return left;
}

bool AacFrames::learn(ByteView bytes)
{
    bool isWhole = false;
    const auto left = remainders(bytes, isWhole);
    if (!isWhole || left.size() != 1)
        return false;
    const auto size = static_cast<std::uint32_t>(bytes.size());
    tellsLengths = tellsLengths && lengths.learn(bytes);
    endsKnown = endsKnown && endsWithMark(bytes);
    knownStarts[bytes[0]] = true;
    largestFrame = std::max(largestFrame, size);
    smallestFrame = smallestFrame == 0 ? size : std::min(smallestFrame, size);
    if (knownFrame.size() < bytes.size())
        knownFrame.assign(bytes.begin(), bytes.end());
    return true;
}

bool AacFrames::mayEnd(ByteView bytes) const
{
    return !endsKnown || endsWithMark(bytes);
}

std::uint32_t AacFrames::largestPossible() const
{
    return largestFrame * largerFrames;
}

bool AacFrames::fits(std::uint32_t size) const
{
    return size > 0 && size <= largestPossible();
}

AacFrames::Chain AacFrames::chainFrom(ByteView bytes)
{
    bool needsDecoder = false;
    Chain chain = walkedChain(bytes, needsDecoder);
    return needsDecoder ? decodedChain(bytes) : chain;
}

AacFrames::Chain AacFrames::walkedChain(ByteView bytes, bool &needsDecoder) const
{
    Chain chain;
    needsDecoder = !tellsLengths;
    while (tellsLengths && !bytes.empty()) {
        const AacReading reading =
            lengths.at(bytes.first(std::min<std::size_t>(bytes.size(), largestPossible())));
        needsDecoder = reading.kind == AacReading::Kind::Unsure;
        if (reading.kind != AacReading::Kind::Frame || !mayEnd(bytes.first(reading.size)))
            return chain;
        chain.sizes.push_back(reading.size);
        bytes = bytes.subspan(reading.size);
    }
    chain.isExact = tellsLengths;
    return chain;
}

AacFrames::Chain AacFrames::decodedChain(ByteView bytes)
{
    Chain chain;
    bool isWhole = false;
    const auto left = remainders(bytes, isWhole);
    for (std::size_t i = 0; i + 1 < left.size(); ++i)
        chain.sizes.push_back(left[i] - left[i + 1]);
    if (isWhole && !left.empty())
        chain.sizes.push_back(left.back());
    const auto impossible = std::find_if(chain.sizes.begin(), chain.sizes.end(),
                                         [this](std::uint32_t size) { return !fits(size); });
    chain.isExact = isWhole && !left.empty() && impossible == chain.sizes.end();
    chain.sizes.erase(impossible, chain.sizes.end());
    return chain;
}

void AacFrames::spend(std::size_t frames)
{
    triesLeft -= std::min<std::uint64_t>(triesLeft, frames + 1);
}

std::uint32_t AacFrames::sizeOfFrame(ByteView bytes)
{
    // Only where a frame ends at the right place does the decoder find the known one behind it.
    const std::size_t most = std::min<std::size_t>(bytes.size(), largestFrame);
    for (std::size_t size = std::max<std::uint32_t>(smallestFrame / 2, 2);
         size <= most && triesLeft > 0; ++size) {
        if (!mayEnd(bytes.first(size)))
            continue;
        Bytes both(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
        appendBytes(both, knownFrame);
        bool isWhole = false;
        const auto left = remainders(both, isWhole);
        spend(left.size());
        if (isWhole && left.size() == 2 && left[1] == knownFrame.size())
            return static_cast<std::uint32_t>(size);
    }
    return 0;
}

AacFrames::Chain AacFrames::longestFrom(ByteView bytes)
{
    bool needsDecoder = false;
    Chain chain = walkedChain(bytes, needsDecoder);
    if (!needsDecoder)
        return chain;
    const auto behind = [bytes](const Chain &before) {
        return bytes.subspan(
            std::accumulate(before.sizes.begin(), before.sizes.end(), std::size_t{0}));
    };
    const Chain decoded = decodedChain(behind(chain));
    chain.sizes.insert(chain.sizes.end(), decoded.sizes.begin(), decoded.sizes.end());
    chain.isExact = decoded.isExact;
    // The decoder does not tell where the last frame ends before one that it cannot decode.
    const ByteView rest = behind(chain);
    if (!chain.isExact && !rest.empty() && mayBegin(rest[0])) {
        if (const std::uint32_t size = sizeOfFrame(rest); size > 0)
            chain.sizes.push_back(size);
    }
    return chain;
}

std::optional<std::size_t> AacFrames::startOfChainTo(ByteView bytes, Chain &chain)
{
    // One frame alone may look right by chance.
    constexpr std::size_t leastFrames = 2;
    for (std::size_t start = 0; start + smallestFrame / 2 < bytes.size() && triesLeft > 0;
         ++start) {
        if (!mayBegin(bytes[start]))
            continue;
        chain = chainFrom(bytes.subspan(start));
        spend(chain.sizes.size());
        const bool isShort = bytes.size() - start <= largestFrame;
        if (chain.isExact && (chain.sizes.size() >= leastFrames || isShort))
            return start;
    }
    return std::nullopt;
}
