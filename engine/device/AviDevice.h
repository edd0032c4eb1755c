#pragma once

#include "engine/device/Device.h"
#include "engine/recording/SourceFile.h"

/** AVI: the lists "exif" and "INFO", then an Exif directory in a stream's own data. */
Device readAviDevice(const SourceFile &source);
