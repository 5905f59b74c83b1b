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
    const bool isDeflated = entry.compressionMethod == deflated;
    passed_ = 0;
    crc_ = 0;
    isal_inflate_init(state_.get());
    state_->crc_flag = ISAL_DEFLATE;
    for (uint64_t done = 0; done < entry.compressedSize;) {
        const size_t count = std::min<uint64_t>(input_.size(), entry.compressedSize - done);
        archive_.read(entry.dataOffset + done, input_.data(), count);
        done += count;
        if (isDeflated) {
            inflate(count, entry, sink);
        } else {
            pass(input_.data(), count, entry, sink);
        }
    }
    if (isDeflated && state_->block_state != ISAL_BLOCK_FINISH) {
        throw Error(entry.fileName + ": the archive is cut short");
    }
    if (passed_ != entry.uncompressedSize) {
        throw Error(entry.fileName + ": fewer bytes than announced");
    }
    if (crc_ != entry.crc32) {
        throw Error(entry.fileName + ": its checksum does not match");
    }
}

/// Unpacks the first `count` bytes of the input.
void Inflater::inflate(size_t count, const Entry &entry, const Sink &sink)
{
    state_->next_in = input_.data();
    state_->avail_in = static_cast<uint32_t>(count);
    bool outputWasFull = true;
    while (state_->block_state != ISAL_BLOCK_FINISH && (state_->avail_in > 0 || outputWasFull)) {
        state_->next_out = output_.data();
        state_->avail_out = static_cast<uint32_t>(output_.size());
        if (isal_inflate(state_.get()) != ISAL_DECOMP_OK) {
            throw Error(entry.fileName + ": damaged data");
        }
        outputWasFull = state_->avail_out == 0;
        pass(output_.data(), output_.size() - state_->avail_out, entry, sink);
    }
    // isal_inflate() may hold unused bytes.
    const bool isUsedUp = state_->avail_in == 0 && state_->read_in_length < bitsOfByte;
    if (state_->block_state == ISAL_BLOCK_FINISH && !isUsedUp) {
        throw Error(entry.fileName + ": data after its end");
    }
}

void Inflater::pass(const unsigned char *bytes, size_t count, const Entry &entry, const Sink &sink)
{
    if (count > entry.uncompressedSize - passed_) {
        throw Error(entry.fileName + ": more bytes than announced");
    }
    crc_ = crc32_gzip_refl(crc_, bytes, count);
    passed_ += count;
    sink(bytes, count);
}

} // namespace brindle::ditto
