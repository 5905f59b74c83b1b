// torture [--power] [--rounds N] [--seed S]: kills the launcher at random times, or cuts its power,
// and checks that it always recovers. The last line sums up the rounds, or names the problem and
// the folder or disk image that keeps the evidence.

#include "PowerDisk.h"
#include "Rounds.h"
#include "support/Namespaces.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <cstdio>
#include <string_view>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Prints the reason why the torture can't run. Returns CTest's exit code for a skipped test.
int skip(const QString &reason)
{
    std::printf("torture: loop devices are not permitted here: %s\n", qPrintable(reason));
    return 1;
}

/// Prints the result. After a failure, `keep` saves the evidence and returns its path.
int report(Rounds &torture, int rounds, quint64 seed, const std::function<QString()> &keep)
{
    QElapsedTimer timer;
    timer.start();
    QString problem;
    try {
        problem = torture.run(rounds);
    } catch (const std::exception &error) {
        problem = QString::fromLocal8Bit(error.what());
    }
    if (problem.isEmpty()) {
        std::printf("torture: %s; all good in %lld s, seed %llu\n", qPrintable(torture.summary()),
                    timer.elapsed() / 1000, seed);
        return 0;
    }
    std::printf("%s\n\ntorture: FAILED, seed %llu; %s; everything lies in %s\n",
                qPrintable(problem), seed, qPrintable(torture.summary()), qPrintable(keep()));
    return 1;
}

} // namespace

int main(int argc, char *argv[])
{
    const bool cutsPower = argc > 1 && std::string_view(argv[1]) == "--power";
    QString reason;
    if (cutsPower && !Namespaces::enter(&reason)) {
        return skip(reason);
    }
    const QCoreApplication application(argc, argv);
    const QString programs = QCoreApplication::applicationDirPath();
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOptions({{u"power"_s, u"Cuts the power instead; must come first."_s},
                       {u"rounds"_s, u"How many."_s, u"count"_s, cutsPower ? u"200"_s : u"500"_s},
                       {u"seed"_s, u"Repeats the choices of an earlier run."_s, u"number"_s,
                        QString::number(std::random_device()())}});
    parser.process(application);
    const int rounds = parser.value(u"rounds"_s).toInt();
    const quint64 seed = parser.value(u"seed"_s).toULongLong();
    if (rounds < 1) {
        std::fputs("torture: not a number of rounds\n", stderr);
        return 2;
    }
    // Games must not need a display.
    qunsetenv("DISPLAY");
    qunsetenv("WAYLAND_DISPLAY");
    QTemporaryDir folder(QDir::temp().filePath(u"torture-XXXXXX"_s));
    if (!cutsPower) {
        const auto torture = Rounds::ofKills(folder.path(), programs, seed);
        return report(*torture, rounds, seed, [&] {
            folder.setAutoRemove(false);
            return folder.path();
        });
    }
    try {
        PowerDisk disk(folder.path());
        disk.format();
        disk.mount();
    } catch (const std::exception &error) {
        return skip(QString::fromLocal8Bit(error.what()));
    }
    const auto torture = Rounds::ofPowerCuts(folder.path(), programs, seed);
    return report(*torture, rounds, seed, [&] {
        // The temporary folder vanishes with the namespaces, so save the image outside.
        const QString kept = QFileInfo(QDir::tempPath()).path() + u"/torture-power.img"_s;
        QFile::remove(kept);
        QFile::copy(PowerDisk::imageOfCut(folder.path()), kept);
        return kept;
    });
}
