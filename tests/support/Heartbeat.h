#pragma once

#include <QElapsedTimer>
#include <QTimer>

#include <utility>

/** Longest time for which the thread that makes it did not get round to its timers. */
class Heartbeat
{
public:
    Heartbeat()
    {
        sinceBeat.start();
        QObject::connect(&timer, &QTimer::timeout,
                         [this] { longest = qMax(longest, sinceBeat.restart()); });
        timer.setTimerType(Qt::PreciseTimer);
        timer.start(beatMs);
    }

    /** In milliseconds, the timer's own interval included; counts anew from here. */
    qint64 takeLongest() { return std::exchange(longest, 0); }

private:
    static constexpr int beatMs = 5;

    QTimer timer;
    QElapsedTimer sinceBeat;
    qint64 longest = 0;
};
