// Engine setup, from the checksum list to the unpacked program, against what one would type:
// curl -LO, sha512sum -c, unzip -q. Same server, same archive, same disk.
//
// usage: bench_setup ARCHIVE PROGRAM WORK
//   ARCHIVE   a zip with PROGRAM in it; WORK is emptied

#include "Measure.h"
#include "Served.h"
#include "engine/EngineManager.h"
#include "services/Files.h"

#include <QCoreApplication>
#include <QFile>

#include <cstdio>

using namespace brindle;

namespace {

QCoro::Task<> install(EngineManager *engines, EngineSpec spec)
{
    const EngineManager::Progress noProgress = [](qint64, qint64, double) {};
    const EngineManager::Text noText = [](const QString &) {};
    auto installing = engines->install(spec, noProgress, noText, noText, {});
    co_await installing;
}

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 4) {
        std::fputs("usage: bench_setup ARCHIVE PROGRAM WORK\n", stderr);
        return 2;
    }
    const QString &archive = arguments.at(1);
    const QString work = arguments.at(3);
    const EngineSpec spec{QStringLiteral("4.3-stable"), false};

    Platform platform = Platform::current(QCoreApplication::applicationDirPath());
    platform.standardProgram = arguments.at(2);
    const QString name = spec.zipName(platform);

    Files::remove(work);
    const QString served = work + QStringLiteral("/served");
    Files::createFolder(served);
    QFile::link(archive, served + u'/' + name);
    Files::writeAtomically(
        served + QStringLiteral("/SHA512-SUMS.txt"),
        (EngineManager::sha512(archive) + QStringLiteral("  ") + name + u'\n').toUtf8());
    const Served server(served);
    const QString page = server.url().toString() +
                         QStringLiteral("/godotengine/godot-builds/releases/download/4.3-stable/");

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
    const Measure::Pair pair = Measure::compare(prepare, installOurs, [&] {
        Measure::run(QStringLiteral("/bin/sh"),
                     {QStringLiteral("-ec"),
                      QStringLiteral("curl -sSfLO \"$1/SHA512-SUMS.txt\"; "
                                     "curl -sSfLO \"$1/$2\"; "
                                     "sha512sum -c --quiet SHA512-SUMS.txt; unzip -q \"$2\""),
                      QStringLiteral("sh"), page.chopped(1), name},
                     theirs);
    });
    Measure::printRatio("engine setup / curl, sha512sum, unzip", pair, 0.45);
    return 0;
}
