#include "engine/advanced/ParameterSets.h"

#include "engine/advanced/BitReader.h"

#include <algorithm>
#include <bit>

namespace {

// Sets in the media that change all the time are no sets.
constexpr std::size_t mostUnits = 64;

// Bytes of a slice that hold its header as far as it is read.
constexpr std::size_t sliceStart = 40;

constexpr unsigned avcSequenceSet = 7;
constexpr unsigned avcPictureSet = 8;
constexpr unsigned hevcVideoSet = 32;
constexpr unsigned hevcSequenceSet = 33;
constexpr unsigned hevcPictureSet = 34;

bool hasChromaFormat(std::uint32_t profile)
{
    constexpr std::uint32_t profiles[] = {100, 110, 122, 244, 44, 83, 86, 118, 128, 138, 139, 134};
    return std::find(std::begin(profiles), std::end(profiles), profile) != std::end(profiles);
}

void skipScalingList(BitReader &reader, unsigned size)
{
    // Differences may be any numbers of 32 bits.
    std::int64_t last = 8;
    std::int64_t next = 8;
    for (unsigned i = 0; i < size && !reader.isOver(); ++i) {
        if (next != 0)
            next = (last + reader.signedGolomb() + 256) % 256;
        last = next == 0 ? last : next;
    }
}

/** Profile, level and the like of an HEVC sequence. */
void skipProfile(BitReader &reader, unsigned subLayers)
{
    reader.skip(88);
    reader.skip(8);
    std::vector<std::pair<bool, bool>> present;
    for (unsigned i = 0; i < subLayers; ++i) {
        const bool hasProfile = reader.flag();
        present.emplace_back(hasProfile, reader.flag());
    }
    if (subLayers > 0)
        reader.skip(2 * (8 - subLayers));
    for (const auto &[hasProfile, hasLevel] : present)
        reader.skip((hasProfile ? 88U : 0U) + (hasLevel ? 8U : 0U));
}

} // namespace

void ParameterSets::addConfiguration(ByteView body)
{
    const auto takeUnits = [&](std::size_t &place, std::size_t count) {
        for (; count > 0 && place + 2 <= body.size(); --count) {
            const std::size_t size = be16(&body[place]);
            place += 2;
            if (size > body.size() - place)
                return;
            addUnit(body.subspan(place, size));
            place += size;
        }
    };
    if (!isHevc) {
        constexpr std::size_t sequenceCount = 5;
        if (body.size() <= sequenceCount + 1)
            return;
        std::size_t place = sequenceCount + 1;
        takeUnits(place, body[sequenceCount] & 0x1fU);
        if (place < body.size()) {
            const std::size_t count = body[place++];
            takeUnits(place, count);
        }
        return;
    }
    constexpr std::size_t arrayCount = 22;
    if (body.size() <= arrayCount)
        return;
    std::size_t place = arrayCount + 1;
    for (unsigned i = 0; i < body[arrayCount] && place + 3 <= body.size(); ++i) {
        const std::size_t count = be16(&body[place + 1]);
        place += 3;
        takeUnits(place, count);
    }
}

bool ParameterSets::isParameterSet(ByteView unit) const
{
    if (unit.empty())
        return false;
    const unsigned type = Nal::typeOf(unit[0], isHevc);
    return isHevc ? type >= hevcVideoSet && type <= hevcPictureSet
                  : type == avcSequenceSet || type == avcPictureSet;
}

bool ParameterSets::knows(ByteView unit) const
{
    return std::any_of(units.begin(), units.end(), [&](const Bytes &known) {
        return std::equal(known.begin(), known.end(), unit.begin(), unit.end());
    });
}

void ParameterSets::addUnit(ByteView unit)
{
    if (!isParameterSet(unit) || units.size() >= mostUnits || knows(unit))
        return;
    units.emplace_back(unit.begin(), unit.end());
    if (isHevc)
        addHevc(unit);
    else
        addAvc(unit);
}

void ParameterSets::addAvc(ByteView unit)
{
    const Bytes payload = withoutEmulation(unit.subspan(1));
    if (Nal::typeOf(unit[0], false) == avcSequenceSet) {
        addAvcSequence(payload);
        return;
    }
    BitReader reader(payload);
    const std::uint32_t id = reader.golomb();
    const Picture picture = {.sequence = reader.golomb()};
    if (!reader.isOver())
        pictures[id] = picture;
}

