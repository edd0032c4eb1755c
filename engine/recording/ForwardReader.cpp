#include "engine/recording/ForwardReader.h"

#include <algorithm>

namespace {

constexpr std::size_t windowSize = 1U << 20U;

} // namespace

ForwardReader::ForwardReader(const SourceFile &file, const char *what)
    : source(file), progress(what, file.size())
{
}

ByteView ForwardReader::read(std::uint64_t offset, std::size_t size)
{
    if (offset < start || offset + size > start + window.size()) {
        const std::uint64_t left = source.size() - std::min(offset, source.size());
        window.resize(
            static_cast<std::size_t>(std::min<std::uint64_t>(std::max(windowSize, size), left)));
        start = offset;
        window.resize(source.read(offset, window.data(), window.size()));
        progress.reach(offset);
    }
    const auto place =
        static_cast<std::size_t>(std::min(offset - start, std::uint64_t{window.size()}));
    return ByteView(window).subspan(place, std::min(size, window.size() - place));
}
