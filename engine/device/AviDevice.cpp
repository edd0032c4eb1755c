#include "engine/device/AviDevice.h"

#include "engine/device/VendorData.h"
#include "engine/recording/FileEnds.h"
#include "engine/recording/RiffChunk.h"

#include <algorithm>

namespace {

constexpr std::uint64_t reach = 1U << 20U;
constexpr std::uint64_t chunkHeader = 8;
constexpr std::uint64_t typeSize = 4;
// Lists of a header are short; damage can make one of all the media, and several of the same bytes.
constexpr int mostChunks = 64;
constexpr int mostLists = 128;
// A name is much shorter.
constexpr std::uint64_t longestText = 4096;
constexpr std::uint64_t longestStreamData = 64U << 10U;

/**
 * The chunks of a list of this type, wherever it stands: visits type, place of the body and its
 * size, until it has seen enough.
 */
template <typename Visit>
void forEachChunkOf(const SourceFile &source, std::string_view listType, Visit visit)
{
    int lists = 0;
    forEachMark(source, listType, reach, [&](std::uint64_t place) {
        if (place < chunkHeader)
            return true;
        const Bytes header = source.copy(place - chunkHeader, chunkHeader);
        if (header.size() < chunkHeader || textOf(header).substr(0, typeSize) != "LIST")
            return true;
        const std::uint64_t end =
            std::min<std::uint64_t>(place + le32(&header[typeSize]), source.size());
        std::uint64_t position = place + typeSize;
        for (int i = 0; i < mostChunks && position + chunkHeader <= end; ++i) {
            const Bytes chunk = source.copy(position, chunkHeader);
            if (chunk.size() < chunkHeader)
                break;
            const std::uint64_t size =
                std::min<std::uint64_t>(le32(&chunk[typeSize]), end - position - chunkHeader);
            if (!visit(textOf(chunk).substr(0, typeSize), position + chunkHeader, size))
                return false;
            position += chunkHeader + size + (size & 1U);
        }
        return ++lists < mostLists;
    });
}

/** What stands in the file under a name in quotes. */
std::string quoted(std::string_view name, std::string_view rest)
{
    std::string text(1, '"');
    return text.append(name).append(1, '"').append(rest);
}

Device fromList(const SourceFile &source, const std::string &listType)
{
    Device device;
    forEachChunkOf(
        source, listType, [&](std::string_view type, std::uint64_t body, std::uint64_t size) {
            if (type != "ecor" && type != "emdl")
                return true;
            const Bytes text = source.copy(body, std::min(size, longestText));
            auto name =
                deviceName(textOf(text), quoted(type, " of the list ") + quoted(listType, ""));
            device.complete(type == "ecor" ? Device{.make = std::move(name), .model = {}}
                                           : Device{.make = {}, .model = std::move(name)});
            return !device.isComplete();
        });
    return device;
}

/** Cameras put an Exif directory into a stream's own data. */
Device fromStreamData(const SourceFile &source)
{
    Device device;
    forEachChunkOf(
        source, "strl", [&](std::string_view type, std::uint64_t body, std::uint64_t size) {
            if (type == "strd")
                device.complete(readVendorData(source.copy(body, std::min(size, longestStreamData)),
                                               "\"strd\" of a stream"));
            return !device.isComplete();
        });
    return device;
}

/** The list "exif" with its header; empty where there is none that is whole. */
Bytes exifList(const SourceFile &source)
{
    // With more, it is no list of texts.
    constexpr std::uint64_t longest = 64U << 10U;
    Bytes list;
    forEachMark(source, "exif", reach, [&](std::uint64_t place) {
        const Bytes header = source.copy(place - std::min(place, chunkHeader), chunkHeader);
        const bool isList = place >= chunkHeader && header.size() == chunkHeader &&
                            textOf(header).substr(0, typeSize) == "LIST";
        const std::uint64_t size = isList ? le32(&header[typeSize]) : 0;
        if (size >= typeSize && size <= longest && place + size <= source.size())
            list = source.copy(place - chunkHeader, chunkHeader + size);
        return list.empty();
    });
    return list;
}

/** Ended by a zero. */
Bytes endedText(std::string_view text)
{
    Bytes bytes;
    appendText(bytes, text);
    bytes.push_back(0);
    return bytes;
}

} // namespace

Bytes aviDeviceList(const SourceFile &source)
{
    if (Bytes list = exifList(source); !list.empty())
        return list;
    const Device device = readAviDevice(source);
    if (!device.make && !device.model)
        return {};
    constexpr std::string_view type = "exif";
    Bytes body(type.begin(), type.end());
    if (device.make)
        appendRiffChunk(body, "ecor", endedText(device.make->value));
    if (device.model)
        appendRiffChunk(body, "emdl", endedText(device.model->value));
    Bytes whole;
    appendRiffChunk(whole, "LIST", body);
    return whole;
}

Device readAviDevice(const SourceFile &source)
{
    Device device = fromList(source, "exif");
    if (!device.isComplete())
        device.complete(fromList(source, "INFO"));
    if (!device.isComplete())
        device.complete(fromStreamData(source));
    return device;
}
