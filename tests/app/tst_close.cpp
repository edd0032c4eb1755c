#include "tests/support/CloseRounds.h"
#include "tests/support/TestCase.h"

/** The window is closed while services are stuck: the program goes, and leaves nothing behind. */
class CloseTest : public TestCase
{
    Q_OBJECT

private:
    /** A few rounds each time; `./dev stress close` makes some hundred. */
    static constexpr int rounds = 3;

    static void runRounds(const QStringList &script, int heldPhotos, int exitCode)
    {
        CloseRounds closing(script, heldPhotos);
        for (int i = 0; i < rounds; ++i) {
            const CloseRounds::Outcome outcome = closing.run(exitCode);
            QVERIFY2(outcome.failure.isEmpty(), qPrintable(outcome.failure));
        }
        // Of the twelve that were asked for, eight at most had their turn.
        QVERIFY(closing.services().startCount() <= 8 * rounds);
    }

private Q_SLOTS:
    void whileServicesDoNotAnswer() { runRounds(CloseRounds::unanswering(), 8, 0); }

    void whileServicesHaveChildrenAndIgnoreTheirEnd() { runRounds(CloseRounds::stubborn(), 8, 0); }

    void whileServicesHaveNoPipes()
    {
        // Their workers try for ten seconds to connect, and are left where they are.
        runRounds(CloseRounds::pipeless(), 0, 0);
    }

    void whileServicesAreBeingStarted() { runRounds(CloseRounds::unanswering(), 0, 0); }

    void theExitCodeIsTheEventLoops()
    {
        runRounds(CloseRounds::unanswering(), 8, 7);
        runRounds(CloseRounds::pipeless(), 0, 9);
    }
};

VELLUMIX_TEST_MAIN(CloseTest)

#include "tst_close.moc"
