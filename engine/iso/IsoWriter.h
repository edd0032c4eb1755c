#pragma once

#include "engine/iso/WrittenIso.h"

#include <string>

/**
 * Writes a recording as a sound file of its kind: first its type, then the packets that are there,
 * in the order in which the damaged file has them, then the index. Packets that turn out to be
 * overwritten with zeros are marked as lost. The recording's packets then have their places in the
 * output.
 *
 * Throws OutputNotWritten.
 *
 * @param path of the output, UTF-8
 * @return what the file must read back as
 */
WrittenIso writeIso(const SourceFile &source, IsoRecording &recording, const std::string &path);

/** The first box of a file of this kind: the damaged file's own where it is still there. */
Bytes fileTypeOf(const SourceFile &source, const IsoRecording &recording);

/** What stands before media of so many bytes. */
Bytes mediaHeader(std::uint64_t bodySize);
