#include "engine/pipe/Channel.h"
#include "tests/support/TestCase.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <limits>

namespace {

/** How many more times this process is told its true user. */
int trueAnswers = std::numeric_limits<int>::max();

} // namespace

// In place of the system library's, for this program: after a while the process takes itself for
// another user, so that its own connections look to it like another user's.
extern "C" uid_t geteuid() noexcept
{
    const auto user = static_cast<uid_t>(syscall(SYS_geteuid));
    return trueAnswers-- > 0 ? user : user + 1;
}

/** Connections of another user's are turned away at both ends. */
class PipeUserTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { trueAnswers = std::numeric_limits<int>::max(); }

    void serviceTurnsAway()
    {
        const auto service = makeChannel("p", Direction::Write);
        const auto client = makeChannel("p", Direction::Read);
        QCOMPARE(service->create(), CommunicationOk);
        QCOMPARE(client->connect(), CommunicationOk);
        trueAnswers = 0;
        QCOMPARE(service->accept(100), CommunicationTimeout);
    }

    void clientTurnsAway()
    {
        const auto service = makeChannel("p", Direction::Write);
        const auto client = makeChannel("p", Direction::Read);
        QCOMPARE(service->create(), CommunicationOk);
        // The folder is checked twice on the way: its parent and itself.
        trueAnswers = 2;
        QCOMPARE(client->connect(), CommunicationRefused);
    }

    void sameUserIsLetIn()
    {
        const auto service = makeChannel("p", Direction::Write);
        const auto client = makeChannel("p", Direction::Read);
        QCOMPARE(service->create(), CommunicationOk);
        QCOMPARE(client->connect(), CommunicationOk);
        QCOMPARE(service->accept(10000), CommunicationOk);
    }
};

VELLUMIX_TEST_MAIN(PipeUserTest)

#include "tst_pipe_user.moc"