void ParameterSets::addAvcSequence(const Bytes &payload)
{
    BitReader reader(payload);
    Sequence sequence;
    const std::uint32_t profile = reader.bits(8);
    reader.skip(16);
    const std::uint32_t id = reader.golomb();
    if (hasChromaFormat(profile)) {
        const std::uint32_t chroma = reader.golomb();
        sequence.hasSeparatePlanes = chroma == 3 && reader.flag();
        reader.golomb();
        reader.golomb();
        reader.skip(1);
        if (reader.flag()) {
            const unsigned lists = chroma == 3 ? 12 : 8;
            for (unsigned i = 0; i < lists; ++i) {
                if (reader.flag())
                    skipScalingList(reader, i < 6 ? 16 : 64);
            }
        }
    }
    sequence.frameNumberBits = reader.golomb() + 4;
    sequence.orderType = reader.golomb();
    if (sequence.orderType == 0) {
        sequence.orderBits = reader.golomb() + 4;
    } else if (sequence.orderType == 1) {
        reader.skip(1);
        reader.signedGolomb();
        reader.signedGolomb();
        const std::uint32_t cycle = std::min(reader.golomb(), 255U);
        for (std::uint32_t i = 0; i < cycle; ++i)
            reader.signedGolomb();
    }
    reader.golomb();
    reader.skip(1);
    const std::uint32_t width = reader.golomb() + 1;
    const std::uint32_t height = reader.golomb() + 1;
    sequence.hasFramesOnly = reader.flag();
    sequence.blocks = width * height * (sequence.hasFramesOnly ? 1 : 2);
    if (!reader.isOver() && sequence.frameNumberBits <= 16 && sequence.orderBits <= 16)
        sequences[id] = sequence;
}

void ParameterSets::addHevc(ByteView unit)
{
    if (unit.size() < 3)
        return;
    const unsigned type = Nal::typeOf(unit[0], true);
    const Bytes payload = withoutEmulation(unit.subspan(2));
    if (type == hevcSequenceSet) {
        addHevcSequence(payload);
    } else if (type == hevcPictureSet) {
        BitReader reader(payload);
        const std::uint32_t id = reader.golomb();
        Picture picture = {.sequence = reader.golomb()};
        picture.hasDependentSlices = reader.flag();
        picture.hasOutputFlag = reader.flag();
        picture.extraBits = reader.bits(3);
        if (!reader.isOver())
            pictures[id] = picture;
    }
}

void ParameterSets::addHevcSequence(const Bytes &payload)
{
    BitReader reader(payload);
    Sequence sequence;
    reader.skip(4);
    const unsigned subLayers = reader.bits(3);
    reader.skip(1);
    skipProfile(reader, subLayers);
    const std::uint32_t id = reader.golomb();
    if (reader.golomb() == 3)
        sequence.hasSeparatePlanes = reader.flag();
    const std::uint32_t width = reader.golomb();
    const std::uint32_t height = reader.golomb();
    if (reader.flag()) {
        for (int i = 0; i < 4; ++i)
            reader.golomb();
    }
    reader.golomb();
    reader.golomb();
    sequence.orderBits = reader.golomb() + 4;
    const bool isForEach = reader.flag();
    for (unsigned i = isForEach ? 0 : subLayers; i <= subLayers; ++i) {
        for (int field = 0; field < 3; ++field)
            reader.golomb();
    }
    const std::uint32_t least = reader.golomb() + 3;
    const std::uint32_t blockBits = least + reader.golomb();
    if (reader.isOver() || sequence.orderBits > 16 || blockBits < 3 || blockBits > 6)
        return;
    const std::uint32_t block = 1U << blockBits;
    sequence.blocks = ((width + block - 1) / block) * ((height + block - 1) / block);
    sequences[id] = sequence;
}

const ParameterSets::Sequence *ParameterSets::sequenceOf(std::uint32_t picture) const
{
    const auto set = pictures.find(picture);
    if (set == pictures.end())
        return nullptr;
    const auto sequence = sequences.find(set->second.sequence);
    return sequence != sequences.end() ? &sequence->second : nullptr;
}

std::optional<SliceHeader> ParameterSets::readSlice(ByteView unit) const
{
    unit = unit.first(std::min(unit.size(), sliceStart));
    return isHevc ? readHevcSlice(unit) : readAvcSlice(unit);
}

