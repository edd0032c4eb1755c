#include "app/TextPattern.h"
#include "tests/support/TestCase.h"

class TextPatternTest : public TestCase
{
    Q_OBJECT

private Q_SLOTS:
    void fillsInOrder()
    {
        QCOMPARE(TextPattern::fill(QStringLiteral("%1 of %2, %3"), 3, qint64(-7000000000),
                                   QStringLiteral("text")),
                 QStringLiteral("3 of -7000000000, text"));
    }

    void valuesAreNotFilledAgain()
    {
        QCOMPARE(
            TextPattern::fill(QStringLiteral("%1|%2"), QStringLiteral("%2"), QStringLiteral("%1")),
            QStringLiteral("%2|%1"));
        QCOMPARE(TextPattern::fill(QStringLiteral("%1"), QStringLiteral("100%1")),
                 QStringLiteral("100%1"));
    }

    void flagsAreOneOrZero()
    {
        QCOMPARE(TextPattern::fill(QStringLiteral("%1%2"), true, false), QStringLiteral("10"));
    }
};

VELLUMIX_TEST_MAIN(TextPatternTest)

#include "tst_text_pattern.moc"
