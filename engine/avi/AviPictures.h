#pragma once

#include "engine/recording/Bytes.h"

#include <string_view>

/** Bytes of a picture that are looked at. */
constexpr std::size_t longestMark = 16;

/**
 * Four letters for how a stream's pictures are coded, as one of them begins: MPEG video, H.264 and
 * HEVC with start codes, JPEG and its relatives, VP8, DV. Empty when it cannot be told.
 */
std::string_view aviPictureCodec(ByteView picture);
