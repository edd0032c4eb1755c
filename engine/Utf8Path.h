#pragma once

#include <filesystem>
#include <string>

enum class PathForm {
    /** As the text gives it, for putting paths together. */
    AsGiven,
    /**
     * In the form that the system opens, however long the path is. For opening alone: on Windows
     * the C library, which std::filesystem asks about a file, does not know it.
     */
    ForSystem
};

/** A path from its UTF-8 text, on every platform. */
inline std::filesystem::path pathFromUtf8(const std::string &text,
                                          [[maybe_unused]] PathForm form = PathForm::ForSystem)
{
    std::filesystem::path path(reinterpret_cast<const char8_t *>(text.c_str()));
#ifdef _WIN32
    // Up to this length every call takes a path as it is; longer ones need a form in which the
    // system changes nothing any more.
    constexpr std::size_t longestPlain = 240;
    if (form == PathForm::ForSystem && path.is_absolute() && path.native().size() > longestPlain &&
        !path.native().starts_with(L"\\\\?\\")) {
        const std::wstring full = path.lexically_normal().make_preferred().native();
        path = full.starts_with(L"\\\\") ? L"\\\\?\\UNC" + full.substr(1) : L"\\\\?\\" + full;
    }
#endif
    return path;
}

/** The UTF-8 text of a path. */
inline std::string utf8FromPath(const std::filesystem::path &path)
{
    const std::u8string text = path.u8string();
    return {reinterpret_cast<const char *>(text.data()), text.size()};
}
