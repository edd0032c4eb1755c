#pragma once

#include "engine/media/MediaInput.h"

#include <memory>
#include <string>
#include <vector>

/**
 * Opens a damaged file as if it were repaired, without writing it anywhere: its media as it stands,
 * with an index or a header made anew: as much of it as serves to tell what it is. Null when there
 * is nothing to mend about it, or nothing that we know how to. Throws FileNotReadable.
 */
std::unique_ptr<MediaInput> openMended(const std::string &path);

/**
 * Opens a damaged file whose container FFmpeg's reader reads, without what lies between its sound
 * parts, so that these keep their times. Null when it has no such damage, or is of another
 * container. Throws FileNotReadable.
 */
std::unique_ptr<MediaInput> openWithoutHoles(const std::string &path);

/**
 * Opens an AVI file that has lost its header with that of a sample, without what lies between its
 * sound parts. Null when nothing of it can be told even so. Throws FileNotReadable.
 */
std::unique_ptr<MediaInput> openAviLike(const std::string &path, const SourceFile &sample);

/**
 * Opens the first key picture, and some after it, of a file of which nothing else may be left; see
 * addElementaryVideo(). Null when there is none. Throws FileNotReadable.
 */
std::unique_ptr<MediaInput> openElementary(const std::string &path);

/** The file as it stands. Null when it cannot be opened so. Throws FileNotReadable. */
std::unique_ptr<MediaInput> openPlain(const std::string &path);

using OpenInput = std::unique_ptr<MediaInput> (*)(const std::string &);

/** These, in the order in which they are worth trying with a file. */
std::vector<OpenInput> waysToOpen(const SourceFile &source);
