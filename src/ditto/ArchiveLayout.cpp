#include "ditto/ArchiveLayout.h"

#include "ditto/ArchiveError.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace brindle {

namespace {

constexpr std::string_view localSignature = "PK\x03\x04";
constexpr std::string_view recordSignature = "PK\x01\x02";
constexpr std::string_view endSignature = "PK\x05\x06";
constexpr std::string_view zip64EndSignature = "PK\x06\x06";
constexpr std::string_view locatorSignature = "PK\x06\x07";
constexpr uint64_t signatureSize = 4;
constexpr uint64_t localSize = 30;
constexpr uint64_t endSize = 22;
constexpr uint64_t zip64EndSize = 56;
constexpr uint64_t locatorSize = 20;
constexpr uint64_t maxComment = 0xFFFF;
constexpr uint64_t elsewhere16 = 0xFFFF;     // the value is in a zip64 field
constexpr uint64_t elsewhere32 = 0xFFFFFFFF; // likewise
constexpr uint64_t sizesBehindFlag = 0x8;    // APPNOTE.TXT 4.4.4
constexpr uint64_t zip64Field = 0x0001;
constexpr uint64_t unicodePathField = 0x7075;

} // namespace

/// Takes one field after the other from a piece of the archive.
class ArchiveLayout::Fields
{
public:
    explicit Fields(std::string_view bytes) : bytes_(bytes) {}

    bool atEnd() const { return bytes_.empty(); }
    bool has(uint64_t count) const { return bytes_.size() >= count; }

    std::string_view take(uint64_t count)
    {
        if (!has(count)) {
            throw ArchiveError("a directory that is cut short");
        }
        const std::string_view taken = bytes_.substr(0, count);
        bytes_.remove_prefix(count);
        return taken;
    }
    /// A number of `width` bytes, the lowest first.
    uint64_t number(uint64_t width)
    {
        uint64_t value = 0;
        const std::string_view bytes = take(width);
        for (size_t i = width; i > 0; --i) {
            value = (value << 8U) | static_cast<unsigned char>(bytes[i - 1]);
        }
        return value;
    }
    void expect(std::string_view signature, const char *what)
    {
        if (take(signatureSize) != signature) {
            throw ArchiveError(std::string(what) + " is not where it should be");
        }
    }

private:
    std::string_view bytes_;
};

ArchiveLayout ArchiveLayout::read(const ArchiveFile &file, uint64_t maxEntries)
{
    const Directory directory = findDirectory(file);
    if (directory.count > maxEntries) {
        throw ArchiveError("too many entries");
    }
    if (directory.size > maxDirectoryBytes) {
        throw ArchiveError("too large a directory");
    }
    ArchiveLayout layout;
    layout.places_.reserve(directory.count);
    const std::string bytes = file.read(directory.offset, directory.size);
    Fields fields(bytes);
    while (!fields.atEnd() && layout.places_.size() < directory.count) {
        layout.places_.push_back(readPlace(fields));
    }
    if (!fields.atEnd() || layout.places_.size() != directory.count) {
        throw ArchiveError("a directory with more or fewer entries than announced");
    }
    checkPlaces(file, layout.places_, directory.offset);
    return layout;
}

void ArchiveLayout::compare(const std::vector<ArchiveEntry> &entries) const
{
    const auto agree = [](const Place &place, const ArchiveEntry &entry) {
        return (place.name == entry.name || place.unicodeName == entry.name) &&
               place.size == entry.size && place.packedSize == entry.packedSize;
    };
    if (!std::equal(places_.begin(), places_.end(), entries.begin(), entries.end(), agree)) {
        throw ArchiveError("a directory that can be read in two ways");
    }
}

ArchiveLayout::Directory ArchiveLayout::findDirectory(const ArchiveFile &file)
{
    const uint64_t tailSize = std::min(file.size(), endSize + maxComment);
    const std::string tail = file.read(file.size() - tailSize, tailSize);
    const auto endsFile = [&tail](size_t position) {
        if (tail.size() - position < endSize) {
            return false;
        }
        Fields comment(std::string_view(tail).substr(position + endSize - 2));
        return comment.number(2) == tail.size() - position - endSize;
    };
    const size_t position = tail.rfind(endSignature);
    if (position == std::string::npos) {
        throw ArchiveError("no zip archive, or one that is cut short");
    }
    if (!endsFile(position)) {
        throw ArchiveError("something after the archive's end");
    }
    for (size_t other = tail.find(endSignature); other < position;
         other = tail.find(endSignature, other + 1)) {
        if (endsFile(other)) {
            throw ArchiveError("two end records");
        }
    }

    Fields end(std::string_view(tail).substr(position + signatureSize));
    const uint64_t disks = end.number(4);
    const uint64_t countHere = end.number(2);
    const Directory directory{end.number(2), end.number(4), end.number(4)};
    if (countHere != directory.count || (disks != 0 && disks != elsewhere32)) {
        throw ArchiveError("an archive of several parts");
    }
    uint64_t endOffset = file.size() - tailSize + position;
    Directory found = directory;
    if (endOffset >= locatorSize &&
        file.read(endOffset - locatorSize, signatureSize) == locatorSignature) {
        found = readZip64End(file, endOffset - locatorSize);
        const auto differs = [](uint64_t value, uint64_t wide, uint64_t elsewhere) {
            return value != wide && value != elsewhere;
        };
        if (differs(directory.count, found.count, elsewhere16) ||
            differs(directory.size, found.size, elsewhere32) ||
            differs(directory.offset, found.offset, elsewhere32)) {
            throw ArchiveError("two end records that disagree");
        }
        endOffset -= locatorSize + zip64EndSize;
    }
    if (found.offset > endOffset || found.size != endOffset - found.offset) {
        throw ArchiveError("the directory is not where it should be");
    }
    return found;
}

