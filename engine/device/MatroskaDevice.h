#pragma once

#include "engine/device/Device.h"
#include "engine/recording/SourceFile.h"

/** Matroska and WebM: tags, those of the file before those of a track. */
Device readMatroskaDevice(const SourceFile &source);
