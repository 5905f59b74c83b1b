// Engine setup, from the checksum list to the unpacked program, against what one would type:
// curl -LO, sha512sum -c, unzip -q. Same server, same archive, same disk. Over TLS, with a
// certificate that the system trusts: in namespaces of its own, where that is easily arranged.
//
// usage: bench_setup ARCHIVE WORK
//   ARCHIVE as bench_pack makes it; WORK is emptied

#include "Measure.h"
#include "Namespaces.h"
#include "Served.h"
#include "engine/EngineManager.h"
#include "files/Files.h"

#include <QCoreApplication>
#include <QCryptographicHash>
#include <QFile>

#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <vector>

using namespace brindle;

namespace {

QCoro::Task<> install(EngineManager *engines, EngineSpec spec)
{
    // As the launcher does with each report.
    const ProgressCallback progress = [](qint64, qint64, double) {
        QMetaObject::invokeMethod(QCoreApplication::instance(), [] {}, Qt::QueuedConnection);
    };
    const StatusCallback noText = [](const QString &) {};
    auto installing = engines->install(spec, progress, noText, noText, {});
    co_await installing;
}

/// What the processor has done on this thread.
double mainThreadSeconds()
{
    timespec time = {};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

const auto byHand = QStringLiteral("curl -sSfLO \"$1/SHA512-SUMS.txt\"; "
                                   "curl -sSfLO \"$1/$2\"; "
                                   "sha512sum -c --quiet SHA512-SUMS.txt; "
                                   "unzip -q \"$2\"");

void measure(const QString &archive, const QString &work)
{
    const EngineSpec spec{QStringLiteral("4.3-stable"), false};
    const Platform platform = Platform::current(QCoreApplication::applicationDirPath());
    const QString name = spec.zipName(platform);

    Files::remove(work);
    const QString served = work + QStringLiteral("/served");
    Files::createFolder(served);
    QFile::link(archive, served + u'/' + name);
    QFile file(archive);
    QCryptographicHash hash(QCryptographicHash::Sha512);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file)) {
        throw std::runtime_error("the archive can't be read");
    }
    Files::writeAtomically(served + QStringLiteral("/SHA512-SUMS.txt"),
                           hash.result().toHex() + "  " + name.toUtf8() + '\n');
    const QString trusted = work + QStringLiteral("/trusted");
    Files::createFolder(trusted);
    const Served server(served, trusted + QStringLiteral("/ca-certificates.crt"));
    Namespaces::mountOver(QStringLiteral("/etc/ssl/certs"), trusted);
    const QString page = server.url().toString() +
                         QStringLiteral("/godotengine/godot-builds/releases/download/4.3-stable");

    const QString ours = work + QStringLiteral("/ours");
    const QString theirs = work + QStringLiteral("/theirs");
    const auto prepare = [&] {
        Files::remove(ours);
        Files::remove(theirs);
        Files::createFolder(theirs);
    };
    std::vector<double> shares;
    const auto installOurs = [&] {
        EngineManager engines(server.url(), ours, ours + QStringLiteral("/temporary"), platform);
        const double before = mainThreadSeconds();
        const double whole = Measure::seconds([&] { Measure::await(install(&engines, spec)); });
        shares.push_back((mainThreadSeconds() - before) / whole);
    };
    const auto installTheirs = [&] {
        Measure::run(QStringLiteral("/bin/sh"),
                     {QStringLiteral("-ec"), byHand, QStringLiteral("sh"), page, name}, theirs);
    };
    const Measure::Pair pair = Measure::compare(prepare, installOurs, installTheirs);
    Measure::printRatio("engine setup / curl, sha512sum, unzip", pair, 0.36);
    Measure::printLimit("main thread meanwhile", Measure::median(shares) * 100, "%", 10);
    const auto transfer = [&] {
        Measure::run(QStringLiteral("curl"),
                     {QStringLiteral("-sSfLO"), page + QLatin1Char('/') + name}, theirs);
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
        argc, argv, "bench_setup ARCHIVE WORK", 2,
        [](const QStringList &arguments) { measure(arguments.at(0), arguments.at(1)); });
}