ArchiveLayout::Directory ArchiveLayout::readZip64End(const ArchiveFile &file, uint64_t locator)
{
    if (locator < zip64EndSize) {
        throw ArchiveError("the zip64 end record is not where it should be");
    }
    const uint64_t place = locator - zip64EndSize;
    const std::string bytes = file.read(place, zip64EndSize + locatorSize);
    Fields record(bytes);
    record.expect(zip64EndSignature, "the zip64 end record");
    // Its size without what tells it. A longer one would hold what nobody knows.
    if (record.number(8) != zip64EndSize - signatureSize - sizeof(uint64_t)) {
        throw ArchiveError("a zip64 end record of another size");
    }
    record.take(4); // versions
    const uint64_t disks = record.number(8);
    const uint64_t countHere = record.number(8);
    const Directory directory{record.number(8), record.number(8), record.number(8)};
    record.expect(locatorSignature, "the zip64 locator");
    const uint64_t disk = record.number(4);
    if (record.number(8) != place) {
        throw ArchiveError("the zip64 end record is not where it should be");
    }
    if (disks != 0 || disk != 0 || countHere != directory.count) {
        throw ArchiveError("an archive of several parts");
    }
    return directory;
}

/// What the directory's record and the entry's own header share.
void ArchiveLayout::readFields(Fields &fields, Place &place)
{
    place.flags = fields.number(2);
    place.method = fields.number(2);
    fields.take(4); // time
    place.crc = fields.number(4);
    place.packedSize = fields.number(4);
    place.size = fields.number(4);
}

ArchiveLayout::Place ArchiveLayout::readPlace(Fields &directory)
{
    constexpr uint64_t upToOffset = 6 + 2; // attributes, after the number of the disk
    directory.expect(recordSignature, "an entry of the directory");
    directory.take(4); // versions
    Place place;
    readFields(directory, place);
    const uint64_t nameSize = directory.number(2);
    const uint64_t extraSize = directory.number(2);
    const uint64_t commentSize = directory.number(2);
    directory.take(upToOffset);
    place.offset = directory.number(4);
    place.name = directory.take(nameSize);
    readExtra(Fields(directory.take(extraSize)), place);
    directory.take(commentSize);
    return place;
}

void ArchiveLayout::readExtra(Fields extra, Place &place)
{
    constexpr uint64_t beforeUnicodeName = 1 + 4; // version and checksum
    bool isWide = false;
    while (extra.has(4)) { // some writers pad with less
        const uint64_t kind = extra.number(2);
        const std::string_view content = extra.take(extra.number(2));
        if (kind == zip64Field && !std::exchange(isWide, true)) {
            Fields numbers(content);
            for (uint64_t *value : {&place.size, &place.packedSize, &place.offset}) {
                if (*value == elsewhere32) {
                    *value = numbers.number(8);
                }
            }
        } else if (kind == zip64Field) {
            throw ArchiveError("a directory that can be read in two ways");
        } else if (kind == unicodePathField && content.size() > beforeUnicodeName) {
            place.unicodeName = content.substr(beforeUnicodeName);
        }
    }
}

/// Where the entry's data begins.
uint64_t ArchiveLayout::readHeader(const ArchiveFile &file, const Place &place, uint64_t end)
{
    if (place.offset > end || end - place.offset < localSize) {
        throw ArchiveError("an entry beyond the directory");
    }
    const std::string bytes = file.read(place.offset, localSize);
    Fields header(bytes);
    header.expect(localSignature, "an entry");
    header.take(2); // version
    Place found;
    readFields(header, found);
    const uint64_t nameSize = header.number(2);
    const uint64_t extraSize = header.number(2);
    const uint64_t start = place.offset + localSize + nameSize + extraSize;
    if (start > end || place.packedSize > end - start) {
        throw ArchiveError("an entry that reaches into the directory");
    }
    const std::string texts = file.read(place.offset + localSize, nameSize + extraSize);
    found.name = texts.substr(0, nameSize);
    readExtra(Fields(std::string_view(texts).substr(nameSize)), found);
    if (!agree(place, found)) {
        throw ArchiveError("an entry that says something else than the directory");
    }
    return start;
}

bool ArchiveLayout::agree(const Place &inDirectory, const Place &inHeader)
{
    const bool isLater = (inHeader.flags & sizesBehindFlag) != 0;
    const auto same = [isLater](uint64_t told, uint64_t here) {
        return here == told || (isLater && here == 0);
    };
    return inHeader.name == inDirectory.name && inHeader.method == inDirectory.method &&
           same(inDirectory.crc, inHeader.crc) && same(inDirectory.size, inHeader.size) &&
           same(inDirectory.packedSize, inHeader.packedSize);
}

void ArchiveLayout::checkPlaces(const ArchiveFile &file, const std::vector<Place> &places,
                                uint64_t end)
{
    std::vector<std::pair<uint64_t, uint64_t>> extents; // from, to
    extents.reserve(places.size());
    for (const Place &place : places) {
        const uint64_t start = readHeader(file, place, end);
        extents.emplace_back(place.offset, start + place.packedSize);
    }
    std::sort(extents.begin(), extents.end());
    for (size_t i = 1; i < extents.size(); ++i) {
        if (extents[i].first < extents[i - 1].second) {
            throw ArchiveError("entries that lie upon each other");
        }
    }
}

} // namespace brindle
