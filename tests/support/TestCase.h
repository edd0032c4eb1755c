#pragma once

#include "tests/support/OwnFolder.h"

#include <QApplication>
#include <QCoreApplication>
#include <QDir>
#include <QObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

/**
 * Base of all tests: a warning, of Qt's or a test's own, fails the test. Left out is the one that
 * the platform without a display gives for every dialog of a limited size.
 */
class TestCase : public QObject
{
    Q_OBJECT

private:
    static QString harmless()
    {
        QString messages = QStringLiteral("This plugin does not support propagateSizeHints");
#ifdef Q_OS_WIN
        // The system holds a program's file and folder for a moment after its process has ended.
        messages += QStringLiteral("|QTemporaryDir: Unable to remove");
#endif
        return messages;
    }

private Q_SLOTS:
    void init()
    {
        QTest::failOnWarning(
            QRegularExpression(QStringLiteral("^(?!") + harmless() + QLatin1Char(')')));
    }
};

namespace Testing {

/**
 * Runs a test class in surroundings of its own: the pipes' names in a folder that nobody else
 * uses, and a limit of time for each test function with its rows of data.
 */
template <typename Test, typename Application = QCoreApplication>
int run(int argc, char *argv[], int limitSeconds)
{
    QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
#ifdef Q_OS_WIN
    // What one service leaves there for the next is between those of one test.
    for (const char *name : {"TMP", "TEMP"})
        qputenv(name, QDir::toNativeSeparators(runtimeDir.path()).toUtf8());
#endif
    if (!qEnvironmentVariableIsSet("QTEST_FUNCTION_TIMEOUT"))
        qputenv("QTEST_FUNCTION_TIMEOUT", QByteArray::number(limitSeconds * 1000));
    Application application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
}

/**
 * As run(), for tests with a window: without a display, with the client's data in a folder that
 * nobody else uses, and in an application folder of its own, whose log, service and logo are the
 * test's alone. For that the program starts itself anew under a second name.
 */
template <typename Test>
int runWindowTest(int argc, char *argv[], int limitSeconds)
{
    const OwnFolder ownFolder(argv);
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Tests drive the toolkit's own dialogs.
    QCoreApplication::setAttribute(Qt::AA_DontUseNativeDialogs);
    QTemporaryDir publicFolder;
    qputenv("PUBLIC", publicFolder.path().toUtf8());
    return run<Test, QApplication>(argc, argv, limitSeconds);
}

/** The folder in which pipes have their names during a test. */
inline QString pipeFolder()
{
    return qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/vellumix");
}

} // namespace Testing

#define VELLUMIX_TEST_MAIN(Test)                                                                   \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        return Testing::run<Test>(argc, argv, VELLUMIX_TEST_SECONDS);                              \
    }

#define VELLUMIX_WINDOW_TEST_MAIN(Test)                                                            \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        return Testing::runWindowTest<Test>(argc, argv, VELLUMIX_TEST_SECONDS);                    \
    }
