// torture [--rounds N] [--seed S] [--folder FOLDER]: kills the launcher at random times, over and
// over, and sees that it always recovers. Ends with one line that sums it up, or with what went
// wrong and the folder in which everything still lies.

#include "Orphans.h"
#include "Rounds.h"
#include "Torture.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>

using namespace brindle;

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    const auto options = Rounds::read(application, 500);
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
        problem = options->run(torture);
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
