// Measures the window from outside, against an empty window: the time from exec to the first frame,
// the memory three seconds later, and the main thread's wake-ups while nothing happens.
//
// usage: bench_window PROGRAM EMPTY WORK
//   PROGRAM is the launcher, EMPTY the other window. Empties WORK.

#include "Figures.h"
#include "Measure.h"
#include "files/Files.h"
#include "support/Screen.h"

#include <QThread>

#include <algorithm>
#include <chrono>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned long settled = 3; // seconds

/// Waits until the screen is black or, if not `isBlack`, shows more than the mouse pointer.
void waitUntil(bool isBlack, const Screen &screen)
{
    constexpr int pointerPixels = 5'000;
    const QImage &picture = screen.picture();
    const auto *const pixels = reinterpret_cast<const QRgb *>(picture.constBits());
    const auto *const end = pixels + picture.sizeInBytes() / static_cast<qsizetype>(sizeof(QRgb));
    const auto isLit = [](QRgb pixel) { return (pixel & 0xffffff) != 0; };
    const auto deadline = Clock::now() + std::chrono::seconds(20);
    while ((std::count_if(pixels, end, isLit) < pointerPixels) != isBlack) {
        if (Clock::now() > deadline) {
            throw std::runtime_error("nothing happens on the display");
        }
        QThread::usleep(200);
    }
}

/// Runs a program on the screen. The constructor waits for the first frame; the destructor ends the
/// program.
class Shown
{
public:
    Shown(const QString &program, const Screen &screen, const QString &home) : screen_(screen)
    {
        auto environment = screen.environment();
        environment.insert(u"HOME"_s, home);
        environment.insert(u"XDG_RUNTIME_DIR"_s, home);
        process_.setProcessEnvironment(environment);
        process_.start(program, {});
        waitUntil(false, screen);
    }
    ~Shown()
    {
        process_.terminate();
        if (!process_.waitForFinished(2000)) {
            process_.kill();
            process_.waitForFinished();
        }
        waitUntil(true, screen_);
    }

    /// Returns the program's memory in bytes. Pages that several processes share count in part.
    double pss() const { return 1024 * procField(proc(u"smaps_rollup"_s), "Pss:"); }
    /// Returns how often the program's main thread has run so far.
    double turns() const
    {
        const QString status = proc(u"task/%1/status"_s.arg(process_.processId()));
        return procField(status, "voluntary_ctxt_switches:") +
               procField(status, "nonvoluntary_ctxt_switches:");
    }

private:
    QString proc(const QString &file) const
    {
        return u"/proc/%1/%2"_s.arg(process_.processId()).arg(file);
    }

    const Screen &screen_;
    QProcess process_;
};

void measure(const QStringList &arguments)
{
    const QString &program = arguments.at(0);
    const QString &empty = arguments.at(1);
    const QString &work = arguments.at(2);
    Files::remove(work);
    Files::createFolder(work);
    // Without a window manager, nothing else is on the screen.
    const Screen screen({700, 800}, 0, Screen::Manager::none);
    waitUntil(true, screen);
    const auto medians = [&](int count, const auto &measured) {
        std::vector<double> ours;
        std::vector<double> theirs;
        for (int i = 0; i < count; ++i) {
            ours.push_back(measured(program));
            theirs.push_back(measured(empty));
        }
        return Measure::Pair{Measure::median(ours), Measure::median(theirs)};
    };
    const auto firstFrame = [&](const QString &which) {
        const auto start = Clock::now();
        const Shown shown(which, screen, work);
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    const auto memory = [&](const QString &which) {
        const Shown shown(which, screen, work);
        QThread::sleep(settled);
        return shown.pss();
    };

    medians(1, firstFrame); // warms the disk's cache
    Measure::printRatio("first frame, against an empty window", medians(15, firstFrame), 1.8);
    const Measure::Pair bytes = medians(3, memory);
    Measure::printFigure("memory of the window", bytes.ours / 1e6, "MB");
    Measure::printFigure("memory of the empty window", bytes.theirs / 1e6, "MB");
    Measure::printLimit("their ratio", bytes.ours / bytes.theirs, "", 1.6);

    const Shown shown(program, screen, work);
    QThread::sleep(settled);
    const double before = shown.turns();
    QThread::sleep(10);
    Measure::printLimit("wake-ups of the idle main thread in 10 s", shown.turns() - before, "", 0);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_window PROGRAM EMPTY WORK", measure);
}
