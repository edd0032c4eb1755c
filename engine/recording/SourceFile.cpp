#include "engine/recording/SourceFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"
#include "engine/recording/InputFile.h"

#include <algorithm>

SourceFile::SourceFile(const std::string &path) : filePath(path)
{
    // The window below is the only buffer.
    file.rdbuf()->pubsetbuf(nullptr, 0);
    if (isReadableFile(path))
        file.open(pathFromUtf8(path), std::ios::binary);
    if (!file.is_open())
        throw EngineError(ErrorCode::FileNotReadable, "The file cannot be opened: " + path);
    const auto end = static_cast<std::streamoff>(file.seekg(0, std::ios::end).tellg());
    if (end < 0)
        throw EngineError(ErrorCode::FileNotReadable, "The file cannot be read: " + path);
    fileSize = static_cast<std::uint64_t>(end);
}

std::size_t SourceFile::read(std::uint64_t offset, std::uint8_t *target, std::size_t size) const
{
    if (offset >= fileSize)
        return 0;
    file.clear();
    file.seekg(static_cast<std::streamoff>(offset));
    file.read(reinterpret_cast<char *>(target),
              static_cast<std::streamsize>(std::min<std::uint64_t>(size, fileSize - offset)));
    return static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0));
}

ByteView SourceFile::view(std::uint64_t offset, std::size_t size) const
{
    if (offset >= fileSize)
        return {};
    size = std::min(size, windowSize);
    const bool isInWindow = offset >= windowStart && offset + size <= windowStart + window.size();
    if (!isInWindow) {
        window.resize(windowSize);
        windowStart = offset;
        window.resize(read(offset, window.data(), windowSize));
    }
    const auto start = static_cast<std::size_t>(offset - windowStart);
    return ByteView(window).subspan(start, std::min(size, window.size() - start));
}

Bytes SourceFile::copy(std::uint64_t offset, std::uint64_t size) const
{
    if (offset >= fileSize)
        return {};
    Bytes bytes(static_cast<std::size_t>(std::min(size, fileSize - offset)));
    bytes.resize(read(offset, bytes.data(), bytes.size()));
    return bytes;
}
