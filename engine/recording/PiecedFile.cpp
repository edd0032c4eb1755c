#include "engine/recording/PiecedFile.h"

#include <algorithm>

void PiecedFile::add(Bytes bytes)
{
    if (bytes.empty())
        return;
    const std::uint64_t length = bytes.size();
    pieces.push_back({.position = total, .size = length, .bytes = std::move(bytes)});
    total += length;
}

void PiecedFile::addSpan(std::uint64_t offset, std::uint64_t size)
{
    if (size == 0)
        return;
    // What stood together in the damaged file stays one piece.
    if (!pieces.empty() && pieces.back().bytes.empty() && !pieces.back().isZeros &&
        pieces.back().offset + pieces.back().size == offset)
        pieces.back().size += size;
    else
        pieces.push_back({.position = total, .size = size, .offset = offset});
    total += size;
}

void PiecedFile::addZeros(std::uint64_t size)
{
    pieces.push_back({.position = total, .size = size, .isZeros = true});
    total += size;
}

std::size_t PiecedFile::read(std::uint64_t position, std::uint8_t *target, std::size_t wanted) const
{
    std::size_t done = 0;
    auto piece = std::upper_bound(
        pieces.begin(), pieces.end(), position,
        [](std::uint64_t place, const Piece &one) { return place < one.position; });
    if (piece != pieces.begin())
        --piece;
    for (; piece != pieces.end() && done < wanted; ++piece) {
        const std::uint64_t inside = position + done - piece->position;
        if (inside >= piece->size)
            continue;
        const auto size =
            static_cast<std::size_t>(std::min<std::uint64_t>(wanted - done, piece->size - inside));
        std::size_t got = size;
        if (piece->isZeros)
            std::fill_n(target + done, size, std::uint8_t{0});
        else if (piece->bytes.empty())
            got = source.read(piece->offset + inside, target + done, size);
        else
            std::copy_n(piece->bytes.begin() + static_cast<std::ptrdiff_t>(inside), size,
                        target + done);
        done += got;
        if (got < size)
            break;
    }
    return done;
}
