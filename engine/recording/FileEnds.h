#pragma once

#include "engine/recording/SourceFile.h"

#include <algorithm>
#include <string_view>

/**
 * Visits every place of a mark in the first and the last `reach` bytes of a file, where
 * descriptions stand; what lies between is media. `visit` takes the place and returns whether to go
 * on.
 */
template <typename Visit>
void forEachMark(const SourceFile &source, std::string_view mark, std::uint64_t reach, Visit visit)
{
    const std::uint64_t firstEnd = std::min(reach, source.size());
    const std::uint64_t lastStart = std::max(firstEnd, source.size() - firstEnd);
    const std::uint64_t ranges[][2] = {{0, firstEnd}, {lastStart, source.size()}};
    for (const auto &[from, to] : ranges) {
        const Bytes bytes = source.copy(from, to - from);
        const std::string_view text(reinterpret_cast<const char *>(bytes.data()), bytes.size());
        for (std::size_t place = text.find(mark); place != std::string_view::npos;
             place = text.find(mark, place + 1)) {
            if (!visit(from + place))
                return;
        }
    }
}
