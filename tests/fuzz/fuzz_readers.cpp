// Feeds our readers of damaged files with whatever libFuzzer thinks of: ./dev fuzz. The first byte
// chooses the reader, the rest is the file.

#include "engine/EngineError.h"
#include "engine/avi/AviView.h"
#include "engine/device/AviDevice.h"
#include "engine/device/IsoDevice.h"
#include "engine/device/MatroskaDevice.h"
#include "engine/elementary/ElementaryView.h"
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

constexpr unsigned readers = 8;

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

/** @param add returns whether there is something to read */
template <typename Add>
void runView(Add add)
{
    PiecedFile file(inputPath());
    if (add(file))
        readThrough(file);
}

void runDevices()
{
    const SourceFile source(inputPath());
    readIsoDevice(source);
    readMatroskaDevice(source);
    readAviDevice(source);
}

void runReader(unsigned number)
{
    switch (number) {
    case 0:
    case 1:
        runIso();
        break;
    case 2:
        runMatroska();
        break;
    case 3:
        runView([](PiecedFile &file) { return addMendedAvi(file); });
        runView(addDamagedAvi);
        break;
    case 4:
        runView([](PiecedFile &file) { return addMendedFlv(file); });
        runView(addDamagedFlv);
        break;
    case 5:
        for (const int packetSize : {188, 192, 204})
            scanTransport(SourceFile(inputPath()), packetSize);
        break;
    case 6:
        runDevices();
        break;
    default:
        runView(addElementaryVideo);
    }
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
        runReader(data[0] % readers);
    } catch (const EngineError &) {
        // What cannot be read is said so.
    }
    return 0;
}
