#pragma once

#include "engine/advanced/VideoRecogniser.h"

/** Motion JPEG: pictures with marks at their beginning and their end. For one thread. */
class JpegRecogniser : public VideoRecogniser
{
public:
    /** Coded data that has been gone over, without the mark that ends it. */
    struct CodedData
    {
        std::uint64_t from = 0;
        std::uint64_t to = 0;
        bool isOverwritten = false;
    };

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
    /** Many places may look like beginnings of a picture and lead into the same data. */
    mutable CodedData passed;
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
