#include "engine/recording/ForwardReader.h"

#include <algorithm>

namespace {

// Small enough to stay in the processor's cache until it has been looked at and written.
constexpr std::size_t windowSize = 256U << 10U;

} // namespace

ForwardReader::ForwardReader(const SourceFile &file, const char *what)
    : source(file), progress(what, file.size())
{
}

ByteView ForwardReader::read(std::uint64_t offset, std::size_t size)
{
    if (offset < start || offset + size > start + window.size())
        fill(offset, size);
    const auto place =
        static_cast<std::size_t>(std::min(offset - start, std::uint64_t{window.size()}));
    return ByteView(window).subspan(place, std::min(size, window.size() - place));
}

void ForwardReader::fill(std::uint64_t offset, std::size_t size)
{
    // What the window ends with is not read again.
    const bool goesOn = offset >= start && offset < start + window.size();
    const std::size_t kept =
        goesOn ? window.size() - static_cast<std::size_t>(offset - start) : std::size_t{0};
    std::copy(window.end() - static_cast<std::ptrdiff_t>(kept), window.end(), window.begin());
    const std::uint64_t left = source.size() - std::min(offset, source.size());
    window.resize(static_cast<std::size_t>(
        std::min<std::uint64_t>(std::max({windowSize, size, kept}), left)));
    start = offset;
    window.resize(kept + source.read(offset + kept, window.data() + kept, window.size() - kept));
    progress.reach(offset);
}
