#include "core/LineSink.h"

#include "services/LogStore.h"
#include "support/Await.h"

#include <QtTest>

#include <thread>

using namespace brindle;

namespace {

QString line(int number)
{
    return QStringLiteral("line %1").arg(number);
}

} // namespace

class TestLineSink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheOrderAcrossTurns()
    {
        LogStore log;
        const auto sink = std::make_shared<LineSink>(&log);
        std::thread([&] {
            for (int i = 0; i < 3000; ++i) {
                sink->append(line(i));
            }
        }).join();
        QVERIFY2(log.lines().isEmpty(), "lines reach the log on its own thread only");
        spinUntil([&] { return log.lines().size() == 3000; });
        for (int i = 0; i < 3000; ++i) {
            QCOMPARE(log.lines().at(i), line(i));
        }
    }

    void anEventBetweenTurnsIsServed()
    {
        LogStore log;
        const auto sink = std::make_shared<LineSink>(&log);
        for (int i = 0; i < 5000; ++i) {
            sink->append(line(i));
        }
        qsizetype seen = -1;
        QMetaObject::invokeMethod(this, [&] { seen = log.lines().size(); }, Qt::QueuedConnection);
        spinUntil([&] { return log.lines().size() == 5000; });
        QVERIFY2(seen >= 0 && seen < 5000, "an event waited for the whole backlog");
    }

    void aFloodKeepsTheNewestLines()
    {
        LogStore log;
        const auto sink = std::make_shared<LineSink>(&log);
        for (int i = 0; i < 20'000; ++i) {
            sink->append(line(i));
        }
        sink->flush();
        QCOMPARE(log.lines().size(), 5000);
        QCOMPARE(log.lines().first(), line(15'000));
        QCOMPARE(log.lines().last(), line(19'999));
    }

    void linesThatAddNothingPushNothingOut()
    {
        LogStore log;
        const auto sink = std::make_shared<LineSink>(&log);
        sink->append(line(1));
        for (int i = 0; i < 20'000; ++i) {
            sink->append(QStringLiteral("\x1b[0m"));
        }
        sink->flush();
        QCOMPARE(log.lines(), QStringList{line(1)});
    }

    void aLineAfterAFlushArrivesByItself()
    {
        LogStore log;
        const auto sink = std::make_shared<LineSink>(&log);
        sink->append(line(1));
        sink->flush();
        sink->append(line(2));
        spinUntil([&] { return log.lines().size() == 2; });
        QCOMPARE(log.lines(), (QStringList{line(1), line(2)}));
    }

    void aLogThatIsGoneIsLeftAlone()
    {
        auto log = std::make_unique<LogStore>();
        const auto sink = std::make_shared<LineSink>(log.get());
        sink->append(line(1));
        log.reset();
        bool served = false;
        QMetaObject::invokeMethod(this, [&] { served = true; }, Qt::QueuedConnection);
        spinUntil([&] { return served; });
        sink->flush();
    }
};

QTEST_GUILESS_MAIN(TestLineSink)
#include "tst_linesink.moc"
