// torture-engine: what engines that behave badly cost the launcher, by its real clock: 100,000
// lines a second for ten seconds, long lines, a line without an end, and one that won't end.
// Prints a table; ends with 1 when the log is not exact or a game is not ended.

#include "PipelineFixture.h"
#include "base/Clock.h"
#include "support/Await.h"
#include "support/Fifo.h"
#include "support/Figures.h"
#include "support/TestChild.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr double million = 1e6;

/// A model whose game does these steps of the test child's.
class Play
{
public:
    explicit Play(const QStringList &steps)
    {
        QString script = u"#!/bin/sh\nexec '%1'"_s.arg(testChild());
        for (const QString &step : steps) {
            script += u" '%1'"_s.arg(step);
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
    ModelFixture fixture_;
};

void print(const char *what, double value, const char *unit, double bar)
{
    std::printf("%-58s %9.1f %-3s %s (%g)\n", what, value, unit, value <= bar ? "ok" : "over", bar);
    std::fflush(stdout);
}

bool flood()
{
    constexpr qint64 rate = 100'000;
    constexpr qint64 seconds = 10;
    Play play({u"paced:%1,%2"_s.arg(rate).arg(seconds), u"exit:0"_s});
    const Pulse pulse;
    play.waitForTheEnd();
    bool exact = play.log().contains(u"• Game closed normally"_s);
    // The launcher's own line is the last one.
    const qsizetype count = play.log().size() - 1;
    for (qsizetype i = 0; i < count; ++i) {
        exact = exact && play.log().at(i) == u"line %1"_s.arg(rate * seconds - count + i);
    }
    exact = exact && play.log().size() == LogStore::maxLines;
    constexpr double maxAway = 50;
    print("100,000 lines/s for 10 s: longest absence of the main thread", pulse.longest(), "ms",
          maxAway);
    print("  the most work of the main thread in one", pulse.busiest(), "ms", maxAway);
    std::printf("  the last %d lines: %s\n", static_cast<int>(LogStore::maxLines),
                exact ? "exact" : "WRONG");
    return exact;
}

/// An engine that prints this; what the launcher needs more than before, at most.
void longLines(const char *what, const QString &step, double most)
{
    const double peak = peakAboveIdle([&] {
        Play play({step, u"exit:0"_s});
        play.waitForTheEnd();
    });
    print(what, peak / million, "MB", most);
}

void stubbornGame()
{
    const Lifeline lifeline;
    Play play({u"ignore:15"_s, u"hold:"_s + lifeline.path(), u"fork:"_s, u"wait:"_s, u"parent:"_s,
               u"out:engine is playing\\n"_s, u"wait:"_s});
    play.waitFor(u"engine is playing"_s);
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
        longLines("100 MB without a line end: memory above idle", u"endless:100000000"_s,
                  fewMegabytes);
        longLines("a line of 10 MB: memory above idle", u"long:1,10000000"_s, fewMegabytes);
        longLines("5,000 lines of 64 KiB: memory above idle", u"long:5000,65536"_s, wholeLog);
        longLines("50,000 lines of 2 KiB: memory above idle", u"long:50000,2048"_s, wholeLog);
        const bool exact = flood();
        stubbornGame();
        return exact ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "torture-engine: %s\n", error.what());
        return 1;
    }
}
