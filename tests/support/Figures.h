#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <time.h>

namespace brindle {

/// Returns the number behind `name` in a file of /proc. Linux. Throws std::runtime_error.
inline double procField(const QString &file, const QByteArray &name)
{
    QFile proc(file);
    if (proc.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : proc.readAll().split('\n')) {
            if (line.startsWith(name)) {
                return line.mid(name.size()).simplified().split(' ').first().toDouble();
            }
        }
    }
    throw std::runtime_error((file.toUtf8() + " has no " + name).toStdString());
}

/// Returns the growth of this process's memory during `work` at its peak, in bytes: of the resident
/// set, which includes shared pages.
inline double peakAboveIdle(const std::function<void()> &work)
{
    // "5" resets the peak; see proc(5).
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (!references.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        references.write("5") != 1) {
        throw std::runtime_error("can't reset the peak of memory");
    }
    constexpr double kilobyte = 1024;
    const QString status = QStringLiteral("/proc/self/status");
    const double idle = procField(status, "VmRSS:");
    work();
    return (procField(status, "VmHWM:") - idle) * kilobyte;
}

/// Remembers the longest time between two marks, and the thread's most processor time between two,
/// in milliseconds. On a busy machine only the former grows.
class Gap
{
public:
    void start()
    {
        since_ = now(CLOCK_MONOTONIC);
        busySince_ = now(CLOCK_THREAD_CPUTIME_ID);
    }
    void mark()
    {
        longest_ = std::max(longest_, now(CLOCK_MONOTONIC) - since_);
        busiest_ = std::max(busiest_, now(CLOCK_THREAD_CPUTIME_ID) - busySince_);
        start();
    }
    double longest() const { return longest_; }
    double busiest() const { return busiest_; }

private:
    static double now(clockid_t clock)
    {
        timespec time{};
        clock_gettime(clock, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    }

    double since_ = 0;
    double busySince_ = 0;
    double longest_ = 0;
    double busiest_ = 0;
};

/// Marks a turn of this thread's event loop every millisecond, so its gaps are the thread's
/// absences.
class Pulse : public Gap
{
public:
    Pulse()
    {
        timer_.setTimerType(Qt::PreciseTimer);
        timer_.callOnTimeout([this] { mark(); });
        timer_.start(1);
        start();
    }

private:
    QTimer timer_;
};

} // namespace brindle
