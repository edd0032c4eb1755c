#pragma once

#include <filesystem>

/**
 * What tells services to come of an unfinished file, should this one be killed: a small file in the
 * folder for temporary ones, held open for as long as its writer lives and wants. One that can be
 * opened is an abandoned one. Where no note can be made there is none. Safe from any thread.
 */
class UnfinishedNote
{
public:
    /** @param file the unfinished file, absolute, in the form that the system opens */
    explicit UnfinishedNote(const std::filesystem::path &file);
    /** Takes the note back; the file is its owner's. */
    ~UnfinishedNote();
    UnfinishedNote(const UnfinishedNote &) = delete;
    UnfinishedNote &operator=(const UnfinishedNote &) = delete;

    /** The file could not be removed: a later service tries again. */
    void leave();

    /**
     * Removes the unfinished files of services that were killed, with their notes. The note of a
     * file that cannot be removed now, since its drive is away, stays.
     */
    static void removeAbandoned();

    /** Files of this kind are what notes may speak of. */
    static bool isUnfinishedName(const std::filesystem::path &name);

private:
    /** A Windows handle. */
    void *handle;
};
