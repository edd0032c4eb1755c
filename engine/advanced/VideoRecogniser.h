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

    /**
     * The first of `count` places from `bytes` on at which a picture may begin; `count` when there
     * is none. startSize bytes stand at each. All of the media between pictures goes through this.
     */
    virtual std::size_t findStart(const std::uint8_t *bytes, std::size_t count) const = 0;

    /** The picture that stands at a place, if all that it says of itself makes sense. */
    virtual std::optional<FoundPicture> pictureAt(MediaWindow &media,
                                                  std::uint64_t offset) const = 0;

    /** A picture begins here whose end is missing. */
    virtual bool isBegun(ByteView bytes) const
    {
        return bytes.size() >= startSize && mayBegin(bytes.data());
    }

    /** A picture of which nothing else is known ends with these bytes. */
    virtual bool isEnded(ByteView /*bytes*/) const { return false; }

    /** Nothing else looks like a picture: what follows need not speak for it. */
    virtual bool hasMarks() const { return false; }

    /** A picture has been taken: parameters in it hold from here on. Returns whether any are new.
     */
    virtual bool take(ByteView /*packet*/) { return false; }

protected:
    /** findStart() of a recogniser whose class is known, so that its test costs no call. */
    template <typename Recogniser>
    static std::size_t findStartOf(const Recogniser &recogniser, const std::uint8_t *bytes,
                                   std::size_t count)
    {
        std::size_t i = 0;
        while (i < count && !recogniser.Recogniser::mayBegin(bytes + i))
            ++i;
        return i;
    }
};
