// Measures the engine's setup, from the checksum list to the unpacked program, against the same
// work by hand: curl -LO, sha512sum -c, unzip -q. Both use the same server, archive and disk. Both
// need a trusted certificate for TLS, so the program runs in namespaces of its own.
//
// usage: bench_setup ARCHIVE WORK
//   ARCHIVE holds an engine's program; WORK is emptied

#include "Figures.h"
#include "Measure.h"
#include "Served.h"
#include "engine/EngineManager.h"
#include "files/Files.h"
#include "support/Await.h"
#include "support/Namespaces.h"

#include <QCoreApplication>

#include <cstdio>
#include <ctime>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void install(EngineManager &engines)
{
    // Like the launcher, queue one event for each report.
    const ProgressCallback progress = [](qint64, qint64, double) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    };
    const StatusCallback noText = [](const QString &) {};
    await(engines.install({Served::tag}, progress, noText, noText, {}));
}

/// Returns the processor time of this thread in seconds.
double mainThreadSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

const auto byHand = u"curl -sSfLO \"$1SHA512-SUMS.txt\"; "
                    u"curl -sSfLO \"$1$2\"; "
                    u"sha512sum -c --quiet SHA512-SUMS.txt; "
                    u"unzip -q \"$2\""_s;

void measure(const QString &archive, const QString &work)
{
    Files::remove(work);
    const QString trusted = work + u"/trusted"_s;
    Files::createFolder(trusted);
    const Served server(archive, trusted + u"/ca-certificates.crt"_s);
    Namespaces::mountOver(u"/etc/ssl/certs"_s, trusted);
    const Platform platform = Platform::current(QCoreApplication::applicationDirPath());

    const QString ours = work + u"/ours"_s;
    const QString theirs = work + u"/theirs"_s;
    const auto prepare = [&] {
        Files::remove(ours);
        Files::remove(theirs);
        Files::createFolder(theirs);
    };
    prepare();
    // Measure memory first: later, freed memory of this process would hide the use.
    const double peak = peakAboveIdle([&] {
        EngineManager engines({server.url(), ours, ours + u"/temporary"_s, platform});
        install(engines);
    });
    std::vector<double> shares;
    const auto installOurs = [&] {
        EngineManager engines({server.url(), ours, ours + u"/temporary"_s, platform});
        const double before = mainThreadSeconds();
        const double whole = Measure::seconds([&] { install(engines); });
        shares.push_back((mainThreadSeconds() - before) / whole);
    };
    const auto installTheirs = [&] {
        const QString page = server.archive().toString(QUrl::RemoveFilename);
        Measure::run(u"/bin/sh"_s, {u"-ec"_s, byHand, u"sh"_s, page, Served::name()}, theirs);
    };
    const Measure::Pair pair = Measure::compare(prepare, installOurs, installTheirs);
    Measure::printRatio("engine setup / curl, sha512sum, unzip", pair, 0.36);
    Measure::printLimit("main thread meanwhile", Measure::median(shares) * 100, "%", 10);
    Measure::printLimit("memory of an engine's setup", peak / 1e6, "MB", 10);
}

} // namespace

int main(int argc, char **argv)
{
    QString reason;
    if (!Namespaces::enter(&reason)) {
        std::fprintf(stderr, "bench_setup: namespaces are not permitted here: %s\n",
                     qUtf8Printable(reason));
        return 1;
    }
    return Measure::program(
        argc, argv, "bench_setup ARCHIVE WORK",
        [](const QStringList &arguments) { measure(arguments.at(0), arguments.at(1)); });
}
