// Engines that behave badly during a whole Play.

#include "PipelineFixture.h"
#include "support/Await.h"
#include "support/Fifo.h"
#include "support/TestChild.h"

#include <QFile>
#include <QtTest>

#include <csignal>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define MEMORY_IS_WATCHED
#endif
#endif
#ifdef MEMORY_IS_WATCHED
constexpr bool memoryIsOwn = false;
#else
constexpr bool memoryIsOwn = true;
#endif

const auto playing = u"engine is playing"_s;

/// Returns an engine that does these steps of the test child, whatever its arguments.
QByteArray engine(const QStringList &steps)
{
    QString script = u"#!/bin/sh\nexec '%1'"_s.arg(testChild());
    for (const QString &step : steps) {
        script += u" '%1'"_s.arg(step);
    }
    return script.toUtf8() + '\n';
}

/// Returns bytes of this process: "VmRSS" in memory now, "VmHWM" at most so far.
qint64 memory(const QByteArray &key)
{
    QFile status(u"/proc/self/status"_s);
    if (status.open(QIODevice::ReadOnly)) {
        constexpr qint64 kilobyte = 1024;
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith(key + ':')) {
                return line.mid(key.size() + 1).simplified().split(' ').first().toLongLong() *
                       kilobyte;
            }
        }
    }
    return 0;
}

} // namespace

class TestEngine : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    void start(const QStringList &steps) const
    {
        fixture_->installByHand(engine(steps));
        fixture_->model().startWork(true);
    }

    /// Serves events until the run ends, and lets only the time for the last lines pass.
    void waitForTheEnd() const
    {
        spinUntil([&] {
            if (!fixture_->model().runner.current()) {
                fixture_->clock->advance(Clock::Duration(0.2));
            }
            return !fixture_->model().work();
        });
    }

    QStringList log() const { return fixture_->model().log.lines(); }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void ends_data()
    {
        QTest::addColumn<QString>("step");
        QTest::addColumn<int>("code");
        QTest::newRow("at once") << u"exit:0"_s << 0;
        QTest::newRow("with 139") << u"exit:139"_s << 139;
        QTest::newRow("by SIGSEGV") << u"signal:%1"_s.arg(SIGSEGV) << SIGSEGV;
        QTest::newRow("by SIGKILL") << u"signal:%1"_s.arg(SIGKILL) << SIGKILL;
    }
    void ends()
    {
        QFETCH(const QString, step);
        QFETCH(const int, code);
        start({step});
        waitForTheEnd();
        QCOMPARE(fixture_->model().state(),
                 AppState::needs(u"The game closed after 0 seconds (exit code %1), "
                                 "so it did not start properly."_s.arg(code)));
        QVERIFY(fixture_->model().failure());
    }

    void ignoresTheRequestToEnd()
    {
        const Lifeline lifeline;
        start({u"report:%1"_s.arg(SIGTERM), u"hold:"_s + lifeline.path(), u"fork:"_s,
               u"report:%1"_s.arg(SIGTERM), u"wait:"_s, u"parent:"_s, u"out:engine is playing\\n"_s,
               u"wait:"_s});
        fixture_->waitForLine(playing);
        fixture_->model().cancel();
        fixture_->waitForLine(u"signal %1"_s.arg(SIGTERM));
        fixture_->clock->advance(Clock::Duration(4.9));
        QCoreApplication::processEvents();
        QVERIFY(fixture_->model().work());
        QVERIFY(!lifeline.isDropped());
        fixture_->clock->advance(Clock::Duration(0.1));
        waitForTheEnd();
        QCOMPARE(log().constLast(), u"• Game stopped"_s);
        spinUntil([&] { return lifeline.isDropped(); });
    }

    void leavesADialogOnThePipe()
    {
        const Gate gate;
        start({u"fork:"_s, u"gate:"_s + gate.path(), u"parent:"_s, u"out:has crashed\\n"_s,
               u"exit:1"_s});
        // The gate is shut, so a wait for the pipe's end would never return.
        waitForTheEnd();
        QVERIFY(log().contains(u"has crashed"_s));
        QVERIFY(fixture_->model().failure());
        gate.open();
    }

    void neverEndsItsLine()
    {
        const qint64 bytes = memoryIsOwn ? 512LL * 1024 * 1024 : 32LL * 1024 * 1024;
        const qint64 before = memory("VmRSS");
        start({u"endless:%1"_s.arg(bytes), u"exit:3"_s});
        waitForTheEnd();
        QVERIFY(fixture_->model().state().text.contains(u"(exit code 3)"_s));
        const QString note = memoryIsOwn ? u"… (536.9 MB left out)"_s : u"… (33.6 MB left out)"_s;
        QVERIFY2(log().constLast().endsWith(note), qPrintable(log().constLast().right(40)));
        QVERIFY2(log().at(log().size() - 2).startsWith(u"• "), "one line is one entry");
        QCOMPARE(fixture_->model().failure()->lines.constLast(), log().constLast());
        if (memoryIsOwn) {
            // Much less than the printed bytes.
            constexpr qint64 maxMemory = 64LL * 1024 * 1024;
            const qint64 grown = memory("VmHWM") - before;
            QVERIFY2(grown < maxMemory, qPrintable(QString::number(grown)));
        }
    }

    void printsLongLines()
    {
        constexpr int count = 5'003;
        start({u"long:%1,65536"_s.arg(count), u"exit:1"_s});
        waitForTheEnd();
        const QStringList lines = log();
        QCOMPARE(lines.size(), LogStore::maxLines);
        qint64 bytes = 0;
        for (qsizetype i = 0; i < lines.size(); ++i) {
            const QString &line = lines.at(i);
            bytes += line.capacity() * static_cast<qint64>(sizeof(QChar));
            QVERIFY2(line.startsWith(u"line %1 0123"_s.arg(count - lines.size() + i)),
                     qPrintable(line.left(40)));
            QVERIFY2(line.endsWith(u"… (64 KB left out)"_s), qPrintable(line.right(40)));
        }
        // Log and queue together may hold 32 MB.
        constexpr qint64 half = 15LL * 1000 * 1000;
        QVERIFY2(bytes < half, qPrintable(QString::number(bytes)));
    }

    void printsWhatIsNoText()
    {
        start({u"out:\\xFF\\xFEgame\\xC3\\n"_s, u"exit:1"_s});
        waitForTheEnd();
        const QChar repaired(QChar::ReplacementCharacter);
        QVERIFY2(log().contains(QString(2, repaired) + u"game"_s + repaired),
                 qPrintable(log().join(u'\n')));
    }

    void printsAMillionLines()
    {
        constexpr int count = 1'000'000;
        start({u"lines:%1"_s.arg(count), u"exit:1"_s});
        waitForTheEnd();
        const QStringList lines = log();
        QCOMPARE(lines.size(), LogStore::maxLines);
        for (qsizetype i = 0; i < lines.size(); ++i) {
            QCOMPARE(lines.at(i), u"line %1"_s.arg(count - lines.size() + i));
        }
    }
};

QTEST_GUILESS_MAIN(TestEngine)
#include "tst_engine.moc"
