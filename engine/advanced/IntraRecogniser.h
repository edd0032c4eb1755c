#pragma once

#include "engine/advanced/VideoRecogniser.h"

/** Motion JPEG: pictures with marks at their beginning and their end. */
class JpegRecogniser : public VideoRecogniser
{
public:
    bool learn(ByteView packet) override;
    bool mayBegin(const std::uint8_t *bytes) const override;
    std::size_t findStart(const std::uint8_t *bytes, std::size_t count) const override
    {
        return findStartOf(*this, bytes, count);
    }
    std::optional<FoundPicture> pictureAt(MediaWindow &media, std::uint64_t offset) const override;
    bool isEnded(ByteView bytes) const override;
    bool hasMarks() const override { return true; }

private:
    std::uint64_t largest = 0;
};

/** Pictures that begin with their own size and a mark: "icpf". */
class SizedPictureRecogniser : public VideoRecogniser
{
public:
    bool learn(ByteView packet) override;
    bool mayBegin(const std::uint8_t *bytes) const override;
    std::size_t findStart(const std::uint8_t *bytes, std::size_t count) const override
    {
        return findStartOf(*this, bytes, count);
    }
    std::optional<FoundPicture> pictureAt(MediaWindow &media, std::uint64_t offset) const override;

private:
    std::uint64_t largest = 0;
};
