#include "tests/corpus/CameraFile.h"

#include <QtEndian>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

quint32 numberAt(const QByteArray &bytes, qsizetype offset)
{
    return qFromBigEndian<quint32>(bytes.constData() + offset);
}

QByteArray number(quint64 value, int width = 4)
{
    QByteArray bytes(sizeof value, '\0');
    qToBigEndian(value, bytes.data());
    return bytes.rightJustified(width, '\0').right(width);
}

QByteArray box(const QByteArray &type, const QByteArray &body)
{
    return number(static_cast<quint64>(body.size()) + 8) + type + body;
}

struct Part
{
    QByteArray type;
    QByteArray body;
};

std::vector<Part> partsOf(const QByteArray &body)
{
    std::vector<Part> parts;
    for (qsizetype place = 0; place + 8 <= body.size();) {
        const qsizetype size = numberAt(body, place);
        if (size < 8)
            qFatal("the recording's boxes are not sound");
        parts.push_back({body.mid(place + 4, 4), body.mid(place + 8, size - 8)});
        place += size;
    }
    return parts;
}

QByteArray partOf(const QByteArray &body, const char *type)
{
    for (const Part &part : partsOf(body)) {
        if (part.type == type)
            return part.body;
    }
    qFatal("the recording has no such box: %s", type);
}

QByteArray tablesOf(const QByteArray &track)
{
    return partOf(partOf(partOf(track, "mdia"), "minf"), "stbl");
}

/** The packets of a track, in its order. */
std::vector<QByteArray> packetsOf(const QByteArray &file, const QByteArray &track)
{
    const QByteArray tables = tablesOf(track);
    const QByteArray sizes = partOf(tables, "stsz");
    const QByteArray chunks = partOf(tables, "stsc");
    const QByteArray places = partOf(tables, "stco");
    std::vector<QByteArray> packets;
    qsizetype run = 0;
    const auto runs = static_cast<qsizetype>(numberAt(chunks, 4));
    for (qsizetype chunk = 0; chunk < numberAt(places, 4); ++chunk) {
        while (run + 1 < runs && numberAt(chunks, 8 + 12 * (run + 1)) <= chunk + 1)
            ++run;
        qsizetype place = numberAt(places, 8 + 4 * chunk);
        for (quint32 i = 0; i < numberAt(chunks, 12 + 12 * run); ++i) {
            // Of plain sound, one size is said for all.
            const quint32 uniform = numberAt(sizes, 4);
            const auto size = static_cast<qsizetype>(
                uniform > 0 ? uniform
                            : numberAt(sizes, 12 + 4 * static_cast<qsizetype>(packets.size())));
            packets.push_back(file.mid(place, size));
            place += size;
        }
    }
    return packets;
}

struct Chunk
{
    quint32 offset;
    quint32 packets;
};

QByteArray chunkTables(const std::vector<Chunk> &chunks)
{
    QByteArray counts = number(0) + number(chunks.size());
    QByteArray places = counts;
    for (std::size_t i = 0; i < chunks.size(); ++i) {
        counts += number(i + 1) + number(chunks[i].packets) + number(1);
        places += number(chunks[i].offset);
    }
    return box("stsc", counts) + box("stco", places);
}

/** A box with the tables of chunks in it replaced, however deep they are. */
QByteArray withChunks(const QByteArray &body, const std::vector<Chunk> &chunks)
{
    QByteArray result;
    for (const Part &part : partsOf(body)) {
        if (part.type == "mdia" || part.type == "minf")
            result += box(part.type, withChunks(part.body, chunks));
        else if (part.type == "stbl")
            result += box(part.type, withChunks(part.body, chunks) + chunkTables(chunks));
        else if (part.type != "stsc" && part.type != "stco")
            result += box(part.type, part.body);
    }
    return result;
}

