#include "ditto/ArchiveFile.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle::ditto {

namespace {

[[noreturn]] void fail()
{
    throw Error(std::string("can't read the archive: ") + std::strerror(errno));
}

bool isAtEnd(const inflate_state &state)
{
    return state.block_state == ISAL_BLOCK_FINISH;
}

} // namespace

struct ArchiveFile::Buffers
{
    inflate_state state{};
    std::array<unsigned char, 256U << 10U> input;
    std::array<unsigned char, 1U << 20U> output;
};

ArchiveFile::ArchiveFile(const std::string &path)
    : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), buffers_(new Buffers)
{
    struct stat found = {};
    if (descriptor_ < 0 || fstat(descriptor_, &found) != 0) {
        fail();
    }
    size_ = static_cast<uint64_t>(found.st_size);
}

ArchiveFile::~ArchiveFile()
{
    close(descriptor_);
}

std::string ArchiveFile::read(uint64_t offset, uint64_t count) const
{
    std::string bytes(count, '\0');
    read(offset, reinterpret_cast<unsigned char *>(bytes.data()), count); // NOLINT: bytes
    return bytes;
}

void ArchiveFile::read(uint64_t offset, unsigned char *bytes, size_t count) const
{
    while (count > 0) {
        const ssize_t now = pread(descriptor_, bytes, count, static_cast<off_t>(offset));
        if (now < 0) {
            fail();
        }
        if (now == 0) {
            throw Error("the archive is cut short");
        }
        offset += static_cast<uint64_t>(now);
        bytes += now;
        count -= static_cast<size_t>(now);
    }
}

void ArchiveFile::unpack(const Entry &entry, const Sink &sink) const
{
    auto &[state, input, output] = *buffers_;
    uint64_t passed = 0;
    uint32_t crc = 0;
    const auto pass = [&](const unsigned char *bytes, size_t count) {
        if (count > entry.uncompressedSize - passed) {
            throw Error(entry.fileName + ": more bytes than announced");
        }
        crc = crc32_gzip_refl(crc, bytes, count);
        passed += count;
        sink(bytes, count);
    };
    isal_inflate_init(&state);
    state.crc_flag = ISAL_DEFLATE;
    const bool isDeflated = entry.compressionMethod == deflated;
    for (uint64_t done = 0; done < entry.compressedSize;) {
        const size_t count = std::min<uint64_t>(input.size(), entry.compressedSize - done);
        read(entry.dataOffset + done, input.data(), count);
        done += count;
        if (!isDeflated) {
            pass(input.data(), count);
            continue;
        }
        state.next_in = input.data();
        state.avail_in = static_cast<uint32_t>(count);
        for (bool wasFull = true; !isAtEnd(state) && (state.avail_in > 0 || wasFull);) {
            state.next_out = output.data();
            state.avail_out = static_cast<uint32_t>(output.size());
            if (isal_inflate(&state) != ISAL_DECOMP_OK) {
                throw Error(entry.fileName + ": damaged data");
            }
            wasFull = state.avail_out == 0;
            pass(output.data(), output.size() - state.avail_out);
        }
        // isal_inflate() may hold unused bytes.
        constexpr int bitsOfByte = 8;
        if (isAtEnd(state) && (state.avail_in > 0 || state.read_in_length >= bitsOfByte)) {
            throw Error(entry.fileName + ": data after its end");
        }
    }
    if (isDeflated && !isAtEnd(state)) {
        throw Error(entry.fileName + ": the archive is cut short");
    }
    if (passed != entry.uncompressedSize) {
        throw Error(entry.fileName + ": fewer bytes than announced");
    }
    if (crc != entry.crc32) {
        throw Error(entry.fileName + ": its checksum does not match");
    }
}

} // namespace brindle::ditto
