#pragma once

#include "engine/recording/Bytes.h"

#include <string>

/**
 * Puts a list into the padding that stands before the media of an AVI file. Returns false, and
 * changes nothing, where there is not enough of it.
 *
 * Throws OutputNotWritten.
 *
 * @param path of a file that has just been written, UTF-8
 * @param list whole, with its header
 */
bool putIntoPadding(const std::string &path, Bytes list);

/** Bytes of padding that a list of this size needs, at least. */
std::size_t paddingFor(const Bytes &list);
