#pragma once

#include <filesystem>
#include <string>

/**
 * A file that is written beside its final place and moved there when it is whole, so that a
 * reader of the final name never sees half a file. Not published, it is removed.
 */
class AsideFile
{
public:
    /** @param finalPath UTF-8; an earlier file of that name stays until publish() */
    explicit AsideFile(const std::string &finalPath);
    ~AsideFile();
    AsideFile(const AsideFile &) = delete;
    AsideFile &operator=(const AsideFile &) = delete;

    /** Where to write, UTF-8: in the same folder. */
    std::string path() const;

    /** Moves the file to its place. Throws OutputNotWritten. */
    void publish();

    /** Removes all that is not published. For a process about to end, from any thread. */
    static void removeAll();

private:
    std::filesystem::path finalPath;
    std::filesystem::path asidePath;
};
