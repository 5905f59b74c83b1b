#include "ditto/ArchiveReader.h"

#include "ditto/ArchiveError.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

namespace brindle {

namespace {

// Permission bits in the upper half of the external attributes, written by Unix and by macOS.
constexpr unsigned modeShift = 16;
constexpr size_t bufferSize = 1U << 20U;

ArchiveEntry::Type typeOf(mode_t mode, bool namedAsFolder)
{
    switch (mode & S_IFMT) {
    case 0: // no type stored
        return namedAsFolder ? ArchiveEntry::Type::folder : ArchiveEntry::Type::file;
    case S_IFREG:
        return namedAsFolder ? ArchiveEntry::Type::other : ArchiveEntry::Type::file;
    case S_IFDIR:
        return namedAsFolder ? ArchiveEntry::Type::folder : ArchiveEntry::Type::other;
    case S_IFLNK:
        return namedAsFolder ? ArchiveEntry::Type::other : ArchiveEntry::Type::link;
    default:
        return ArchiveEntry::Type::other;
    }
}

/// The archive's fault, in the library's words, unless its disk is to blame.
ArchiveError failure(const std::string &what, zip_error_t *error)
{
    return zip_error_code_zip(error) == ZIP_ER_READ
               ? ArchiveError::notRead(zip_error_code_system(error))
               : ArchiveError(what + ": " + zip_error_strerror(error));
}

} // namespace

class ArchiveReader::Impl
{
public:
    explicit Impl(const ArchiveFile &file)
    {
        const int descriptor = dup(file.descriptor());
        if (descriptor < 0) {
            throw ArchiveError::notRead(errno);
        }
        int code = 0;
        // Not with ZIP_CHECKCONS, which refuses what usual tools write: entries that tell their
        // size, but not their packed size, before the data.
        archive = zip_fdopen(descriptor, ZIP_RDONLY, &code);
        if (!archive) {
            zip_error_t error;
            zip_error_init_with_code(&error, code);
            const ArchiveError reason = failure("can't open the archive", &error);
            zip_error_fini(&error);
            close(descriptor);
            throw reason;
        }
    }
    Impl(const Impl &) = delete;
    Impl &operator=(const Impl &) = delete;
    ~Impl() { zip_discard(archive); }

    ArchiveEntry entry(zip_uint64_t index) const
    {
        zip_stat_t stat;
        constexpr zip_uint64_t needed = ZIP_STAT_NAME | ZIP_STAT_SIZE | ZIP_STAT_COMP_SIZE |
                                        ZIP_STAT_CRC | ZIP_STAT_COMP_METHOD |
                                        ZIP_STAT_ENCRYPTION_METHOD;
        if (zip_stat_index(archive, index, ZIP_FL_ENC_RAW, &stat) != 0 ||
            (stat.valid & needed) != needed) {
            throw ArchiveError("an entry of the directory can't be read");
        }
        ArchiveEntry entry;
        entry.index = index;
        entry.name = stat.name;
        entry.encrypted = stat.encryption_method != ZIP_EM_NONE;
        entry.method = stat.comp_method;
        entry.size = stat.size;
        entry.packedSize = stat.comp_size;
        entry.crc = stat.crc;

        zip_uint8_t system = 0;
        zip_uint32_t attributes = 0;
        zip_file_get_external_attributes(archive, index, 0, &system, &attributes);
        const bool hasMode = system == ZIP_OPSYS_UNIX || system == ZIP_OPSYS_OS_X;
        const mode_t mode = hasMode ? attributes >> modeShift : 0;
        entry.type = typeOf(mode, entry.name.ends_with('/'));
        entry.mode = mode;
        return entry;
    }

    zip_t *archive = nullptr;
};

ArchiveReader::ArchiveReader(const ArchiveFile &file) : impl_(std::make_unique<Impl>(file)) {}

ArchiveReader::~ArchiveReader() = default;

uint64_t ArchiveReader::count() const
{
    return static_cast<uint64_t>(zip_get_num_entries(impl_->archive, 0));
}

std::vector<ArchiveEntry> ArchiveReader::entries() const
{
    std::vector<ArchiveEntry> entries;
    const uint64_t number = count();
    entries.reserve(number);
    for (uint64_t index = 0; index < number; ++index) {
        entries.push_back(impl_->entry(index));
    }
    return entries;
}

void ArchiveReader::readPacked(const ArchiveEntry &entry, const Sink &sink) const
{
    const std::unique_ptr<zip_file_t, int (*)(zip_file_t *)> file(
        zip_fopen_index(impl_->archive, entry.index, ZIP_FL_COMPRESSED), &zip_fclose);
    if (!file) {
        throw failure(entry.name, zip_get_error(impl_->archive));
    }
    std::vector<unsigned char> buffer(std::min<uint64_t>(bufferSize, entry.packedSize + 1));
    uint64_t left = entry.packedSize;
    while (left > 0) {
        const auto got =
            zip_fread(file.get(), buffer.data(), std::min<uint64_t>(left, buffer.size()));
        if (got < 0) {
            throw failure(entry.name, zip_file_get_error(file.get()));
        }
        if (got == 0) {
            throw ArchiveError(entry.name + ": the archive is cut short");
        }
        sink(buffer.data(), static_cast<size_t>(got));
        left -= static_cast<uint64_t>(got);
    }
}

} // namespace brindle
