#pragma once

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

/**
 * Undamaged recordings, generated: moving pictures with noise of a fixed seed and tones, coded on
 * one thread and without time stamps of the day, so that each is the same file on every run.
 */
struct Master
{
    /** The file's name, by which damages and results speak of it. */
    QString name;
    /** What it is there for, for people. */
    QString about;
    /** FFmpeg's for the output; for all but the pictures where those are given apart. */
    QStringList options;
    /** How its pictures are coded, where others have the very same: they are coded once. */
    QStringList pictures = {};
    /** What its file says of the device, wherever it does; empty where it says nothing. */
    QString make = {};
    QString model = {};
    /** What is done to the file that FFmpeg has written; may be none. */
    std::function<QByteArray(QByteArray)> finish = {};
};

/** All there are. */
const std::vector<Master> &masters();

/** One by its name; ends the program when there is none. */
const Master &masterNamed(const QString &name);

/** What was in front of the camera: the recording's own, or what a sample of the same device has.
 */
enum class Scene { Recording, Sample };

/** Records the master to a path, `seconds` long. */
void recordMaster(const Master &master, const QString &path, int seconds,
                  Scene scene = Scene::Recording);

/** The path of the master's file, for reading only; recorded when it is not there yet. */
QString makeMaster(const Master &master, int seconds, Scene scene = Scene::Recording);
