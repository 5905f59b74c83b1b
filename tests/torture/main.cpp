// torture [--power] [--rounds N] [--seed S]: kills the launcher at random times, or cuts its power,
// over and over, and checks that it always recovers. Ends with one line that sums it up, or with
// what went wrong and the folder or disk image in which everything still lies.

#include "../e2e/Namespaces.h"
#include "Orphans.h"
#include "PowerTorture.h"
#include "Torture.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <functional>
#include <random>
#include <string_view>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

struct Options
{
    QString programs;
    int rounds = 0;
    quint64 seed = 0;
};

/// Prints the result and returns the exit code. `keep` is called after a failure and returns where
/// everything lies.
int report(Rounds &torture, const Options &options, const std::function<QString()> &keep)
{
    QElapsedTimer timer;
    timer.start();
    QString problem;
    try {
        Orphans::takeIn();
        problem = torture.run(options.rounds);
    } catch (const std::exception &error) {
        problem = QString::fromLocal8Bit(error.what());
    }
    if (problem.isEmpty()) {
        std::printf("torture: %s; all good in %lld s, seed %llu\n", qPrintable(torture.summary()),
                    timer.elapsed() / 1000, options.seed);
        return 0;
    }
    std::printf("%s\n\ntorture: FAILED, seed %llu; %s; everything lies in %s\n",
                qPrintable(problem), options.seed, qPrintable(torture.summary()),
                qPrintable(keep()));
    return 1;
}

int kill(const Options &options)
{
    QTemporaryDir folder(QDir::temp().filePath(u"torture-XXXXXX"_s));
    // Moves become copies where the temporary folder is on another file system.
    QTemporaryDir elsewhere(u"/dev/shm/torture-XXXXXX"_s);
    Torture torture(folder.path(), elsewhere.isValid() ? elsewhere.path() : QString(),
                    options.programs, options.seed);
    return report(torture, options, [&] {
        folder.setAutoRemove(false);
        elsewhere.setAutoRemove(false);
        return u"%1 and %2"_s.arg(folder.path(), elsewhere.path());
    });
}

int cutPower(const Options &options, const QString &outside)
{
    const QTemporaryDir folder;
    try {
        PowerDisk disk(folder.path());
        disk.format();
        disk.mount();
    } catch (const std::exception &error) {
        std::printf("torture: loop devices are not permitted here: %s\n", error.what());
        return 1;
    }
    PowerTorture torture(folder.path(), options.programs, options.seed);
    return report(torture, options, [&] {
        const QString kept = outside + u"/torture-power.img"_s;
        QFile::remove(kept);
        QFile::copy(torture.imageOfCut(), kept);
        return kept;
    });
}

} // namespace

int main(int argc, char *argv[])
{
    const bool cutsPower = argc > 1 && std::string_view(argv[1]) == "--power";
    // Everything in the namespaces goes with them, so a failure's image is kept outside. The
    // program's own path can't be found from inside.
    const QString outside = QDir::tempPath();
    Options options;
    options.programs = QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path();
    QString reason;
    if (cutsPower && !Namespaces::enter(&reason)) {
        std::printf("torture: loop devices are not permitted here: %s\n", qPrintable(reason));
        return 1;
    }
    const QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{u"power"_s, u"Cuts the power instead; must come first."_s},
                       {u"rounds"_s, u"How many."_s, u"count"_s, cutsPower ? u"200"_s : u"500"_s},
                       {u"seed"_s, u"Repeats the choices of an earlier run."_s, u"number"_s,
                        QString::number(std::random_device()())}});
    parser.process(application);
    bool isCount = false;
    bool isSeed = false;
    options.rounds = parser.value(u"rounds"_s).toInt(&isCount);
    options.seed = parser.value(u"seed"_s).toULongLong(&isSeed);
    if (!isCount || !isSeed) {
        std::fputs("torture: not a number\n", stderr);
        return 2;
    }
    // Games must not need a display.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    return cutsPower ? cutPower(options, outside) : kill(options);
}
