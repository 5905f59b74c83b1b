#include "Corpus.h"

namespace brindle {

namespace {

using Entry = RawZip::Entry;
using Frame = RawZip::Frame;

constexpr quint32 file644 = RawZip::file644;
const QByteArray content(5000, 'a');

/// Returns an archive of two entries. An entry without a name becomes a deflated file "x" of 5000
/// bytes, but keeps its false values.
QByteArray with(Entry entry, const Frame &frame = {})
{
    if (entry.name.isEmpty()) {
        entry.name = "x";
        entry.content = content;
        entry.deflated = true;
    }
    return RawZip({{"first.txt", "first", file644}, entry}).bytes(frame);
}

struct Lie
{
    const char *name;
    Entry entry;
    const char *why;
};

const QList<Lie> lies{
    {"encrypted", {.flags = 0x801}, "encrypted"},
    {"strongly encrypted", {.flags = 0x841}, "encrypted"},
    {"strong encryption by itself", {.flags = 0x840}, "encrypted"},
    {"encrypted directory", {.flags = 0x2800}, "encrypted"},
    {"encrypted by its local header", {.localFlags = 0x801}, "than the directory"},
    {"unknown method 12", {.method = 12}, "method"},
    {"unknown method 99", {.method = 99}, "method"},
    {"deflate64", {.method = 9}, "method"},
    {"bad checksum", {.crc = 1}, "checksum"},
    {"bad checksum, stored", {.name = "x", .content = content, .crc = 1}, "checksum"},
    {"more than announced", {.size = 10}, "more bytes"},
    {"less than announced", {.size = 6000}, "fewer bytes"},
    {"packed size too small", {.packedSize = 5}, "cut short"},
    {"packed size too large", {.packedSize = 60}, "into the directory"},
    {"packed size beyond the end", {.packedSize = 900'000}, "into the directory"},
    {"stored sizes disagree", {.name = "x", .content = content, .size = 2}, "disagree"},
    {"not deflated at all", {.packed = "\xff\xff\xff\xff"}, "damaged data"},
    {"as large as can be", {.size = 20, .packed = QByteArray(89, '\xff')}, "damaged data"},
    {"a byte larger", {.size = 20, .packed = QByteArray(90, '\xff')}, "larger than its content"},
    {"deflated data that ends early", {.packed = QByteArray("\3\0", 2)}, "fewer bytes"},
    {"deflated data that goes on",
     {.size = 0, .crc = 0, .packed = QByteArray("\3\0trailing", 10)},
     "data after its end"},
    {"deflated data with a byte behind it",
     {.size = 0, .crc = 0, .packed = QByteArray("\3\0x", 3)},
     "data after its end"},
    {"deflated data that ends with a byte, and another byte",
     {.size = 6, .packed = QByteArray("\xfb\xff\xef\xef\x9f\xdf\xbf\0x", 9)},
     "data after its end"},
    {"deflated data that never ends",
     {.size = 1, .packed = QByteArray("\0\1\0\xfe\xff.", 6)},
     "cut short"},
    {"other local name", {.localName = "evil"}, "than the directory"},
    {"local name that leads out", {.localName = "../../guarded/new"}, "than the directory"},
    {"other local size", {.localSize = 4999}, "than the directory"},
    {"other local packed size", {.localPackedSize = 4}, "than the directory"},
    {"other local checksum", {.localCrc = 1}, "than the directory"},
    {"other local method", {.localMethod = 0}, "than the directory"},
    // With flag 8, sizes and checksum lie behind the data, and are 0 before it.
    {"other local size beside flag 8", {.flags = 0x808, .localSize = 4}, "than the directory"},
    {"other local packed size beside flag 8",
     {.flags = 0x808, .localPackedSize = 4},
     "than the directory"},
    {"other local checksum beside flag 8", {.flags = 0x808, .localCrc = 1}, "than the directory"},
    {"offset beyond the end", {.offset = 1'000'000}, "beyond the directory"},
    {"offset in the directory", {.offset = 100}, "beyond the directory"},
    {"offset of another", {.offset = 0}, "overlap"},
    {"zip64 field cut short",
     {.size = 0xFFFFFFFF, .extra = QByteArray("\1\0\4\0....", 8)},
     "cut short"},
    {"zip64 sizes without a field", {.size = 0xFFFFFFFF}, "too much"},
    {"field longer than its record", {.extra = QByteArray("\1\0\xff\0....", 8)}, "cut short"},
    {"zip64 size of all bits",
     {.size = 0xFFFFFFFF, .extra = QByteArray("\1\0\10\0", 4) + QByteArray(8, '\xff')},
     "than the directory"},
    {"more than four gigabytes", {.size = (4LL << 30) + 1, .zip64 = true}, "too large"},
    {"four gigabytes announced", {.size = (4LL << 30) - 2}, "too much"},
};

struct LyingFrame
{
    const char *name;
    Frame frame;
    const char *why;
};

const QList<LyingFrame> frames{
    // The first end record's comment is a second end record.
    {"two end records", {.comment = RawZip().bytes()}, "two end records"},
    {"two end records behind a false one",
     {.comment = RawZip().bytes(), .prefix = "PK\5\6 in a text"},
     "two end records"},
    {"two end records, the second the longer one",
     {.comment = RawZip({{"y", "y", file644}}).bytes()},
     "two end records"},
    {"something in front that no offset counts",
     {.prefix = "#!/bin/sh\n", .prefixCounted = false},
     "directory is not where"},
    {"more entries announced", {.count = 3}, "cut short"},
    {"fewer entries announced", {.count = 1}, "more entries"},
    {"no entries announced", {.count = 0}, "more entries"},
    {"as many entries as can be announced", {.count = 0xFFFF}, "cut short"},
    {"directory of another size", {.directorySize = 40}, "directory is not where"},
    {"directory elsewhere", {.directoryOffset = 4}, "directory is not where"},
    {"directory beyond the end", {.directoryOffset = 1'000'000}, "directory is not where"},
    {"zip64 end elsewhere", {.zip64 = true, .zip64Offset = 4}, "zip64 end record is not where"},
    {"zip64 end beyond the end",
     {.zip64 = true, .zip64Offset = 1LL << 62},
     "zip64 end record is not where"},
    {"zip64 end of an archive whose rest is elsewhere",
     {.zip64 = true, .zip64Here = 1},
     "of several parts"},
    {"zip64 end of another count", {.zip64 = true, .zip64Count = 1}, "more entries"},
    {"zip64 end of a count of millions",
     {.zip64 = true, .zip64Count = 1LL << 40},
     "too many entries"},
    {"two ends that disagree", {.zip64 = true, .count = 1}, "disagree"},
    {"all in a zip64 end that is not there",
     {.count = 0xFFFF, .directorySize = 0xFFFFFFFF, .directoryOffset = 0xFFFFFFFF},
     "directory is not where"},
};

/// Returns an archive behind another end record, whose comment is the rest of the file.
QByteArray twoDirectories()
{
    QByteArray end = RawZip().bytes();
    const QByteArray rest = with({"x", "x"});
    end[20] = static_cast<char>(rest.size() & 0xFF);
    end[21] = static_cast<char>(rest.size() >> 8);
    return with({"x", "x"}, {.prefix = end});
}

} // namespace

QList<CorpusCase> Corpus::damaged()
{
    QList<CorpusCase> cases;
    for (const Lie &row : lies) {
        cases.append({row.name, [entry = row.entry] { return with(entry); }, row.why});
    }
    for (const LyingFrame &row : frames) {
        cases.append({row.name, [frame = row.frame] { return with({}, frame); }, row.why});
    }
    const QByteArray good = with({"x", "x"});
    const auto bytes = [&cases](const char *name, const QByteArray &archive, const char *why) {
        cases.append({name, [archive] { return archive; }, why});
    };
    bytes("cut in the directory", good.chopped(40), "cut short");
    bytes("cut in the data", good.left(50), "cut short");
    bytes("cut by one byte", good.chopped(1), "after the archive");
    bytes("cut at the front", good.mid(10), "directory is not where");
    bytes("no archive", "<html>not found</html>", "no zip archive");
    bytes("empty file", {}, "no zip archive");
    bytes("only an end", RawZip().bytes().chopped(1), "after the archive");
    bytes("data after the end", good + "trailing", "after the archive");
    bytes("two archives in a row", good + good, "directory is not where");
    bytes("two directories", twoDirectories(), "two end records");
    QByteArray longer = good;
    const qsizetype end = longer.lastIndexOf("PK\5\6");
    longer.insert(end, 'x');
    ++longer[end + 13]; // a byte of the directory's size
    bytes("a byte behind the last record", longer, "more entries");
    bytes("zip64 locator at the start",
          RawZip().bytes({.prefix = QByteArray("PK\6\7", 4) + QByteArray(16, 0)}),
          "zip64 end record is not where");
    return cases;
}

} // namespace brindle
