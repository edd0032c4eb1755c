#pragma once

#include <QDropEvent>

/**
 * Accepts a drag or a drop, always as a copy. A drop that is accepted as a move, as it is proposed
 * with the shift key held, has the file manager delete the user's file.
 */
inline void acceptAsCopy(QDropEvent *event)
{
    event->setDropAction(Qt::CopyAction);
    event->accept();
}
