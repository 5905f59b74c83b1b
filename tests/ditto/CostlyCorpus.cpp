#include "Corpus.h"

namespace brindle {

namespace {

using Entry = RawZip::Entry;

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 link777 = RawZip::link777;
constexpr qint64 block = 4096;

QByteArray n(int number)
{
    return QByteArray::number(number);
}

/// Returns an archive of `count` entries.
QByteArray many(int count, const std::function<Entry(int number)> &entry)
{
    QList<Entry> entries;
    for (int i = 0; i < count; ++i) {
        entries << entry(i);
    }
    return RawZip(entries).bytes();
}

/// Returns an entry that falsely announces `size` bytes.
Entry announcing(const QByteArray &name, qint64 size, qsizetype packedSize)
{
    const QByteArray packed(packedSize, 'x');
    return {.name = name, .deflated = true, .size = size, .packed = packed, .zip64 = true};
}

/// Returns an archive with a stored file, inside which another entry lies with its header.
QByteArray overlapping()
{
    const Entry inner{.name = "inner", .content = "x", .mode = file644};
    const QByteArray within = RawZip::localHeader(inner) + inner.content;
    Entry second = inner;
    second.offset = RawZip::localHeader({.name = "outer", .content = within}).size();
    return RawZip({{"outer", within, file644}, second}).bytes();
}

QByteArray sharedHeader()
{
    return many(200'000, [](int i) {
        // The first header has as many empty fields as fit.
        const QByteArray fields = QByteArray("\xfe\xca\0\0", 4).repeated(i == 0 ? 16'000 : 0);
        return Entry{.name = "x", .mode = file644, .offset = 0, .localExtra = fields};
    });
}

/// Returns a deflated file of empty blocks, four in five bytes.
QByteArray emptyBlocks()
{
    const QByteArray blocks = QByteArray("\x02\x08\x20\x80\x00", 5).repeated(400'000);
    return RawZip({{.name = "x", .deflated = true, .packed = blocks + QByteArray("\3\0", 2)}})
        .bytes();
}

/// Returns many links through one long chain of links, whose targets repeat `unit`.
QByteArray linksThrough(const QByteArray &unit)
{
    constexpr int chain = 38;
    const QByteArray padding = "0/" + unit.repeated(4000 / unit.size()) + "../";
    return many(9'900, [&](int i) {
        return i == 0 ? Entry{"0/"}
                      : Entry{n(i), i < chain ? padding + n(i - 1) : n(chain - 1), link777, true};
    });
}

/// Returns an archive exactly at each limit, to test whether the memory limit is enough.
QByteArray everything()
{
    return many(200'000, [](int i) {
        const QByteArray name = n(i).rightJustified(i < 177'216 ? 84 : 83, 'n');
        return i < 190'000   ? Entry{name}
               : i < 199'999 ? Entry{name, QByteArray(i < 194'721 ? 420 : 419, 't'), link777}
                             : Entry{name, "..", link777};
    });
}

} // namespace

QList<CorpusCase> Corpus::costly()
{
    QList<CorpusCase> cases{
        {"links through slashes", [] { return linksThrough("/"); }, "too long to follow"},
        {"links through dots", [] { return linksThrough("./"); }, "too long to follow"},
        {"a file inside another", overlapping, "overlap"},
        {"many entries with one long header", sharedHeader, "overlap"},
        {"blocks without content", emptyBlocks, "larger than its content"},
        {"everything at its limit, and a link that leads out", everything, "leads outside"},
    };
    const auto add = [&cases](const char *name, const char *why, int count,
                              Entry (*entry)(int number)) {
        cases.append({name, [=] { return many(count, entry); }, why});
    };
    // The file takes 4 bytes more than allowed.
    add("one large file", "too much", 1,
        [](int i) { return announcing(n(i), 65'537 * block + 1, 87); });
    // Its growth is just allowed, so a later check must refuse this archive.
    add("just allowed growth, and a link that leads out", "leads outside", 2, [](int i) {
        return i == 0 ? announcing("folder/x", 65'543 * block, 382) : Entry{n(i), "..", link777};
    });
    add("many small files", "too much", 600,
        [](int i) { return announcing(n(i), 1 << 20, 1'000); });
    // The growth is just allowed, but not the bytes of all files together.
    add("more than sixteen gigabytes", "too many bytes", 5,
        [](int i) { return announcing(n(i), 4LL << 30, 22'000'000); });
    add("growth that is not announced", "more bytes", 1, [](int) {
        Entry entry = RawZip::zeros("x", 40'000'000);
        entry.size = 100'000;
        return entry;
    });
    add("more entries than are taken", "too many entries", 200'001,
        [](int i) { return Entry{n(i % 1000)}; });
    add("more folders than are taken", "too many folders", 1000,
        [](int i) { return Entry{(n(i) + '/').repeated(250) + 'x'}; });
    add("folders that fill the disk", "too much", 780,
        [](int i) { return Entry{n(i) + '/' + QByteArray("a/").repeated(254) + 'x'}; });
    add("files that are smaller than their blocks", "too much", 60'000,
        [](int i) { return Entry{n(i), "x", file644}; });
    // The depths add up to one more than allowed.
    add("deep files", "too deep", 7'145,
        [](int i) { return Entry{QByteArray("a/").repeated(29) + n(i)}; });
    add("just allowed depth, and a link that leads out", "leads outside", 7'147, [](int i) {
        return i == 0 ? Entry{n(i), "..", link777} : Entry{QByteArray("a/").repeated(29) + n(i)};
    });
    add("long names", "too long names", 4'200,
        [](int i) { return Entry{(QByteArray(199, 'a') + '/').repeated(20) + n(i)}; });
    add("links that take too long to follow", "too long to follow", 900,
        [](int i) { return Entry{n(i), QByteArray("a/").repeated(2000), link777, true}; });
    add("links that are followed too often", "too long to follow", 3'000, [](int i) {
        return i == 0 ? Entry{"l", QByteArray("a/../").repeated(815), link777, true}
                      : Entry{n(i), "l", link777};
    });
    add("four megabytes of links", "too many links", 1'100,
        [](int i) { return Entry{n(i), QByteArray(4000, 'x'), link777, true}; });
    add("more links than are followed", "too many links", 10'001,
        [](int i) { return Entry{n(i), "x", link777}; });
    return cases;
}

} // namespace brindle
