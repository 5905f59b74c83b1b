// Measures the engine's setup, from the checksum list to the unpacked program, against the same
// work by hand: curl -LO, sha512sum -c, unzip -q. Both use the same server, archive and disk. They
// use TLS with a trusted certificate, so the program runs in namespaces of its own.
//
// usage: bench_setup ARCHIVE WORK
//   ARCHIVE as bench_pack makes it; WORK is emptied

#include "Measure.h"
#include "Served.h"
#include "engine/EngineManager.h"
#include "files/Files.h"
#include "support/Namespaces.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>

#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QCoro::Task<> install(EngineManager *engines, EngineSpec spec)
{
    // The launcher does the same with each report.
    const ProgressCallback progress = [](qint64, qint64, double) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    };
    const StatusCallback noText = [](const QString &) {};
    auto installing = engines->install(spec, progress, noText, noText, {});
    co_await installing;
}

/// Returns the processor time of this thread.
double mainThreadSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

const auto byHand = u"curl -sSfLO \"$1/SHA512-SUMS.txt\"; "
                    u"curl -sSfLO \"$1/$2\"; "
                    u"sha512sum -c --quiet SHA512-SUMS.txt; "
                    u"unzip -q \"$2\""_s;

void measure(const QString &archive, const QString &work)
{
    const EngineSpec spec{u"4.3-stable"_s, false};
    const Platform platform = Platform::current(QCoreApplication::applicationDirPath());
    const QString name = spec.zipName(platform);

    Files::remove(work);
    const QString served = work + u"/served"_s;
    Files::createFolder(served);
    QFile::link(archive, served + u'/' + name);
    QFile file(archive);
    QCryptographicHash hash(QCryptographicHash::Sha512);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file)) {
        throw std::runtime_error("the archive can't be read");
    }
    Files::writeAtomically(served + u"/SHA512-SUMS.txt"_s,
                           hash.result().toHex() + "  " + name.toUtf8() + '\n');
    const QString trusted = work + u"/trusted"_s;
    Files::createFolder(trusted);
    const Served server(served, trusted + u"/ca-certificates.crt"_s);
    Namespaces::mountOver(u"/etc/ssl/certs"_s, trusted);
    const QString page =
        server.url().toString() + u"/godotengine/godot-builds/releases/download/4.3-stable"_s;

    const QString ours = work + u"/ours"_s;
    const QString theirs = work + u"/theirs"_s;
    const auto prepare = [&] {
        Files::remove(ours);
        Files::remove(theirs);
        Files::createFolder(theirs);
    };
    std::vector<double> shares;
    const auto installOurs = [&] {
        EngineManager engines(server.url(), ours, ours + u"/temporary"_s, platform);
        const double before = mainThreadSeconds();
        const double whole = Measure::seconds([&] { Measure::await(install(&engines, spec)); });
        shares.push_back((mainThreadSeconds() - before) / whole);
    };
    const auto installTheirs = [&] {
        Measure::run(u"/bin/sh"_s, {u"-ec"_s, byHand, u"sh"_s, page, name}, theirs);
    };
    const Measure::Pair pair = Measure::compare(prepare, installOurs, installTheirs);
    Measure::printRatio("engine setup / curl, sha512sum, unzip", pair, 0.36);
    Measure::printLimit("main thread meanwhile", Measure::median(shares) * 100, "%", 10);
    const auto transfer = [&] {
        Measure::run(u"curl"_s, {u"-sSfLO"_s, page + QLatin1Char('/') + name}, theirs);
    };
    Measure::printFloor("the same transfer with nothing else", pair,
                        Measure::alone(prepare, transfer));
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
