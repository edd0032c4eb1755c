#include "tests/corpus/Damages.h"

#include <QtEndian>

#include <algorithm>
#include <random>

namespace {

quint32 numberAt(const QByteArray &bytes, qsizetype offset)
{
    return qFromBigEndian<quint32>(bytes.constData() + offset);
}

QByteArray bigEndian(quint32 number)
{
    QByteArray bytes(4, '\0');
    qToBigEndian(number, bytes.data());
    return bytes;
}

QByteArray noise(qsizetype size, unsigned seed)
{
    std::mt19937 generator(seed);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(generator() >> 24U);
    return bytes;
}

struct TopBox
{
    QByteArray type;
    qsizetype offset;
    qsizetype size;
};

/** The boxes of a sound file. */
std::vector<TopBox> topBoxes(const QByteArray &file)
{
    std::vector<TopBox> boxes;
    for (qsizetype offset = 0; offset + 8 <= file.size();) {
        auto size = static_cast<qsizetype>(numberAt(file, offset));
        if (size == 1)
            size = static_cast<qsizetype>(qFromBigEndian<quint64>(file.constData() + offset + 8));
        if (size < 8)
            qFatal("the master's boxes are not sound");
        boxes.push_back({file.mid(offset + 4, 4), offset, size});
        offset += size;
    }
    return boxes;
}

TopBox topBox(const QByteArray &file, const char *type, int number = 0)
{
    for (const TopBox &box : topBoxes(file)) {
        if (box.type == type && number-- == 0)
            return box;
    }
    qFatal("the master has no such box: %s", type);
}

/** Visits the tables of one type in the index: offset of the first entry, number of entries. */
template <typename Visit>
void forEachTable(const QByteArray &file, const char *type, Visit visit)
{
    const TopBox index = topBox(file, "moov");
    const qsizetype end = index.offset + index.size;
    qsizetype place = file.indexOf(type, index.offset);
    for (; place >= 0 && place < end; place = file.indexOf(type, place + 4))
        visit(place + 12, static_cast<qsizetype>(numberAt(file, place + 8)));
}

} // namespace

DamagedFile::DamagedFile(const QByteArray &original) : content(original)
{
    spans.push_back({.from = 0, .to = original.size(), .now = 0});
}

bool DamagedFile::survives(std::int64_t offset, std::int64_t size) const
{
    return std::any_of(spans.begin(), spans.end(), [=](const Span &span) {
        return offset >= span.from && offset + size <= span.to;
    });
}

void DamagedFile::splitAt(qsizetype now)
{
    std::vector<Span> split;
    for (const Span &span : spans) {
        const std::int64_t end = span.now + span.to - span.from;
        if (now <= span.now || now >= end) {
            split.push_back(span);
            continue;
        }
        const std::int64_t middle = span.from + now - span.now;
        split.push_back({.from = span.from, .to = middle, .now = span.now});
        split.push_back({.from = middle, .to = span.to, .now = now});
    }
    spans = split;
}

void DamagedFile::forget(qsizetype from, qsizetype to)
{
    splitAt(from);
    splitAt(to);
    std::erase_if(spans, [=](const Span &span) { return span.now >= from && span.now < to; });
}

void DamagedFile::cut(qsizetype size)
{
    forget(size, content.size());
    content.truncate(size);
}

void DamagedFile::overwrite(qsizetype offset, const QByteArray &with)
{
    // Bytes that stay what they were have come through.
    if (content.mid(offset, with.size()) == with)
        return;
    forget(offset, offset + with.size());
    content.replace(offset, with.size(), with);
}

void DamagedFile::zero(qsizetype offset, qsizetype size)
{
    overwrite(offset, QByteArray(std::min(size, content.size() - offset), '\0'));
}

void DamagedFile::insert(qsizetype offset, const QByteArray &bytes)
{
    splitAt(offset);
    for (Span &span : spans) {
        if (span.now >= offset)
            span.now += bytes.size();
    }
    content.insert(offset, bytes);
}

DamagedFile Damage::cutAt(const QByteArray &original, double part)
{
    DamagedFile file(original);
    file.cut(static_cast<qsizetype>(static_cast<double>(original.size()) * part));
    return file;
}

DamagedFile Damage::zeroedHead(const QByteArray &original, qsizetype size)
{
    DamagedFile file(original);
    file.zero(0, size);
    return file;
}

