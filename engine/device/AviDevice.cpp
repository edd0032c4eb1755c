#include "engine/device/AviDevice.h"

#include "engine/device/VendorData.h"
#include "engine/recording/FileEnds.h"

#include <algorithm>

namespace {

constexpr std::uint64_t reach = 1U << 20U;
constexpr std::uint64_t chunkHeader = 8;
constexpr std::uint64_t typeSize = 4;

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
        while (position + chunkHeader <= end) {
            const Bytes chunk = source.copy(position, chunkHeader);
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

} // namespace

Device readAviDevice(const SourceFile &source)
{
    Device device = fromList(source, "exif");
    if (!device.isComplete())
        device.complete(fromList(source, "INFO"));
    if (!device.isComplete())
        device.complete(fromStreamData(source));
    return device;
}
