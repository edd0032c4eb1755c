#pragma once

#include "tests/support/AppFolder.h"
#include "tests/support/FaultFolder.h"

#include <QString>
#include <QStringList>

/** The client closed again and again while its services are stuck. */
class CloseRounds
{
public:
    /**
     * @param script of the services
     * @param heldPhotos how many services must have written their picture before the close
     */
    CloseRounds(const QStringList &script, int heldPhotos);

    /** Services that take the request and stay. */
    static QStringList unanswering();

    /** The same, with children, and deaf to being asked to end. */
    static QStringList stubborn();

    /** Services that never make their pipes. */
    static QStringList pipeless();

    struct Outcome
    {
        /** What went wrong; empty when nothing did. */
        QString failure;
        /** From the close to the end of the process, in milliseconds. */
        qint64 milliseconds = 0;
    };

    /** Starts the client, has it closed, and looks at how it ended and at what it left. */
    Outcome run(int exitCode);

    const FaultFolder &services() const { return fault; }

private:
    FaultFolder fault;
    AppFolder app;
    QString videos;
    int photos;
};
