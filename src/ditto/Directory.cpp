#include "ditto/Directory.h"

#include "ditto/Error.h"

#include <algorithm>
#include <isa-l/crc.h>
#include <ranges>
#include <string_view>
#include <sys/stat.h>
#include <utility>

namespace brindle::ditto {

namespace {

constexpr std::string_view localSignature = "PK\x03\x04";
constexpr std::string_view centralSignature = "PK\x01\x02";
constexpr std::string_view endSignature = "PK\x05\x06";
constexpr std::string_view zip64EndSignature = "PK\x06\x06";
constexpr std::string_view locatorSignature = "PK\x06\x07";
constexpr uint64_t signatureSize = 4;
constexpr uint64_t endSize = 22;
constexpr uint64_t zip64EndSize = 56;
constexpr uint64_t locatorSize = 20;
constexpr uint64_t maxComment = 0xFFFF;
constexpr uint64_t elsewhere16 = 0xFFFF; // then a zip64 field has the value
constexpr uint64_t elsewhere32 = 0xFFFFFFFF;
constexpr uint16_t sizesBehindFlag = 0x8;     // APPNOTE.TXT 4.4.4
constexpr uint64_t zip64Field = 0x0001;       // APPNOTE.TXT 4.5.3
constexpr uint64_t unicodePathField = 0x7075; // APPNOTE.TXT 4.6.9

/// Reads one field after another from a piece of the archive.
class Fields
{
public:
    explicit Fields(std::string_view bytes) : bytes_(bytes) {}

    size_t left() const { return bytes_.size(); }

