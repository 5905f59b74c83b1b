#include "Measure.h"

#include "base/Error.h"
#include "process/ManagedProcess.h"
#include "support/Await.h"

#include <QCoreApplication>
#include <QProcess>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <exception>
#include <optional>
#include <stdexcept>

#include <unistd.h>

namespace brindle {

namespace {

const char *verdict(double value, double bar)
{
    return value <= bar ? "ok" : "over";
}

} // namespace

int Measure::program(int argc, char **argv, const char *usage,
                     const std::function<void(const QStringList &)> &body)
{
    std::optional<QCoreApplication> application;
    if (!QCoreApplication::instance()) {
        application.emplace(argc, argv);
    }
    const QStringList arguments = QCoreApplication::arguments().sliced(1);
    if (arguments.size() != QString::fromLatin1(usage).count(u' ')) {
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
    std::vector<double> ourTimes;
    std::vector<double> theirTimes;
    for (int i = 0; i <= runs; ++i) {
        for (const auto &[side, times] : {std::pair(&ours, &ourTimes), {&theirs, &theirTimes}}) {
            prepare();
            sync();
            const double time = seconds(*side);
            if (i > 0) {
                times->push_back(time);
            }
        }
    }
    prepare();
    return {median(ourTimes), median(theirTimes)};
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

void Measure::runChild(const QString &program, const QString &step, const LineCallback &onLine)
{
    ManagedProcess child(program, {step}, onLine);
    await(child.run(), 600);
}

void Measure::printRatio(const char *what, const Pair &pair, double bar)
{
    const double ratio = pair.ours / pair.theirs;
    std::printf("%-46s %9.3f s %9.3f s %9.2f    <= %-8g %s\n", what, pair.ours, pair.theirs, ratio,
                bar, verdict(ratio, bar));
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
