#include "DamagedCorpus.h"

#include "Bombs.h"
#include "RawZip.h"

namespace brindle {

namespace {

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 link777 = RawZip::link777;
constexpr qint64 gigabyte = 1LL << 30;

/// A good file first, so that a refusal that comes too late leaves something behind.
QByteArray with(const RawZip::Entry &entry, const RawZip::Frame &frame = {})
{
    return RawZip().add({"first.txt", "first", file644}).add(entry).bytes(frame);
}

/// A file of 5000 bytes, deflated, of which `lie` changes what is said.
CorpusCase lying(const char *name, void (*lie)(RawZip::Entry &), const QByteArray &why)
{
    return {name,
            [=] {
                RawZip::Entry entry{"x", QByteArray(5000, 'a'), file644, true};
                lie(entry);
                return with(entry);
            },
            why};
}

/// The same archive with a frame that lies.
CorpusCase framed(const char *name, void (*lie)(RawZip::Frame &), const QByteArray &why)
{
    return {name,
            [=] {
                RawZip::Frame frame;
                lie(frame);
                return with({"x", QByteArray(5000, 'a'), file644, true}, frame);
            },
            why};
}

QList<CorpusCase> lies()
{
    return {
        lying(
            "encrypted", [](auto &e) { e.flags = 0x801; }, "encrypted"),
        lying(
            "strongly encrypted", [](auto &e) { e.flags = 0x841; }, "encrypted"),
        lying(
            "strong encryption by itself", [](auto &e) { e.flags = 0x840; }, "encrypted"),
        lying(
            "encrypted directory", [](auto &e) { e.flags = 0x2800; }, "encrypted"),
        lying(
            "unknown method 12", [](auto &e) { e.method = 12; }, "method"),
        lying(
            "unknown method 99", [](auto &e) { e.method = 99; }, "method"),
        lying(
            "deflate64", [](auto &e) { e.method = 9; }, "method"),
        lying(
            "bad checksum", [](auto &e) { e.crc = 1; }, "checksum"),
        lying(
            "bad checksum, stored",
            [](auto &e) {
                e.deflated = false;
                e.crc = 1;
            },
            "checksum"),
        lying(
            "more than announced", [](auto &e) { e.size = 10; }, "more bytes"),
        lying(
            "less than announced", [](auto &e) { e.size = 6000; }, "fewer bytes"),
        lying(
            "packed size too small", [](auto &e) { e.packedSize = 5; }, "cut short"),
        lying(
            "packed size too large", [](auto &e) { e.packedSize = 60; }, "into the directory"),
        lying(
            "packed size beyond the end", [](auto &e) { e.packedSize = 900'000; },
            "into the directory"),
        lying(
            "stored sizes disagree",
            [](auto &e) {
                e.deflated = false;
                e.size = 2;
            },
            "disagree"),
        lying(
            "not deflated at all", [](auto &e) { e.packed = "\xff\xff\xff\xff"; }, "damaged data"),
        lying(
            "deflated data that ends early", [](auto &e) { e.packed = QByteArray("\x03\x00", 2); },
            "fewer bytes"),
        lying(
            "deflated data that goes on",
            [](auto &e) {
                e.packed = QByteArray("\x03\x00trailing", 10);
                e.size = 0;
                e.crc = 0;
            },
            "data after its end"),
        lying(
            "deflated data with a byte behind it",
            [](auto &e) {
                e.packed = QByteArray("\x03\x00x", 3);
                e.size = 0;
                e.crc = 0;
            },
            "data after its end"),
        lying(
            "deflated data that never ends",
            [](auto &e) {
                e.packed = QByteArray("\x00\x01\x00\xfe\xff.", 6);
                e.size = 1;
            },
            "cut short"),
        lying(
            "other local name", [](auto &e) { e.localName = "evil"; }, "than the directory"),
        lying(
            "local name that leads out", [](auto &e) { e.localName = "../../guarded/new"; },
            "than the directory"),
        lying(
            "other local size", [](auto &e) { e.localSize = 4999; }, "than the directory"),
        lying(
            "other local packed size", [](auto &e) { e.localPackedSize = 4; },
            "than the directory"),
        lying(
            "other local size of data with its sizes behind it",
            [](auto &e) {
                e.flags = 0x808;
                e.localSize = 4999;
            },
            "than the directory"),
        lying(
            "other local packed size of data with its sizes behind it",
            [](auto &e) {
                e.flags = 0x808;
                e.localPackedSize = 4;
            },
            "than the directory"),
        lying(
            "other local checksum of data with its sizes behind it",
            [](auto &e) {
                e.flags = 0x808;
                e.localCrc = 1;
            },
            "than the directory"),
        lying(
            "encrypted by its local header", [](auto &e) { e.localFlags = 0x801; },
            "than the directory"),
        lying(
            "other local checksum", [](auto &e) { e.localCrc = 1; }, "than the directory"),
        lying(
            "other local method", [](auto &e) { e.localMethod = 0; }, "than the directory"),
        lying(
            "place beyond the end", [](auto &e) { e.offset = 1'000'000; }, "beyond the directory"),
        lying(
            "place in the directory", [](auto &e) { e.offset = 100; }, "beyond the directory"),
        lying(
            "place of another", [](auto &e) { e.offset = 0; }, "overlap"),
        lying(
            "zip64 field cut short",
            [](auto &e) {
                e.size = 0xFFFFFFFF;
                e.extra = QByteArray("\x01\x00\x04\x00....", 8);
            },
            "cut short"),
        lying(
            "zip64 sizes without a field", [](auto &e) { e.size = 0xFFFFFFFF; }, "too much"),
        lying(
            "field longer than its record",
            [](auto &e) { e.extra = QByteArray("\x01\x00\xff\x00....", 8); }, "cut short"),
        lying(
            "zip64 size of all bits",
            [](auto &e) {
                e.size = 0xFFFFFFFF;
                e.extra = QByteArray("\x01\x00\x08\x00", 4) + QByteArray(8, '\xff');
            },
            "than the directory"),
    };
}

QList<CorpusCase> bombs()
{
    return {
        {"bomb by one large file", [] { return with(Bombs::zeros("x", 400'000'000)); }, "too much"},
        {"bomb by many small files",
         [] {
             RawZip zip;
             for (int i = 0; i < 600; ++i) {
                 zip.add(Bombs::zeros(QByteArray::number(i), 1 << 20));
             }
             return zip.bytes();
         },
         "too much"},
        {"bomb by a ratio that is not told",
         [] {
             RawZip::Entry entry = Bombs::zeros("x", 40'000'000);
             entry.size = 100'000;
             return with(entry);
         },
         "more bytes"},
        {"bomb by overlap", [] { return Bombs::byOverlap(500); }, "overlap"},
        {"two overlapping files", [] { return Bombs::byOverlap(2); }, "overlap"},
        {"bomb by count",
         [] {
             RawZip zip;
             for (int i = 0; i < 200'001; ++i) {
                 zip.add({QByteArray::number(i % 1000), {}, file644}); // quick without checks
             }
             return zip.bytes();
         },
         "too many entries"},
        {"bomb by folders on the way",
         [] {
             RawZip zip;
             for (int i = 0; i < 1000; ++i) {
                 const QByteArray folder = QByteArray::number(i) + '/';
                 zip.add({folder.repeated(250) + 'x', {}, file644});
             }
             return zip.bytes();
         },
         "too many folders", false, true},
        {"bomb by a count of millions",
         [] {
             RawZip::Frame frame;
             frame.zip64 = true;
             frame.zip64Count = 1LL << 40;
             return with({"x", "x", file644}, frame);
         },
         "too many entries"},
        {"more than four gigabytes",
         [] {
             RawZip::Entry entry{"x", QByteArray(5000, 'a'), file644, true};
             entry.size = 4 * gigabyte + 1;
             entry.zip64 = true;
             return with(entry);
         },
         "too large"},
        {"four gigabytes announced",
         [] {
             RawZip::Entry entry{"x", QByteArray(5000, 'a'), file644, true};
             entry.size = 4 * gigabyte - 2;
             return with(entry);
         },
         "too much"},
        {"more than sixteen gigabytes",
         [] {
             // Grows no more than is allowed, as far as the directory tells.
             const QByteArray packed(22'000'000, 'x');
             RawZip zip;
             for (int i = 0; i < 5; ++i) {
                 RawZip::Entry entry{QByteArray::number(i), {}, file644, true};
                 entry.packed = packed;
                 entry.size = 4 * gigabyte - 2;
                 zip.add(entry);
             }
             return zip.bytes();
         },
         "too many bytes"},
    };
}

/// Archives that would cost more than their size lets expect. A run that is busy for long is ended.
QList<CorpusCase> costs()
{
    const auto many = [](int count, RawZip::Entry (*entry)(int number)) {
        RawZip zip;
        for (int i = 0; i < count; ++i) {
            zip.add(entry(i));
        }
        return zip.bytes();
    };
    return {
        {"many entries with one long header",
         [] {
             RawZip::Entry entry{"x", {}, file644};
             entry.localExtra = QByteArray("\xfe\xca\0\0", 4).repeated(16'000);
             RawZip zip;
             zip.add(entry);
             entry.localExtra.clear();
             entry.offset = 0;
             for (int i = 0; i < 199'000; ++i) {
                 zip.add(entry);
             }
             return zip.bytes();
         },
         "overlap"},
        {"blocks without content",
         [] {
             RawZip::Entry entry{"x", {}, file644, true};
             // Four blocks of fixed codes, not the last, each with nothing but its end.
             entry.packed =
                 QByteArray("\x02\x08\x20\x80\x00", 5).repeated(400'000) + QByteArray("\3\0", 2);
             return with(entry);
         },
         "larger than its content"},
        {"folders in folders",
         [=] {
             return many(780, [](int i) {
                 return RawZip::Entry{QByteArray::number(i) + '/' + QByteArray("a/").repeated(254) +
                                      'x'};
             });
         },
         "unpacks to too much", false, true},
        {"files that are smaller than their blocks",
         [=] {
             return many(60'000,
                         [](int i) { return RawZip::Entry{QByteArray::number(i), "x", file644}; });
         },
         "unpacks to too much", false, true},
        {"deep files",
         [=] {
             return many(2'000, [](int i) {
                 return RawZip::Entry{QByteArray("a/").repeated(250) + QByteArray::number(i)};
             });
         },
         "too deep", false, true},
        {"long names",
         [=] {
             return many(4'200, [](int i) {
                 return RawZip::Entry{(QByteArray(199, 'a') + '/').repeated(20) +
                                      QByteArray::number(i)};
             });
         },
         "too long names", false, true},
        {"all that is taken, and one link more that leads out",
         [=] {
             return many(200'000, [](int i) {
                 const QByteArray name = QByteArray::number(i).rightJustified(83, 'n');
                 return i < 190'001   ? RawZip::Entry{name, {}, file644}
                        : i < 199'999 ? RawZip::Entry{name, QByteArray(415, 't'), link777}
                                      : RawZip::Entry{name, "..", link777};
             });
         },
         "leads outside", false, true},
    };
}

QList<CorpusCase> frames()
{
    return {
        {"cut in the directory", [] { return with({"x", "x", file644}).chopped(40); }, "cut short"},
        {"cut in the data", [] { return with({"x", "x", file644}).left(50); }, "cut short"},
        {"cut by one byte", [] { return with({"x", "x", file644}).chopped(1); },
         "after the archive"},
        {"cut at the front", [] { return with({"x", "x", file644}).mid(10); },
         "directory is not where"},
        {"no archive", [] { return QByteArray("<html>not found</html>"); }, "no zip archive"},
        {"empty file", [] { return QByteArray(); }, "no zip archive"},
        {"only an end", [] { return RawZip().bytes().chopped(1); }, "after the archive"},
        {"data after the end", [] { return with({"x", "x", file644}) + "trailing"; },
         "after the archive"},
        {"zip64 locator at the start",
         [] {
             RawZip::Frame frame;
             frame.prefix = QByteArray("PK\x06\x07", 4) + QByteArray(16, 0);
             return RawZip().bytes(frame);
         },
         "zip64 end record is not where"},
        {"two archives in a row",
         [] { return with({"x", "x", file644}) + with({"y", "y", file644}); },
         "directory is not where"},
        {"two end records",
         [] {
             // The comment of one is another, of an empty archive.
             RawZip::Frame frame;
             frame.comment = RawZip().bytes();
             return with({"x", "x", file644}, frame);
         },
         "two end records"},
        {"two end records behind what looks like a third",
         [] {
             RawZip::Frame frame;
             frame.prefix = QByteArrayLiteral("PK\x05\x06 in a text");
             frame.comment = RawZip().bytes();
             return with({"x", "x", file644}, frame);
         },
         "two end records"},
        {"two end records, the second the longer one",
         [] {
             RawZip::Frame frame;
             frame.comment = RawZip().add({"y", "y", file644}).bytes();
             return with({"x", "x", file644}, frame);
         },
         "two end records"},
        {"two directories",
         [] {
             // An end record in front whose comment is the rest of the file.
             QByteArray end = RawZip().bytes();
             const QByteArray rest = with({"x", "x", file644});
             end[20] = static_cast<char>(rest.size() & 0xFF);
             end[21] = static_cast<char>(rest.size() >> 8);
             RawZip::Frame frame;
             frame.prefix = end;
             return with({"x", "x", file644}, frame);
         },
         "two end records"},
        {"something in front that no offset counts",
         [] {
             RawZip::Frame frame;
             frame.prefix = "#!/bin/sh\n";
             frame.prefixCounted = false;
             return with({"x", "x", file644}, frame);
         },
         "directory is not where"},
        framed(
            "more entries announced", [](auto &f) { f.count = 3; }, "more or fewer"),
        framed(
            "fewer entries announced", [](auto &f) { f.count = 1; }, "more or fewer"),
        framed(
            "no entries announced", [](auto &f) { f.count = 0; }, "more or fewer"),
        framed(
            "as many entries as can be announced", [](auto &f) { f.count = 0xFFFF; },
            "more or fewer"),
        framed(
            "directory of another size", [](auto &f) { f.directorySize = 40; },
            "directory is not where"),
        framed(
            "directory elsewhere", [](auto &f) { f.directoryOffset = 4; },
            "directory is not where"),
        framed(
            "directory beyond the end", [](auto &f) { f.directoryOffset = 1'000'000; },
            "directory is not where"),
        framed(
            "zip64 end elsewhere",
            [](auto &f) {
                f.zip64 = true;
                f.zip64Offset = 4;
            },
            "zip64 end record is not where"),
        framed(
            "zip64 end beyond the end",
            [](auto &f) {
                f.zip64 = true;
                f.zip64Offset = 1LL << 62;
            },
            "zip64 end record is not where"),
        framed(
            "zip64 end of an archive whose rest is elsewhere",
            [](auto &f) {
                f.zip64 = true;
                f.zip64Here = 1;
            },
            "of several parts"),
        framed(
            "zip64 end of another count",
            [](auto &f) {
                f.zip64 = true;
                f.zip64Count = 1;
            },
            "more or fewer"),
        framed(
            "two ends that disagree",
            [](auto &f) {
                f.zip64 = true;
                f.count = 1;
            },
            "disagree"),
        framed(
            "all in a zip64 end that is not there",
            [](auto &f) {
                f.count = 0xFFFF;
                f.directorySize = 0xFFFFFFFF;
                f.directoryOffset = 0xFFFFFFFF;
            },
            "directory is not where"),
    };
}

} // namespace

QList<CorpusCase> DamagedCorpus::cases()
{
    return lies() + bombs() + costs() + frames();
}

} // namespace brindle
