// torture-engine: what engines that behave badly cost the launcher, by its real clock: 100,000
// lines a second for ten seconds, long lines, a line without an end, and one that won't end.
// Prints a table; ends with 1 when the log is not exact or a game is not ended.

#include "PipelineFixture.h"
#include "base/Clock.h"
#include "support/Await.h"
#include "support/Lifeline.h"
#include "support/TestChild.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <ctime>

using namespace brindle;

namespace {

constexpr double million = 1e6;

/// A model whose game does these steps of the test child's.
class Play
{
public:
    explicit Play(const QStringList &steps)
    {
        QString script = QStringLiteral("#!/bin/sh\nexec '%1'").arg(testChild());
        for (const QString &step : steps) {
            script += QStringLiteral(" '%1'").arg(step);
        }
        fixture_.installByHand(script.toUtf8() + '\n');
        fixture_.model().startWork(true);
    }

    AppModel &model() { return fixture_.model(); }
    const QStringList &log() { return model().log.lines(); }
    void waitFor(const QString &line)
    {
        spinUntil([&] { return log().contains(line); });
    }
    /// In an event loop like the launcher's own.
    void waitForTheEnd()
    {
        QEventLoop loop;
        QObject::connect(&model(), &AppModel::workChanged, &loop, [&] {
            if (!model().work()) {
                loop.quit();
            }
        });
        loop.exec();
    }

private:
    ModelFixture fixture_{std::make_shared<SteadyClock>()};
};

/// In milliseconds.
double now(clockid_t clock)
{
    timespec time{};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / million;
}

/// In bytes, of this process: "VmRSS" or "VmHWM".
double memory(const QByteArray &key)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : status.readAll().split('\n')) {
            if (line.startsWith(key + ':')) {
                constexpr double kilobyte = 1024;
                return line.mid(key.size() + 1).simplified().split(' ').first().toDouble() *
                       kilobyte;
            }
        }
    }
    return 0;
}

/// "VmHWM" begins anew (proc(5), clear_refs).
void resetPeak()
{
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (!references.open(QIODevice::WriteOnly) || references.write("5") != 1) {
        throw std::runtime_error("can't measure memory");
    }
}

void print(const char *what, double value, const char *unit, double bar)
{
    std::printf("%-58s %9.1f %-3s %s (%g)\n", what, value, unit, value <= bar ? "ok" : "over", bar);
    std::fflush(stdout);
}

bool flood()
{
    constexpr qint64 rate = 100'000;
    constexpr qint64 seconds = 10;
    Play play({QStringLiteral("paced:%1,%2").arg(rate).arg(seconds), QStringLiteral("exit:0")});
    double longest = 0;
    double busiest = 0;
    double since = now(CLOCK_MONOTONIC);
    double busySince = now(CLOCK_THREAD_CPUTIME_ID);
    QTimer pulse;
    pulse.setTimerType(Qt::PreciseTimer);
    pulse.setInterval(1);
    QObject::connect(&pulse, &QTimer::timeout, &pulse, [&] {
        const double time = now(CLOCK_MONOTONIC);
        const double busy = now(CLOCK_THREAD_CPUTIME_ID);
        longest = std::max(longest, time - std::exchange(since, time));
        busiest = std::max(busiest, busy - std::exchange(busySince, busy));
    });
    pulse.start();
    play.waitForTheEnd();
    bool exact = play.log().contains(QStringLiteral("• Game closed normally"));
    // The launcher's own line is the last one.
    const qsizetype count = play.log().size() - 1;
    for (qsizetype i = 0; i < count; ++i) {
        exact =
            exact && play.log().at(i) == QStringLiteral("line %1").arg(rate * seconds - count + i);
    }
    exact = exact && play.log().size() == LogStore::maxLines;
    constexpr double maxAway = 50;
    print("100,000 lines/s for 10 s: longest absence of the main thread", longest, "ms", maxAway);
    print("  the most work of the main thread in one", busiest, "ms", maxAway);
    std::printf("  the last %d lines: %s\n", static_cast<int>(LogStore::maxLines),
                exact ? "exact" : "WRONG");
    return exact;
}

/// An engine that prints this; what the launcher needs more than before, at most.
void longLines(const char *what, const QString &step, double most)
{
    resetPeak();
    const double before = memory("VmRSS");
    Play play({step, QStringLiteral("exit:0")});
    play.waitForTheEnd();
    print(what, (memory("VmHWM") - before) / million, "MB", most);
}

void stubbornGame()
{
    const Lifeline lifeline;
    Play play({QStringLiteral("ignore:15"), QStringLiteral("hold:") + lifeline.path(),
               QStringLiteral("fork:"), QStringLiteral("wait:"), QStringLiteral("parent:"),
               QStringLiteral("out:engine is playing\\n"), QStringLiteral("wait:")});
    play.waitFor(QStringLiteral("engine is playing"));
    QElapsedTimer timer;
    timer.start();
    play.model().cancel();
    play.waitForTheEnd();
    spinUntil([&] { return lifeline.isDropped(); });
    constexpr double most = 5.5;
    print("a game that ignores Stop is gone, with its children, after",
          static_cast<double>(timer.elapsed()) / 1e3, "s", most);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    try {
        // First, while there is nothing that this process has let go of.
        constexpr double fewMegabytes = 8;
        constexpr double wholeLog = 32;
        longLines("100 MB without a line end: memory above idle",
                  QStringLiteral("endless:100000000"), fewMegabytes);
        longLines("a line of 10 MB: memory above idle", QStringLiteral("long:1,10000000"),
                  fewMegabytes);
        longLines("5,000 lines of 64 KiB: memory above idle", QStringLiteral("long:5000,65536"),
                  wholeLog);
        longLines("50,000 lines of 2 KiB: memory above idle", QStringLiteral("long:50000,2048"),
                  wholeLog);
        const bool exact = flood();
        stubbornGame();
        return exact ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "torture-engine: %s\n", error.what());
        return 1;
    }
}
