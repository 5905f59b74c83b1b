#include "Corpus.h"

namespace brindle {

namespace {

using Entry = RawZip::Entry;

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 link777 = RawZip::link777;

QByteArray n(int number)
{
    return QByteArray::number(number);
}

/// A stored file whose content is another entry, header and all.
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
    return Corpus::many(200'000, [](int i) {
        // As many empty fields as fit into one header.
        const QByteArray fields = QByteArray("\xfe\xca\0\0", 4).repeated(i == 0 ? 16'000 : 0);
        return Entry{.name = "x", .mode = file644, .offset = 0, .localExtra = fields};
    });
}

/// Blocks of fixed codes, each with nothing but its end, four in five bytes.
QByteArray emptyBlocks()
{
    const QByteArray blocks = QByteArray("\x02\x08\x20\x80\x00", 5).repeated(400'000);
    return RawZip({{.name = "x", .deflated = true, .packed = blocks + QByteArray("\3\0", 2)}})
        .bytes();
}

/// Links that all lead through the same long chain of links, whose targets are full of `unit`.
QByteArray linksThrough(const QByteArray &unit)
{
    constexpr int chain = 38;
    const QByteArray padding = "0/" + unit.repeated(4000 / unit.size()) + "../";
    return Corpus::many(9'900, [&](int i) {
        return i == 0 ? Entry{"0/"}
                      : Entry{n(i), i < chain ? padding + n(i - 1) : n(chain - 1), link777, true};
    });
}

/// As much as is taken, so that the memory limit shows whether it is enough.
QByteArray everything()
{
    return Corpus::many(200'000, [](int i) {
        const QByteArray name = n(i).rightJustified(83, 'n');
        return i < 190'001   ? Entry{name}
               : i < 199'999 ? Entry{name, QByteArray(415, 't'), link777}
                             : Entry{name, "..", link777};
    });
}

} // namespace

QByteArray Corpus::many(int count, const std::function<Entry(int number)> &entry)
{
    QList<Entry> entries;
    for (int i = 0; i < count; ++i) {
        entries << entry(i);
    }
    return RawZip(entries).bytes();
}

QList<CorpusCase> Corpus::costly()
{
    const auto row = [](const char *name, int count, Entry (*entry)(int number), const char *why) {
        return CorpusCase{name, [=] { return many(count, entry); }, why};
    };
    return {
        row(
            "one large file", 1,
            [](int) {
                return Entry{.name = "x",
                             .deflated = true,
                             .size = 400'000'000,
                             .packed = QByteArray(400'000, 'x')};
            },
            "too much"),
        row(
            "many small files", 600,
            [](int i) {
                return Entry{.name = n(i),
                             .deflated = true,
                             .size = 1 << 20,
                             .packed = QByteArray(1'000, 'x')};
            },
            "too much"),
        row(
            "growth that is not announced", 1,
            [](int) {
                Entry entry = RawZip::zeros("x", 40'000'000);
                entry.size = 100'000;
                return entry;
            },
            "more bytes"),
        row(
            "more than sixteen gigabytes", 5,
            [](int i) {
                // Grows no more than is allowed, as far as the directory says.
                return Entry{.name = n(i),
                             .deflated = true,
                             .size = (4LL << 30) - 2,
                             .packed = QByteArray(22'000'000, 'x')};
            },
            "too many bytes"),
        row(
            "more entries than are taken", 200'001, [](int i) { return Entry{n(i % 1000)}; },
            "too many entries"),
        row(
            "more folders than are taken", 1000,
            [](int i) { return Entry{(n(i) + '/').repeated(250) + 'x'}; }, "too many folders"),
        row(
            "folders that fill the disk", 780,
            [](int i) { return Entry{n(i) + '/' + QByteArray("a/").repeated(254) + 'x'}; },
            "too much"),
        row(
            "files that are smaller than their blocks", 60'000,
            [](int i) { return Entry{n(i), "x", file644}; }, "too much"),
        row(
            "deep files", 2'000, [](int i) { return Entry{QByteArray("a/").repeated(250) + n(i)}; },
            "too deep"),
        row(
            "long names", 4'200,
            [](int i) { return Entry{(QByteArray(199, 'a') + '/').repeated(20) + n(i)}; },
            "too long names"),
        row(
            "links that take too long to follow", 900,
            [](int i) { return Entry{n(i), QByteArray("a/").repeated(2000), link777, true}; },
            "too long to follow"),
        row(
            "links that are followed too often", 3'000,
            [](int i) {
                return i == 0 ? Entry{"l", QByteArray("a/../").repeated(815), link777, true}
                              : Entry{n(i), "l", link777};
            },
            "too long to follow"),
        row(
            "four megabytes of links", 1'100,
            [](int i) { return Entry{n(i), QByteArray(4000, 'x'), link777, true}; },
            "too many links"),
        row(
            "more links than are followed", 10'001, [](int i) { return Entry{n(i), "x", link777}; },
            "too many links"),
        {"links through slashes", [] { return linksThrough("/"); }, "too long to follow"},
        {"links through dots", [] { return linksThrough("./"); }, "too long to follow"},
        {"a file inside another", overlapping, "overlap"},
        {"many entries with one long header", sharedHeader, "overlap"},
        {"blocks without content", emptyBlocks, "larger than its content"},
        {"everything at its limit, and a link that leads out", everything, "leads outside"},
    };
}

} // namespace brindle
