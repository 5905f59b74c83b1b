// Engine setup, from the checksum list to the unpacked program, against what one would type:
// curl -LO, sha512sum -c, unzip -q. Same server, same archive, same disk.
//
// usage: bench_setup ARCHIVE WORK
//   ARCHIVE as bench_pack makes it; WORK is emptied

#include "Measure.h"
#include "Served.h"
#include "engine/EngineManager.h"
#include "files/Files.h"

#include <QCoreApplication>
#include <QFile>

using namespace brindle;

namespace {

QCoro::Task<> install(EngineManager *engines, EngineSpec spec)
{
    const ProgressCallback noProgress = [](qint64, qint64, double) {};
    const StatusCallback noText = [](const QString &) {};
    auto installing = engines->install(spec, noProgress, noText, noText, {});
    co_await installing;
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
    const QString list = EngineManager::sha512(archive) + QStringLiteral("  ") + name + u'\n';
    Files::writeAtomically(served + QStringLiteral("/SHA512-SUMS.txt"), list.toUtf8());
    const Served server(served);
    const QString page = server.url().toString() +
                         QStringLiteral("/godotengine/godot-builds/releases/download/4.3-stable");

    const QString ours = work + QStringLiteral("/ours");
    const QString theirs = work + QStringLiteral("/theirs");
    const auto prepare = [&] {
        Files::remove(ours);
        Files::remove(theirs);
        Files::createFolder(theirs);
    };
    const auto installOurs = [&] {
        EngineManager engines(server.url(), ours, ours + QStringLiteral("/temporary"), platform);
        Measure::await(install(&engines, spec));
    };
    const auto installTheirs = [&] {
        Measure::run(QStringLiteral("/bin/sh"),
                     {QStringLiteral("-ec"), byHand, QStringLiteral("sh"), page, name}, theirs);
    };
    const Measure::Pair pair = Measure::compare(prepare, installOurs, installTheirs);
    Measure::printRatio("engine setup / curl, sha512sum, unzip", pair, 0.45);
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
    return Measure::program(
        argc, argv, "bench_setup ARCHIVE WORK", 2,
        [](const QStringList &arguments) { measure(arguments.at(0), arguments.at(1)); });
}
