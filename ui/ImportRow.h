#pragma once

#include <QFrame>
#include <QString>

class ThumbWidget;

/** One damaged video of the file list. Shows one content for all its life. */
class ImportRow : public QFrame
{
    Q_OBJECT

public:
    /** All that a row shows. */
    struct Content
    {
        QString fileName;
        QString detail;
        /** The thumbnail's file; empty when there is none yet. */
        QString thumbPath;

        bool operator==(const Content &) const = default;
    };

    explicit ImportRow(Content rowContent, QWidget *parent = nullptr);

    const Content &content() const { return shown; }

    /** Paints the thumbnail anew: its file may have been written again. */
    void refreshThumb();

private:
    const Content shown;
    ThumbWidget *thumb;
};
