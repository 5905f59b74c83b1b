// The two halves of trusting an archive: its digest, and unpacking it.
//
// usage: bench_files FILE ARCHIVE DITTO WORK
//   FILE is hashed, ARCHIVE unpacked with DITTO, unzip and bsdtar; WORK is emptied

#include "services/Files.h"
#include "Measure.h"
#include "engine/EngineManager.h"

#include <QCoreApplication>

#include <cstdio>

using namespace brindle;

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 5) {
        std::fputs("usage: bench_files FILE ARCHIVE DITTO WORK\n", stderr);
        return 2;
    }
    const QString &file = arguments.at(1);
    const QString &archive = arguments.at(2);
    const QString &ditto = arguments.at(3);
    const QString &work = arguments.at(4);

    const Measure::Pair digest =
        Measure::compare([] {}, [&] { EngineManager::sha512(file); },
                         [&] { Measure::run(QStringLiteral("sha512sum"), {file}); });
    Measure::printRatio("sha512 / sha512sum, 500 MB", digest, 0.75);

    const QString place = work + QStringLiteral("/unpacked");
    const auto prepare = [&] {
        Files::remove(work);
        Files::createFolder(place);
    };
    const auto unpack = [&] {
        Measure::run(ditto, {QStringLiteral("-x"), QStringLiteral("-k"), archive, place});
    };
    const Measure::Pair unzip = Measure::compare(prepare, unpack, [&] {
        Measure::run(QStringLiteral("unzip"),
                     {QStringLiteral("-q"), archive, QStringLiteral("-d"), place});
    });
    Measure::printRatio("ditto / unzip", unzip, 0.35);
    const Measure::Pair bsdtar = Measure::compare(prepare, unpack, [&] {
        Measure::run(QStringLiteral("bsdtar"),
                     {QStringLiteral("-xf"), archive, QStringLiteral("-C"), place});
    });
    Measure::printRatio("ditto / bsdtar", bsdtar, 0.6);
    return 0;
}
