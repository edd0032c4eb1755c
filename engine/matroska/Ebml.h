#pragma once

#include "engine/recording/SourceFile.h"

#include <optional>
#include <vector>

/** Elements of EBML, the binary form of Matroska and WebM. */

namespace MatroskaId {

constexpr std::uint32_t header = 0x1A45DFA3;
constexpr std::uint32_t segment = 0x18538067;
constexpr std::uint32_t seekHead = 0x114D9B74;
constexpr std::uint32_t info = 0x1549A966;
constexpr std::uint32_t tracks = 0x1654AE6B;
constexpr std::uint32_t cluster = 0x1F43B675;
constexpr std::uint32_t cues = 0x1C53BB6B;
constexpr std::uint32_t chapters = 0x1043A770;
constexpr std::uint32_t tags = 0x1254C367;
constexpr std::uint32_t attachments = 0x1941A469;

constexpr std::uint32_t filler = 0xEC;
constexpr std::uint32_t checksum = 0xBF;

constexpr std::uint32_t clusterTime = 0xE7;
constexpr std::uint32_t clusterPosition = 0xA7;
constexpr std::uint32_t previousSize = 0xAB;
constexpr std::uint32_t simpleBlock = 0xA3;
constexpr std::uint32_t blockGroup = 0xA0;
constexpr std::uint32_t silentTracks = 0x5854;
constexpr std::uint32_t block = 0xA1;
constexpr std::uint32_t reference = 0xFB;

constexpr std::uint32_t timestampScale = 0x2AD7B1;
constexpr std::uint32_t duration = 0x4489;

constexpr std::uint32_t trackEntry = 0xAE;
constexpr std::uint32_t trackNumber = 0xD7;
constexpr std::uint32_t trackUid = 0x73C5;
constexpr std::uint32_t trackType = 0x83;
constexpr std::uint32_t codecId = 0x86;
constexpr std::uint32_t codecPrivate = 0x63A2;
constexpr std::uint32_t defaultDuration = 0x23E383;
constexpr std::uint32_t contentEncodings = 0x6D80;
constexpr std::uint32_t trackTimestampScale = 0x23314F;

constexpr std::uint32_t video = 0xE0;
constexpr std::uint32_t pixelWidth = 0xB0;
constexpr std::uint32_t pixelHeight = 0xBA;
constexpr std::uint32_t displayWidth = 0x54B0;
constexpr std::uint32_t displayHeight = 0x54BA;
constexpr std::uint32_t audio = 0xE1;
constexpr std::uint32_t samplingFrequency = 0xB5;
constexpr std::uint32_t channels = 0x9F;
constexpr std::uint32_t bitDepth = 0x6264;

constexpr std::uint32_t seek = 0x4DBB;
constexpr std::uint32_t seekId = 0x53AB;
constexpr std::uint32_t seekPosition = 0x53AC;

constexpr std::uint32_t cuePoint = 0xBB;
constexpr std::uint32_t cueTime = 0xB3;
constexpr std::uint32_t cuePositions = 0xB7;
constexpr std::uint32_t cueTrack = 0xF7;
constexpr std::uint32_t cueCluster = 0xF1;

} // namespace MatroskaId

struct Element
{
    std::uint32_t id = 0;
    std::uint64_t offset = 0;
    std::uint64_t headerSize = 0;
    /** Behind the last byte that is there. */
    std::uint64_t end = 0;
    /** It does not say how long it is. */
    bool isOpen = false;
    /** It says that it is longer than what holds it. */
    bool isCut = false;

    std::uint64_t body() const { return offset + headerSize; }
    std::uint64_t bodySize() const { return end - body(); }
    std::uint64_t size() const { return end - offset; }
};

/** Reads the element at `offset`; none where there can be none. */
std::optional<Element> readElement(const SourceFile &source, std::uint64_t offset,
                                   std::uint64_t limit);

/** The elements that another holds, up to the first that cannot be one. */
constexpr std::size_t mostChildren = 100000;
std::vector<Element> childrenOf(const SourceFile &source, const Element &element,
                                std::size_t most = mostChildren);

std::optional<Element> findElement(const std::vector<Element> &elements, std::uint32_t id);

/** The number that an element holds, of at most eight bytes. */
std::uint64_t numberOf(const SourceFile &source, const Element &element);

/** A number of variable length, as in the header of a block. Returns its length, 0 for none. */
unsigned readVariable(ByteView bytes, std::uint64_t &value);

void appendElementHeader(Bytes &target, std::uint32_t id, std::uint64_t bodySize);
/** With a size of eight bytes, whatever it is. */
void appendLongElementHeader(Bytes &target, std::uint32_t id, std::uint64_t bodySize);
void appendElement(Bytes &target, std::uint32_t id, ByteView body);
void appendNumber(Bytes &target, std::uint32_t id, std::uint64_t number);
