#pragma once

#include "base/Callbacks.h"

#include <QCoroTask>
#include <QString>
#include <QStringList>

#include <functional>
#include <vector>

namespace brindle {

/// What the benchmarks share: timing, memory, and the rows of the printed table.
class Measure
{
public:
    /// How often each side of a comparison is measured.
    static constexpr int runs = 5;

    /// Medians of the two sides of a comparison, in seconds.
    struct Pair
    {
        double ours = 0;
        double theirs = 0;
    };

    /// The frame of a benchmark's main(): checks the number of arguments, runs `body` with them and
    /// tells what it throws. Returns the program's exit code.
    static int program(int argc, char **argv, const char *usage, qsizetype count,
                       const std::function<void(const QStringList &)> &body);

    /// The time that `work` takes, in seconds, by the steady clock.
    static double seconds(const std::function<void()> &work);
    static double median(std::vector<double> values);

    /// Measures two sides in turns, `runs` times each after one unmeasured turn, so that both meet
    /// the same machine. `prepare` runs before each measurement and what earlier ones wrote is
    /// brought to disk, both unmeasured.
    static Pair compare(const std::function<void()> &prepare, const std::function<void()> &ours,
                        const std::function<void()> &theirs);

    /// The median time of `runs` turns of one side, in seconds, measured like those of `compare`.
    static double alone(const std::function<void()> &prepare, const std::function<void()> &side);

    /// Runs a program to its end; throws std::runtime_error with what it printed when it fails.
    static void run(const QString &program, const QStringList &arguments,
                    const QString &folder = {});

    /// Serves events until the tests' child (testchild) has done one step; passes on its lines.
    static void runChild(const QString &program, const QString &step, const LineCallback &onLine);

    /// Serves events until the task has ended; throws what it threw.
    static void await(QCoro::Task<> task);

    /// A row of the table: both sides, their ratio, and the bar for the ratio.
    static void printRatio(const char *what, const Pair &pair, double bar);
    /// A row below a comparison: the least that could be done, how long that takes, and how many
    /// times as long our side of the comparison took.
    static void printFloor(const char *what, const Pair &pair, double floor);
    /// A row with one figure and its bar.
    static void printLimit(const char *what, double value, const char *unit, double bar);
    /// A row with one figure and no bar.
    static void printFigure(const char *what, double value, const char *unit);
};

} // namespace brindle
