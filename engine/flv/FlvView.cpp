#include "engine/flv/FlvView.h"

#include "engine/recording/SourceFile.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace {

constexpr std::size_t tagHeader = 11;
constexpr std::size_t backLength = 4;

/** By its kind, and by the number of its stream, which is always zero. */
bool mayBeTag(ByteView head)
{
    constexpr std::uint8_t sound = 8;
    constexpr std::uint8_t picture = 9;
    constexpr std::uint8_t script = 18;
    return head.size() == tagHeader &&
           (head[0] == sound || head[0] == picture || head[0] == script) && be24(&head[8]) == 0;
}

/**
 * Size of what may be a tag, with the length behind it, which must be the same; 0 when it is not.
 */
std::uint64_t wholeTagAt(const SourceFile &source, std::uint64_t position)
{
    const ByteView head = source.view(position, tagHeader);
    const std::uint64_t size = tagHeader + be24(&head[1]);
    const ByteView back = source.view(position + size, backLength);
    return back.size() == backLength && be32(back.data()) == size ? size + backLength : 0;
}

/** Spans of tags that follow one another. */
struct Span
{
    std::uint64_t offset;
    std::uint64_t size;
};

std::vector<Span> findTags(const SourceFile &source, std::uint64_t reach)
{
    std::vector<Span> spans;
    const std::uint64_t end = std::min(reach, source.size());
    // What is made up may look like a tag at every place: each leads to another window.
    constexpr int mostRefused = 1 << 18;
    int refused = 0;
    std::uint64_t position = 0;
    while (position < end && refused < mostRefused) {
        const bool mayBe = mayBeTag(source.view(position, tagHeader));
        const std::uint64_t size = mayBe ? wholeTagAt(source, position) : 0;
        if (size == 0) {
            refused += mayBe ? 1 : 0;
            ++position;
            continue;
        }
        if (!spans.empty() && spans.back().offset + spans.back().size == position)
            spans.back().size += size;
        else
            spans.push_back({.offset = position, .size = size});
        position += size;
    }
    return spans;
}

bool addTags(PiecedFile &file, const std::vector<Span> &spans)
{
    if (spans.empty())
        return false;
    // With sound and pictures, and nothing before the first tag.
    file.add({'F', 'L', 'V', 1, 5, 0, 0, 0, 9, 0, 0, 0, 0});
    for (const Span &span : spans)
        file.addSpan(span.offset, span.size);
    return true;
}

} // namespace

bool addMendedFlv(PiecedFile &file, std::uint64_t searchReach)
{
    return addTags(file, findTags(file.damaged(), searchReach));
}

bool addDamagedFlv(PiecedFile &file)
{
    const auto spans = findTags(file.damaged(), std::numeric_limits<std::uint64_t>::max());
    const std::uint64_t found =
        std::accumulate(spans.begin(), spans.end(), std::uint64_t{0},
                        [](std::uint64_t sum, const Span &span) { return sum + span.size; });
    // Some recorders write nonsense for the lengths behind tags: nothing can be told by these then.
    const bool canBeTold = found > file.damaged().size() / 2;
    return canBeTold && spans.size() > 1 && addTags(file, spans);
}
