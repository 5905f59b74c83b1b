// torture-engine: measures how badly behaved engines load the launcher, by its real clock. Prints a
// table. Returns 1 if the log is wrong.

#include "ModelFixture.h"
#include "support/Await.h"
#include "support/EngineScript.h"
#include "support/Fifo.h"
#include "support/Figures.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <cstdio>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// A model whose game does these steps of the test child.
class Play
{
public:
    explicit Play(const QStringList &steps)
    {
        fixture_.installByHand(engineScript(childSteps(steps)));
        fixture_.model().startWork(true);
    }

    AppModel &model() { return fixture_.model(); }
    const QStringList &log() { return model().log.lines(); }
    /// Runs an event loop like the launcher's own.
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

/// Prints the memory above idle while an engine prints.
void printMemory(const char *what, const QString &step, double bar)
{
    const double peak = peakAboveIdle([&] {
        Play play({step, u"exit:0"_s});
        play.waitForTheEnd();
    });
    print(what, peak / 1e6, "MB", bar);
}

bool flood()
{
    constexpr qint64 rate = 100'000;
    constexpr qint64 seconds = 10;
    Play play({u"paced:%1,%2"_s.arg(rate).arg(seconds), u"exit:0"_s});
    const Pulse pulse;
    play.waitForTheEnd();
    QStringList expected;
    for (qint64 i = rate * seconds - LogStore::maxLines + 1; i < rate * seconds; ++i) {
        expected << u"line %1"_s.arg(i);
    }
    const bool exact = play.log() == expected << u"• Game closed normally"_s;
    constexpr double maxAway = 50;
    print("100,000 lines/s for 10 s: longest absence of the main thread", pulse.longest(), "ms",
          maxAway);
    print("  the most work of the main thread in one", pulse.busiest(), "ms", maxAway);
    std::printf("  the last %d lines: %s\n", static_cast<int>(LogStore::maxLines),
                exact ? "exact" : "WRONG");
    return exact;
}

void stubbornGame()
{
    const Lifeline lifeline;
    Play play({u"ignore:15"_s, u"hold:"_s + lifeline.path(), u"fork:"_s, u"wait:"_s, u"parent:"_s,
               u"line:playing"_s, u"wait:"_s});
    spinUntil([&] { return play.log().contains(u"playing"_s); });
    QElapsedTimer timer;
    timer.start();
    play.model().cancel();
    play.waitForTheEnd();
    spinUntil([&] { return lifeline.isDropped(); });
    print("a game that ignores Stop is gone, with its children, after",
          static_cast<double>(timer.elapsed()) / 1e3, "s", 5.5);
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    try {
        // First, while this process has no freed memory that would hide the use.
        printMemory("100 MB without a line end: memory above idle", u"endless:100000000"_s, 8);
        printMemory("a line of 10 MB: memory above idle", u"long:1,10000000"_s, 8);
        printMemory("5,000 lines of 64 KiB: memory above idle", u"long:5000,65536"_s, 32);
        printMemory("50,000 lines of 2 KiB: memory above idle", u"long:50000,2048"_s, 32);
        const bool exact = flood();
        stubbornGame();
        return exact ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "torture-engine: %s\n", error.what());
        return 1;
    }
}
