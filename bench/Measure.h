#pragma once

#include "base/Callbacks.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

/// The benchmarks' timing, and the rows of their table.
namespace brindle::Measure {

/// How often each side of a comparison is measured.
inline constexpr int runs = 5;

/// The medians of two sides, in seconds.
struct Pair
{
    double ours = 0;
    double theirs = 0;
};

/// Runs a benchmark with as many arguments as `usage` names. Prints what it throws. Returns the
/// exit code.
int program(int argc, char **argv, const char *usage,
            const std::function<void(const QStringList &)> &body);

/// Returns the seconds that `work` takes.
double seconds(const std::function<void()> &work);
double median(std::vector<double> values);

/// Measures two sides in turns, after one turn that does not count, so that both meet the same
/// machine. Before each measurement `prepare` runs and earlier writes are synced.
Pair compare(const std::function<void()> &prepare, const std::function<void()> &ours,
             const std::function<void()> &theirs);

/// Runs a program. Throws std::runtime_error with its output if it fails.
void run(const QString &program, const QStringList &arguments, const QString &folder = {});
/// Runs one step of the tests' child. Passes on its lines.
void runChild(const QString &program, const QString &step, const LineCallback &onLine);

/// Prints both sides, their ratio and its bar.
void printRatio(const char *what, const Pair &pair, double bar);
/// Prints a figure and its bar.
void printLimit(const char *what, double value, const char *unit, double bar);
/// Prints a figure.
void printFigure(const char *what, double value, const char *unit);

} // namespace brindle::Measure
