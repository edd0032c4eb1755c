#pragma once

#include "engine/device/Device.h"
#include "engine/recording/Bytes.h"
#include "engine/recording/SourceFile.h"

/** AVI: the lists "exif" and "INFO", then an Exif directory in a stream's own data. */
Device readAviDevice(const SourceFile &source);

/**
 * What another file's header is to hold so that the same is told of it: the list "exif" as it
 * stands, or one that is made of what stands elsewhere. Empty where the file names no device.
 */
Bytes aviDeviceList(const SourceFile &source);
