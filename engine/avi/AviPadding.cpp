#include "engine/avi/AviPadding.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/recording/SourceFile.h"

#include <fstream>
#include <optional>
#include <string_view>

namespace {

constexpr std::size_t chunkHeader = 8;

/** Where the padding's header is, and how many bytes follow it. */
struct Padding
{
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

std::optional<Padding> findPadding(const SourceFile &file)
{
    constexpr std::uint64_t fileHeader = 12;
    constexpr int mostParts = 64;
    std::optional<Padding> padding;
    std::uint64_t position = fileHeader;
    for (int i = 0; i < mostParts; ++i) {
        const ByteView head = file.view(position, fileHeader);
        if (head.size() < fileHeader)
            return std::nullopt;
        const std::string_view text(reinterpret_cast<const char *>(head.data()), head.size());
        if (text.starts_with("LIST") && text.ends_with("movi"))
            return padding;
        const std::uint64_t size = le32(&head[4]);
        if (text.starts_with("JUNK"))
            padding = Padding{.offset = position, .size = size};
        position += chunkHeader + size + (size & 1U);
    }
    return std::nullopt;
}

} // namespace

std::size_t paddingFor(const Bytes &list)
{
    // What is left of it needs a header of its own.
    return list.size() + list.size() % 2 + chunkHeader;
}

bool putIntoPadding(const std::string &path, Bytes list)
{
    const auto padding = findPadding(SourceFile(path));
    if (!padding || padding->size < paddingFor(list))
        return false;
    list.resize(list.size() + list.size() % 2);
    const std::uint64_t rest = padding->size - list.size();
    for (const char letter : std::string_view("JUNK"))
        list.push_back(static_cast<std::uint8_t>(letter));
    appendLe(list, rest, 4);
    std::fstream file(pathFromUtf8(path), std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(padding->offset));
    file.write(reinterpret_cast<const char *>(list.data()),
               static_cast<std::streamsize>(list.size()));
    file.close();
    if (!file)
        throw EngineError(ErrorCode::OutputNotWritten,
                          "The output cannot be written: the disk is full, or the file cannot be "
                          "changed.");
    return true;
}
