#pragma once

#include "engine/recording/SourceFile.h"

/** What of a damaged file a walk looks at: a window that moves forward with it. */
class MediaWindow
{
public:
    /** Most that view() gives at once. */
    static constexpr std::size_t mostViewed = std::size_t{24} << 20U;

    explicit MediaWindow(const SourceFile &file) : source(file), last(file.size()) {}

    std::uint64_t end() const { return last; }
    /** Nothing behind this place belongs to the media any more. */
    void setEnd(std::uint64_t place) { last = place; }

    /** Nothing before this place is asked for again, unless it is read again. */
    void keepFrom(std::uint64_t place) { kept = place; }

    /** The `size` bytes at `offset`, fewer where the media ends. Good until the next call. */
    ByteView view(std::uint64_t offset, std::size_t size);

private:
    const SourceFile &source;
    std::uint64_t last;
    std::uint64_t kept = 0;
    Bytes window;
    std::uint64_t start = 0;
};
