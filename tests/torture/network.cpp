// torture-network: measures silent networks with the launcher's real time-outs: the time to the
// message, to the end of Cancel, and to the end of the program after Quit. Prints a table. Returns
// 1 if a message is missing or late. The name service never answers.

#include "ConsoleLauncher.h"
#include "demo/ReleaseHost.h"
#include "support/Namespaces.h"
#include "support/TestFiles.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QThread>
#include <QUdpSocket>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// One launcher with a host of its own, whose answer stalls.
class Case
{
public:
    /// @param beginning the answer's first bytes. If `isDripping`, single bytes follow.
    Case(const char *caseName, QByteArray beginning, const QString &programs, bool isDripping)
        : name(caseName)
        , drips(isDripping)
        , launcher_({folder_.filePath(u"home"_s), folder_.filePath(u"temporary"_s),
                     host_.url().toString(), programs})
    {
        const auto stall = [this, beginning](const HttpRequest &, HttpConnection &connection) {
            connection.write(beginning);
            isReached_ = true;
            while (drips && connection.pause(std::chrono::milliseconds(50))) {
                connection.write("K");
            }
            connection.waitUntilClosed();
        };
        host_.replace(ReleaseHost::gamePath(), stall);
    }

    void start()
    {
        isReached_ = false;
        QDir(folder_.filePath(u"home"_s)).removeRecursively();
        QDir(folder_.path()).mkdir(u"temporary"_s);
        timer_.start();
        launcher_.start();
    }

    /// Prints the launcher's running time. Returns whether it ended in time, with a message.
    bool waitForMessage()
    {
        constexpr qint64 timeOut = 60'000;  // the launcher's, in milliseconds
        constexpr qint64 tolerance = 5'000; // for a busy machine, in milliseconds
        launcher_.waitForEnd();
        const qint64 time = timer_.elapsed();
        const QString message = launcher_.marked(u"log: • Problem: "_s).value(0);
        const bool good = time <= timeOut + tolerance && !message.isEmpty();
        std::printf("%-30s %8.1f s    %s%s\n", name, static_cast<double>(time) / 1000,
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
            while (!isReached_) {
                QThread::msleep(1);
            }
            QThread::msleep(50); // so that the launcher only waits
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
        std::printf("%-30s %10.1f %10.1f %10.1f %10.1f    %s (100), %s (500)\n", name,
                    cancelled.at(repetitions / 2), cancelled.back(), gone.at(repetitions / 2),
                    gone.back(), verdict(cancelled.back(), 100), verdict(gone.back(), 500));
        std::fflush(stdout);
    }

    const char *const name;
    const bool drips; ///< such an answer never times out

private:
    std::atomic<bool> isReached_ = false;
    const QTemporaryDir folder_;
    ReleaseHost host_;
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

    const QByteArray head("HTTP/1.1 200 OK\r\nContent-Length: 1000000\r\n\r\n");
    std::vector<std::unique_ptr<Case>> cases;
    const auto add = [&](const char *name, const QByteArray &beginning, bool drips = false) {
        cases.push_back(std::make_unique<Case>(name, beginning, programs, drips));
    };
    add("no answer", {});
    add("stalled headers", head.left(20));
    add("stalled body", head + "P");
    add("dripping body", head + "P", true);
    add("silent look-up", "HTTP/1.1 302 Found\r\nLocation: https://silent.invalid/file\r\n"
                          "Content-Length: 0\r\n\r\n");
    bool good = true;
    std::printf("%-30s %10s    %s\n", "", "after", "message");
    // Run all at once, because the launchers only wait.
    for (const auto &one : cases) {
        if (!one->drips) {
            one->start();
        }
    }
    for (const auto &one : cases) {
        good = (one->drips || one->waitForMessage()) && good;
    }
    std::printf("\n%-30s %10s %10s %10s %10s\n", "", "cancel ms", "worst", "gone ms", "worst");
    for (const auto &one : cases) {
        one->measureQuit();
    }
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    QString reason;
    if (!Namespaces::enter(&reason)) {
        std::fprintf(stderr, "torture-network: namespaces are not permitted here: %s\n",
                     qPrintable(reason));
        return 2;
    }
    const QCoreApplication application(argc, argv);
    try {
        return run(QCoreApplication::applicationDirPath());
    } catch (const std::exception &error) {
        std::fprintf(stderr, "torture-network: %s\n", error.what());
        return 1;
    }
}
