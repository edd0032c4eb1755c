#include "service/DynamicLibrary.h"

#include <QFile>

#include <dlfcn.h>

void *DynamicLibrary::open(const QString &fileName)
{
    return dlopen(QFile::encodeName(fileName).constData(), RTLD_NOW | RTLD_LOCAL);
}

void *DynamicLibrary::findExport(void *library, const char *name)
{
    return dlsym(library, name);
}
