#pragma once

#include "engine/device/Device.h"
#include "engine/recording/SourceFile.h"

/**
 * MP4, QuickTime and their relatives. In this order: metadata keys and texts of the movie, the same
 * of its tracks, then vendors' boxes (an Exif directory or XML in them) inside and beside the
 * index.
 */
Device readIsoDevice(const SourceFile &source);
