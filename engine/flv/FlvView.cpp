#include "engine/flv/FlvView.h"

#include "engine/recording/ForwardReader.h"

namespace {

constexpr std::size_t tagHeader = 11;
constexpr std::size_t backLength = 4;

/** Size of the tag at this place, with the length behind it; 0 when there is none. */
std::uint64_t tagAt(const SourceFile &source, std::uint64_t position)
{
    constexpr std::uint8_t sound = 8;
    constexpr std::uint8_t picture = 9;
    constexpr std::uint8_t script = 18;
    const ByteView head = source.view(position, tagHeader);
    if (head.size() < tagHeader || (head[0] != sound && head[0] != picture && head[0] != script) ||
        be24(&head[8]) != 0)
        return 0;
    const std::uint64_t size = tagHeader + be24(&head[1]);
    const ByteView back = source.view(position + size, backLength);
    return back.size() == backLength && be32(back.data()) == size ? size + backLength : 0;
}

} // namespace

bool addMendedFlv(PiecedFile &file)
{
    const SourceFile &source = file.damaged();
    bool isStarted = false;
    std::uint64_t position = 0;
    while (position < source.size()) {
        const std::uint64_t size = tagAt(source, position);
        if (size == 0) {
            ++position;
            continue;
        }
        if (!isStarted) {
            // With sound and pictures, and nothing before the first tag.
            file.add({'F', 'L', 'V', 1, 5, 0, 0, 0, 9, 0, 0, 0, 0});
            isStarted = true;
        }
        file.addSpan(position, size);
        position += size;
    }
    return isStarted;
}