DamagedFile Damage::zeroedBlocks(const QByteArray &original, int count, qsizetype size,
                                 unsigned seed)
{
    constexpr qsizetype head = qsizetype{64} * 1024;
    DamagedFile file(original);
    std::mt19937 generator(seed);
    const auto room = static_cast<std::uint64_t>(std::max<qsizetype>(original.size() - head, 1));
    for (int i = 0; i < count; ++i)
        file.zero(head + static_cast<qsizetype>(generator() % room), size);
    return file;
}

DamagedFile Damage::lostIndex(const QByteArray &original)
{
    DamagedFile file(original);
    file.cut(topBox(original, "moov").offset);
    return file;
}

DamagedFile Damage::lostBeginning(const QByteArray &original, qsizetype size)
{
    constexpr qsizetype header = 8;
    DamagedFile file = lostIndex(original);
    file.zero(0, topBox(original, "mdat").offset + header + size);
    return file;
}

DamagedFile Damage::lostIndexAndBlocks(const QByteArray &original, int count, qsizetype size,
                                       Fill fill, unsigned seed)
{
    DamagedFile file = lostIndex(original);
    const TopBox media = topBox(original, "mdat");
    std::mt19937 generator(seed);
    const auto room = static_cast<std::uint64_t>(std::max<qsizetype>(media.size - size, 1));
    for (int i = 0; i < count; ++i) {
        const auto place = media.offset + static_cast<qsizetype>(generator() % room);
        if (fill == Fill::Zeros)
            file.zero(place, size);
        else
            file.overwrite(place, noise(size, seed + static_cast<unsigned>(i)));
    }
    return file;
}

DamagedFile Damage::mediaSize(const QByteArray &original, quint32 size)
{
    DamagedFile file(original);
    file.overwrite(topBox(original, "mdat").offset, bigEndian(size));
    return file;
}

DamagedFile Damage::cutIndex(const QByteArray &original, double part)
{
    const TopBox index = topBox(original, "moov");
    DamagedFile file(original);
    const qsizetype end =
        index.offset + static_cast<qsizetype>(static_cast<double>(index.size) * part);
    std::size_t track = 0;
    for (qsizetype place = original.indexOf("trak", index.offset); place >= 0;
         place = original.indexOf("trak", place + 4)) {
        if (place - 4 + static_cast<qsizetype>(numberAt(original, place - 4)) > end)
            file.giveUpTrack(track);
        ++track;
    }
    file.cut(end);
    return file;
}

DamagedFile Damage::shiftedOffsets(const QByteArray &original, qint32 shift)
{
    DamagedFile file(original);
    forEachTable(original, "stco", [&](qsizetype place, qsizetype count) {
        for (qsizetype i = 0; i < count; ++i, place += 4)
            file.overwrite(place,
                           bigEndian(numberAt(original, place) + static_cast<quint32>(shift)));
    });
    return file;
}

DamagedFile Damage::insertedBeforeMedia(const QByteArray &original, qsizetype size)
{
    DamagedFile file(original);
    QByteArray box = bigEndian(static_cast<quint32>(size)) + "free";
    box.resize(size, '\0');
    file.insert(topBox(original, "mdat").offset, box);
    return file;
}

DamagedFile Damage::lostFragmentHeader(const QByteArray &original, int number, qsizetype bytes)
{
    const TopBox header = topBox(original, "moof", number);
    DamagedFile file(original);
    file.zero(header.offset, bytes < 0 ? header.size : bytes);
    if (bytes < 0) {
        const qsizetype media = header.offset + header.size;
        file.giveUp(media, static_cast<qsizetype>(numberAt(original, media)));
    }
    return file;
}

DamagedFile Damage::durations(const QByteArray &original, quint32 factor)
{
    DamagedFile file(original);
    forEachTable(original, "stts", [&](qsizetype place, qsizetype count) {
        for (qsizetype i = 0; i < count; ++i, place += 8)
            file.overwrite(place + 4, bigEndian(numberAt(original, place + 4) * factor));
    });
    return file;
}

DamagedFile Damage::unfinishedAvi(const QByteArray &original)
{
    const qsizetype index = original.indexOf("idx1");
    const qsizetype movie = original.indexOf("movi");
    if (!original.startsWith("RIFF") || index < 0 || movie < 8)
        qFatal("the master is no AVI file with an index");
    DamagedFile file(original);
    file.cut(index);
    file.zero(4, 4);
    file.zero(movie - 4, 4);
    return file;
}

DamagedFile Damage::insertedJunk(const QByteArray &original, double part, qsizetype size)
{
    constexpr unsigned seed = 11;
    DamagedFile file(original);
    file.insert(static_cast<qsizetype>(static_cast<double>(original.size()) * part),
                noise(size, seed));
    return file;
}
