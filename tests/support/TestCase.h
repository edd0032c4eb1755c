#pragma once

#include <QCoreApplication>
#include <QObject>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

/** Base of all tests: a warning, of Qt's or a test's own, fails the test. */
class TestCase : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }
};

namespace Testing {

/**
 * Runs a test class in surroundings of its own: the pipes' names in a folder that nobody else
 * uses, and one minute for each test function.
 */
template <typename Test, typename Application = QCoreApplication>
int run(int argc, char *argv[])
{
    QTemporaryDir runtimeDir;
    qputenv("XDG_RUNTIME_DIR", runtimeDir.path().toUtf8());
    qputenv("QTEST_FUNCTION_TIMEOUT", "60000");
    Application application(argc, argv);
    Test test;
    return QTest::qExec(&test, argc, argv);
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
        return Testing::run<Test>(argc, argv);                                                     \
    }
