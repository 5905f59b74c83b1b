// How long a download still takes: its rate of late, and the words for it.

#include "base/RecentRate.h"
#include "base/Text.h"

#include <QTest>

#include <limits>

using namespace brindle;

class TestTimeLeft : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void words_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        const auto row = [](double seconds, const char *text) {
            QTest::addRow("%g", seconds) << seconds << QString::fromLatin1(text);
        };
        row(0, "Less than a minute left");
        row(59.9, "Less than a minute left");
        row(60, "About 1 minute left");
        row(89, "About 1 minute left");
        row(90, "About 2 minutes left");
        row(59 * 60, "About 59 minutes left");
        row(59.5 * 60, "About 1 hour left");
        row(89 * 60, "About 1 hour left");
        row(90 * 60, "About 2 hours left");
        row(23.4 * 3600, "About 23 hours left");
        row(23.6 * 3600, "More than a day left");
        row(std::numeric_limits<double>::infinity(), "More than a day left");
        row(-1, "");
        row(std::numeric_limits<double>::quiet_NaN(), "");
    }

    void words()
    {
        QFETCH(double, seconds);
        QTEST(Text::timeLeft(seconds), "text");
    }

    void aRateNeedsASecond()
    {
        RecentRate rate;
        QVERIFY(!rate.perSecond());
        rate.add(Clock::Duration(5), 0);
        rate.add(Clock::Duration(5.9), 900);
        QVERIFY(!rate.perSecond());
        rate.add(Clock::Duration(6), 2000);
        QCOMPARE(rate.perSecond(), std::optional(2000.0));
    }

    void whatIsLongerAgoDoesNotCount()
    {
        RecentRate rate;
        // Fast for a minute, then slow.
        for (int second = 0; second <= 60; ++second) {
            rate.add(Clock::Duration(second), second * 1000);
        }
        for (int second = 61; second <= 65; ++second) {
            rate.add(Clock::Duration(second), 60'000 + (second - 60));
        }
        QCOMPARE(rate.perSecond(), std::optional((5 * 1000 + 5) / 10.0));
        for (int second = 66; second <= 70; ++second) {
            rate.add(Clock::Duration(second), 60'000 + (second - 60));
        }
        QCOMPARE(rate.perSecond(), std::optional(1.0));
    }

    /// As many as a fast connection has.
    void manyCallsCountAsFew()
    {
        RecentRate rate;
        for (int i = 0; i <= 200'000; ++i) {
            rate.add(Clock::Duration(i / 10'000.0), i);
        }
        QVERIFY(std::abs(*rate.perSecond() - 10'000) < 1);
    }

    void aCountThatShrinksIsAnothers()
    {
        RecentRate rate;
        rate.add(Clock::Duration(0), 0);
        rate.add(Clock::Duration(2), 5000);
        rate.add(Clock::Duration(3), 10);
        QVERIFY(!rate.perSecond());
        rate.add(Clock::Duration(5), 30);
        QCOMPARE(rate.perSecond(), std::optional(10.0));
    }

    void aStandstillHasARate()
    {
        RecentRate rate;
        rate.add(Clock::Duration(0), 7);
        rate.add(Clock::Duration(4), 7);
        QCOMPARE(rate.perSecond(), std::optional(0.0));
    }
};

QTEST_GUILESS_MAIN(TestTimeLeft)
#include "tst_timeleft.moc"
