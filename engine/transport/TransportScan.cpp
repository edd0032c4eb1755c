#include "engine/transport/TransportScan.h"

#include "engine/recording/ForwardReader.h"

#include <algorithm>
#include <array>

namespace {

constexpr std::uint8_t syncByte = 0x47;
constexpr std::size_t pieceSize = 188;
constexpr int timedPacketSize = 192;
constexpr std::size_t timeSize = 4;
constexpr int pids = 1 << 13;
constexpr int nullPid = pids - 1;

// As many as hours of pictures; what has more broken ones has nothing to be kept.
constexpr std::size_t mostBroken = 1U << 21U;

/** One transport packet's header. */
struct Piece
{
    explicit Piece(ByteView bytes)
        : pid(static_cast<int>(be16(&bytes[1]) & 0x1fffU)),
          isStart((bytes[1] & 0x40U) != 0),
          isErroneous((bytes[1] & 0x80U) != 0),
          hasPayload((bytes[3] & 0x10U) != 0),
          counter(bytes[3] & 0x0fU)
    {
        constexpr std::size_t header = 4;
        payload = header;
        if ((bytes[3] & 0x20U) != 0) {
            payload += 1U + bytes[header];
            isStuffed =
                bytes[header] == 0 || bytes[payload < pieceSize ? payload - 1 : header] == 0xff;
            isJump = bytes[header] > 0 && (bytes[header + 1] & 0x80U) != 0;
        }
    }

    int pid;
    bool isStart;
    bool isErroneous;
    bool hasPayload;
    unsigned counter;
    /** Where it begins. */
    std::size_t payload;
    /** Filled up, as the last piece of a packet is. */
    bool isStuffed = false;
    /** Says itself that the count starts anew. */
    bool isJump = false;
};

class Scan
{
public:
    Scan(const SourceFile &file, int packetSize)
        : source(file),
          reader(file, "scanned"),
          step(static_cast<std::size_t>(packetSize)),
          head(packetSize == timedPacketSize ? timeSize : 0)
    {
    }

    TransportScan run()
    {
        std::uint64_t position = 0;
        while (position + step <= source.size()) {
            // With the first byte of the next.
            const ByteView bytes = reader.read(position, step + head + 1);
            if (bytes.size() < step)
                break;
            const bool leadsOn = bytes.size() <= step + head || bytes[step + head] == syncByte;
            if (bytes[head] == syncByte && leadsOn) {
                take(bytes.subspan(head, pieceSize), position);
                position += step;
            } else {
                ++position;
            }
        }
        for (int pid = 0; pid < nullPid; ++pid) {
            const State &state = states[static_cast<std::size_t>(pid)];
            if (state.isPacket && !state.isFinished)
                result.unfinished.insert(pid);
        }
        return std::move(result);
    }

private:
    struct State
    {
        bool isKnown = false;
        unsigned counter = 0;
        /** Holds packets of a picture or of sound, not a table. */
        bool isPacket = false;
        bool isFinished = false;
        std::int64_t start = -1;
        /** It does not say how long it is. */
        bool isOpen = true;
        /** Bytes that are still to come, where it does. */
        std::int64_t missing = 0;
    };

    void take(ByteView bytes, std::uint64_t position)
    {
        const Piece piece(bytes);
        if (piece.pid == nullPid || !piece.hasPayload || piece.payload >= pieceSize)
            return;
        // Writers put the pieces of one packet together: where another begins, all are there.
        if (piece.isStart && last != nullptr && last != &states[indexOf(piece)])
            last->isFinished = last->isFinished || last->missing == 0;
        State &state = states[indexOf(piece)];
        if (state.isKnown && piece.counter == state.counter && !piece.isStart)
            return;
        const bool follows =
            !state.isKnown || piece.isJump || piece.counter == ((state.counter + 1) & 0x0fU);
        // Between two packets, none of the one before need be missing.
        const bool isBetween = piece.isStart && state.isFinished;
        if ((!follows || piece.isErroneous) && state.isPacket && !isBetween &&
            brokenPackets < mostBroken && result.broken[piece.pid].insert(state.start).second)
            ++brokenPackets;
        state.isKnown = true;
        state.counter = piece.counter;
        const ByteView payload = bytes.subspan(piece.payload);
        if (piece.isStart)
            begin(state, payload, position);
        const auto size = static_cast<std::int64_t>(payload.size());
        if (state.isOpen)
            state.isFinished = piece.isStuffed;
        else
            state.isFinished = (state.missing -= std::min(size, state.missing)) == 0;
        last = &state;
    }

    static std::size_t indexOf(const Piece &piece) { return static_cast<std::size_t>(piece.pid); }

    static void begin(State &state, ByteView payload, std::uint64_t position)
    {
        constexpr std::size_t headerSize = 6;
        constexpr std::uint32_t startCode = 1;
        state.isPacket = payload.size() >= headerSize && be24(payload.data()) == startCode;
        state.start = static_cast<std::int64_t>(position);
        const std::uint32_t length = state.isPacket ? be16(&payload[4]) : 0;
        state.isOpen = length == 0;
        state.missing = length == 0 ? 0 : static_cast<std::int64_t>(length + headerSize);
    }

    const SourceFile &source;
    ForwardReader reader;
    std::size_t step;
    std::size_t head;
    std::array<State, pids> states{};
    State *last = nullptr;
    std::size_t brokenPackets = 0;
    TransportScan result;
};

} // namespace

TransportScan scanTransport(const SourceFile &source, int packetSize)
{
    return Scan(source, packetSize).run();
}