std::optional<SliceHeader> ParameterSets::readAvcSlice(ByteView unit) const
{
    constexpr unsigned keyType = 5;
    constexpr std::uint32_t mostTypes = 10;
    if (unit.size() < 3)
        return std::nullopt;
    const unsigned type = Nal::typeOf(unit[0], false);
    const Bytes payload = withoutEmulation(unit.subspan(1));
    BitReader reader(payload);
    SliceHeader slice;
    slice.address = reader.golomb();
    slice.isFirst = slice.address == 0;
    slice.type = reader.golomb();
    slice.parameterSet = reader.golomb();
    const Sequence *sequence = sequenceOf(slice.parameterSet);
    if (sequence == nullptr || slice.type >= mostTypes || slice.address >= sequence->blocks)
        return std::nullopt;
    slice.beginsSequence = type == keyType;
    slice.isKey = slice.beginsSequence;
    slice.isReference = (unit[0] & 0x60U) != 0;
    // A picture that all begins with is predicted from nothing, and others from it.
    const std::uint32_t kind = slice.type % 5;
    if (slice.beginsSequence && (!slice.isReference || (kind != 2 && kind != 4)))
        return std::nullopt;
    if (sequence->hasSeparatePlanes)
        reader.skip(2);
    slice.frameNumber = reader.bits(sequence->frameNumberBits);
    if (slice.beginsSequence && slice.frameNumber != 0)
        return std::nullopt;
    if (!sequence->hasFramesOnly) {
        slice.isField = reader.flag();
        slice.isBottomField = slice.isField && reader.flag();
    }
    constexpr std::uint32_t mostKeyNumbers = 65536;
    if (slice.beginsSequence && reader.golomb() >= mostKeyNumbers)
        return std::nullopt;
    if (sequence->orderType == 0) {
        slice.orderWidth = sequence->orderBits;
        slice.orderBits = reader.bits(slice.orderWidth);
    } else if (sequence->orderType == 2) {
        // Shown as they are decoded: the frame number counts on, by two, and a picture that none
        // refers to has the count before that of the next.
        slice.orderWidth = sequence->frameNumberBits + 1;
        slice.orderBits = 2 * slice.frameNumber - (slice.isReference ? 0U : 1U);
        slice.orderBits &= (1U << slice.orderWidth) - 1;
    }
    slice.carriesOrder = slice.isReference;
    return reader.isOver() ? std::nullopt : std::optional(slice);
}

std::optional<SliceHeader> ParameterSets::readHevcSlice(ByteView unit) const
{
    constexpr unsigned firstKey = 16;
    constexpr unsigned lastKey = 23;
    constexpr unsigned instantKeys[] = {19, 20};
    if (unit.size() < 4)
        return std::nullopt;
    const unsigned type = Nal::typeOf(unit[0], true);
    const Bytes payload = withoutEmulation(unit.subspan(2));
    BitReader reader(payload);
    SliceHeader slice;
    slice.isFirst = reader.flag();
    slice.isKey = type >= firstKey && type <= lastKey;
    slice.beginsSequence = type == instantKeys[0] || type == instantKeys[1];
    if (slice.isKey)
        reader.skip(1);
    slice.parameterSet = reader.golomb();
    const Sequence *sequence = sequenceOf(slice.parameterSet);
    if (sequence == nullptr || reader.isOver())
        return std::nullopt;
    const Picture &picture = pictures.at(slice.parameterSet);
    bool isDependent = false;
    if (!slice.isFirst) {
        isDependent = picture.hasDependentSlices && reader.flag();
        slice.address = reader.bits(static_cast<unsigned>(std::bit_width(sequence->blocks - 1)));
        if (slice.address == 0 || slice.address >= sequence->blocks)
            return std::nullopt;
    }
    constexpr unsigned pastReferences = 16;
    const unsigned layer = (unit[1] & 7U) - 1;
    slice.isReference = slice.isKey || type % 2 == 1 || type >= pastReferences;
    // Pictures that lead a key picture, and those that none refers to, do not count on.
    const bool isLeading = type >= 6 && type <= 9;
    slice.carriesOrder = layer == 0 && !isLeading && slice.isReference;
    if (isDependent)
        return slice;
    reader.skip(picture.extraBits);
    slice.type = reader.golomb();
    if (slice.type > 2 || (slice.isKey && slice.type != 2))
        return std::nullopt;
    if (picture.hasOutputFlag)
        reader.skip(1);
    if (sequence->hasSeparatePlanes)
        reader.skip(2);
    slice.orderWidth = sequence->orderBits;
    if (!slice.beginsSequence)
        slice.orderBits = reader.bits(slice.orderWidth);
    return reader.isOver() ? std::nullopt : std::optional(slice);
}
