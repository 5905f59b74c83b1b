#include "ditto/Inflater.h"

#include "ditto/ArchiveError.h"

#include <isa-l/crc.h>
#include <isa-l/igzip_lib.h>

namespace brindle {

namespace {
constexpr size_t outputSize = 1U << 20U;
constexpr uint16_t deflated = 8;
} // namespace

class Inflater::Impl
{
public:
    void begin(const ArchiveEntry &newEntry, const Sink &newSink)
    {
        entry = &newEntry;
        sink = &newSink;
        written = 0;
        crc = 0;
        isal_inflate_init(&state);
        state.crc_flag = ISAL_DEFLATE;
    }

    void pass(const unsigned char *bytes, size_t count)
    {
        if (count > entry->size - written) {
            throw ArchiveError(entry->name + ": more bytes than announced");
        }
        crc = crc32_gzip_refl(crc, bytes, count);
        written += count;
        (*sink)(bytes, count);
    }

    void inflate(const unsigned char *bytes, size_t count)
    {
        state.next_in = const_cast<unsigned char *>(bytes); // NOLINT: the library only reads
        state.avail_in = static_cast<uint32_t>(count);
        bool outputWasFull = true;
        while (state.block_state != ISAL_BLOCK_FINISH && (state.avail_in > 0 || outputWasFull)) {
            state.next_out = output.data();
            state.avail_out = static_cast<uint32_t>(output.size());
            if (isal_inflate(&state) != ISAL_DECOMP_OK) {
                throw ArchiveError(entry->name + ": damaged data");
            }
            outputWasFull = state.avail_out == 0;
            pass(output.data(), output.size() - state.avail_out);
        }
        if (state.block_state == ISAL_BLOCK_FINISH && state.avail_in > 0) {
            throw ArchiveError(entry->name + ": data after its end");
        }
    }

    void finish() const
    {
        if (entry->method == deflated && state.block_state != ISAL_BLOCK_FINISH) {
            throw ArchiveError(entry->name + ": the archive is cut short");
        }
        if (written != entry->size) {
            throw ArchiveError(entry->name + ": fewer bytes than announced");
        }
        if (crc != entry->crc) {
            throw ArchiveError(entry->name + ": its checksum does not match");
        }
    }

private:
    const ArchiveEntry *entry = nullptr;
    const Sink *sink = nullptr;
    uint64_t written = 0;
    uint32_t crc = 0;
    inflate_state state{};
    std::vector<unsigned char> output = std::vector<unsigned char>(outputSize);
};

Inflater::Inflater() : impl_(std::make_unique<Impl>()) {}

Inflater::~Inflater() = default;

void Inflater::unpack(const ArchiveReader &reader, const ArchiveEntry &entry, const Sink &sink)
{
    impl_->begin(entry, sink);
    reader.readPacked(entry, [&](const unsigned char *bytes, size_t count) {
        if (entry.method == deflated) {
            impl_->inflate(bytes, count);
        } else {
            impl_->pass(bytes, count);
        }
    });
    impl_->finish();
}

} // namespace brindle
