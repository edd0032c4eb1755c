#include "engine/advanced/MediaWindow.h"

#include <algorithm>

namespace {

constexpr std::uint64_t readAtOnce = 2U << 20U;

} // namespace

ByteView MediaWindow::view(std::uint64_t offset, std::size_t size)
{
    if (offset >= last)
        return {};
    size = static_cast<std::size_t>(
        std::min<std::uint64_t>(std::min(size, mostViewed), last - offset));
    if (offset < start || offset + size > start + window.size()) {
        // What lies between is still needed, as long as it is not too much.
        const bool isNear = kept <= offset && offset - kept + size <= mostViewed;
        const std::uint64_t from = isNear ? kept : offset;
        const std::uint64_t to = std::min(std::max(offset + size, from + readAtOnce), last);
        std::size_t had = 0;
        if (from >= start && from < start + window.size()) {
            window.erase(window.begin(),
                         window.begin() + static_cast<std::ptrdiff_t>(from - start));
            had = window.size();
        }
        start = from;
        window.resize(std::max(had, static_cast<std::size_t>(to - from)));
        if (window.size() > had)
            window.resize(had + source.read(from + had, window.data() + had, window.size() - had));
    }
    const std::uint64_t place = std::min<std::uint64_t>(offset - start, window.size());
    return ByteView(window).subspan(
        static_cast<std::size_t>(place),
        std::min(size, window.size() - static_cast<std::size_t>(place)));
}
