#include "Corpus.h"
#include "Surroundings.h"

namespace brindle {

namespace {

using Entry = RawZip::Entry;

constexpr quint32 file644 = RawZip::file644;
constexpr quint32 folder755 = RawZip::folder755;
constexpr quint32 link777 = RawZip::link777;
constexpr bool escapes = true;

struct Row
{
    const char *name;
    QList<Entry> entries;
    const char *why;
    bool escapes = false;
};

/// Returns an entry with these Unicode path fields in both headers.
Entry renamed(const QByteArray &fields)
{
    return {.name = "x", .content = "x", .extra = fields, .localExtra = fields};
}

/// Returns an entry whose name is not marked as UTF-8.
Entry unmarked(const QByteArray &name)
{
    return {.name = name, .content = "x", .mode = file644, .flags = 0};
}

QList<Row> names(const QByteArray &guarded)
{
    const auto field = [](const char *name) { return RawZip::unicodePath("x", name); };
    Entry once = renamed(field("y"));
    once.localExtra.clear();
    return {
        {"absolute name", {{guarded + "/new", "x"}}, "absolute", escapes},
        {"absolute name of a known file", {{guarded + "/file", "x"}}, "absolute", escapes},
        {"absolute name of a folder", {{guarded + "/new/", {}, folder755}}, "absolute", escapes},
        {"two slashes in front", {{'/' + guarded + "/new", "x"}}, "absolute", escapes},
        {"parent", {{"../x", "x"}}, "relative part"},
        {"two parents", {{"../../guarded/new", "x"}}, "relative part", escapes},
        {"the user's profile", {{"../../home/.profile", "x"}}, "relative part", escapes},
        {"parent inside", {{"a/../../../guarded/new", "x"}}, "relative part", escapes},
        {"folder that is a parent",
         {{"../../guarded/new/", {}, folder755}},
         "relative part",
         escapes},
        {"rights of a known file", {{"../../guarded/file", {}, 0104777}}, "relative part", escapes},
        {"parent at the end", {{"a/..", "x"}}, "relative part"},
        {"only a parent", {{"../", {}, folder755}}, "relative part"},
        {"here", {{"./x", "x"}}, "relative part"},
        {"here inside", {{"a/./x", "x"}}, "relative part"},
        {"backslash", {{"a\\b", "x"}}, "backslash"},
        {"backslash parent", {{"..\\..\\x", "x"}}, "backslash"},
        {"drive", {{"C:\\x", "x"}}, "backslash"},
        {"line feed", {{"a\nb", "x"}}, "control character"},
        {"escape", {{"a\x1b[0m", "x"}}, "control character"},
        {"delete", {{"a\x7f", "x"}}, "control character"},
        {"zero", {{QByteArray("x\0/../../guarded/new", 20), "x"}}, "control character"},
        {"empty part", {{"a//b", "x"}}, "empty part"},
        {"empty part at the end", {{"a//", {}, folder755}}, "empty part"},
        {"only a slash", {{"/", {}}}, "absolute"},
        {"no name", {{"", "x"}}, "without a name"},
        {"name of 256 bytes", {{QByteArray(256, 'n'), "x"}}, "over-long"},
        {"folder name of 300 bytes", {{QByteArray(300, 'n') + "/x", "x"}}, "over-long"},
        {"path of 4096 bytes", {{(QByteArray(255, 'n') + '/').repeated(16)}}, "over-long"},
        {"path of 257 parts", {{QByteArray("a/").repeated(256) + 'x', "x"}}, "too many parts"},
        {"not UTF-8", {unmarked("caf\xe9")}, "UTF-8"},
        {"not UTF-8 but said to be", {{"caf\xe9", "x", file644}}, "UTF-8"},
        {"surrogate", {unmarked("\xed\xa0\x80")}, "UTF-8"},
        {"last surrogate", {unmarked("\xed\xbf\xbf")}, "UTF-8"},
        {"beyond Unicode", {unmarked("\xf4\x90\x80\x80")}, "UTF-8"},
        {"five bytes", {unmarked("\xf8\x88\x80\x80\x80")}, "UTF-8"},
        {"three bytes in place of two", {unmarked("\xe0\x9f\xbf")}, "UTF-8"},
        {"four bytes in place of three", {unmarked("\xf0\x8f\xbf\xbf")}, "UTF-8"},
        {"not a first byte", {unmarked("\x83")}, "UTF-8"},
        {"cut character", {unmarked("\xc3")}, "UTF-8"},
        {"slash in two bytes", {unmarked("a\xc0\xaf..\xc0\xaf..\xc0\xafx")}, "UTF-8"},
        {"Unicode field that leads out",
         {renamed(field("../../guarded/new"))},
         "relative part",
         escapes},
        {"Unicode field in one header", {once}, "than the directory"},
        {"two Unicode fields", {renamed(field("y") + field("z"))}, "two ways"},
    };
}

QList<Row> kinds()
{
    return {
        {"character device", {{"dev", {}, 0020666}}, "neither"},
        {"block device", {{"dev", {}, 0060666}}, "neither"},
        {"pipe", {{"pipe", {}, 0010666}}, "neither", escapes},
        {"socket", {{"socket", {}, 0140777}}, "neither"},
        {"unheard-of kind", {{"x", "x", 0170644}}, "neither"},
        {"folder mode, file name", {{"x", {}, folder755}}, "neither"},
        {"file mode, folder name", {{"x/", {}, file644}}, "neither"},
        {"link mode, folder name", {{"x/", "y", link777}}, "neither"},
        {"device mode, folder name", {{"x/", {}, 0020666}}, "neither"},
        {"folder with content", {{"x/", "content"}}, "a folder with content"},
        {"set-user-id device", {{"dev", {}, 0024755}}, "neither"},
        {"same name", {{"first.txt", "x"}}, "two entries"},
        {"same folder twice", {{"x/", {}, folder755}, {"x/", {}, folder755}}, "two entries"},
        {"file and folder", {{"first.txt/", {}}}, "two entries"},
        {"link and folder", {{"x", "y", link777}, {"x/", {}, folder755}}, "two entries"},
        {"below a file", {{"first.txt/x", "x"}}, "below a file"},
        {"far below a file", {{"a/b", "x"}, {"a/b/c/d/e", "x"}}, "below a file"},
        {"file above others", {{"a/b/c", "x"}, {"a.b", "x"}, {"a", "x"}}, "below a file"},
    };
}

QList<Row> links(const QByteArray &guarded)
{
    const QByteArray out = "../../guarded";
    QList<Entry> ring;
    for (int i = 0; i < 50; ++i) {
        ring << Entry{QByteArray::number(i), QByteArray::number((i + 1) % 50), link777};
    }
    QList<Entry> inARow{{"0", "x", file644}};
    for (int i = 1; i <= 41; ++i) {
        inARow << Entry{QByteArray::number(i), QByteArray::number(i - 1), link777};
    }
    const QList<Entry> chain{{"a/b/", {}, folder755},
                             {"one", "a/b", link777},
                             {"a/b/two", "../..", link777},
                             {"out", "one/two/../../guarded", link777}};
    return {
        {"link out", {{"l", out, link777}}, "leads outside"},
        {"link beside", {{"l", "../x", link777}}, "leads outside"},
        {"link beside by way of here", {{"l", "./../x", link777}}, "leads outside"},
        {"link far out", {{"a/b/l", "../../../../guarded", link777}}, "leads outside"},
        {"absolute link", {{"l", guarded, link777}}, "leads outside"},
        {"link to /", {{"l", "/", link777}}, "leads outside"},
        {"link by way of proc", {{"l", "/proc/self/cwd", link777}}, "leads outside"},
        {"link to an absolute link",
         {{"a", "b", link777}, {"b", guarded, link777}},
         "leads outside"},
        {"link to itself", {{"l", "l", link777}}, "leads outside"},
        {"empty link", {{"l", {}, link777}}, "fitting target"},
        {"link of 4095 bytes", {{"l", out.leftJustified(4095, 'x'), link777}}, "leads outside"},
        {"link of 4096 bytes", {{"l", QByteArray(4096, 'x'), link777}}, "fitting target"},
        {"link with a zero", {{"l", QByteArray("a\0b", 3), link777}}, "leads outside"},
        {"ring of links", {{"a", "b", link777}, {"b", "a", link777}}, "leads outside"},
        {"large ring of links", ring, "leads outside"},
        {"more links in a row than the system follows", inARow, "leads outside"},
        {"out by a link in the middle",
         {{"d/e", ".", link777}, {"l", "d/e/../../../guarded", link777}},
         "leads outside"},
        {"through a link", {{"l", "d", link777}, {"l/x", "x"}}, "below a file"},
        {"write through a link", {{"l", out, link777}, {"l/new", "x"}}, "below a file", escapes},
        {"write through an absolute link",
         {{"l", guarded, link777}, {"l/new", "x"}},
         "below a file",
         escapes},
        {"file over a link", {{"l", out + "/file", link777}, {"l", "x"}}, "two entries", escapes},
        {"folder through a link",
         {{"l", out, link777}, {"l/new/", {}, folder755}},
         "below a file",
         escapes},
        {"rights through a link",
         {{"l", out + "/file", link777}, {"l", {}, 0104777}},
         "two entries",
         escapes},
        {"link through a link",
         {{"l", out, link777}, {"l/file", "/etc", link777}},
         "below a file",
         escapes},
        {"chain of links out", chain, "leads outside"},
        {"write through a chain of links", chain + QList<Entry>{{"out/new", "x"}}, "below a file",
         escapes},
    };
}

} // namespace

QList<CorpusCase> Corpus::hostile(const Surroundings &around)
{
    const QByteArray guarded = around.path("guarded").toUtf8();
    QList<CorpusCase> cases;
    for (const Row &row : names(guarded) + kinds() + links(guarded)) {
        // If the refusal comes too late, this harmless file is left behind.
        const RawZip zip(QList<Entry>{{"first.txt", "first", file644}} + row.entries);
        cases.append({row.name, [zip] { return zip.bytes(); }, row.why, row.escapes});
    }
    return cases + damaged();
}

} // namespace brindle
