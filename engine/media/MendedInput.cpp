#include "engine/media/MendedInput.h"

#include "engine/EngineError.h"
#include "engine/avi/AviView.h"
#include "engine/elementary/ElementaryView.h"
#include "engine/flv/FlvView.h"
#include "engine/iso/IndexWriter.h"
#include "engine/iso/IsoReader.h"
#include "engine/iso/IsoWriter.h"
#include "engine/iso/TrackTiming.h"
#include "engine/media/Containers.h"

namespace {

// To be asked about a file is to be waited for: not all of it is searched.
constexpr std::uint64_t searchReach = 64ULL << 20U;

/** The whole damaged file as the media of a new one, and an index for it behind. */
bool addMendedIso(PiecedFile &file)
{
    const SourceFile &source = file.damaged();
    auto recording = readIso(source, searchReach);
    if (!recording)
        return false;
    Bytes start = fileTypeOf(source, *recording);
    appendBytes(start, mediaHeader(source.size()));
    for (IsoTrack &track : recording->tracks) {
        for (Packet &packet : track.packets)
            packet.setOffset(packet.offset + start.size());
    }
    startAtFirstPackets(source, *recording);
    file.add(std::move(start));
    file.addSpan(0, source.size());
    file.add(makeIndex(source, *recording));
    return true;
}

bool addBeginning(PiecedFile &file)
{
    const SourceFile &source = file.damaged();
    if (mayBeAvi(source))
        return addMendedAvi(file, searchReach);
    if (mayBeFlv(source))
        return addMendedFlv(file, searchReach);
    return mayBeIso(source) && addMendedIso(file);
}

bool addWithoutHoles(PiecedFile &file)
{
    const SourceFile &source = file.damaged();
    if (mayBeAvi(source))
        return addMendedAvi(file);
    if (mayBeFlv(source))
        return addMendedFlv(file);
    return (isAvi(source) && addDamagedAvi(file)) || (isFlv(source) && addDamagedFlv(file));
}

template <typename Add>
std::unique_ptr<MediaInput> openPieces(const std::string &path, Add add)
try {
    auto file = std::make_unique<PiecedFile>(path);
    return add(*file) ? std::make_unique<MediaInput>(std::move(file)) : nullptr;
} catch (const EngineError &error) {
    if (error.code() == ErrorCode::FileNotReadable)
        throw;
    return nullptr;
}

} // namespace

std::unique_ptr<MediaInput> openMended(const std::string &path)
{
    return openPieces(path, addBeginning);
}

std::unique_ptr<MediaInput> openWithoutHoles(const std::string &path)
{
    return openPieces(path, addWithoutHoles);
}

std::unique_ptr<MediaInput> openAviLike(const std::string &path, const SourceFile &sample)
{
    return openPieces(path, [&sample](PiecedFile &file) { return addAviLike(file, sample); });
}

std::unique_ptr<MediaInput> openElementary(const std::string &path)
try {
    auto file = std::make_unique<PiecedFile>(path);
    const char *reader = addElementaryVideo(*file);
    return reader != nullptr ? std::make_unique<MediaInput>(std::move(file), reader) : nullptr;
} catch (const EngineError &error) {
    if (error.code() == ErrorCode::FileNotReadable)
        throw;
    return nullptr;
}

std::unique_ptr<MediaInput> openPlain(const std::string &path)
try {
    return std::make_unique<MediaInput>(path);
} catch (const EngineError &error) {
    if (error.code() != ErrorCode::NotRecognised)
        throw;
    return nullptr;
}

std::vector<OpenInput> waysToOpen(const SourceFile &source)
{
    // What is left of these without their first bytes looks like something else to FFmpeg's reader.
    // Others are read as they stand first: to mend them takes longer.
    if (mayBeAvi(source) || mayBeFlv(source))
        return {openMended, openPlain, openElementary};
    return {openPlain, openMended, openElementary};
}
