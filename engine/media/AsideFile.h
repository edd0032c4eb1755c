#pragma once

#include <filesystem>
#include <string>

/**
 * An output in the making. It has no name until it is whole and is then put in its place at once,
 * so that a reader of the final name never sees half a file. Not published, it is gone, also when
 * the process is killed. (Where there are no files without a name it has a hidden one beside its
 * place, which a killed process leaves behind; on Windows the next output's making removes it.)
 */
class AsideFile
{
public:
    /**
     * @param finalPath UTF-8; an earlier file of that name stays until publish()
     * @param inputPath UTF-8; the file that the output is made from
     *
     * Throws BadRequest when both are one file, OutputNotWritten when nothing can be written in
     * that folder.
     */
    AsideFile(const std::string &finalPath, const std::string &inputPath);
    ~AsideFile();
    AsideFile(const AsideFile &) = delete;
    AsideFile &operator=(const AsideFile &) = delete;

    /** Where to write and to read back, UTF-8; only within this process. */
    const std::string &path() const { return writePath; }

    /** Puts the file in its place. Throws OutputNotWritten. */
    void publish();

    /**
     * Removes what is not published, for a process that is about to end, from any thread. No
     * further file is made or published afterwards: whoever tries waits for the end.
     */
    static void removeAllForEnd();

private:
    std::filesystem::path finalPath;
    /** Name beside the final place, for when one is needed. */
    std::filesystem::path hiddenPath;
    std::string writePath;
    int descriptor = -1;
    bool isNamed = false;
};
