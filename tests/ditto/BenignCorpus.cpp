#include "Corpus.h"

#include <algorithm>
#include <random>

namespace brindle {

namespace {

using Entry = RawZip::Entry;
using Frame = RawZip::Frame;

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 file755 = RawZip::file755;
constexpr quint32 folder755 = RawZip::folder755;
constexpr quint32 link777 = RawZip::link777;

const QByteArray text = QByteArray("brindle ").repeated(5000);

struct Row
{
    const char *name;
    QList<Entry> entries;
    Frame frame{};
};

Entry file(const QByteArray &name, const QByteArray &extra = {})
{
    return {.name = name,
            .content = text,
            .mode = file644,
            .deflated = true,
            .extra = extra,
            .localExtra = extra};
}

QList<Row> usual()
{
    const QByteArray time("UT\x05\x00\x01\x00\x00\x00\x60", 9); // an extended timestamp
    return {
        {"repository",
         {{"repo-main/", {}},
          {"repo-main/plain.txt", text, 0, true},
          file("repo-main/timed.txt", time),
          {"repo-main/run.sh", "#!/bin/sh\n", file755, true},
          {"repo-main/link", "plain.txt", link777},
          {"repo-main/addons/empty/", {}},
          {"repo-main/na\xc3\xafve/\xf0\x9f\x8e\xae.txt", "game", file644}},
         {.comment = "0123456789abcdef0123456789abcdef01234567"}}, // a commit's number
        {"bundle with links",
         {{"Godot.app/Contents/MacOS/Godot", QByteArray(300'000, 'x'), file755, true},
          {"Godot.app/Contents/A/B", "b", file644},
          {"Godot.app/Contents/Current", "A", link777},
          {"Godot.app/Contents/Through", "Current/B", link777},
          {"Godot.app/Contents/Deflated", "A/B", link777, true},
          {"Godot.app/Contents/Nowhere", "A/missing", link777},
          {"Godot.app/Contents/Slashes", "A//B/", link777},
          {"Godot.app/Contents/up", "../Contents/./A", link777}}},
        {"program", {{"Godot_v4.3-stable_linux.x86_64", text, file755, true}}},
        {"sizes behind the data",
         {{.name = "x", .content = text, .mode = file644, .deflated = true, .descriptor = true}}},
        {"packed size behind the data", // the unpacked size is in the local header
         {{.name = "x",
           .content = text,
           .mode = file644,
           .deflated = true,
           .flags = 0x808,
           .localPackedSize = 0,
           .localCrc = 0}}},
        {"empty file", {{"x", {}, file644}}},
        {"empty deflated file", {{"x", {}, file644, true}}},
        {"only a folder", {{"x/", {}, folder755}}},
        {"folder after its content", {{"x/y", "y", file644}, {"x/", {}, folder755}}},
        {"folder without permissions", {{"x/", {}, 0040000}, {"x/y", "y", file644}}},
        {"files with odd permissions",
         {{"none", "x", 0100000}, {"all", "x", 0100777}, {"run", "x", 0100100}}},
        {"set-user-id and its like",
         {{"user", "x", 0104755},
          {"group", "x", 0102755},
          {"sticky", "x", 0101644},
          {"shared/", {}, 0043777},
          {"shared/x", "x", file644}}},
        {"packed on a system without permissions",
         {{"folder/", {}}, {"folder/file", text, 0, true}}},
    };
}

QList<Row> odd()
{
    // An extra field that aligns the data.
    const QByteArray alignment = QByteArray("\x35\xd9\x10\x00", 4) + QByteArray(16, 0);
    Entry twoNames = file("caf\x82", RawZip::unicodePath("caf\x82", "caf\xc3\xa9"));
    twoNames.flags = 0; // the name is in code page 437
    QList<Entry> inARow{{"0", "x", file644}};
    for (int i = 1; i <= 40; ++i) {
        inARow.append({QByteArray::number(i), QByteArray::number(i - 1), link777});
    }
    return {
        {"sizes in zip64 fields", {{.name = "x", .content = text, .mode = file644, .zip64 = true}}},
        {"zip64 end record", {file("x")}, {.zip64 = true}},
        {"zip64 end record beside a full one", {file("x")}, {.zip64 = true, .saturated = false}},
        {"aligned data",
         {{.name = "x", .content = text, .mode = file644, .localExtra = alignment}}},
        {"UTF-8 to its edges",
         {file("\xc2\x80\xdf\xbf\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xf0\x90\x80\x80\xf4\x8f\xbf"
               "\xbf")}},
        {"name in a Unicode field", {twoNames}},
        {"Unicode field of a name before", {file("new", RawZip::unicodePath("old", "older"))}},
        {"Unicode field without a name", {file("x", RawZip::unicodePath("x", {}))}},
        {"as many links in a row as the system follows", inARow},
        {"program in front that all offsets count",
         {file("x")},
         {.prefix = "#!/bin/sh\nexec unzip \"$0\"\n"}},
        {"longest comment", {file("x")}, {.comment = QByteArray(0xFFFF, 'c')}},
        // The inner end record lies within the range of the search for the real one.
        {"archive in the archive", {{"x.zip", RawZip({file("inner")}).bytes(), file644}}},
        {"well packed but small", {{"zeros", QByteArray(900'000, 0), file644, true}}},
        {"flat height map as text",
         {{"map.tres", "data = PackedFloat32Array(" + QByteArray("0, ").repeated(500'000) + ")\n",
           file644, true}}},
        {"names that differ in case", {{"a", "1", file644}, {"A", "2", file644}}},
        {"names that differ in how an accent is written",
         {{"\xc3\xa9", "1", file644}, {"e\xcc\x81", "2", file644}}},
        {"path of 256 parts", {{QByteArray("a/").repeated(255) + 'x', "x", file644}}},
        {"name that begins another",
         {{"ab", "1", file644},
          {"a/b", "2", file644},
          {"a.b", "3", file644},
          {"a-", "4", file644},
          {"a/b.c/d", "5", file644}}},
        {"longest name", {{QByteArray(255, 'n'), "n", file644}}},
        {"path of 300 bytes", {{QByteArray("ab/").repeated(99) + "xyz", "x", file644}}},
        {"name with dots and blanks", {{"...a /. b./ c", "x", file644}}},
        {"name that looks like an option", {{"-rf", "x", file644}}},
        {"name that a shell would read", {{"$(touch x); `y` * ?", "x", file644}}},
    };
}

} // namespace

QList<CorpusCase> Corpus::benign()
{
    QList<CorpusCase> cases;
    for (const Row &row : usual() + odd()) {
        cases.append({row.name, [row] { return RawZip(row.entries).bytes(row.frame); }});
    }
    cases.append({"large file of zeros",
                  [] { return RawZip({RawZip::zeros("zeros", 8'000'000)}).bytes(); }});
    cases.append({"data that deflate makes larger", [] {
                      QByteArray noise(1'000'000, Qt::Uninitialized);
                      std::minstd_rand random;
                      std::generate(noise.begin(), noise.end(),
                                    [&] { return static_cast<char>(random()); });
                      return RawZip({{"noise", noise, file644, true}}).bytes();
                  }});
    cases.append({"a game of small files", [] {
                      RawZip zip;
                      for (int i = 0; i < 1000; ++i) {
                          const auto number = [](int n) { return QByteArray::number(n); };
                          zip.add({"repo/a/" + number(i % 70) + '/' + number(i), "[gd]", file644});
                      }
                      return zip.bytes();
                  }});
    return cases;
}

} // namespace brindle
