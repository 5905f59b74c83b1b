// torture-network: measures each fault of the network with the launcher's real time-outs: the time
// to its message, to the end of Cancel, and to the end of the program after Quit. Prints a table.
// Returns 1 if a message is missing or late. Runs in a network of its own, whose name service never
// answers.

#include "Offers.h"
#include "e2e/Namespaces.h"
#include "faults/NetworkFault.h"
#include "files/Files.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>
#include <QUdpSocket>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <memory>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr int repetitions = 5;
constexpr qint64 timeOut = 60'000;         // milliseconds, the launcher's
constexpr qint64 tolerance = 5'000;        // milliseconds, a busy machine's
constexpr double maxToCancel = 100;        // milliseconds
constexpr double maxToBeGone = 500;        // milliseconds
constexpr unsigned long toFallAsleep = 50; // milliseconds, until a launcher only waits

/// One launcher against one host of its own.
class Case
{
public:
    Case(const NetworkFault &fault, QString download, const QString &programs)
        : fault_(fault)
        , download_(std::move(download))
        , programs_(programs)
        , offers_(folder_.filePath(u"offers"_s), programs + u"/sample-engine"_s,
                  Platform::current(programs))
    {
        offers_.offer(1);
        const bool isGame = download_ == u"game";
        const QString tag = Offers::engineVersion(1) + u"-stable"_s;
        const QByteArray content(isGame ? 100'000 : 100, 'P');
        fault_.happenTo(offers_.host(),
                        isGame ? ReleaseHost::gamePath() : ReleaseHost::checksumPath(tag), content,
                        isReached_);
    }

    QString name() const { return fault_.name + u", "_s + download_; }

    void start()
    {
        *isReached_ = false;
        QDir(file(u"home"_s)).removeRecursively();
        Files::createFolder(file(u"temporary"_s));
        process_ = std::make_unique<QProcess>();
        process_->setProcessChannelMode(QProcess::MergedChannels);
        timer_.start();
        process_->start(programs_ + u"/torture-launcher"_s,
                        {u"play"_s, file(u"home"_s), file(u"temporary"_s), offers_.url().toString(),
                         programs_});
        process_->waitForStarted();
    }

    /// Returns the milliseconds until the launcher ended, and its last message.
    std::pair<qint64, QString> waitForMessage()
    {
        process_->waitForFinished(static_cast<int>(timeOut + 2 * tolerance));
        const qint64 time = timer_.elapsed();
        process_->kill();
        process_->waitForFinished();
        QString message;
        for (const QString &line : lines()) {
            if (line.contains(u"• Problem: "_s)) {
                message = line.section(u"• Problem: "_s, 1);
            }
        }
        return {time, message};
    }

    /// Returns the milliseconds from Quit to the cancellation, and to the end of the process.
    std::pair<double, double> quitInTheMiddle()
    {
        start();
        while (!*isReached_) {
            QThread::msleep(1);
        }
        QThread::msleep(toFallAsleep);
        QElapsedTimer timer;
        timer.start();
        process_->terminate();
        process_->waitForFinished(-1);
        constexpr double nanosecondsPerMillisecond = 1e6;
        const double gone = static_cast<double>(timer.nsecsElapsed()) / nanosecondsPerMillisecond;
        constexpr double microsecondsPerMillisecond = 1e3;
        double cancelled = gone;
        for (const QString &line : lines()) {
            if (line.startsWith(u"cancelled: ")) {
                cancelled = line.section(u' ', 1).toDouble() / microsecondsPerMillisecond;
            }
        }
        return {cancelled, gone};
    }

private:
    QString file(const QString &name) const { return folder_.filePath(name); }
    QStringList lines() { return QString::fromUtf8(process_->readAll()).split(u'\n'); }

    const NetworkFault fault_;
    const QString download_;
    const QString programs_;
    const std::shared_ptr<std::atomic<bool>> isReached_ =
        std::make_shared<std::atomic<bool>>(false);
    const QTemporaryDir folder_;
    Offers offers_;
    std::unique_ptr<QProcess> process_;
    QElapsedTimer timer_;
};

double median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

const char *verdict(double value, double bar)
{
    return value <= bar ? "ok" : "over";
}

/// Makes a port of our own the name service. It listens and never answers.
void silenceNames(QUdpSocket &names, const QTemporaryDir &folder)
{
    constexpr quint16 dns = 53;
    const QString file = folder.filePath(u"resolv.conf"_s);
    QFile config(file);
    if (!names.bind(QHostAddress::LocalHost, dns) || !config.open(QIODevice::WriteOnly) ||
        config.write("nameserver 127.0.0.1\n") < 0) {
        throw std::runtime_error("no name service to be had");
    }
    config.close();
    Namespaces::mountOver(u"/etc/resolv.conf"_s, file);
}

bool tell(const std::vector<std::unique_ptr<Case>> &cases, const QList<NetworkFault::End> &ends)
{
    bool good = true;
    // All at once: they only wait.
    for (const auto &one : cases) {
        one->start();
    }
    std::printf("%-44s %10s    %s\n", "", "after", "message");
    for (size_t i = 0; i < cases.size(); ++i) {
        const auto [time, message] = cases[i]->waitForMessage();
        const bool silent = ends.at(static_cast<qsizetype>(i)) == NetworkFault::End::silence;
        const bool inTime = time <= (silent ? timeOut : 0) + tolerance;
        good = good && inTime && !message.isEmpty();
        std::printf("%-44s %8.1f s    %s%s\n", qPrintable(cases[i]->name()),
                    static_cast<double>(time) / 1000, qPrintable(message),
                    inTime && !message.isEmpty() ? "" : "  FAILED");
        std::fflush(stdout);
    }
    return good;
}

void measureEnds(const std::vector<std::unique_ptr<Case>> &cases)
{
    std::printf("\n%-44s %10s %10s %10s %10s\n", "", "cancel ms", "worst", "gone ms", "worst");
    for (const auto &one : cases) {
        std::vector<double> cancelled;
        std::vector<double> gone;
        for (int i = 0; i < repetitions; ++i) {
            const auto [first, second] = one->quitInTheMiddle();
            cancelled.push_back(first);
            gone.push_back(second);
        }
        const double worst = *std::max_element(cancelled.begin(), cancelled.end());
        const double last = *std::max_element(gone.begin(), gone.end());
        std::printf("%-44s %10.1f %10.1f %10.1f %10.1f    %s (100), %s (500)\n",
                    qPrintable(one->name()), median(cancelled), worst, median(gone), last,
                    verdict(worst, maxToCancel), verdict(last, maxToBeGone));
        std::fflush(stdout);
    }
}

int run(const QString &programs)
{
    const QTemporaryDir folder;
    QUdpSocket names;
    silenceNames(names, folder);
    std::vector<std::unique_ptr<Case>> told;
    std::vector<std::unique_ptr<Case>> quit;
    QList<NetworkFault::End> ends;
    for (const NetworkFault &fault : NetworkFault::all()) {
        for (const QString &download : {u"game"_s, u"checksum list"_s}) {
            const bool drips = fault.name == u"dripping";
            if (fault.end != NetworkFault::End::success && !drips) {
                told.push_back(std::make_unique<Case>(fault, download, programs));
                ends << fault.end;
            }
            if (fault.end == NetworkFault::End::silence) {
                quit.push_back(std::make_unique<Case>(fault, download, programs));
            }
        }
    }
    const bool good = tell(told, ends);
    measureEnds(quit);
    return good ? 0 : 1;
}

} // namespace

int main(int argc, char *argv[])
{
    // In a root of its own, the program can't find its path later.
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
