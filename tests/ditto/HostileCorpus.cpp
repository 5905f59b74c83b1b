#include "HostileCorpus.h"

#include "DamagedCorpus.h"
#include "RawZip.h"
#include "Surroundings.h"

namespace brindle {

namespace {

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 folder755 = RawZip::folder755;
constexpr quint32 link777 = RawZip::link777;
constexpr bool escapes = true;

/// A good file first, so that a refusal that comes too late leaves something behind.
CorpusCase several(const char *name, const QList<RawZip::Entry> &entries, const QByteArray &why,
                   bool escaping = false)
{
    return {name,
            [=] {
                RawZip zip;
                zip.add({"first.txt", "first", file644});
                for (const RawZip::Entry &entry : entries) {
                    zip.add(entry);
                }
                return zip.bytes();
            },
            why, escaping};
}

CorpusCase one(const char *name, const RawZip::Entry &entry, const QByteArray &why,
               bool escaping = false)
{
    return several(name, {entry}, why, escaping);
}

RawZip::Entry withUnicodePath(const QByteArray &name, const QByteArray &fields)
{
    RawZip::Entry entry{name, "x"};
    entry.extra = fields;
    entry.localExtra = fields;
    return entry;
}

QList<CorpusCase> names(const QByteArray &guarded, const QByteArray &canary)
{
    RawZip::Entry latin{"caf\xe9", "x", file644};
    latin.flags = 0;
    RawZip::Entry surrogate{"\xed\xa0\x80", "x", file644};
    surrogate.flags = 0;
    RawZip::Entry overLong{"a\xc0\xaf..\xc0\xaf..\xc0\xafx", "x", file644}; // "/" in two bytes
    overLong.flags = 0;
    const RawZip::Entry unicodeOut =
        withUnicodePath("x", RawZip::unicodePath("x", "../../guarded/new"));
    RawZip::Entry unicodeOnce = withUnicodePath("x", RawZip::unicodePath("x", "y"));
    unicodeOnce.localExtra.clear();
    return {
        one("absolute name", {guarded + "/new", "x"}, "absolute", escapes),
        one("absolute name of a known file", {guarded + "/file", "x"}, "absolute", escapes),
        one("absolute name of a folder", {guarded + "/new/", {}, folder755}, "absolute", escapes),
        one("file in the temporary folder", {canary, "x"}, "absolute", escapes),
        one("new file in the temporary folder", {canary + ".new", "x"}, "absolute", escapes),
        one("two slashes in front", {'/' + guarded + "/new", "x"}, "absolute", escapes),
        one("parent", {"../x", "x"}, "relative part"),
        one("two parents", {"../../guarded/new", "x"}, "relative part", escapes),
        one("the user's profile", {"../../home/.profile", "x"}, "relative part", escapes),
        one("parent inside", {"a/../../../guarded/new", "x"}, "relative part", escapes),
        one("folder that is a parent", {"../../guarded/new/", {}, folder755}, "relative part",
            escapes),
        one("rights of a known file", {"../../guarded/file", {}, 0104777}, "relative part",
            escapes),
        one("parent at the end", {"a/..", "x"}, "relative part"),
        one("only a parent", {"../", {}, folder755}, "relative part"),
        one("here", {"./x", "x"}, "relative part"),
        one("here inside", {"a/./x", "x"}, "relative part"),
        one("backslash", {"a\\b", "x"}, "backslash"),
        one("backslash parent", {"..\\..\\x", "x"}, "backslash"),
        one("drive", {"C:\\x", "x"}, "backslash"),
        one("line feed", {"a\nb", "x"}, "control character"),
        one("escape", {"a\x1b[0m", "x"}, "control character"),
        one("delete", {"a\x7f", "x"}, "control character"),
        one("zero", {QByteArray("x\0/../../guarded/new", 20), "x"}, "control character"),
        one("empty part", {"a//b", "x"}, "empty part"),
        one("only a slash", {"/", {}}, "absolute"),
        one("no name", {"", "x"}, "without a name"),
        one("name of 256 bytes", {QByteArray(256, 'n'), "x"}, "over-long"),
        one("name of 300 bytes", {QByteArray(300, 'n'), "x"}, "over-long"),
        one("folder name of 300 bytes", {QByteArray(300, 'n') + "/x", "x"}, "over-long"),
        one("path of 5000 bytes", {QByteArray("ab/").repeated(1700) + 'x', "x"}, "over-long"),
        one("path of 257 parts", {QByteArray("a/").repeated(256) + 'x', "x"}, "too many parts"),
        one("not UTF-8", latin, "UTF-8"),
        one("surrogate", surrogate, "UTF-8"),
        one("slash in two bytes", overLong, "UTF-8"),
        one("Unicode field that leads out", unicodeOut, "relative part", escapes),
        one("Unicode field in one header", unicodeOnce, "than the directory"),
        one("two Unicode fields",
            withUnicodePath("x", RawZip::unicodePath("x", "y") + RawZip::unicodePath("x", "z")),
            "two ways"),
        one("not UTF-8 but said to be", {"caf\xe9", "x", file644}, "UTF-8"),
    };
}

QList<CorpusCase> kinds()
{
    return {
        one("character device", {"dev", {}, 0020666}, "neither"),
        one("block device", {"dev", {}, 0060666}, "neither"),
        one("pipe", {"pipe", {}, 0010666}, "neither", escapes),
        one("socket", {"socket", {}, 0140777}, "neither"),
        one("unheard-of kind", {"x", "x", 0170644}, "neither"),
        one("folder mode, file name", {"x", {}, folder755}, "neither"),
        one("file mode, folder name", {"x/", {}, file644}, "neither"),
        one("link mode, folder name", {"x/", "y", link777}, "neither"),
        one("device mode, folder name", {"x/", {}, 0020666}, "neither"),
        one("folder with content", {"x/", "content"}, "a folder with content"),
        one("set-user-id device", {"dev", {}, 0024755}, "neither"),
    };
}

QList<CorpusCase> places()
{
    return {
        one("same name", {"first.txt", "x"}, "two entries"),
        several("same folder twice", {{"x/", {}, folder755}, {"x/", {}, folder755}}, "two entries"),
        one("file and folder", {"first.txt/", {}}, "two entries"),
        several("link and folder", {{"x", "y", link777}, {"x/", {}, folder755}}, "two entries"),
        one("below a file", {"first.txt/x", "x"}, "below a file"),
        several("far below a file", {{"a/b", "x", file644}, {"a/b/c/d/e", "x", file644}},
                "below a file"),
    };
}

/// Links that all lead through the same long chain of links.
QByteArray linksThrough(const QByteArray &unit)
{
    constexpr int chain = 38;
    const QByteArray padding = "0" + ('/' + unit.repeated(4000 / unit.size()) + "../");
    RawZip zip;
    zip.add({"0/", {}, folder755});
    for (int i = 1; i < chain; ++i) {
        zip.add({QByteArray::number(i), padding + QByteArray::number(i - 1), link777, true});
    }
    for (int i = chain; i < 9'900; ++i) {
        zip.add({QByteArray::number(i), QByteArray::number(chain - 1), link777});
    }
    return zip.bytes();
}

QList<CorpusCase> links(const QByteArray &guarded)
{
    const QByteArray out = "../../guarded";
    QList<RawZip::Entry> ring;
    for (int i = 0; i < 50; ++i) {
        ring << RawZip::Entry{QByteArray::number(i), QByteArray::number((i + 1) % 50), link777};
    }
    QList<RawZip::Entry> inARow{{"0", "x", file644}};
    for (int i = 1; i <= 41; ++i) {
        inARow << RawZip::Entry{QByteArray::number(i), QByteArray::number(i - 1), link777};
    }
    return {
        one("link out", {"l", out, link777}, "leads outside"),
        one("link beside", {"l", "../x", link777}, "leads outside"),
        one("link far out", {"a/b/l", "../../../../guarded", link777}, "leads outside"),
        one("absolute link", {"l", guarded, link777}, "leads outside"),
        one("link to /", {"l", "/", link777}, "leads outside"),
        one("link to the user's folder by way of proc", {"l", "/proc/self/cwd", link777},
            "leads outside"),
        one("link to itself", {"l", "l", link777}, "leads outside"),
        one("empty link", {"l", {}, link777}, "fitting target"),
        one("endless link", {"l", QByteArray(5000, 'x'), link777}, "fitting target"),
        one("link with a zero", {"l", QByteArray("a\0b", 3), link777}, "leads outside"),
        several("ring of links", {{"a", "b", link777}, {"b", "a", link777}}, "leads outside"),
        several("large ring of links", ring, "leads outside"),
        several("more links in a row than the system follows", inARow, "leads outside"),
        several("out by a link in the middle",
                {{"d/e", ".", link777}, {"l", "d/e/../../../guarded", link777}}, "leads outside"),
        {"links that take too long to follow",
         [] {
             RawZip zip;
             for (int i = 0; i < 900; ++i) {
                 zip.add({QByteArray::number(i), QByteArray("a/").repeated(2000), link777, true});
             }
             return zip.bytes();
         },
         "too long to follow"},
        {"links that are followed too often",
         [] {
             RawZip zip;
             zip.add({"l", QByteArray("a/../").repeated(815), link777, true});
             for (int i = 0; i < 3000; ++i) {
                 zip.add({QByteArray::number(i), "l", link777});
             }
             return zip.bytes();
         },
         "too long to follow"},
        {"links through nothing but slashes", [] { return linksThrough("/"); },
         "too long to follow"},
        {"links through nothing but dots", [] { return linksThrough("./"); }, "too long to follow"},
        {"more links than are followed",
         [] {
             RawZip zip;
             for (int i = 0; i < 10'001; ++i) {
                 zip.add({QByteArray::number(i), "x", link777});
             }
             return zip.bytes();
         },
         "too many links"},
        {"four megabytes of links",
         [] {
             RawZip zip;
             for (int i = 0; i < 1100; ++i) {
                 zip.add({QByteArray::number(i), QByteArray(4000, 'x'), link777, true});
             }
             return zip.bytes();
         },
         "too many links"},
        several("through a link", {{"l", "d", link777}, {"l/x", "x", file644}}, "below a file"),
        several("write through a link", {{"l", out, link777}, {"l/new", "x", file644}},
                "below a file", escapes),
        several("write through an absolute link",
                {{"l", guarded, link777}, {"l/new", "x", file644}}, "below a file", escapes),
        several("file over a link", {{"l", out + "/file", link777}, {"l", "x", file644}},
                "two entries", escapes),
        several("folder through a link", {{"l", out, link777}, {"l/new/", {}, folder755}},
                "below a file", escapes),
        several("rights through a link", {{"l", out + "/file", link777}, {"l", {}, 0104777}},
                "two entries", escapes),
        several("link through a link", {{"l", out, link777}, {"l/file", "/etc", link777}},
                "below a file", escapes),
        several("chain of links out",
                {{"a/b/", {}, folder755},
                 {"one", "a/b", link777},
                 {"a/b/two", "../..", link777},
                 {"out", "one/two/../../guarded", link777}},
                "leads outside"),
        several("write through a chain of links",
                {{"a/b/", {}, folder755},
                 {"one", "a/b", link777},
                 {"a/b/two", "../..", link777},
                 {"out", "one/two/../../guarded", link777},
                 {"out/new", "x", file644}},
                "below a file", escapes),
    };
}

} // namespace

QList<CorpusCase> HostileCorpus::cases(const Surroundings &around)
{
    const QByteArray guarded = around.path("guarded").toUtf8();
    return names(guarded, around.canary().toUtf8()) + kinds() + places() + links(guarded) +
           DamagedCorpus::cases();
}

} // namespace brindle
