#include "log/LogQueue.h"

#include "log/LogStore.h"
#include "process/LineSplitter.h"
#include "process/ManagedProcess.h"
#include "support/Await.h"

#include <QtTest>

#include <thread>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QString line(int number)
{
    return u"line %1"_s.arg(number);
}

/// Returns the heap memory of the entries in bytes.
qint64 bytesOf(const QStringList &lines)
{
    constexpr qint64 around = 64;
    qint64 bytes = 0;
    for (const QString &line : lines) {
        bytes += line.capacity() * static_cast<qint64>(sizeof(QChar)) + around;
    }
    return bytes;
}

} // namespace

class TestLineSink : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void keepsTheOrderAcrossTurns()
    {
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
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
        const auto sink = std::make_shared<LogQueue>(&log);
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
        const auto sink = std::make_shared<LogQueue>(&log);
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
        const auto sink = std::make_shared<LogQueue>(&log);
        sink->append(line(1));
        for (int i = 0; i < 20'000; ++i) {
            sink->append(u"\x1b[0m"_s);
        }
        sink->flush();
        QCOMPARE(log.lines(), QStringList{line(1)});
    }

    void aFullQueueLetsTheOldestGo()
    {
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
        const QString oldest = QString(100, u'x');
        sink->append(oldest);
        for (int i = 1; i < LogStore::maxLines; ++i) {
            sink->append(line(i));
        }
        QVERIFY(!oldest.isDetached());
        sink->append(line(5000));
        QVERIFY2(oldest.isDetached(), "somebody still holds it");
    }

    void theLongestLinesFitIntoTheBudget_data()
    {
        QTest::addColumn<QByteArray>("part");
        QTest::newRow("one byte each") << QByteArray("x");
        QTest::newRow("three bytes each") << QByteArray("\xE2\x82\xAC");
        QTest::newRow("four bytes each") << QByteArray("\xF0\x9F\x98\x80");
        QTest::newRow("no characters") << QByteArray("\xFF");
        QTest::newRow("with colours") << QByteArray("\x1b[0mx");
    }
    /// Counts a full log, a full queue, and the lines of one turn.
    void theLongestLinesFitIntoTheBudget()
    {
        QFETCH(const QByteArray, part);
        constexpr qint64 budget = 32'000'000;
        const QByteArray printed = part.repeated(ManagedProcess::maxLineBytes) + '\n';
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
        LineSplitter splitter(ManagedProcess::maxLineBytes);
        constexpr qint64 count = 100;
        for (int i = 0; i < count; ++i) {
            splitter.feed(printed, [&](const QString &line) { sink->append(line); });
        }
        sink->flush();
        QCOMPARE(log.lines().size(), count);
        const qint64 bytes = bytesOf(log.lines()) * LogStore::maxLines / count;
        const qint64 share = bytes * LogQueue::linesPerTurn / LogStore::maxLines;
        QVERIFY2(2 * bytes + share < budget, qPrintable(QString::number(2 * bytes + share)));
    }

    void aLineAfterAFlushArrivesByItself()
    {
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
        sink->append(line(1));
        sink->flush();
        QCoreApplication::processEvents(); // runs the turn for the first line
        sink->append(line(2));
        spinUntil([&] { return log.lines().size() == 2; });
        QCOMPARE(log.lines(), (QStringList{line(1), line(2)}));
    }

    void aNoteComesBehindWhatWaits()
    {
        LogStore log;
        const auto sink = std::make_shared<LogQueue>(&log);
        QStringList expected;
        for (int i = 0; i < 2000; ++i) {
            expected << line(i);
        }
        std::thread([&] {
            for (const QString &each : std::as_const(expected)) {
                sink->append(each);
            }
        }).join();
        sink->note(u"Game stopped"_s);
        expected << u"• Game stopped"_s;
        QCOMPARE(log.lines(), expected);
        sink->append(line(2000));
        sink->note(u"Cancelled"_s);
        expected << line(2000) << u"• Cancelled"_s;
        QCOMPARE(log.lines(), expected);
    }

    void aLogThatIsGoneIsLeftAlone()
    {
        auto log = std::make_unique<LogStore>();
        const auto sink = std::make_shared<LogQueue>(log.get());
        sink->append(line(1));
        log.reset();
        bool served = false;
        QMetaObject::invokeMethod(this, [&] { served = true; }, Qt::QueuedConnection);
        spinUntil([&] { return served; });
        sink->append(line(2));
        sink->flush();
        sink->note(u"to nobody"_s);
    }
};

QTEST_GUILESS_MAIN(TestLineSink)
#include "tst_logqueue.moc"
