// Measures unpacking an archive with DITTO, unzip and bsdtar.
//
// usage: bench_files ARCHIVE DITTO WORK
//   WORK is emptied

#include "files/Files.h"
#include "Measure.h"
#include "ditto/Directory.h"

#include <isa-l/igzip_lib.h>
#include <memory>
#include <stdexcept>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Returns the packed bytes of an archive's first entry.
std::vector<unsigned char> packedEntry(const QString &archive)
{
    const ditto::ArchiveFile file(archive.toStdString());
    const ditto::Entry entry = ditto::readDirectory(file).at(0);
    std::vector<unsigned char> packed(entry.compressedSize);
    file.read(entry.dataOffset, packed.data(), packed.size());
    return packed;
}

/// Inflates the bytes and drops the result.
void inflateInMemory(std::vector<unsigned char> &packed)
{
    std::vector<unsigned char> out(262'144);
    const auto state = std::make_unique<inflate_state>();
    isal_inflate_init(state.get());
    state->next_in = packed.data();
    state->avail_in = static_cast<uint32_t>(packed.size());
    while (state->block_state != ISAL_BLOCK_FINISH) {
        state->next_out = out.data();
        state->avail_out = static_cast<uint32_t>(out.size());
        if (isal_inflate(state.get()) != ISAL_DECOMP_OK) {
            throw std::runtime_error("the archive is damaged");
        }
    }
}

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
    const Measure::Pair pair = Measure::compare(prepare, ours, unzip);
    Measure::printRatio("ditto / unzip", pair, 0.35);
    Measure::printRatio("ditto / bsdtar", Measure::compare(prepare, ours, bsdtar), 0.6);
    std::vector<unsigned char> packed = packedEntry(archive);
    Measure::printFloor("raw inflate, nothing written", pair,
                        Measure::alone([] {}, [&packed] { inflateInMemory(packed); }));
}

} // namespace

int main(int argc, char **argv)
{
    return Measure::program(argc, argv, "bench_files ARCHIVE DITTO WORK",
                            [](const QStringList &arguments) {
                                measureUnpacking(arguments.at(0), arguments.at(1), arguments.at(2));
                            });
}
