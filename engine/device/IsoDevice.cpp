#include "engine/device/IsoDevice.h"

#include "engine/device/VendorData.h"
#include "engine/iso/BoxSearch.h"

#include <algorithm>
#include <array>
#include <vector>

namespace {

// Longer ones are no description of a device: pictures, the media itself.
constexpr std::uint64_t longestVendorData = 1U << 20U;
constexpr int mostVendorBoxes = 256;
constexpr std::uint64_t longestText = 4096;

// 0xA9 begins the names of QuickTime's texts.
constexpr FourCc makeText = 0xA9000000U | ('m' << 16U) | ('a' << 8U) | 'k';
constexpr FourCc modelText = 0xA9000000U | ('m' << 16U) | ('o' << 8U) | 'd';
constexpr std::array makeAtoms = {makeText, fourCc("@mak"), fourCc("manu")};
constexpr std::array modelAtoms = {modelText, fourCc("@mod"), fourCc("modl")};

constexpr std::array<std::string_view, 4> makeKeys = {"com.apple.quicktime.make", "make",
                                                      "com.android.manufacturer", "manufacturer"};
constexpr std::array<std::string_view, 4> modelKeys = {"com.apple.quicktime.model", "model",
                                                       "com.android.model", "device"};

template <typename Value, std::size_t Size>
std::size_t rankIn(const std::array<Value, Size> &values, const Value &value)
{
    return static_cast<std::size_t>(std::find(values.begin(), values.end(), value) -
                                    values.begin());
}

std::string nameOf(FourCc type)
{
    constexpr FourCc copyrightSign = 0xA9;
    const std::string name = textOf(type);
    // In UTF-8.
    return type >> 24U == copyrightSign ? "\xC2\xA9" + name.substr(1) : name;
}

std::string textAt(const SourceFile &source, std::uint64_t from, std::uint64_t to)
{
    const Bytes bytes = source.copy(from, std::min(to - std::min(from, to), longestText));
    return {bytes.begin(), bytes.end()};
}

/** UTF-16 with the highest byte first, of which only what is plain in UTF-8 as well is kept. */
std::string fromUtf16(const std::string &text)
{
    std::string plain;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        const bool isAscii = text[i] == 0 && static_cast<unsigned char>(text[i + 1]) < 0x80;
        plain += isAscii ? text[i + 1] : '?';
    }
    return plain;
}

/** The value of an item of a list, which stands in a box of its own ("data"). */
std::optional<std::string> itemText(const SourceFile &source, const Box &item)
{
    constexpr std::uint32_t utf16 = 2;
    constexpr std::uint64_t header = 8;
    const auto data = readBox(source, item.body(), item.end);
    if (!data || data->type != fourCc("data") || data->bodySize() < header)
        return std::nullopt;
    const ByteView start = source.view(data->body(), 4);
    const std::uint32_t kind = start.size() == 4 ? be32(start.data()) : 0;
    const std::string text = textAt(source, data->body() + header, data->end);
    return kind == utf16 ? fromUtf16(text) : text;
}

/** The text of an atom, in any of the forms that there are. */
std::string atomText(const SourceFile &source, const Box &atom)
{
    if (auto text = itemText(source, atom))
        return *text;
    std::string text = textAt(source, atom.body(), atom.end);
    const auto number = [&text](std::size_t i) {
        return text.size() > i + 1 ? be16(reinterpret_cast<const std::uint8_t *>(text.data()) + i)
                                   : 0;
    };
    constexpr std::size_t textHeader = 4;
    constexpr std::size_t versionedHeader = 6;
    // QuickTime: length, language, text; there may be more in other languages.
    if (text.size() > textHeader && number(0) > 0 && number(0) <= text.size() - textHeader)
        return text.substr(textHeader, number(0));
    // Phones: version and language.
    if (text.size() > versionedHeader && number(0) == 0)
        return text.substr(versionedHeader);
    return text;
}

/** Chooses the most preferred of the names that it is shown. */
struct Choice
{
    std::size_t bestRank = std::string::npos;
    std::optional<DeviceName> name = {};

    void offer(std::size_t rank, std::optional<DeviceName> offered)
    {
        if (!offered || rank >= bestRank)
            return;
        bestRank = rank;
        name = std::move(offered);
    }
};

class IsoDeviceReader
{
public:
    explicit IsoDeviceReader(const SourceFile &file) : source(file) {}

    Device read()
    {
        for (const Box &index : findStructure(source, structureReach).indexes) {
            const auto parts = childrenOf(source, index);
            device.complete(fromTexts(parts, "of the file"));
            for (const Box &part : parts) {
                if (part.type == fourCc("trak"))
                    device.complete(fromTexts(childrenOf(source, part), "of a track"));
            }
            for (const Box &part : parts) {
                if (part.type == fourCc("udta"))
                    takeVendorBoxes(childrenOf(source, part));
            }
            takeVendorBoxes(parts);
        }
        takeVendorBoxes(readBoxes(source, 0, source.size()));
        return std::move(device);
    }

private:
    // Without a sound index, this much of the file is looked through for what is left of it.
    static constexpr std::uint64_t structureReach = 64ULL << 20U;

