#include "ditto/ArchiveFile.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::ditto {

namespace {

[[noreturn]] void fail(int reason = errno)
{
    throw Error(std::string("can't read the archive: ") + std::strerror(reason));
}

} // namespace

ArchiveFile::ArchiveFile(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor == -1) {
        fail();
    }
    struct stat found = {};
    fstat(descriptor, &found); // an open file has a status
    const auto size = static_cast<size_t>(found.st_size);
    // Map one byte more, because an empty mapping is an error.
    void *const bytes = mmap(nullptr, size + 1, PROT_READ, MAP_PRIVATE, descriptor, 0);
    const int reason = errno;
    close(descriptor);
    if (bytes == MAP_FAILED) { // NOLINT: the system's constant
        fail(reason);
    }
    bytes_ = {static_cast<const char *>(bytes), size};
}

ArchiveFile::~ArchiveFile()
{
    munmap(const_cast<char *>(bytes_.data()), size() + 1); // NOLINT: mapped by us
}

void ArchiveFile::unpack(const Entry &entry, const Sink &sink) const
{
    // Static, because both are too large for the stack.
    static inflate_state state;
    static std::array<unsigned char, 1U << 20U> output;
    const auto isAtEnd = [] { return state.block_state == ISAL_BLOCK_FINISH; };
    uint64_t passed = 0;
    uint32_t crc = 0;
    const auto pass = [&](const unsigned char *bytes, size_t count) {
        passed += count;
        refuseIf(passed > entry.uncompressedSize, "more bytes than announced", entry);
        crc = crc32_gzip_refl(crc, bytes, count);
        sink(bytes, count);
    };
    isal_inflate_init(&state);
    state.crc_flag = ISAL_DEFLATE;
    const bool isDeflated = entry.compressionMethod == deflated;
    std::string_view packed = bytes(entry.dataOffset, entry.compressedSize);
    while (!packed.empty()) {
        constexpr size_t pieceBytes = 256U << 10U;
        const std::string_view piece = packed.substr(0, pieceBytes);
        packed.remove_prefix(piece.size());
        auto *const input = reinterpret_cast<const unsigned char *>(piece.data()); // NOLINT
        if (!isDeflated) {
            pass(input, piece.size());
            continue;
        }
        state.next_in = const_cast<unsigned char *>(input); // NOLINT: only read
        state.avail_in = static_cast<uint32_t>(piece.size());
        // A call that does not fill the output has used the whole piece.
        for (state.avail_out = 0; !isAtEnd() && state.avail_out == 0;) {
            state.next_out = output.data();
            state.avail_out = static_cast<uint32_t>(output.size());
            refuseIf(isal_inflate(&state) != ISAL_DECOMP_OK, "damaged data", entry);
            pass(output.data(), output.size() - state.avail_out);
        }
        // isal_inflate() keeps unused bytes in its bit buffer.
        constexpr int bitsOfByte = 8;
        refuseIf(isAtEnd() && (state.avail_in > 0 || state.read_in_length >= bitsOfByte),
                 "data after its end", entry);
    }
    refuseIf(isDeflated && !isAtEnd(), "the archive is cut short", entry);
    refuseIf(passed != entry.uncompressedSize, "fewer bytes than announced", entry);
    refuseIf(crc != entry.crc32, "its checksum does not match", entry);
}

} // namespace brindle::ditto
