#pragma once

#include <QString>

/** The operating system's loader of dynamic libraries. May be used from any thread. */
namespace DynamicLibrary {

/**
 * Loads a library; a bare file name is looked for by the system's normal search for this process.
 * Returns its handle, or null when it cannot be loaded.
 */
void *open(const QString &fileName);

/** Returns the address of an exported function, or null when the library has none of that name. */
void *findExport(void *library, const char *name);

} // namespace DynamicLibrary
