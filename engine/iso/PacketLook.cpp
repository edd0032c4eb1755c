#include "engine/iso/PacketLook.h"

#include "engine/recording/PacketContent.h"

namespace {

using PacketContent::isNalHeader;
using PacketContent::lengthField;

// Bytes that the tests below look at.
constexpr std::size_t markSize = 8;

/**
 * Frames of AAC begin with the kind of their first part. Of a quiet frame of one channel the first
 * byte is zero, but not all.
 */
bool mayBeginAac(ByteView bytes)
{
    constexpr unsigned couplingChannel = 2;
    constexpr unsigned lowChannel = 3;
    constexpr unsigned end = 7;
    const unsigned kind = bytes[0] >> 5U;
    return kind != couplingChannel && kind != lowChannel && kind != end && be32(bytes.data()) != 0;
}

Look lookOf(bool isRight)
{
    return isRight ? Look::Right : Look::Wrong;
}

/** Pictures that begin with a mark of their codec. */
Look lookAtPicture(FourCc codec, ByteView bytes)
{
    switch (codec) {
    case fourCc("jpeg"):
    case fourCc("mjpa"):
    case fourCc("mjpg"):
        return lookOf(be16(bytes.data()) == 0xffd8);
    case fourCc("mp4v"):
        return lookOf(be24(bytes.data()) == 1);
    case fourCc("apch"):
    case fourCc("apcn"):
    case fourCc("apcs"):
    case fourCc("apco"):
    case fourCc("ap4h"):
        return lookOf(be32(&bytes[4]) == fourCc("icpf"));
    default:
        return Look::Unknown;
    }
}

} // namespace

bool isNalChain(const SourceFile &source, const IsoTrack &track, std::uint64_t offset,
                std::uint64_t size)
{
    // So many in a row are no chance; a packet that is made up could have any number.
    constexpr int mostUnits = 256;
    const std::uint64_t end = offset + size;
    const unsigned width = track.nalLengthSize;
    for (int units = 0; offset < end && units < mostUnits; ++units) {
        const ByteView bytes = source.view(offset, width + 1);
        if (bytes.size() <= width || !isNalHeader(bytes[width], track.isHevc))
            return false;
        const std::uint64_t length = lengthField(bytes.data(), width);
        if (length == 0 || length + width > end - offset)
            return false;
        offset += width + length;
    }
    return true;
}

Look lookAt(const SourceFile &source, const IsoTrack &track, std::uint64_t offset,
            std::uint64_t size)
{
    if (size < markSize)
        return Look::Unknown;
    if (track.nalLengthSize > 0)
        return lookOf(isNalChain(source, track, offset, size));
    const ByteView bytes = source.view(offset, markSize);
    if (bytes.size() < markSize)
        return Look::Wrong;
    if (track.codecType == fourCc("mp4a") && track.isAac)
        return lookOf(mayBeginAac(bytes));
    return lookAtPicture(track.codecType, bytes);
}

bool mayBeDecoded(const IsoTrack &track, ByteView packet)
{
    const unsigned width = track.nalLengthSize;
    if (packet.size() < markSize)
        return true;
    if (width == 0)
        return lookAtPicture(track.codecType, packet) != Look::Wrong;
    const std::uint64_t length = lengthField(packet.data(), width);
    return length > 0 && length <= packet.size() - width &&
           isNalHeader(packet[width], track.isHevc);
}
