#pragma once

#include <QByteArray>
#include <QElapsedTimer>
#include <QFile>
#include <QString>
#include <QTimer>

#include <algorithm>
#include <functional>
#include <stdexcept>

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

/// Runs `work`. Returns the growth of this process's resident memory at its peak, in bytes, shared
/// pages included.
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

/// Measures the longest time between two marks.
class Gap
{
public:
    void start() { timer_.start(); }
    void mark()
    {
        longest_ = std::max(longest_, static_cast<double>(timer_.nsecsElapsed()) / 1e6);
        start();
    }
    /// Returns the longest time in milliseconds.
    double longest() const { return longest_; }

private:
    QElapsedTimer timer_;
    double longest_ = 0;
};

/// Sets a mark every millisecond from this thread's event loop. So a gap is a time in which the
/// thread did not serve events.
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
