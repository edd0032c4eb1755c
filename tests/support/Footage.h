#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** Generated video files, and what FFmpeg's own program says of them. */
namespace Footage {

/**
 * Makes a video of `seconds` of moving test picture, 320 by 240 at 25 frames per second, with a
 * sine tone. `options` stand before the output file on FFmpeg's command line.
 */
void make(const QString &path, const QStringList &options, int seconds = 4);

/**
 * The path of what FFmpeg's program writes with these arguments, for reading only; made once. No
 * other file may be named in them.
 */
QString kept(const QStringList &arguments, const QString &suffix);

/** The errors that FFmpeg reports when it decodes everything in the file; empty when none. */
QByteArray decodeErrors(const QString &path);

/** What ffprobe says of the file: options as it takes them, output as it gives it. */
QString probe(const QString &path, const QStringList &options);

/** Runs a program to its end; its standard output. Fatal when it fails. */
QByteArray run(const QString &program, const QStringList &arguments);

/** Cuts a file off after a part of its length. */
void cut(const QString &path, double part);

/** Takes an AVI file's index away and writes zero over the sizes that a finished file has. */
void removeAviIndex(const QString &path);

} // namespace Footage
