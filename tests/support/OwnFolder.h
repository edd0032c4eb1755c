#pragma once

#include <QString>

#include <string>

namespace Testing {

/**
 * Moves a test program into an application folder of its own: at first it makes the folder, with
 * another name of the program and of the pipe library in it, and starts that in its place; there it
 * goes on, and removes the folder at its end.
 */
class OwnFolder
{
public:
    /** @param argv the program's arguments, for the start */
    explicit OwnFolder(char *argv[]);
    ~OwnFolder();

    OwnFolder(const OwnFolder &) = delete;
    OwnFolder &operator=(const OwnFolder &) = delete;

    QString path() const { return QString::fromStdString(folder); }

private:
    std::string folder;
};

/** Where the test programs stand, also for one that runs in a folder of its own. */
QString programFolder();

} // namespace Testing
