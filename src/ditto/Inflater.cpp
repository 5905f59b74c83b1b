#include "ditto/Inflater.h"

#include "ditto/Checks.h"
#include "ditto/Error.h"

#include <algorithm>
#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

namespace brindle::ditto {

namespace {
constexpr size_t inputSize = 256U << 10U;
constexpr size_t outputSize = 1U << 20U;
constexpr int bitsOfByte = 8;
} // namespace

Inflater::Inflater(const ArchiveFile &archive)
    : archive_(archive)
    , state_(std::make_unique<inflate_state>())
    , input_(inputSize)
    , output_(outputSize)
{}

Inflater::~Inflater() = default;

void Inflater::unpack(const Entry &entry, const Sink &sink)
{
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
    isal_inflate_init(state_.get());
    state_->crc_flag = ISAL_DEFLATE;
    const bool isDeflated = entry.compressionMethod == deflated;
    for (uint64_t done = 0; done < entry.compressedSize;) {
        const size_t count = std::min<uint64_t>(input_.size(), entry.compressedSize - done);
        archive_.read(entry.dataOffset + done, input_.data(), count);
        done += count;
        if (!isDeflated) {
            pass(input_.data(), count);
            continue;
        }
        state_->next_in = input_.data();
        state_->avail_in = static_cast<uint32_t>(count);
        for (bool wasFull = true; !isAtEnd() && (state_->avail_in > 0 || wasFull);) {
            state_->next_out = output_.data();
            state_->avail_out = static_cast<uint32_t>(output_.size());
            if (isal_inflate(state_.get()) != ISAL_DECOMP_OK) {
                throw Error(entry.fileName + ": damaged data");
            }
            wasFull = state_->avail_out == 0;
            pass(output_.data(), output_.size() - state_->avail_out);
        }
        // isal_inflate() may hold unused bytes.
        if (isAtEnd() && (state_->avail_in > 0 || state_->read_in_length >= bitsOfByte)) {
            throw Error(entry.fileName + ": data after its end");
        }
    }
    if (isDeflated && !isAtEnd()) {
        throw Error(entry.fileName + ": the archive is cut short");
    }
    if (passed != entry.uncompressedSize) {
        throw Error(entry.fileName + ": fewer bytes than announced");
    }
    if (crc != entry.crc32) {
        throw Error(entry.fileName + ": its checksum does not match");
    }
}

bool Inflater::isAtEnd() const
{
    return state_->block_state == ISAL_BLOCK_FINISH;
}

} // namespace brindle::ditto
