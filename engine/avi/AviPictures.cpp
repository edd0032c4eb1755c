#include "engine/avi/AviPictures.h"

#include <algorithm>
#include <iterator>

namespace {

constexpr std::uint32_t startCode = 1;

/** H.264 and HEVC, by the unit behind a start code, of which two bytes are looked at. */
std::string_view codecOfUnit(const std::uint8_t *unit)
{
    constexpr std::uint8_t avcProfiles[] = {66, 77, 88, 100, 110, 118, 122, 128, 144, 244, 44};
    constexpr unsigned sequenceSet = 7;
    constexpr unsigned pictureMark = 9;
    constexpr unsigned hevcVideoSet = 32;
    constexpr unsigned hevcPictureMark = 35;
    const bool isProfile =
        std::find(std::begin(avcProfiles), std::end(avcProfiles), unit[1]) != std::end(avcProfiles);
    if ((unit[0] & 0x9fU) == sequenceSet && (unit[0] & 0x60U) != 0 && isProfile)
        return "H264";
    // It says which of eight kinds of picture follow, and ends.
    if (unit[0] == pictureMark && (unit[1] & 0x1fU) == 0x10)
        return "H264";
    const unsigned hevcType = unit[0] >> 1U & 0x3fU;
    if ((unit[0] & 0x81U) == 0 && unit[1] == 1 &&
        (hevcType == hevcVideoSet || hevcType == hevcPictureMark))
        return "HEVC";
    return {};
}

/** MPEG-4 and MPEG-2, by what stands behind a start code: eight bytes. */
std::string_view codecOfSection(const std::uint8_t *section)
{
    constexpr std::uint8_t lastObject = 0x1f;
    constexpr std::uint8_t lastLayer = 0x2f;
    constexpr std::uint8_t sequence = 0xb0;
    constexpr std::uint8_t group = 0xb3;
    constexpr std::uint8_t visualObject = 0xb5;
    constexpr std::uint8_t picture = 0xb6;
    const std::uint8_t code = section[0];
    // What is a group of pictures in MPEG-4 is a sequence in MPEG-2, with no picture so near.
    if (code == group)
        return be24(&section[4]) == startCode && section[7] == picture ? "FMP4" : "mpg2";
    if (code <= lastObject)
        return be24(&section[1]) == startCode && section[4] > lastObject && section[4] <= lastLayer
                   ? "FMP4"
                   : std::string_view();
    return code <= lastLayer || code == sequence || code == visualObject || code == picture
               ? "FMP4"
               : std::string_view();
}

} // namespace

std::string_view aviPictureCodec(ByteView picture)
{
    if (picture.size() < longestMark)
        return {};
    constexpr std::uint32_t vp8Key = 0x9d012a;
    constexpr std::uint32_t png = 0x89504e47;
    constexpr std::uint32_t jpeg2000 = 0xff4fff51;
    constexpr std::uint32_t dvHeader = 0x1f0700;
    const std::uint8_t *bytes = picture.data();
    if (be32(bytes) == startCode)
        return codecOfUnit(bytes + 4);
    if (be24(bytes) == startCode) {
        const std::string_view codec = codecOfUnit(bytes + 3);
        return codec.empty() ? codecOfSection(bytes + 3) : codec;
    }
    if (be16(bytes) == 0xffd8)
        return "MJPG";
    if (be32(bytes) == png)
        return "MPNG";
    if (be32(bytes) == jpeg2000)
        return "MJ2C";
    if (be24(bytes) == dvHeader)
        return "dvsd";
    return (bytes[0] & 1U) == 0 && be24(&bytes[3]) == vp8Key ? "VP80" : std::string_view();
}
