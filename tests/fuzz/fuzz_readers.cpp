// Feeds our readers of damaged files with whatever libFuzzer thinks of: ./dev fuzz. The first byte
// chooses the reader, the rest is the file.

#include "engine/EngineError.h"
#include "engine/avi/AviView.h"
#include "engine/flv/FlvView.h"
#include "engine/iso/IndexWriter.h"
#include "engine/iso/IsoReader.h"
#include "engine/iso/IsoWriter.h"
#include "engine/matroska/MatroskaReader.h"
#include "engine/matroska/MatroskaWriter.h"
#include "engine/transport/TransportScan.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const std::string &inputPath()
{
    static const std::string path = "/dev/shm/vellumix-fuzz-" + std::to_string(getpid());
    return path;
}

std::string outputPath()
{
    return inputPath() + ".out";
}

void removeFiles()
{
    std::remove(inputPath().c_str());
    std::remove(outputPath().c_str());
}

/** Reads a view to its end, as FFmpeg's readers would. */
void readThrough(const PiecedFile &file)
{
    Bytes buffer(4096);
    for (std::uint64_t position = 0; position < file.size(); position += buffer.size())
        file.read(position, buffer.data(), buffer.size());
}

void runIso()
{
    const SourceFile source(inputPath());
    if (auto recording = readIso(source))
        writeIso(source, *recording, outputPath());
}

void runMatroska()
{
    const SourceFile source(inputPath());
    if (auto recording = readMatroska(source))
        writeMatroska(source, *recording, outputPath());
}

void runView(bool (*add)(PiecedFile &))
{
    PiecedFile file(inputPath());
    if (add(file))
        readThrough(file);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    // The names must be there before: what is made last goes first.
    static const bool isRegistered = !inputPath().empty() && std::atexit(removeFiles) == 0;
    if (size < 1 || !isRegistered)
        return 0;
    std::ofstream(inputPath(), std::ios::binary | std::ios::trunc)
        .write(reinterpret_cast<const char *>(data + 1), static_cast<std::streamsize>(size - 1));
    std::ofstream(outputPath(), std::ios::binary | std::ios::trunc).flush();
    try {
        switch (data[0] % 6) {
        case 0:
        case 1:
            runIso();
            break;
        case 2:
            runMatroska();
            break;
        case 3:
            runView(addMendedAvi);
            break;
        case 4:
            runView(addMendedFlv);
            break;
        default:
            for (const int packetSize : {188, 192, 204})
                scanTransport(SourceFile(inputPath()), packetSize);
        }
    } catch (const EngineError &) {
        // What cannot be read is said so.
    }
    return 0;
}
