// Peak memory above idle, each in a process of its own.
//
// usage: bench_memory download FILE WORK RATE   FILE served on loopback, to a disk of RATE bytes
//                                               per second (slowdisk.so must be preloaded)
//        bench_memory flood CHILD BYTES         CHILD prints BYTES without the end of a line

#include "Measure.h"
#include "Served.h"
#include "core/LineSink.h"
#include "services/FileDownloader.h"
#include "services/Files.h"
#include "services/LogStore.h"
#include "services/ManagedProcess.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <cstdio>
#include <functional>
#include <memory>

using namespace brindle;

namespace {

constexpr double mega = 1e6;

QCoro::Task<> runChild(std::shared_ptr<ManagedProcess> child)
{
    auto running = child->run();
    co_await running;
}

/// The peak above what is occupied before, in bytes.
qint64 peakAboveIdle(const std::function<void()> &work)
{
    Measure::forgetPeak();
    const qint64 idle = Measure::resident();
    work();
    return Measure::peak() - idle;
}

int download(const QString &file, const QString &work, double rate)
{
    const QFileInfo source(file);
    Files::remove(work);
    Files::createFolder(work);
    const Served server(source.absolutePath());
    const QUrl url(server.url().toString() + u'/' + source.fileName());
    const QString target = work + QStringLiteral("/downloaded");

    FileDownloader downloader;
    double seconds = 0;
    const qint64 peak = peakAboveIdle([&] {
        seconds = Measure::seconds([&] { Measure::await(downloader.download(url, target, {})); });
    });
    const auto size = static_cast<double>(source.size());
    const bool whole = QFileInfo(target).size() == source.size();
    Files::remove(work);
    if (!whole) {
        std::fputs("the download is not whole\n", stderr);
        return 1;
    }
    if (seconds < 0.9 * size / rate) {
        std::fputs("the disk was not slow\n", stderr);
        return 1;
    }
    Measure::printLimit("memory of a 1 GB download to a slow disk",
                        static_cast<double>(peak) / mega, "MB", 10);
    return 0;
}

int flood(const QString &program, const QString &bytes)
{
    LogStore log;
    const auto sink = std::make_shared<LineSink>(&log);
    const auto child =
        std::make_shared<ManagedProcess>(program, QStringList{QStringLiteral("bytes"), bytes},
                                         [sink](const QString &line) { sink->append(line); });
    const qint64 peak = peakAboveIdle([&] {
        Measure::await(runChild(child));
        sink->flush();
    });
    Measure::printLimit("memory of 500 MB without the end of a line",
                        static_cast<double>(peak) / mega, "MB", 16);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() == 5 && arguments.at(1) == u"download") {
        return download(arguments.at(2), arguments.at(3), arguments.at(4).toDouble());
    }
    if (arguments.size() == 4 && arguments.at(1) == u"flood") {
        return flood(arguments.at(2), arguments.at(3));
    }
    std::fputs("usage: bench_memory download FILE WORK RATE\n"
               "       bench_memory flood CHILD BYTES\n",
               stderr);
    return 2;
}
