// torture [--rounds N] [--seed S] [--folder FOLDER]: kills the launcher at random times, over and
// over, and sees that it always recovers. Ends with one line that sums it up, or with what went
// wrong and the folder in which everything still lies.

#include "Orphans.h"
#include "Torture.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>
#include <optional>

using namespace brindle;

namespace {

struct Options
{
    int rounds = 500;
    quint64 seed = 0;
};

std::optional<Options> readOptions(const QCoreApplication &application)
{
    QCommandLineParser parser;
    const QCommandLineOption rounds(QStringLiteral("rounds"), QStringLiteral("How many."),
                                    QStringLiteral("count"), QStringLiteral("500"));
    const QCommandLineOption seed(QStringLiteral("seed"),
                                  QStringLiteral("Repeats a run's choices."),
                                  QStringLiteral("number"));
    parser.addOptions({rounds, seed});
    parser.addHelpOption();
    parser.process(application);
    Options options;
    bool countIsNumber = false;
    bool seedIsNumber = true;
    options.rounds = parser.value(rounds).toInt(&countIsNumber);
    options.seed =
        parser.isSet(seed) ? parser.value(seed).toULongLong(&seedIsNumber) : std::random_device()();
    if (!countIsNumber || !seedIsNumber) {
        return std::nullopt;
    }
    return options;
}

/// What went wrong, empty if nothing did.
QString run(Torture &torture, int rounds)
{
    QString problem = torture.measure();
    for (int i = 1; problem.isEmpty() && i <= rounds; ++i) {
        problem = torture.round(i);
    }
    return problem;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const auto options = readOptions(application);
    if (!options) {
        std::fputs("torture: not a number\n", stderr);
        return 2;
    }
    // Games shall not need a display, whatever there is.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    QTemporaryDir folder(QDir::temp().filePath(QStringLiteral("torture-XXXXXX")));
    // Where the temporary folder is another file system than the user's, moves become copies.
    QTemporaryDir elsewhere(QStringLiteral("/dev/shm/torture-XXXXXX"));
    QElapsedTimer timer;
    timer.start();
    QString problem;
    QString summary;
    try {
        Orphans::takeIn();
        Torture torture(folder.path(), elsewhere.isValid() ? elsewhere.path() : QString(),
                        QCoreApplication::applicationDirPath(), options->seed);
        problem = run(torture, options->rounds);
        summary = torture.summary();
    } catch (const std::exception &error) {
        problem = QString::fromLocal8Bit(error.what());
    }
    constexpr qint64 millisecondsPerSecond = 1000;
    if (problem.isEmpty()) {
        std::printf("torture: %s; all good in %lld s, seed %llu\n", qPrintable(summary),
                    timer.elapsed() / millisecondsPerSecond, options->seed);
        return 0;
    }
    folder.setAutoRemove(false);
    elsewhere.setAutoRemove(false);
    std::printf("%s\n\ntorture: FAILED, seed %llu; %s; everything lies in %s and %s\n",
                qPrintable(problem), options->seed, qPrintable(summary), qPrintable(folder.path()),
                qPrintable(elsewhere.path()));
    return 1;
}
