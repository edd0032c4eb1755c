#include "engine/media/Containers.h"

#include "engine/Utf8Path.h"
#include "engine/iso/BoxSearch.h"
#include "engine/matroska/MatroskaReader.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>
#include <string>

namespace {

/** The first bytes are those of a container that is not of MP4's family. */
bool startsAsAnother(const SourceFile &source)
{
    constexpr std::size_t transportPacket = 188;
    const ByteView bytes = source.view(0, 2 * transportPacket);
    if (bytes.size() < transportPacket + 5)
        return false;
    const std::uint32_t first = be32(bytes.data());
    constexpr std::uint32_t ebml = 0x1a45dfa3;
    constexpr std::uint32_t asf = 0x3026b275;
    constexpr std::uint32_t programStream = 0x1ba;
    constexpr std::uint32_t mxf = 0x060e2b34;
    constexpr std::uint32_t flv = 0x464c5601;
    constexpr std::uint8_t sync = 0x47;
    return first == fourCc("RIFF") || first == ebml || first == asf || first == programStream ||
           first == mxf || first == flv || first == fourCc("OggS") ||
           (bytes[0] == sync && bytes[transportPacket] == sync) ||
           (bytes[4] == sync && bytes.size() > 196 && bytes[196] == sync);
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

bool mayBeAvi(const SourceFile &source)
{
    return hasSuffix(source, {".avi"}) && !startsAsAnother(source);
}

bool mayBeFlv(const SourceFile &source)
{
    return hasSuffix(source, {".flv", ".f4v"}) && !startsAsAnother(source);
}
