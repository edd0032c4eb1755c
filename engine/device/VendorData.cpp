#include "engine/device/VendorData.h"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string_view>
#include <utility>

namespace {

/** Numbers of a TIFF file, which says itself in which order its bytes stand. */
class TiffReader
{
public:
    explicit TiffReader(ByteView fromHeader) : bytes(fromHeader), isLittle(fromHeader[0] == 'I') {}

    std::uint32_t number(std::size_t place, std::size_t width) const
    {
        if (place > bytes.size() || width > bytes.size() - place)
            return 0;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < width; ++i)
            value = value << 8U | bytes[place + (isLittle ? width - 1 - i : i)];
        return value;
    }

    /** A text field of the first directory. */
    std::string_view text(std::uint32_t tag) const
    {
        constexpr std::size_t entrySize = 12;
        constexpr std::uint32_t mostEntries = 256;
        constexpr std::uint32_t textType = 2;
        constexpr std::uint32_t longestInside = 4;
        const std::size_t directory = number(4, 4);
        const std::uint32_t count = std::min(number(directory, 2), mostEntries);
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::size_t entry = directory + 2 + i * entrySize;
            if (number(entry, 2) != tag || number(entry + 2, 2) != textType)
                continue;
            const std::size_t length = number(entry + 4, 4);
            const std::size_t place = length > longestInside ? number(entry + 8, 4) : entry + 8;
            if (place > bytes.size() || length > bytes.size() - place)
                return {};
            return {reinterpret_cast<const char *>(&bytes[0]) + place, length};
        }
        return {};
    }

private:
    ByteView bytes;
    bool isLittle;
};

Device readExif(ByteView data, const std::string &place)
{
    constexpr std::uint32_t makeTag = 0x010f;
    constexpr std::uint32_t modelTag = 0x0110;
    constexpr std::array<std::array<std::uint8_t, 4>, 2> headers = {
        {{'I', 'I', 42, 0}, {'M', 'M', 0, 42}}};
    // What is made up may have one at every place.
    constexpr int mostHeaders = 64;
    int tried = 0;
    for (const auto &header : headers) {
        auto found = data.begin();
        while ((found = std::search(found, data.end(), header.begin(), header.end())) !=
                   data.end() &&
               ++tried <= mostHeaders) {
            const TiffReader tiff(data.subspan(static_cast<std::size_t>(found - data.begin())));
            Device device = {.make = deviceName(tiff.text(makeTag), "Exif data in " + place),
                             .model = deviceName(tiff.text(modelTag), "Exif data in " + place)};
            if (device.make || device.model)
                return device;
            ++found;
        }
    }
    return {};
}

// No maker and no model has a longer name.
constexpr std::size_t longestValue = 1024;

/** What stands between the first of these beginnings that is there and the next quote or tag. */
std::string_view xmlValue(std::string_view text, std::initializer_list<std::string_view> beginnings)
{
    for (const std::string_view beginning : beginnings) {
        const std::size_t found = text.find(beginning);
        if (found == std::string_view::npos)
            continue;
        const std::string_view value = text.substr(found + beginning.size());
        const std::size_t end = value.find_first_of("\"<");
        if (end != std::string_view::npos)
            return value.substr(0, std::min(end, longestValue));
    }
    return {};
}

/** The characters that XML writes by name. */
std::string plainText(std::string_view text)
{
    constexpr std::pair<std::string_view, char> names[] = {
        {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}, {"&apos;", '\''}};
    std::string plain;
    while (!text.empty()) {
        const auto *name =
            std::find_if(std::begin(names), std::end(names), [text](const auto &candidate) {
                return text.starts_with(candidate.first);
            });
        const bool isName = name != std::end(names);
        plain += isName ? name->second : text.front();
        text.remove_prefix(isName ? name->first.size() : 1);
    }
    return plain;
}

Device readXml(ByteView data, const std::string &place)
{
    const std::string_view text(reinterpret_cast<const char *>(data.data()), data.size());
    return {.make = deviceName(
                plainText(xmlValue(text, {"manufacturer=\"", "tiff:Make=\"", "<tiff:Make>"})),
                "XML in " + place),
            .model = deviceName(
                plainText(xmlValue(text, {"modelName=\"", "tiff:Model=\"", "<tiff:Model>"})),
                "XML in " + place)};
}

} // namespace

Device readVendorData(ByteView data, const std::string &place)
{
    Device device = readExif(data, place);
    if (!device.isComplete())
        device.complete(readXml(data, place));
    return device;
}
