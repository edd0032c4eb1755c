#pragma once

#include "engine/advanced/MediaWindow.h"
#include "engine/advanced/ParameterSets.h"

#include <memory>
#include <optional>

/** A picture that was found in the media. */
struct FoundPicture
{
    std::uint64_t size = 0;
    /** It has as many parts as the sample's pictures. */
    bool isComplete = true;
    bool isKey = false;
    /** Coded pictures say here in which order they are shown. */
    SliceHeader slice = {};
};

/** Finds the packets of a video track by what they look like. */
class VideoRecogniser
{
public:
    /** Bytes that mayBegin() looks at. */
    static constexpr std::size_t startSize = 8;

    VideoRecogniser() = default;
    virtual ~VideoRecogniser() = default;
    VideoRecogniser(const VideoRecogniser &) = delete;
    VideoRecogniser &operator=(const VideoRecogniser &) = delete;

    /** Takes in a packet of the sample. Returns false when it is not what was expected. */
    virtual bool learn(ByteView packet) = 0;

    /** Rules most places out at once. */
    virtual bool mayBegin(const std::uint8_t *bytes) const = 0;

    /** The picture that stands at a place, if all that it says of itself makes sense. */
    virtual std::optional<FoundPicture> pictureAt(MediaWindow &media,
                                                  std::uint64_t offset) const = 0;

    /** A picture begins here whose end is missing. */
    virtual bool isBegun(ByteView bytes) const
    {
        return bytes.size() >= startSize && mayBegin(bytes.data());
    }

    /** A picture has been taken: parameters in it hold from here on. */
    virtual void take(ByteView /*packet*/) {}
};
