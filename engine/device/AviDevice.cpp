#include "engine/device/AviDevice.h"

#include "engine/device/VendorData.h"
#include "engine/recording/FileEnds.h"

#include <algorithm>

namespace {

constexpr std::uint64_t reach = 1U << 20U;
constexpr std::uint64_t chunkHeader = 8;
constexpr std::uint64_t typeSize = 4;
// Lists of a header are short; damage can make one of all the media.
constexpr int mostChunks = 256;

std::string_view textOf(ByteView bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

/** The chunks of a list of this type, wherever it stands: visits type and body. */
template <typename Visit>
void forEachChunkOf(const SourceFile &source, std::string_view listType, Visit visit)
{
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
            visit(textOf(chunk).substr(0, typeSize),
                  source.copy(position + chunkHeader, std::min(size, reach)));
            position += chunkHeader + size + (size & 1U);
        }
        return true;
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
    forEachChunkOf(source, listType, [&](std::string_view type, const Bytes &body) {
        const std::string place = quoted(type, " of the list ") + quoted(listType, "");
        if (type == "ecor")
            device.complete({.make = deviceName(textOf(body), place), .model = {}});
        else if (type == "emdl")
            device.complete({.make = {}, .model = deviceName(textOf(body), place)});
    });
    return device;
}

/** Cameras put an Exif directory into a stream's own data. */
Device fromStreamData(const SourceFile &source)
{
    Device device;
    forEachChunkOf(source, "strl", [&](std::string_view type, const Bytes &body) {
        if (type == "strd")
            device.complete(readVendorData(body, "\"strd\" of a stream"));
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

void appendText(Bytes &list, std::string_view type, std::string_view text)
{
    list.insert(list.end(), type.begin(), type.end());
    appendLe(list, text.size() + 1, 4);
    list.insert(list.end(), text.begin(), text.end());
    // Ended by a zero, and even in length.
    list.resize(list.size() + 1 + (text.size() + 1) % 2);
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
        appendText(body, "ecor", device.make->value);
    if (device.model)
        appendText(body, "emdl", device.model->value);
    constexpr std::string_view list = "LIST";
    Bytes whole(list.begin(), list.end());
    appendLe(whole, body.size(), 4);
    appendBytes(whole, body);
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
