// Measures the peak memory, above idle, of a download to a slow disk.
//
// usage: bench_download FILE WORK RATE
//   FILE is served on loopback; the disk takes RATE bytes per second (slowdisk.so must be
//   preloaded); WORK is emptied

#include "Figures.h"
#include "Measure.h"
#include "Served.h"
#include "files/Files.h"
#include "net/FileDownloader.h"
#include "support/Await.h"

#include <QFileInfo>

#include <stdexcept>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void measure(const QString &file, const QString &work, double rate)
{
    const QFileInfo source(file);
    const QString target = work + u"/downloaded"_s;
    Files::remove(work);
    Files::createFolder(work);
    const Served server(file);

    FileDownloader downloader;
    double seconds = 0;
    const double peak = peakAboveIdle([&] {
        seconds = Measure::seconds(
            [&] { await(downloader.download(server.archive(), target, {}), 600); });
    });
    if (QFileInfo(target).size() != source.size()) {
        throw std::runtime_error("the download is not whole");
    }
    if (seconds < 0.9 * static_cast<double>(source.size()) / rate) {
        throw std::runtime_error("the disk was not slow");
    }
    Files::remove(work);
    Measure::printLimit("memory of a 1 GB download to a slow disk", peak / 1e6, "MB", 10);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(
        argc, argv, "bench_download FILE WORK RATE", [](const QStringList &arguments) {
            measure(arguments.at(0), arguments.at(1), arguments.at(2).toDouble());
        });
}
