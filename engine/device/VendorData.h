#pragma once

#include "engine/device/Device.h"
#include "engine/recording/Bytes.h"

#include <string>

/**
 * Maker and model in data whose form is a vendor's own: an Exif directory (a TIFF header and the
 * first directory behind it) or XML with the attributes and elements that cameras and XMP use for
 * them, wherever in the data either begins.
 *
 * @param place where the data stands, for people
 */
Device readVendorData(ByteView data, const std::string &place);
