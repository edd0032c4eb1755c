#include "engine/recording/InputFile.h"

#include "engine/Utf8Path.h"

#include <filesystem>
#include <fstream>

bool isReadableFile(const std::string &path)
{
    const std::filesystem::path file = pathFromUtf8(path);
    std::error_code error;
    return std::filesystem::is_regular_file(file, error) && std::ifstream(file, std::ios::binary);
}
