// torture-network: measures silent networks with the launcher's real time-outs: the time to the
// message, to the end of Cancel, and to the end of the program after Quit. Prints a table. Returns
// 1 if a message is missing or late. Its name service never answers.

#include "ModelFixture.h"
#include "faults/NetworkFault.h"
#include "files/Files.h"
#include "support/ConsoleLauncher.h"
#include "support/Namespaces.h"
#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QThread>
#include <QUdpSocket>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// One launcher against a host of its own.
class Case
{
public:
    Case(const NetworkFault &fault, const QString &download, const QString &programs)
        : name(fault.name + u", "_s + download)
        , timesOut(fault.name != u"dripping")
        , launcher_({folder_.filePath(u"home"_s), folder_.filePath(u"temporary"_s),
                     fixture_.host.url().toString(), programs})
    {
        const bool isGame = download == u"game";
        fault.happenTo(fixture_.host,
                       isGame ? ReleaseHost::gamePath()
                              : ReleaseHost::checksumPath(u"4.3-stable"_s),
                       QByteArray(isGame ? 100'000 : 100, 'P'), isReached_);
    }

    void start()
    {
        *isReached_ = false;
        QDir(folder_.filePath(u"home"_s)).removeRecursively();
        Files::createFolder(folder_.filePath(u"temporary"_s));
        timer_.start();
        launcher_.start();
    }

    /// Prints the time until the launcher ended. Returns whether it was in time, with a message.
    bool waitForMessage()
    {
        constexpr qint64 timeOut = 60'000;  // milliseconds, the launcher's
        constexpr qint64 tolerance = 5'000; // milliseconds, for a busy machine
        launcher_.waitForEnd();
        const qint64 time = timer_.elapsed();
        const QString message = launcher_.marked(u"log: • Problem: "_s).value(0);
        const bool good = time <= timeOut + tolerance && !message.isEmpty();
        std::printf("%-44s %8.1f s    %s%s\n", qPrintable(name), static_cast<double>(time) / 1000,
                    qPrintable(message), good ? "" : "  FAILED");
        std::fflush(stdout);
        return good;
    }

    /// Prints the times from Quit to the cancellation, and to the end of the process.
    void measureQuit()
    {
        constexpr int repetitions = 5;
        std::vector<double> cancelled;
        std::vector<double> gone;
        for (int i = 0; i < repetitions; ++i) {
            start();
            while (!*isReached_) {
                QThread::msleep(1);
            }
            QThread::msleep(50); // until the launcher only waits
            timer_.start();
            launcher_.terminate();
            launcher_.waitForEnd();
            gone.push_back(static_cast<double>(timer_.nsecsElapsed()) / 1e6);
            const QStringList marks = launcher_.marked(u"cancelled: "_s);
            cancelled.push_back(marks.isEmpty() ? gone.back() : marks.first().toDouble() / 1000);
        }
        std::sort(cancelled.begin(), cancelled.end());
        std::sort(gone.begin(), gone.end());
        const auto verdict = [](double value, double bar) { return value <= bar ? "ok" : "over"; };
        std::printf("%-44s %10.1f %10.1f %10.1f %10.1f    %s (100), %s (500)\n", qPrintable(name),
                    cancelled.at(repetitions / 2), cancelled.back(), gone.at(repetitions / 2),
                    gone.back(), verdict(cancelled.back(), 100), verdict(gone.back(), 500));
        std::fflush(stdout);
    }

    const QString name;
    const bool timesOut;

private:
    const std::shared_ptr<std::atomic<bool>> isReached_ =
        std::make_shared<std::atomic<bool>>(false);
    const QTemporaryDir folder_;
    PipelineFixture fixture_;
    ConsoleLauncher launcher_;
    QElapsedTimer timer_;
};

int run(const QString &programs)
{
    const QTemporaryDir folder;
    const QString config = folder.filePath(u"resolv.conf"_s);
    writeFile(config, "nameserver 127.0.0.1\n");
    Namespaces::mountOver(u"/etc/resolv.conf"_s, config);
    QUdpSocket silentNames;
    constexpr quint16 dns = 53;
    if (!silentNames.bind(QHostAddress::LocalHost, dns)) {
        throw std::runtime_error("no port for a name service");
    }

    std::vector<std::unique_ptr<Case>> cases;
    for (const NetworkFault &fault : NetworkFault::all()) {
        for (const QString &download : {u"game"_s, u"checksum list"_s}) {
            if (fault.end == NetworkFault::End::silence) {
                cases.push_back(std::make_unique<Case>(fault, download, programs));
            }
        }
    }
    bool good = true;
    std::printf("%-44s %10s    %s\n", "", "after", "message");
    // Side by side, because the launchers only wait.
    for (const auto &one : cases) {
        if (one->timesOut) {
            one->start();
        }
    }
    for (const auto &one : cases) {
        good = (!one->timesOut || one->waitForMessage()) && good;
    }
    std::printf("\n%-44s %10s %10s %10s %10s\n", "", "cancel ms", "worst", "gone ms", "worst");
    for (const auto &one : cases) {
        one->measureQuit();
    }
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // The namespaces hide the program's path.
    const QString programs = QFileInfo(QFile::symLinkTarget(u"/proc/self/exe"_s)).path();
    QString reason;
    if (!Namespaces::enter(&reason)) {
        std::fprintf(stderr, "torture-network: namespaces are not permitted here: %s\n",
                     qPrintable(reason));
        return 2;
    }
    const QCoreApplication application(argc, argv);
    try {
        return run(programs);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "torture-network: %s\n", error.what());
        return 1;
    }
}
