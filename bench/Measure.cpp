#include "Measure.h"

#include "base/Error.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <memory>
#include <stdexcept>

#include <unistd.h>

namespace brindle {

namespace {

struct Outcome
{
    std::exception_ptr error;
    bool done = false;
};

QCoro::Task<> collect(QCoro::Task<> task, std::shared_ptr<Outcome> outcome, QEventLoop *loop)
{
    try {
        co_await task;
    } catch (...) {
        outcome->error = std::current_exception();
    }
    outcome->done = true;
    loop->quit();
}

qint64 statusField(const QByteArray &name)
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("/proc/self/status can't be read");
    }
    const QByteArrayList lines = status.readAll().split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name + ':')) {
            return line.mid(name.size() + 1).trimmed().split(' ').first().toLongLong() * 1024;
        }
    }
    throw std::runtime_error("/proc/self/status lacks a field");
}

const char *verdict(double value, double bar)
{
    return value <= bar ? "ok" : "over";
}

} // namespace

int Measure::program(int argc, char **argv, const char *usage, qsizetype count,
                     const std::function<void(const QStringList &)> &body)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments().sliced(1);
    if (arguments.size() != count) {
        std::fprintf(stderr, "usage: %s\n", usage);
        return 2;
    }
    try {
        body(arguments);
    } catch (...) {
        std::fprintf(stderr, "%s: %s\n", argv[0],
                     qUtf8Printable(describe(std::current_exception())));
        return 1;
    }
    return 0;
}

double Measure::seconds(const std::function<void()> &work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double Measure::median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

Measure::Pair Measure::compare(const std::function<void()> &prepare,
                               const std::function<void()> &ours,
                               const std::function<void()> &theirs)
{
    const auto measured = [&prepare](const std::function<void()> &side) {
        prepare();
        sync();
        return seconds(side);
    };
    measured(ours);
    measured(theirs);
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (int i = 0; i < runs; ++i) {
        ourTimes.push_back(measured(ours));
        theirTimes.push_back(measured(theirs));
    }
    prepare();
    return {median(ourTimes), median(theirTimes)};
}

double Measure::alone(const std::function<void()> &prepare, const std::function<void()> &side)
{
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        prepare();
        sync();
        times.push_back(seconds(side));
    }
    return median(times);
}

void Measure::run(const QString &program, const QStringList &arguments, const QString &folder)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitStatus() != QProcess::NormalExit ||
        process.exitCode() != 0) {
        throw std::runtime_error(
            (program.toUtf8() + ": " + process.errorString().toUtf8() + '\n' + process.readAll())
                .toStdString());
    }
}

void Measure::await(QCoro::Task<> task)
{
    QEventLoop loop;
    const auto outcome = std::make_shared<Outcome>();
    collect(std::move(task), outcome, &loop);
    if (!outcome->done) {
        loop.exec();
    }
    if (outcome->error) {
        std::rethrow_exception(outcome->error);
    }
}

double Measure::peakAboveIdle(const std::function<void()> &work)
{
    // "5" resets the peak; see proc(5).
    QFile references(QStringLiteral("/proc/self/clear_refs"));
    if (!references.open(QIODevice::WriteOnly | QIODevice::Unbuffered) ||
        references.write("5") != 1) {
        throw std::runtime_error("/proc/self/clear_refs can't be written");
    }
    const qint64 idle = statusField("VmRSS");
    work();
    return static_cast<double>(statusField("VmHWM") - idle);
}

void Measure::printRatio(const char *what, const Pair &pair, double bar)
{
    const double ratio = pair.ours / pair.theirs;
    std::printf("%-46s %9.3f s %9.3f s %9.2f    <= %-8g %s\n", what, pair.ours, pair.theirs, ratio,
                bar, verdict(ratio, bar));
    std::fflush(stdout);
}

void Measure::printFloor(const char *what, const Pair &pair, double floor)
{
    std::printf("  %-44s %9.3f s %9.3f s %9.2f    floor\n", what, pair.ours, floor,
                pair.ours / floor);
    std::fflush(stdout);
}

void Measure::printLimit(const char *what, double value, const char *unit, double bar)
{
    std::printf("%-46s %23s %9.1f %-2s <= %-8g %s\n", what, "", value, unit, bar,
                verdict(value, bar));
    std::fflush(stdout);
}

void Measure::printFigure(const char *what, double value, const char *unit)
{
    std::printf("%-46s %23s %9.1f %s\n", what, "", value, unit);
    std::fflush(stdout);
}

} // namespace brindle
