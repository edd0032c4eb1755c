#include "engine/recording/OutputFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"

#include <algorithm>

namespace {

// Small enough to stay in the processor's cache.
constexpr std::size_t bufferSize = 256U << 10U;

} // namespace

OutputFile::OutputFile(const std::string &path)
{
    file.rdbuf()->pubsetbuf(nullptr, 0);
    // Not truncated: a file that once was is put on the disk before it is closed.
    file.open(pathFromUtf8(path), std::ios::binary | std::ios::in);
    buffer.reserve(bufferSize);
    require();
}

void OutputFile::write(ByteView bytes)
{
    written += bytes.size();
    if (buffer.size() + bytes.size() > bufferSize)
        flush();
    // A piece at a time: what is hashed is then still in the processor's cache to be written.
    for (; bytes.size() >= bufferSize; bytes = bytes.subspan(bufferSize))
        put(bytes.first(bufferSize));
    appendBytes(buffer, bytes);
}

void OutputFile::patch(std::uint64_t position, ByteView bytes)
{
    flush();
    file.seekp(static_cast<std::streamoff>(position));
    file.write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.seekp(0, std::ios::end);
    require();
}

void OutputFile::close()
{
    flush();
    file.close();
    require();
}

void OutputFile::beginHashes()
{
    flush();
    isHashed = true;
}

std::vector<std::uint64_t> OutputFile::hashes()
{
    flush();
    std::vector<std::uint64_t> all = ended;
    if (inCurrent > 0)
        all.push_back(current.value());
    return all;
}

void OutputFile::addToHash(ByteView bytes)
{
    while (!bytes.empty()) {
        const auto some = static_cast<std::size_t>(
            std::min<std::uint64_t>(bytes.size(), hashedPiece - inCurrent));
        current.add(bytes.first(some));
        inCurrent += some;
        bytes = bytes.subspan(some);
        if (inCurrent == hashedPiece) {
            ended.push_back(current.value());
            current = ByteHash();
            inCurrent = 0;
        }
    }
}

void OutputFile::put(ByteView bytes)
{
    if (isHashed)
        addToHash(bytes);
    file.write(reinterpret_cast<const char *>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    require();
}

void OutputFile::flush()
{
    put(buffer);
    buffer.clear();
}

void OutputFile::require() const
{
    if (!file)
        throw EngineError(ErrorCode::OutputNotWritten,
                          "The output cannot be written: the disk is full, or the file cannot be "
                          "changed.");
}
