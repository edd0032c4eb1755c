#include "service/DynamicLibrary.h"

#include <qt_windows.h>

void *DynamicLibrary::open(const QString &fileName)
{
    return LoadLibraryW(reinterpret_cast<const wchar_t *>(fileName.utf16()));
}

void *DynamicLibrary::findExport(void *library, const char *name)
{
    return reinterpret_cast<void *>(GetProcAddress(static_cast<HMODULE>(library), name));
}
