#pragma once

#include "engine/iso/WrittenIso.h"

#include <string>

/**
 * Has silence stand in the output for what is lost of plain sound: players take it for going on
 * evenly, whatever an index says. To be called before writeIsoIndexFirst().
 */
void fillWithSilence(IsoTrack &track);

/**
 * Writes a recording as a sound file whose index stands before the media. All that is known of
 * the packets must be: those that are not marked as lost are copied as they are. The recording's
 * packets then have their places in the output.
 *
 * Throws OutputNotWritten, and OutputNotSound when the media cannot be read as it was before.
 *
 * @param media where the packets stand
 * @param description the file that the recording's index and tracks were read from
 * @param path of the output, UTF-8
 * @return what the file must read back as
 */
WrittenIso writeIsoIndexFirst(const SourceFile &media, const SourceFile &description,
                              IsoRecording &recording, const std::string &path);
