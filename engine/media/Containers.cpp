#include "engine/media/Containers.h"

#include "engine/Utf8Path.h"
#include "engine/iso/BoxSearch.h"
#include "engine/matroska/MatroskaReader.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string>
#include <utility>

namespace {

/** FFmpeg's name of a container that is not of MP4's family, by the first bytes. */
std::optional<std::string> otherContainerOf(const SourceFile &source)
{
    constexpr std::size_t transportPacket = 188;
    constexpr std::size_t timedPacket = 192;
    constexpr std::uint8_t sync = 0x47;
    constexpr std::pair<std::uint32_t, const char *> beginnings[] = {
        {fourCc("RIFF"), "avi"}, {0x1a45dfa3, "matroska"}, {0x3026b275, "asf"},    {0x1ba, "mpeg"},
        {0x060e2b34, "mxf"},     {0x464c5601, "flv"},      {fourCc("OggS"), "ogg"}};
    const ByteView bytes = source.view(0, 2 * transportPacket);
    if (bytes.size() < transportPacket + 5)
        return std::nullopt;
    for (const auto &[first, name] : beginnings) {
        if (be32(bytes.data()) == first)
            return name;
    }
    const bool isTransport =
        (bytes[0] == sync && bytes[transportPacket] == sync) ||
        (bytes[4] == sync && bytes.size() > timedPacket + 4 && bytes[timedPacket + 4] == sync);
    return isTransport ? std::optional<std::string>("mpegts") : std::nullopt;
}

/** The first bytes are those of a container that is not of MP4's family. */
bool startsAsAnother(const SourceFile &source)
{
    return otherContainerOf(source).has_value();
}

bool hasSuffix(const SourceFile &source, std::initializer_list<const char *> suffixes)
{
    std::string suffix = utf8FromPath(pathFromUtf8(source.path()).extension());
    for (char &c : suffix)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return std::any_of(suffixes.begin(), suffixes.end(),
                       [&suffix](const char *one) { return suffix == one; });
}

} // namespace

bool mayBeIso(const SourceFile &source)
{
    return looksLikeIso(source) || !startsAsAnother(source);
}

bool mayBeMatroska(const SourceFile &source)
{
    return looksLikeMatroska(source) ||
           (hasSuffix(source, {".mkv", ".webm", ".mka"}) && !startsAsAnother(source));
}

bool isAvi(const SourceFile &source)
{
    const ByteView bytes = source.view(0, 12);
    return bytes.size() == 12 && be32(bytes.data()) == fourCc("RIFF") &&
           (be32(&bytes[8]) == fourCc("AVI ") || be32(&bytes[8]) == fourCc("AVIX"));
}

bool isFlv(const SourceFile &source)
{
    return otherContainerOf(source) == "flv";
}

bool mayBeAvi(const SourceFile &source)
{
    return hasSuffix(source, {".avi"}) && !startsAsAnother(source);
}

bool mayBeFlv(const SourceFile &source)
{
    return hasSuffix(source, {".flv", ".f4v"}) && !startsAsAnother(source);
}

std::optional<std::string> containerOf(const SourceFile &source)
{
    if (!looksLikeIso(source))
        return otherContainerOf(source);
    constexpr std::size_t brandPlace = 8;
    const ByteView bytes = source.view(0, brandPlace + 4);
    const bool hasBrand = bytes.size() == brandPlace + 4 && be32(&bytes[4]) == fourCc("ftyp");
    // Files without a brand are the elder format's.
    return hasBrand && be32(&bytes[brandPlace]) != fourCc("qt  ") ? "mp4" : "mov";
}
