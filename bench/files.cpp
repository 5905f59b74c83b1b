// The two halves of trusting an archive: its digest, and unpacking it.
//
// usage: bench_files FILE ARCHIVE DITTO WORK
//   FILE is hashed, ARCHIVE unpacked with DITTO, unzip and bsdtar; WORK is emptied

#include "files/Files.h"
#include "Measure.h"
#include "ditto/Directory.h"
#include "engine/EngineManager.h"

#include <QFile>

#include <array>
#include <isa-l/igzip_lib.h>
#include <memory>
#include <openssl/evp.h>
#include <stdexcept>
#include <vector>

using namespace brindle;

namespace {

/// What libcrypto takes for as many bytes that lie in the processor's cache.
void digestInMemory(qint64 size)
{
    const std::vector<unsigned char> piece(65'536, 0x5a);
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                          &EVP_MD_CTX_free);
    bool good = EVP_DigestInit_ex(context.get(), EVP_sha512(), nullptr) == 1;
    for (qint64 done = 0; good && done < size; done += static_cast<qint64>(piece.size())) {
        good = EVP_DigestUpdate(context.get(), piece.data(), piece.size()) == 1;
    }
    if (!good || EVP_DigestFinal_ex(context.get(), digest.data(), nullptr) != 1) {
        throw std::runtime_error("SHA-512 is not available");
    }
}

void measureDigest(const QString &file)
{
    const auto ours = [&] { EngineManager::sha512(file); };
    const auto theirs = [&] { Measure::run(QStringLiteral("sha512sum"), {file}); };
    const Measure::Pair pair = Measure::compare([] {}, ours, theirs);
    Measure::printRatio("sha512 / sha512sum, 500 MB", pair, 0.75);
    const qint64 size = QFile(file).size();
    Measure::printFloor("OpenSSL's SHA-512, nothing read", pair,
                        Measure::alone([] {}, [size] { digestInMemory(size); }));
}

/// The packed bytes of an archive's first entry, as they lie in it.
std::vector<unsigned char> packedEntry(const QString &archive)
{
    const ditto::ArchiveFile file(archive.toStdString());
    const ditto::Entry entry = ditto::readDirectory(file).at(0);
    std::vector<unsigned char> packed(entry.compressedSize);
    file.read(entry.dataOffset, packed.data(), packed.size());
    return packed;
}

/// Inflates and forgets.
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
    return Measure::program(argc, argv, "bench_files FILE ARCHIVE DITTO WORK", 4,
                            [](const QStringList &arguments) {
                                measureDigest(arguments.at(0));
                                measureUnpacking(arguments.at(1), arguments.at(2), arguments.at(3));
                            });
}
