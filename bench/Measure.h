#pragma once

#include "base/Callbacks.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

/// Measures times, and prints the rows of the benchmarks' table.
namespace brindle::Measure {

/// The number of measurements of each side of a comparison.
inline constexpr int runs = 5;

/// The medians of the two sides in seconds.
struct Pair
{
    double ours = 0;
    double theirs = 0;
};

/// Runs `body` with the command line's arguments, as many as `usage` names. Prints exceptions.
/// Returns the exit code.
int program(int argc, char **argv, const char *usage,
            const std::function<void(const QStringList &)> &body);

/// Returns the seconds that `work` takes.
double seconds(const std::function<void()> &work);
double median(std::vector<double> values);

/// Measures two sides in turns, so that both find the machine in the same state. The first turn
/// does not count. Before each measurement, runs `prepare` and syncs earlier writes.
Pair compare(const std::function<void()> &prepare, const std::function<void()> &ours,
             const std::function<void()> &theirs);

/// Runs a program. Throws std::runtime_error with its output if it fails.
void run(const QString &program, const QStringList &arguments, const QString &folder = {});
/// Runs one step of the test child. Passes on its lines.
void runChild(const QString &program, const QString &step, const LineCallback &onLine);

/// Prints both sides, and their ratio beside its bar.
void printRatio(const char *what, const Pair &pair, double bar);
/// Prints a figure beside its bar.
void printLimit(const char *what, double value, const char *unit, double bar);
/// Prints a figure without a bar.
void printFigure(const char *what, double value, const char *unit);

} // namespace brindle::Measure
