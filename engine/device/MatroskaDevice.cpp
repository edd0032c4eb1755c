#include "engine/device/MatroskaDevice.h"

#include "engine/matroska/Ebml.h"
#include "engine/recording/FileEnds.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace {

constexpr std::uint32_t tag = 0x7373;
constexpr std::uint32_t targets = 0x63C0;
constexpr std::uint32_t trackTarget = 0x63C5;
constexpr std::uint32_t simpleTag = 0x67C8;
constexpr std::uint32_t tagName = 0x45A3;
constexpr std::uint32_t tagString = 0x4487;

// The more particular name first.
constexpr std::array<std::string_view, 4> makeNames = {"com.apple.quicktime.make", "make",
                                                       "com.android.manufacturer", "manufacturer"};
constexpr std::array<std::string_view, 4> modelNames = {"com.apple.quicktime.model", "model",
                                                        "com.android.model", "device"};

std::string textOf(const SourceFile &source, const Element &element)
{
    constexpr std::uint64_t longest = 4096;
    const Bytes bytes = source.copy(element.body(), std::min(element.bodySize(), longest));
    return {bytes.begin(), bytes.end()};
}

std::string inLowerCase(std::string text)
{
    for (char &c : text)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

class TagReader
{
public:
    explicit TagReader(const SourceFile &file) : source(file) {}

    Device read()
    {
        constexpr std::uint64_t reach = 4U << 20U;
        constexpr std::string_view mark("\x12\x54\xC3\x67", 4);
        // What is made up may have one at every place, each with all that follows in it.
        constexpr int mostLists = 32;
        int lists = 0;
        forEachMark(source, mark, reach, [this, &lists](std::uint64_t place) {
            const auto element = readElement(source, place, source.size());
            if (element && !element->isOpen)
                takeTags(*element);
            return ++lists < mostLists && !ofFile.isComplete();
        });
        ofFile.complete(ofTracks);
        return std::move(ofFile);
    }

private:
    void takeTags(const Element &tags)
    {
        for (const Element &one : childrenOf(source, tags)) {
            if (one.id != tag)
                continue;
            const auto fields = childrenOf(source, one);
            const auto target = findElement(fields, targets);
            const bool isOfTrack =
                target && findElement(childrenOf(source, *target), trackTarget).has_value();
            takeNames(fields, isOfTrack);
        }
    }

    void takeNames(const std::vector<Element> &fields, bool isOfTrack)
    {
        Device found;
        std::size_t makeRank = makeNames.size();
        std::size_t modelRank = modelNames.size();
        for (const Element &field : fields) {
            const auto parts = childrenOf(source, field);
            const auto name = findElement(parts, tagName);
            const auto value = findElement(parts, tagString);
            if (field.id != simpleTag || !name || !value)
                continue;
            const std::string key = textOf(source, *name);
            auto device =
                deviceName(textOf(source, *value),
                           "tag \"" + key + (isOfTrack ? "\" of a track" : "\" of the file"));
            takeIfBetter(makeNames, inLowerCase(key), device, makeRank, found.make);
            takeIfBetter(modelNames, inLowerCase(key), device, modelRank, found.model);
        }
        (isOfTrack ? ofTracks : ofFile).complete(found);
    }

    static void takeIfBetter(const std::array<std::string_view, 4> &names, const std::string &key,
                             const std::optional<DeviceName> &device, std::size_t &best,
                             std::optional<DeviceName> &target)
    {
        const auto rank =
            static_cast<std::size_t>(std::find(names.begin(), names.end(), key) - names.begin());
        if (!device || rank >= best)
            return;
        best = rank;
        target = device;
    }

    const SourceFile &source;
    Device ofFile;
    Device ofTracks;
};

} // namespace

Device readMatroskaDevice(const SourceFile &source)
{
    return TagReader(source).read();
}
