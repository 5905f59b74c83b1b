// Tests the signals that ask a program to end.

#include "platform/TerminationSignals.h"

#include <QtTest>

#include <csignal>

using namespace brindle;

class TestTerminationSignals : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void eachIsReportedFromTheEventLoop_data()
    {
        QTest::addColumn<int>("signal");
        QTest::newRow("TERM") << SIGTERM;
        QTest::newRow("INT") << SIGINT;
        QTest::newRow("HUP") << SIGHUP;
    }
    void eachIsReportedFromTheEventLoop()
    {
        QFETCH(int, signal);
        QObject receiver;
        int requests = 0;
        onTerminationSignal(&receiver, [&] { ++requests; });
        std::raise(signal);
        QCOMPARE(requests, 0);
        QTRY_COMPARE(requests, 1);
        std::raise(signal);
        QTRY_COMPARE(requests, 2);
    }

    void manySignalsHangNothing()
    {
        QObject receiver;
        int requests = 0;
        onTerminationSignal(&receiver, [&] { ++requests; });
        for (int i = 0; i < 100'000; ++i) { // more than a pipe can hold
            std::raise(SIGTERM);
        }
        QTRY_VERIFY(requests > 0);
    }

    void anIgnoredSignalStaysIgnored()
    {
        std::signal(SIGHUP, SIG_IGN);
        QObject receiver;
        int requests = 0;
        onTerminationSignal(&receiver, [&] { ++requests; });
        std::raise(SIGHUP);
        std::raise(SIGTERM);
        QTRY_COMPARE(requests, 1);
        QVERIFY(std::signal(SIGHUP, SIG_DFL) == SIG_IGN);
    }
};

QTEST_GUILESS_MAIN(TestTerminationSignals)
#include "tst_terminationsignals.moc"
