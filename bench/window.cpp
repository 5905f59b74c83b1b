// The window from outside, against an empty one: from exec to the first frame, the memory three
// seconds later, and what the main thread does while nothing happens.
//
// usage: bench_window PROGRAM EMPTY WORK
//   PROGRAM is the launcher, EMPTY the window it is compared with; WORK is emptied

#include "Measure.h"
#include "files/Files.h"
#include "support/Figures.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <algorithm>
#include <chrono>
#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

using Clock = std::chrono::steady_clock;

constexpr int frameRuns = 15;
constexpr int memoryRuns = 3;
constexpr auto longest = std::chrono::seconds(20);
constexpr unsigned long settled = 3;   // seconds
constexpr unsigned long idleTime = 10; // seconds

/// An X display without a window manager: nothing is on it but what is measured. Its picture is a
/// file in memory.
class Display
{
public:
    Display()
    {
        server_.start(u"Xvfb"_s,
                      {u"-displayfd"_s, u"1"_s, u"-screen"_s, u"0"_s, u"700x800x24"_s,
                       u"-nolisten"_s, u"tcp"_s, u"-noreset"_s, u"-fbdir"_s, folder_.path()});
        while (!server_.canReadLine()) {
            if (!server_.waitForReadyRead()) {
                throw std::runtime_error("the X server does not start");
            }
        }
        name_ = QLatin1Char(':') + QString::fromLatin1(server_.readLine().trimmed());
        file_.setFileName(folder_.filePath(u"Xvfb_screen0"_s));
        if (!file_.open(QIODevice::ReadOnly)) {
            throw std::runtime_error("the X server shows no picture");
        }
        // Behind the head and the colours of the X Window Dump format.
        constexpr qint64 pixelBytes = 700LL * 800 * 4;
        pixels_ = file_.map(file_.size() - pixelBytes, pixelBytes);
        end_ = pixels_ + pixelBytes;
    }
    ~Display()
    {
        server_.terminate();
        server_.waitForFinished();
    }

    QString name() const { return name_; }
    /// But for the mouse pointer.
    bool isBlack() const
    {
        constexpr auto pointerBytes = 20'000;
        return std::count_if(pixels_, end_, [](uchar byte) { return byte != 0; }) < pointerBytes;
    }
    void waitUntil(bool black) const
    {
        const auto deadline = Clock::now() + longest;
        while (isBlack() != black) {
            if (Clock::now() > deadline) {
                throw std::runtime_error("nothing happens on the display");
            }
            QThread::usleep(200);
        }
    }

private:
    QTemporaryDir folder_;
    QProcess server_;
    QString name_;
    QFile file_;
    const uchar *pixels_ = nullptr;
    const uchar *end_ = nullptr;
};

/// A program on that display, for a user of its own; ends with this.
class Shown
{
public:
    Shown(const QString &program, const Display &display, const QString &home) : display_(display)
    {
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.remove(u"WAYLAND_DISPLAY"_s);
        environment.insert(u"DISPLAY"_s, display.name());
        environment.insert(u"QT_QPA_PLATFORM"_s, u"xcb"_s);
        environment.insert(u"HOME"_s, home);
        environment.insert(u"XDG_RUNTIME_DIR"_s, home);
        process_.setProcessEnvironment(environment);
        process_.start(program, {});
    }
    ~Shown()
    {
        process_.terminate();
        if (!process_.waitForFinished(2000)) {
            process_.kill();
            process_.waitForFinished();
        }
        display_.waitUntil(true);
    }

    /// Returns the proportional set size, in which processes share their common pages, in bytes.
    double pss() const { return 1024 * procField(proc(u"smaps_rollup"_s), "Pss:"); }
    /// Returns how often the main thread has run so far.
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

    const Display &display_;
    QProcess process_;
};

void measure(const QString &program, const QString &empty, const QString &work)
{
    Files::remove(work);
    Files::createFolder(work);
    QFile::setPermissions(work, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    const Display display;
    display.waitUntil(true);
    const auto firstFrame = [&](const QString &which) {
        const auto start = Clock::now();
        const Shown shown(which, display, work);
        display.waitUntil(false);
        return std::chrono::duration<double>(Clock::now() - start).count();
    };
    const auto memory = [&](const QString &which) {
        const Shown shown(which, display, work);
        display.waitUntil(false);
        QThread::sleep(settled);
        return shown.pss();
    };

    firstFrame(program);
    firstFrame(empty);
    std::vector<double> ours;
    std::vector<double> theirs;
    for (int i = 0; i < frameRuns; ++i) {
        ours.push_back(firstFrame(program));
        theirs.push_back(firstFrame(empty));
    }
    Measure::printRatio("first frame, against an empty window",
                        {Measure::median(ours), Measure::median(theirs)}, 1.8);

    ours.clear();
    theirs.clear();
    for (int i = 0; i < memoryRuns; ++i) {
        ours.push_back(memory(program));
        theirs.push_back(memory(empty));
    }
    constexpr double megabyte = 1e6;
    Measure::printFigure("memory of the window", Measure::median(ours) / megabyte, "MB");
    Measure::printFigure("memory of the empty window", Measure::median(theirs) / megabyte, "MB");
    Measure::printLimit("their ratio", Measure::median(ours) / Measure::median(theirs), "", 1.6);

    const Shown shown(program, display, work);
    display.waitUntil(false);
    QThread::sleep(settled);
    const double before = shown.turns();
    QThread::sleep(idleTime);
    Measure::printLimit("wake-ups of the idle main thread in 10 s", shown.turns() - before, "", 0);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_window PROGRAM EMPTY WORK", 3,
                            [](const QStringList &arguments) {
                                measure(arguments.at(0), arguments.at(1), arguments.at(2));
                            });
}