    std::string_view take(uint64_t count)
    {
        refuseIf(left() < count, "a directory that is cut short");
        const std::string_view taken = bytes_.substr(0, count);
        bytes_.remove_prefix(count);
        return taken;
    }
    /// Reads a number of `width` bytes, lowest byte first.
    uint64_t number(uint64_t width)
    {
        uint64_t value = 0;
        for (const char byte : std::views::reverse(take(width))) {
            value = (value << 8U) | static_cast<unsigned char>(byte);
        }
        return value;
    }
    template <typename Number>
    void into(Number &field)
    {
        field = static_cast<Number>(number(sizeof field));
    }
    void expect(std::string_view signature, const char *why)
    {
        refuseIf(take(signatureSize) != signature, why);
    }

private:
    std::string_view bytes_;
};

/// The directory's size and position by an end record.
struct EndRecord
{
    uint64_t entries;
    uint64_t size;
    uint64_t offset;
};

EndRecord readZip64End(const ArchiveFile &file, uint64_t locator)
{
    constexpr auto misplaced = "the zip64 end record is not where it should be";
    refuseIf(locator < zip64EndSize, misplaced);
    const uint64_t place = locator - zip64EndSize;
    Fields record(file.bytes(place, zip64EndSize + locatorSize));
    record.expect(zip64EndSignature, misplaced);
    // The size field counts neither itself nor the signature. Longer records have unknown data.
    refuseIf(record.number(8) != zip64EndSize - signatureSize - sizeof(uint64_t),
             "a zip64 end record of another size");
    record.take(4); // versions
    const uint64_t disks = record.number(8);
    const uint64_t entriesHere = record.number(8);
    const EndRecord end{record.number(8), record.number(8), record.number(8)};
    record.expect(locatorSignature, misplaced);
    const uint64_t disk = record.number(4);
    refuseIf(record.number(8) != place, misplaced);
    refuseIf(disks != 0 || disk != 0 || entriesHere != end.entries, "an archive of several parts");
    return end;
}

/// Returns the end record's position in `tail`, the file's last bytes.
size_t findEndRecord(std::string_view tail)
{
    const auto endsFile = [tail](size_t position) {
        if (tail.size() - position < endSize) {
            return false;
        }
        Fields comment(tail.substr(position + endSize - 2));
        return comment.number(2) == comment.left();
    };
    const size_t position = tail.rfind(endSignature);
    refuseIf(position == std::string_view::npos, "no zip archive, or one that is cut short");
    refuseIf(!endsFile(position), "something after the archive's end");
    for (size_t other = tail.find(endSignature); other < position;
         other = tail.find(endSignature, other + 1)) {
        refuseIf(endsFile(other), "two end records");
    }
    return position;
}

EndRecord readEnd(const ArchiveFile &file)
{
    const uint64_t tailSize = std::min(file.size(), endSize + maxComment);
    const std::string_view tail = file.bytes(file.size() - tailSize, tailSize);
    const size_t position = findEndRecord(tail);
    Fields record(tail.substr(position + signatureSize));
    const uint64_t disks = record.number(4);
    const uint64_t entriesHere = record.number(2);
    const EndRecord narrow{record.number(2), record.number(4), record.number(4)};
    refuseIf(entriesHere != narrow.entries || (disks != 0 && disks != elsewhere32),
             "an archive of several parts");
    EndRecord end = narrow;
    uint64_t endOffset = file.size() - tailSize + position;
    if (endOffset >= locatorSize &&
        file.bytes(endOffset - locatorSize, signatureSize) == locatorSignature) {
        end = readZip64End(file, endOffset - locatorSize);
        const auto differs = [](uint64_t value, uint64_t wide, uint64_t elsewhere) {
            return value != wide && value != elsewhere;
        };
        refuseIf(differs(narrow.entries, end.entries, elsewhere16) ||
                     differs(narrow.size, end.size, elsewhere32) ||
                     differs(narrow.offset, end.offset, elsewhere32),
                 "two end records that disagree");
        endOffset -= locatorSize + zip64EndSize;
    }
    refuseIf(end.offset > endOffset || end.size != endOffset - end.offset,
             "the directory is not where it should be");
    return end;
}

/// Reads the fields common to a directory's record and a local header.
void readShared(Fields &fields, Entry &entry)
{
    fields.into(entry.generalPurposeFlags);
    fields.into(entry.compressionMethod);
    fields.take(4); // time
    fields.into(entry.crc32);
    entry.compressedSize = fields.number(4);
    entry.uncompressedSize = fields.number(4);
}

void readZip64Field(Fields numbers, Entry &entry)
{
    for (uint64_t *value :
         {&entry.uncompressedSize, &entry.compressedSize, &entry.localHeaderOffset}) {
        if (*value == elsewhere32) {
            numbers.into(*value);
        }
    }
}

/// Uses the field's UTF-8 name if its checksum fits the entry's name. Otherwise a program that
/// ignored the field has changed the name.
void readUnicodePath(Fields field, Entry &entry)
{
    if (field.number(1) != 1) { // another version of the field
        return;
    }
    const auto *const name =
        reinterpret_cast<const unsigned char *>(entry.fileName.data()); // NOLINT
    if (field.number(4) == crc32_gzip_refl(0, name, entry.fileName.size()) && field.left() > 0) {
        entry.fileName = field.take(field.left());
    }
}

void readExtraFields(Fields extra, Entry &entry)
{
    bool hasZip64 = false;
    bool hasUnicodePath = false;
    while (extra.left() >= 4) { // fewer bytes are padding of some writers
        const uint64_t kind = extra.number(2);
        const Fields field(extra.take(extra.number(2)));
        bool *const isKnown = kind == zip64Field         ? &hasZip64
                              : kind == unicodePathField ? &hasUnicodePath
                                                         : nullptr;
        refuseIf(isKnown && std::exchange(*isKnown, true),
                 "a directory that can be read in two ways");
        if (kind == zip64Field) {
            readZip64Field(field, entry);
        } else if (kind == unicodePathField) {
            readUnicodePath(field, entry);
        }
    }
}

Entry readCentralHeader(Fields &directory)
{
    directory.expect(centralSignature, "an entry of the directory is not where it should be");
    Entry entry{};
    directory.into(entry.versionMadeBy);
    directory.take(2); // version needed to extract
    readShared(directory, entry);
    const uint64_t nameSize = directory.number(2);
    const uint64_t extraSize = directory.number(2);
    const uint64_t commentSize = directory.number(2);
    directory.take(2 + 2); // number of the disk, internal attributes
    directory.into(entry.externalFileAttributes);
    entry.localHeaderOffset = directory.number(4);
    entry.fileName = directory.take(nameSize);
    readExtraFields(Fields(directory.take(extraSize)), entry);
    directory.take(commentSize);
    return entry;
}

bool agree(const Entry &inDirectory, const Entry &inHeader)
{
    const bool isLater = (inHeader.generalPurposeFlags & sizesBehindFlag) != 0;
    const auto same = [isLater](uint64_t listed, uint64_t here) {
        return here == listed || (isLater && here == 0);
    };
    const unsigned differentFlags = inHeader.generalPurposeFlags ^ inDirectory.generalPurposeFlags;
    return inHeader.fileName == inDirectory.fileName && (differentFlags & encryptionFlags) == 0 &&
           inHeader.compressionMethod == inDirectory.compressionMethod &&
           same(inDirectory.crc32, inHeader.crc32) &&
           same(inDirectory.uncompressedSize, inHeader.uncompressedSize) &&
           same(inDirectory.compressedSize, inHeader.compressedSize);
}

/// Checks the local header and returns the position of the data behind it. `end` is the directory's
/// position.
uint64_t readLocalHeader(const ArchiveFile &file, const Entry &entry, uint64_t end)
{
    refuseIf(entry.localHeaderOffset > end, "an entry beyond the directory");
    Fields header(file.bytes(entry.localHeaderOffset, end - entry.localHeaderOffset));
    header.expect(localSignature, "an entry is not where it should be");
    header.take(2); // version needed to extract
    Entry found{};
    readShared(header, found);
    const uint64_t nameSize = header.number(2);
    const uint64_t extraSize = header.number(2);
    found.fileName = header.take(nameSize);
    readExtraFields(Fields(header.take(extraSize)), found);
    refuseIf(entry.compressedSize > header.left(), "an entry that reaches into the directory");
    refuseIf(!agree(entry, found), "an entry that says something else than the directory");
    return end - header.left();
}

std::vector<Entry> readCentralDirectory(const ArchiveFile &file, const EndRecord &end)
{
    std::vector<Entry> entries;
    entries.reserve(end.entries);
    uint64_t nameBytes = 0;
    Fields records(file.bytes(end.offset, end.size));
    while (entries.size() < end.entries) {
        entries.push_back(readCentralHeader(records));
        nameBytes += entries.back().fileName.size();
        refuseIf(nameBytes > maxNameBytes, "too long names");
    }
    refuseIf(records.left() != 0, "a directory with more entries than announced");
    return entries;
}

/// Reads the local headers in the file's order. So it finds an overlap before it reads bytes twice.
void readLocalHeaders(const ArchiveFile &file, std::vector<Entry> &entries, uint64_t end)
{
    std::ranges::sort(entries, {}, &Entry::localHeaderOffset);
    uint64_t previousEnd = 0;
    for (Entry &entry : entries) {
        refuseIf(entry.localHeaderOffset < previousEnd, "entries that overlap");
        entry.dataOffset = readLocalHeader(file, entry, end);
        previousEnd = entry.dataOffset + entry.compressedSize;
    }
}

} // namespace

std::string_view Entry::path() const
{
    return std::string_view(fileName).substr(0,
                                             fileName.size() - (fileName.ends_with('/') ? 1 : 0));
}

mode_t Entry::mode() const
{
    constexpr unsigned madeOnUnix = 3; // APPNOTE.TXT 4.4.2.2
    constexpr unsigned madeOnMacOS = 19;
    const unsigned system = versionMadeBy >> 8U;
    return system == madeOnUnix || system == madeOnMacOS ? externalFileAttributes >> 16U : 0;
}

Entry::Type Entry::type() const
{
    const mode_t kind = mode() & S_IFMT; // 0 if the archive has no type
    if (fileName.ends_with('/')) {
        return kind == 0 || kind == S_IFDIR ? Type::folder : Type::other;
    }
    return kind == 0 || kind == S_IFREG ? Type::file : kind == S_IFLNK ? Type::link : Type::other;
}

std::vector<Entry> readDirectory(const ArchiveFile &file)
{
    const EndRecord end = readEnd(file);
    refuseIf(end.entries > maxEntries, "too many entries");
    refuseIf(end.size > maxDirectoryBytes, "too large a directory");
    std::vector<Entry> entries = readCentralDirectory(file, end);
    readLocalHeaders(file, entries, end.offset);
    return entries;
}

} // namespace brindle::ditto
