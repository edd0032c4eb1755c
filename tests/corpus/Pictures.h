#pragma once

#include <QString>

/** Pictures of a file's first video, as its edit list has them. */
struct PictureCount
{
    int all = 0;
    /** Those that readers do not show, because the edit list ends before them or begins behind. */
    int hidden = 0;
};

/** Nothing when there is no video that opens. */
PictureCount countPictures(const QString &path);
