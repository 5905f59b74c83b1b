// Packs a program as an engine's official archive is packed.
//
// usage: bench_pack PROGRAM ARCHIVE

#include "Measure.h"
#include "demo/EngineArchive.h"

#include <QCoreApplication>

using namespace brindle;
using namespace Qt::StringLiterals;

int main(int argc, char **argv)
{
    return Measure::program(
        argc, argv, "bench_pack PROGRAM ARCHIVE", [](const QStringList &arguments) {
            const Platform platform = Platform::current(QCoreApplication::applicationDirPath());
            EngineArchive::pack(arguments.at(0), platform, u"4.3-stable"_s, false, arguments.at(1));
        });
}
