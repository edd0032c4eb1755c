#include "engine/recording/OutputFile.h"

#include "engine/EngineError.h"
#include "engine/Utf8Path.h"

namespace {

// Small enough to stay in the processor's cache.
constexpr std::size_t bufferSize = 256U << 10U;

} // namespace

OutputFile::OutputFile(const std::string &path)
{
    file.rdbuf()->pubsetbuf(nullptr, 0);
    file.open(pathFromUtf8(path), std::ios::binary | std::ios::trunc);
    buffer.reserve(bufferSize);
    require();
}

void OutputFile::write(ByteView bytes)
{
    written += bytes.size();
    if (buffer.size() + bytes.size() > bufferSize)
        flush();
    if (bytes.size() >= bufferSize) {
        file.write(reinterpret_cast<const char *>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
        require();
    } else {
        appendBytes(buffer, bytes);
    }
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

void OutputFile::flush()
{
    file.write(reinterpret_cast<const char *>(buffer.data()),
               static_cast<std::streamsize>(buffer.size()));
    buffer.clear();
    require();
}

void OutputFile::require() const
{
    if (!file)
        throw EngineError(ErrorCode::OutputNotWritten,
                          "The output cannot be written: the disk is full, or the file cannot be "
                          "changed.");
}
