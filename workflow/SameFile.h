#pragma once

#include <QString>

/** Both paths lead to one file that there is. The file system is asked: a file may have many. */
bool isSameFile(const QString &one, const QString &other);
