#include "BenignCorpus.h"

#include "Bombs.h"
#include "RawZip.h"

namespace brindle {

namespace {

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 file755 = RawZip::file755;
constexpr quint32 folder755 = RawZip::folder755;
constexpr quint32 link777 = RawZip::link777;

const QByteArray text = QByteArray("brindle ").repeated(5000);

CorpusCase one(const char *name, const RawZip::Entry &entry, const RawZip::Frame &frame = {})
{
    return {name, [=] { return RawZip().add(entry).bytes(frame); }};
}

CorpusCase several(const char *name, const QList<RawZip::Entry> &entries,
                   const RawZip::Frame &frame = {})
{
    return {name, [=] {
                RawZip zip;
                for (const RawZip::Entry &entry : entries) {
                    zip.add(entry);
                }
                return zip.bytes(frame);
            }};
}

RawZip::Entry plain(const QByteArray &name)
{
    return {name, text, file644, true};
}

QList<CorpusCase> usual()
{
    RawZip::Frame ofTheCodeHost;
    ofTheCodeHost.comment = "0123456789abcdef0123456789abcdef01234567"; // the commit
    // The time of the commit: an extended timestamp.
    const QByteArray time("UT\x05\x00\x01\x00\x00\x00\x60", 9);
    RawZip::Entry timed = plain("repo-main/timed.txt");
    timed.extra = time;
    timed.localExtra = time;
    RawZip::Entry streamed = plain("streamed.bin");
    streamed.descriptor = true;
    RawZip::Entry halfStreamed = plain("streamed.txt");
    halfStreamed.flags = 0x808; // the size is known beforehand, the packed size is not
    halfStreamed.localCrc = 0;
    halfStreamed.localPackedSize = 0;
    return {
        several("repository",
                {{"repo-main/", {}},
                 {"repo-main/plain.txt", text, 0, true},
                 timed,
                 {"repo-main/run.sh", "#!/bin/sh\n", file755, true},
                 {"repo-main/link", "plain.txt", link777},
                 {"repo-main/addons/empty/", {}},
                 {"repo-main/na\xc3\xafve/\xf0\x9f\x8e\xae.txt", "game", file644}},
                ofTheCodeHost),
        several("bundle with links",
                {{"Godot.app/Contents/MacOS/Godot", QByteArray(300'000, 'x'), file755, true},
                 {"Godot.app/Contents/A/B", "b", file644},
                 {"Godot.app/Contents/Current", "A", link777},
                 {"Godot.app/Contents/Through", "Current/B", link777},
                 {"Godot.app/Contents/Deflated", "A/B", link777, true},
                 {"Godot.app/Contents/Nowhere", "A/missing", link777},
                 {"Godot.app/Contents/up", "../Contents/./A", link777}}),
        one("program", {"Godot_v4.3-stable_linux.x86_64", text, file755, true}),
        one("sizes behind the data", streamed),
        one("packed size behind the data", halfStreamed),
        one("empty file", {"x", {}, file644}),
        one("empty deflated file", {"x", {}, file644, true}),
        one("only a folder", {"x/", {}, folder755}),
        several("folder after its content", {{"x/y", "y", file644}, {"x/", {}, folder755}}),
        several("folder without permissions", {{"x/", {}, 0040000}, {"x/y", "y", file644}}),
        several("files with odd permissions",
                {{"none", "x", 0100000}, {"all", "x", 0100777}, {"run", "x", 0100100}}),
        several("set-user-id and its like", {{"user", "x", 0104755},
                                             {"group", "x", 0102755},
                                             {"sticky", "x", 0101644},
                                             {"shared/", {}, 0043777},
                                             {"shared/x", "x", file644}}),
        several("packed on a system without permissions",
                {{"folder/", {}}, {"folder/file", text, 0, true}}),
    };
}

QList<CorpusCase> odd()
{
    RawZip::Entry large = plain("x");
    large.zip64 = true;
    RawZip::Entry padded = plain("x");
    padded.localExtra = QByteArray("\x35\xd9\x10\x00", 4) + QByteArray(16, 0); // alignment
    RawZip::Entry twoNames = plain("caf\x82");                                 // in code page 437
    twoNames.flags = 0;
    twoNames.extra = RawZip::unicodePath(twoNames.name, "caf\xc3\xa9");
    twoNames.localExtra = twoNames.extra;
    RawZip::Entry renamed = plain("new");
    renamed.extra = RawZip::unicodePath("old", "older");
    renamed.localExtra = renamed.extra;
    RawZip::Entry unnamed = plain("x");
    unnamed.extra = RawZip::unicodePath("x", {});
    unnamed.localExtra = unnamed.extra;
    QList<RawZip::Entry> inARow{{"0", "x", file644}};
    for (int i = 1; i <= 40; ++i) {
        inARow.append({QByteArray::number(i), QByteArray::number(i - 1), link777});
    }
    RawZip::Frame zip64;
    zip64.zip64 = true;
    RawZip::Frame both = zip64;
    both.saturated = false;
    RawZip::Frame prefixed;
    prefixed.prefix = "#!/bin/sh\nexec unzip \"$0\"\n";
    RawZip::Frame commented;
    commented.comment = QByteArray(0xFFFF, 'c');
    // An archive within, not packed: its end record is in sight of the real one.
    const QByteArray within = RawZip().add(plain("inner")).bytes();
    return {
        one("sizes in zip64 fields", large),
        one("zip64 end record", plain("x"), zip64),
        one("zip64 end record beside a full one", plain("x"), both),
        one("aligned data", padded),
        one("name in a Unicode field", twoNames),
        one("Unicode field of a name before", renamed),
        one("Unicode field without a name", unnamed),
        several("as many links in a row as the system follows", inARow),
        one("program in front that all offsets count", plain("x"), prefixed),
        one("longest comment", plain("x"), commented),
        one("archive in the archive", {"inner.zip", within, file644}),
        one("well packed but small", {"zeros", QByteArray(900'000, 0), file644, true}),
        one("flat height map as text",
            {"map.tres", "data = PackedFloat32Array(" + QByteArray("0, ").repeated(500'000) + ")\n",
             file644, true}),
        one("large file of zeros", Bombs::zeros("zeros", 40'000'000)),
        several("names that differ in case", {{"a", "1", file644}, {"A", "2", file644}}),
        several("names that differ in how an accent is written",
                {{"\xc3\xa9", "1", file644}, {"e\xcc\x81", "2", file644}}),
        one("path of 256 parts", {QByteArray("a/").repeated(255) + 'x', "x", file644}),
        several("name that begins another",
                {{"ab", "1", file644}, {"a/b", "2", file644}, {"a.b", "3", file644}}),
        one("longest name", {QByteArray(255, 'n'), "n", file644}),
        one("path of 300 bytes", {QByteArray("ab/").repeated(99) + "xyz", "x", file644}),
        one("name with dots and blanks", {"...a /. b./ c", "x", file644}),
        one("name that looks like an option", {"-rf", "x", file644}),
        one("name that a shell would read", {"$(touch x); `y` * ?", "x", file644}),
        {"100,001 entries",
         [] {
             RawZip zip;
             for (int i = 0; i < 100'001; ++i) {
                 zip.add({'d' + QByteArray::number(i % 100) + "/f" + QByteArray::number(i),
                          {},
                          file644});
             }
             return zip.bytes();
         }},
    };
}

} // namespace

QList<CorpusCase> BenignCorpus::cases()
{
    return usual() + odd();
}

} // namespace brindle
