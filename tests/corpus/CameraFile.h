#pragma once

#include <QByteArray>
#include <QString>

/** How a camera arranges the packets of a recording in its file. */
struct CameraLayout
{
    /** Pictures of a chunk; the chunks of the other tracks follow, as long as it. */
    int picturesPerChunk = 15;
    /** Chunks begin at multiples of so many bytes; zeros fill what is between. */
    int alignment = 1;
    /** A track of data of this type, one packet with each chunk of pictures; none when empty. */
    QByteArray dataType;
    /** Packets of data begin with a mark and their size; otherwise they are noise. */
    bool isDataMarked = true;
    /** The chunks of the other tracks follow in another order each time, by nobody's rule. */
    bool changesOrder = false;
};

/**
 * The packets of an MP4 or QuickTime file with its index at the end, in another arrangement, with
 * an index made anew at the end. The same on every run.
 */
QByteArray arrangedAsCamera(const QByteArray &file, const CameraLayout &layout);
