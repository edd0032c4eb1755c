#pragma once

#include <QString>

#include <chrono>

/** The longest that one clip may take to be made. */
inline constexpr std::chrono::milliseconds previewToolLimit{15000};

/**
 * Where the clip of a repaired file is: in the data folder itself, under a name that tells the
 * repaired file's. May be called from any thread.
 */
QString previewClipPath(const QString &dataFolder, const QString &output);

/**
 * Cuts the first thirty seconds of a repaired file, unless that has been done before. Its pictures
 * and sound are copied, not made anew.
 *
 * On the interface thread, whose events are served meanwhile: the caller sees to it that no click
 * does harm. Whatever the tool says counts for nothing; a tool that takes longer than `limit` is
 * ended, and what it left goes.
 *
 * @param tool the program that cuts; need not exist
 * @param clip the file to make; its folders are created
 * @return the clip, or the whole repaired file where there is no clip
 */
QString makePreviewClip(const QString &tool, const QString &output, const QString &clip,
                        std::chrono::milliseconds limit = previewToolLimit);
