// Measures unpacking an archive with DITTO, unzip and bsdtar.
//
// usage: bench_files ARCHIVE DITTO WORK
//   WORK is emptied

#include "files/Files.h"
#include "Measure.h"

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

void measureUnpacking(const QString &archive, const QString &ditto, const QString &work)
{
    const QString place = work + u"/unpacked"_s;
    const auto prepare = [&] {
        Files::remove(work);
        Files::createFolder(place);
    };
    const auto ours = [&] { Measure::run(ditto, {u"-x"_s, u"-k"_s, archive, place}); };
    const auto unzip = [&] { Measure::run(u"unzip"_s, {u"-q"_s, archive, u"-d"_s, place}); };
    const auto bsdtar = [&] { Measure::run(u"bsdtar"_s, {u"-xf"_s, archive, u"-C"_s, place}); };
    Measure::printRatio("ditto / unzip", Measure::compare(prepare, ours, unzip), 0.35);
    Measure::printRatio("ditto / bsdtar", Measure::compare(prepare, ours, bsdtar), 0.6);
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_files ARCHIVE DITTO WORK",
                            [](const QStringList &arguments) {
                                measureUnpacking(arguments.at(0), arguments.at(1), arguments.at(2));
                            });
}
