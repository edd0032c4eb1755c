#pragma once

#include <filesystem>
#include <string>

/** A path from its UTF-8 text, on every platform. */
inline std::filesystem::path pathFromUtf8(const std::string &text)
{
    return {reinterpret_cast<const char8_t *>(text.c_str())};
}

/** The UTF-8 text of a path. */
inline std::string utf8FromPath(const std::filesystem::path &path)
{
    const std::u8string text = path.u8string();
    return {reinterpret_cast<const char *>(text.data()), text.size()};
}
