// Catches the signals that ask a program to end.

#include "platform/TerminationSignals.h"

#include <QSignalSpy>
#include <QtTest>

#include <csignal>
#include <memory>

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
        const TerminationSignals ends;
        QSignalSpy requests(&ends, &TerminationSignals::requested);
        std::raise(signal);
        QCOMPARE(requests.size(), 0);
        QTRY_COMPARE(requests.size(), 1);
        std::raise(signal);
        QTRY_COMPARE(requests.size(), 2);
    }

    void anIgnoredSignalStaysIgnored()
    {
        std::signal(SIGHUP, SIG_IGN);
        {
            const TerminationSignals ends;
            QSignalSpy requests(&ends, &TerminationSignals::requested);
            std::raise(SIGHUP);
            std::raise(SIGTERM);
            QTRY_COMPARE(requests.size(), 1);
        }
        struct sigaction now = {};
        sigaction(SIGHUP, nullptr, &now);
        QVERIFY(now.sa_handler == SIG_IGN);
        sigaction(SIGTERM, nullptr, &now);
        QVERIFY(now.sa_handler == SIG_DFL);
        std::signal(SIGHUP, SIG_DFL);
    }
};

QTEST_GUILESS_MAIN(TestTerminationSignals)
#include "tst_terminationsignals.moc"
