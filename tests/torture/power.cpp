// torture-power [--rounds N] [--seed S]: cuts the power while the launcher works and soon after,
// over and over, and sees that with the power back nothing is taken for whole that is not. Ends
// with one line that sums it up, or with what went wrong and where the disk's image lies.

#include "../e2e/Namespaces.h"
#include "Orphans.h"
#include "PowerTorture.h"
#include "Rounds.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>

using namespace brindle;

namespace {

/// Why no disk is to be had, empty when there is one.
QString whyNot(const QString &folder)
{
    try {
        PowerDisk disk(folder);
        disk.format();
        disk.mount();
        return {};
    } catch (const std::exception &error) {
        return QString::fromLocal8Bit(error.what());
    }
}

int torture(const Rounds &options, const QString &programs, const QString &folder,
            const QString &outside)
{
    QElapsedTimer timer;
    timer.start();
    QString problem;
    QString summary;
    QString kept;
    try {
        Orphans::takeIn();
        PowerTorture torture(folder, programs, options.seed);
        problem = options.run(torture);
        summary = torture.summary();
        if (!problem.isEmpty()) {
            kept = outside + QStringLiteral("/torture-power.img");
            QFile::remove(kept);
            QFile::copy(torture.imageOfCut(), kept);
        }
    } catch (const std::exception &error) {
        problem = QString::fromLocal8Bit(error.what());
    }
    constexpr qint64 millisecondsPerSecond = 1000;
    if (problem.isEmpty()) {
        std::printf("torture: %s; all good in %lld s, seed %llu\n", qPrintable(summary),
                    timer.elapsed() / millisecondsPerSecond, options.seed);
        return 0;
    }
    std::printf("%s\n\ntorture: FAILED, seed %llu; %s; the disk at the cut: %s\n",
                qPrintable(problem), options.seed, qPrintable(summary), qPrintable(kept));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // What stays after a failure is kept here; all else goes with the namespaces.
    const QString outside = QDir::tempPath();
    // From inside, the program's own path is not to be had where this is run in a root of its own.
    const QString programs =
        QFileInfo(QFile::symLinkTarget(QStringLiteral("/proc/self/exe"))).path();
    QString reason;
    const bool isInside = Namespaces::enter(&reason);
    const QCoreApplication application(argc, argv);
    const auto options = Rounds::read(application, 200);
    if (!options) {
        std::fputs("torture-power: not a number\n", stderr);
        return 2;
    }
    const QTemporaryDir folder;
    if (isInside) {
        reason = whyNot(folder.path());
    }
    if (!reason.isEmpty()) {
        std::printf("torture: loop devices are not permitted here, so no power is cut: %s\n",
                    qPrintable(reason));
        return 1;
    }
    // Games shall not need a display, whatever there is.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    return torture(*options, programs, folder.path(), outside);
}
