#include "workflow/SameFile.h"

#include <QFileInfo>

#include <filesystem>
#include <system_error>

bool isSameFile(const QString &one, const QString &other)
{
    std::error_code error;
    return std::filesystem::equivalent(QFileInfo(one).filesystemFilePath(),
                                       QFileInfo(other).filesystemFilePath(), error);
}
