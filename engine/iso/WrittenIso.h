#pragma once

#include "engine/iso/IsoRecording.h"
#include "engine/recording/ByteHash.h"
#include "engine/recording/OutputFile.h"

#include <optional>
#include <vector>

/** One packet that is read back by itself. */
struct WrittenPacket
{
    /** Which of the track's packets in the file it is, from 0. */
    std::uint64_t number = 0;
    std::uint64_t offset = 0;
    std::uint32_t size = 0;
    bool isKey = false;
    /** When it is shown, in the track's units, counted from when its first packet is decoded. */
    std::int64_t shown = 0;
    /** Of its bytes, as they were read from the damaged file. */
    std::uint64_t hash = 0;
};

/** What one track of a written file must read back as. */
struct WrittenTrack
{
    /** Plain sound: readers cut it into packets of their own. */
    bool isUniform = false;
    std::uint64_t packets = 0;
    /** A TableHash; of no account for plain sound. */
    std::uint64_t tableHash = 0;
    /** Of what an index has of them: a PlaceHash. */
    std::uint64_t placeHash = 0;
    /** Packets that follow one another, from several places of the track, in order. */
    std::vector<std::vector<WrittenPacket>> stretches;
};

/** What a written file must read back as. */
struct WrittenIso
{
    /** Its first bytes, and the hashes of the others: OutputFile::hashes(). */
    Bytes head;
    std::vector<std::uint64_t> bodyHashes;
    std::uint64_t size = 0;
    /** In the file's order. */
    std::vector<WrittenTrack> tracks;
};

/**
 * Of where packets stand and when they are decoded. Of plain sound, only of where its bytes stand,
 * however they are cut into packets.
 */
class PlaceHash
{
public:
    explicit PlaceHash(bool isUniform) : joinsPackets(isUniform) {}

    void add(std::uint64_t offset, std::uint64_t size, std::int64_t time);
    std::uint64_t value() const;

private:
    bool joinsPackets;
    NumberHash hash;
    /** What is not in the hash yet. */
    std::uint64_t start = 0;
    std::uint64_t end = 0;
};

/**
 * Of all that tables say of a track's packets. Lost packets do not count, and times count from the
 * first other's.
 */
class TableHash
{
public:
    /** @param hasKeyList without a list all pictures are key pictures */
    explicit TableHash(bool hasKeyList) : listsKeys(hasKeyList) {}

    void add(const Packet &packet);
    std::uint64_t value() const { return hash.value(); }

private:
    bool listsKeys;
    NumberHash hash;
    std::optional<std::int64_t> start = {};
};

/** Notes a recording's packets while they are written. */
class PacketNotes
{
public:
    /** The recording must live as long, and its tracks keep the number of their packets. */
    explicit PacketNotes(const IsoRecording &ofRecording);

    /** Whether the packet will be read back by itself, as few are. */
    bool wants(std::size_t track, const Packet &packet) const;
    /** @param hash of its bytes as they were read */
    void take(std::size_t track, const Packet &packet, std::uint64_t hash);

    /**
     * To be called when the packets have their places in the file and all of it is written.
     *
     * @param head what was written before output.beginHashes(), as it is in the end
     */
    WrittenIso finish(OutputFile &output, Bytes head) const;

private:
    struct Stretch
    {
        std::size_t first = 0;
        std::vector<std::uint64_t> hashes;

        bool holds(std::size_t index) const
        {
            return index >= first && index - first < hashes.size();
        }
    };

    std::size_t indexOf(std::size_t track, const Packet &packet) const;
    WrittenTrack noteOf(std::size_t index) const;

    const IsoRecording &recording;
    /** Of each track. */
    std::vector<std::vector<Stretch>> stretches;
};