    /** The keys and texts among the boxes of the movie or of a track. */
    Device fromTexts(const std::vector<Box> &boxes, const std::string &owner) const
    {
        Device found;
        if (const auto meta = findBox(boxes, fourCc("meta")))
            found.complete(fromKeys(*meta, owner));
        // There is to be one of these; programs that add a text add another.
        for (const Box &box : boxes) {
            if (box.type == fourCc("udta"))
                found.complete(fromUserData(childrenOf(source, box), owner));
        }
        return found;
    }

    Device fromUserData(const std::vector<Box> &atoms, const std::string &owner) const
    {
        Device found;
        const auto meta = findBox(atoms, fourCc("meta"));
        if (meta)
            found.complete(fromKeys(*meta, owner));
        found.complete(fromAtoms(atoms, owner));
        if (meta) {
            if (const auto list = findBox(metaBoxes(*meta), fourCc("ilst")))
                found.complete(fromAtoms(items(*list), owner));
        }
        return found;
    }

    /** QuickTime's has no version before its boxes, MP4's has. */
    std::vector<Box> metaBoxes(const Box &meta) const
    {
        constexpr std::uint64_t versionSize = 4;
        const auto first = readBox(source, meta.body(), meta.end);
        const bool isPlain = first && first->type == fourCc("hdlr") && !first->isCut;
        return readBoxes(source, meta.body() + (isPlain ? 0 : versionSize), meta.end);
    }

    /** The boxes of a list, whose types may be numbers. */
    std::vector<Box> items(const Box &list) const
    {
        constexpr std::size_t mostItems = 1000;
        std::vector<Box> found;
        auto item = readBox(source, list.body(), list.end);
        for (; item && found.size() < mostItems; item = readBox(source, item->end, list.end))
            found.push_back(*item);
        return found;
    }

    std::vector<std::string> keyNames(const Box &keys) const
    {
        constexpr std::uint64_t header = 8;
        std::vector<std::string> names;
        // An entry is built like a box: its size, a type of names, the name.
        const Box entries = {.offset = keys.body() + header, .headerSize = 0, .end = keys.end};
        for (const Box &entry : items(entries))
            names.push_back(textAt(source, entry.body(), entry.end));
        return names;
    }

    Device fromKeys(const Box &meta, const std::string &owner) const
    {
        const auto boxes = metaBoxes(meta);
        const auto keys = findBox(boxes, fourCc("keys"));
        const auto list = findBox(boxes, fourCc("ilst"));
        if (!keys || !list)
            return {};
        const auto names = keyNames(*keys);
        Choice make;
        Choice model;
        for (const Box &item : items(*list)) {
            if (item.type == 0 || item.type > names.size())
                continue;
            const std::string &key = names[item.type - 1];
            std::string place = "metadata key \"";
            place.append(key).append("\" ").append(owner);
            const std::string text = itemText(source, item).value_or("");
            if (const std::size_t rank = rankIn(makeKeys, std::string_view(key));
                rank < makeKeys.size())
                make.offer(rank, deviceName(text, place));
            if (const std::size_t rank = rankIn(modelKeys, std::string_view(key));
                rank < modelKeys.size())
                model.offer(rank, deviceName(text, place));
        }
        return {.make = std::move(make.name), .model = std::move(model.name)};
    }

    Device fromAtoms(const std::vector<Box> &atoms, const std::string &owner) const
    {
        Choice make;
        Choice model;
        for (const Box &atom : atoms) {
            const std::string place = "text \"" + nameOf(atom.type) + "\" " + owner;
            if (const std::size_t rank = rankIn(makeAtoms, atom.type); rank < makeAtoms.size())
                make.offer(rank, deviceName(atomText(source, atom), place));
            if (const std::size_t rank = rankIn(modelAtoms, atom.type); rank < modelAtoms.size())
                model.offer(rank, deviceName(atomText(source, atom), place));
        }
        return {.make = std::move(make.name), .model = std::move(model.name)};
    }

    void takeVendorBoxes(const std::vector<Box> &boxes)
    {
        constexpr std::array ofTheFormat = {fourCc("mvhd"), fourCc("trak"), fourCc("mvex"),
                                            fourCc("mdat"), fourCc("moov"), fourCc("moof"),
                                            fourCc("free"), fourCc("ftyp"), fourCc("sidx"),
                                            fourCc("mfra"), fourCc("udta")};
        for (const Box &box : boxes) {
            if (device.isComplete())
                return;
            if (rankIn(ofTheFormat, box.type) != ofTheFormat.size() ||
                box.bodySize() > longestVendorData || ++vendorBoxes > mostVendorBoxes)
                continue;
            device.complete(readVendorData(source.copy(box.body(), box.bodySize()),
                                           "box \"" + nameOf(box.type) + "\""));
        }
    }

    const SourceFile &source;
    Device device;
    int vendorBoxes = 0;
};

} // namespace

Device readIsoDevice(const SourceFile &source)
{
    return IsoDeviceReader(source).read();
}
