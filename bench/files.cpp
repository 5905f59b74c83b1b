// The two halves of trusting an archive: its digest, and unpacking it.
//
// usage: bench_files FILE ARCHIVE DITTO WORK
//   FILE is hashed, ARCHIVE unpacked with DITTO, unzip and bsdtar; WORK is emptied

#include "services/Files.h"
#include "Measure.h"
#include "engine/EngineManager.h"

using namespace brindle;

namespace {

void measureDigest(const QString &file)
{
    const auto ours = [&] { EngineManager::sha512(file); };
    const auto theirs = [&] { Measure::run(QStringLiteral("sha512sum"), {file}); };
    Measure::printRatio("sha512 / sha512sum, 500 MB", Measure::compare([] {}, ours, theirs), 0.75);
}

void measureUnpacking(const QString &archive, const QString &ditto, const QString &work)
{
    const QString place = work + QStringLiteral("/unpacked");
    const auto prepare = [&] {
        Files::remove(work);
        Files::createFolder(place);
    };
    const auto ours = [&] {
        Measure::run(ditto, {QStringLiteral("-x"), QStringLiteral("-k"), archive, place});
    };
    const auto unzip = [&] {
        Measure::run(QStringLiteral("unzip"),
                     {QStringLiteral("-q"), archive, QStringLiteral("-d"), place});
    };
    const auto bsdtar = [&] {
        Measure::run(QStringLiteral("bsdtar"),
                     {QStringLiteral("-xf"), archive, QStringLiteral("-C"), place});
    };
    Measure::printRatio("ditto / unzip", Measure::compare(prepare, ours, unzip), 0.35);
    Measure::printRatio("ditto / bsdtar", Measure::compare(prepare, ours, bsdtar), 0.6);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_files FILE ARCHIVE DITTO WORK", 4,
                            [](const QStringList &arguments) {
                                measureDigest(arguments.at(0));
                                measureUnpacking(arguments.at(1), arguments.at(2), arguments.at(3));
                            });
}
