#pragma once

#include "engine/media/MediaInput.h"

#include <memory>
#include <string>

/**
 * Opens a damaged file as if it were repaired, without writing it anywhere: its media as it stands,
 * with an index or a header made anew. Null when there is nothing to mend about it, or nothing that
 * we know how to. Throws FileNotReadable.
 */
std::unique_ptr<MediaInput> openMended(const std::string &path);