QByteArray dataTrack(const QByteArray &type, int id, const std::vector<QByteArray> &packets,
                     const std::vector<Chunk> &chunks, int unitsPerPacket)
{
    const quint64 length = packets.size() * static_cast<quint64>(unitsPerPacket);
    const QByteArray matrix =
        number(0x10000) + number(0, 12) + number(0x10000) + number(0, 12) + number(0x40000000);
    const QByteArray header = number(3) + number(0, 8) + number(static_cast<quint64>(id)) +
                              number(0) + number(length) + number(0, 16) + matrix + number(0, 8);
    const QByteArray mediaHeader =
        number(0, 12) + number(1000) + number(length) + number(0x55c40000);
    const QByteArray handler = number(0, 8) + "meta" + number(0, 12) + QByteArray("data\0", 5);
    QByteArray sizes = number(0, 8) + number(packets.size());
    for (const QByteArray &packet : packets)
        sizes += number(static_cast<quint64>(packet.size()));
    const QByteArray description = number(0) + number(1) + box(type, number(0, 6) + number(1, 2));
    const QByteArray durations = number(0) + number(1) + number(packets.size()) +
                                 number(static_cast<quint64>(unitsPerPacket));
    const QByteArray tables = box("stsd", description) + box("stts", durations) +
                              box("stsz", sizes) + chunkTables(chunks);
    const QByteArray reference =
        box("dinf", box("dref", number(0) + number(1) + box("url ", number(1))));
    const QByteArray information = box("nmhd", number(0)) + reference + box("stbl", tables);
    return box("trak",
               box("tkhd", header) + box("mdia", box("mdhd", mediaHeader) + box("hdlr", handler) +
                                                     box("minf", information)));
}

QByteArray dataPacket(const CameraLayout &layout, std::mt19937 &generator)
{
    QByteArray noise(static_cast<qsizetype>(120 + generator() % 200), '\0');
    for (char &byte : noise)
        byte = static_cast<char>(generator() >> 24U);
    if (!layout.isDataMarked)
        return noise;
    return QByteArray("DEVC\0\1", 6) + number(static_cast<quint64>(noise.size()), 2) + noise;
}

} // namespace

QByteArray arrangedAsCamera(const QByteArray &file, const CameraLayout &layout)
{
    std::mt19937 generator(static_cast<unsigned>(file.size()));
    QByteArray movie;
    QByteArray output;
    for (const Part &part : partsOf(file)) {
        if (part.type == "moov")
            movie = part.body;
        else if (part.type == "ftyp")
            output = box("ftyp", part.body);
    }
    std::vector<std::vector<QByteArray>> tracks;
    for (const Part &part : partsOf(movie)) {
        if (part.type == "trak")
            tracks.push_back(packetsOf(file, part.body));
    }
    const qsizetype start = output.size();
    output += box("mdat", {});
    std::vector<std::vector<Chunk>> chunks(tracks.size() + 1);
    std::vector<QByteArray> data;
    const auto add = [&](std::size_t track, auto first, auto last) {
        if (first == last)
            return;
        output.append((layout.alignment - output.size() % layout.alignment) % layout.alignment,
                      '\0');
        chunks[track].push_back(
            {static_cast<quint32>(output.size()), static_cast<quint32>(last - first)});
        for (; first != last; ++first)
            output += *first;
    };
    std::vector<std::size_t> order(tracks.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    const auto pictures = static_cast<double>(tracks[0].size());
    const auto step = static_cast<std::size_t>(layout.picturesPerChunk);
    for (std::size_t from = 0; from < tracks[0].size(); from += step) {
        if (layout.changesOrder)
            std::shuffle(order.begin() + 1, order.end(), generator);
        for (const std::size_t i : order) {
            // Packets up to the same time.
            const double perPicture = static_cast<double>(tracks[i].size()) / pictures;
            const auto at = [&](std::size_t picture) {
                const auto place =
                    static_cast<std::size_t>(static_cast<double>(picture) * perPicture);
                return tracks[i].begin() +
                       static_cast<std::ptrdiff_t>(std::min(place, tracks[i].size()));
            };
            add(i, at(from), at(std::min(from + step, tracks[0].size())));
        }
        if (!layout.dataType.isEmpty()) {
            data.push_back(dataPacket(layout, generator));
            add(tracks.size(), data.end() - 1, data.end());
        }
    }
    output.replace(start, 4, number(static_cast<quint64>(output.size() - start)));

    QByteArray index;
    std::size_t track = 0;
    for (const Part &part : partsOf(movie)) {
        if (part.type == "trak")
            index += box("trak", withChunks(part.body, chunks[track++]));
        else
            index += box(part.type, part.body);
    }
    if (!data.empty())
        index += dataTrack(layout.dataType, 99, data, chunks.back(),
                           1000 * layout.picturesPerChunk / 30);
    return output + box("moov", index);
}
