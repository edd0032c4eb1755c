#pragma once

#include "engine/recording/Bytes.h"

#include <optional>

/** How samples of plain sound lie behind one another: whole numbers, the lowest byte first. */
struct PlainSoundLayout
{
    int channels = 0;
    /** Of one sample. */
    int bytes = 0;
    /** Samples of one channel in a second. */
    int rate = 0;
};

/**
 * Tells the layout of plain sound by how it sounds: read rightly, samples that follow one another
 * differ little. None for silence, noise, and where two layouts fit alike.
 *
 * @param sound from the beginning of a sample on
 * @param bytesPerSecond as times in the file say; is within a hundredth of the truth
 */
std::optional<PlainSoundLayout> plainSoundLayout(ByteView sound, double bytesPerSecond);

/**
 * How much samples of plain sound change from one to the next, as a part of how far they are from
 * silence: small for sound that is read rightly, about one for anything else. None for silence.
 *
 * @param layout its rate is of no account
 */
std::optional<double> roughness(ByteView sound, const PlainSoundLayout &layout);

/** What is rougher than this is no sound. */
constexpr double roughestSound = 0.5;
