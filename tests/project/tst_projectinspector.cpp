// Tests finding a project and reading its files.

#include "project/ProjectInspector.h"
#include "support/TestFiles.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr qsizetype mebibyte = 1024 * 1024;
const QByteArray mark = "\xef\xbb\xbf";

/// Returns a field of the saved form as text: "|" between items, ">" between path and address.
QString text(const ProjectInfo &info, const QString &field)
{
    const QJsonValue value = QJsonDocument::fromJson(info.toJson())[field];
    if (!value.isArray()) {
        return value.isUndefined() ? u"absent"_s : value.toVariant().toString();
    }
    QStringList items;
    for (const QJsonValue item : value.toArray()) {
        items << (item.isObject() ? item[u"path"].toString() + u'>' + item[u"url"].toString()
                                  : item.toString());
    }
    return items.join(u'|');
}

struct Row
{
    const char *name;
    QByteArray content;
    const char *expected;
};

} // namespace

class TestProjectInspector : public QObject
{
    Q_OBJECT

    QString path(const QString &name) const { return folder_->filePath(name); }
    void write(const QString &name, const QByteArray &content = {}) const
    {
        writeFile(path(name), content);
    }
    ProjectInfo inspected(const QString &project = u"."_s) const
    {
        return ProjectInspector::inspect(path(project));
    }
    /// Returns the found project, relative to the folder.
    QString found() const
    {
        const auto project = ProjectInspector::findProject(folder_->path());
        return project ? QDir(folder_->path()).relativeFilePath(*project) : u"none"_s;
    }

    std::unique_ptr<QTemporaryDir> folder_;

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void projectsAreFound_data()
    {
        QTest::addColumn<QStringList>("files");
        QTest::addColumn<QString>("project");
        const auto row = [](const char *name, const QString &project, const QStringList &files) {
            QTest::newRow(name) << files << project;
        };
        row("shallowest", u"b"_s,
            {u"a/deeper/project.godot"_s, u"b/project.godot"_s, u"b/sub/project.godot"_s});
        row("at the top", u"."_s, {u"project.godot"_s, u"a/project.godot"_s});
        row("fifth level", u"1/2/3/4"_s, {u"1/2/3/4/project.godot"_s});
        row("sixth level", u"none"_s, {u"1/2/3/4/5/project.godot"_s});
        row("hidden", u"none"_s, {u".hidden/project.godot"_s, u"seen/.git/project.godot"_s});
        row("other names", u"none"_s,
            {u"Project.godot"_s, u"project.godot.import"_s, u"a/my project.godot"_s});
        row("first of equal depth", u"b/y"_s,
            {u"c/a/project.godot"_s, u"b/z/project.godot"_s, u"b/y/project.godot"_s});
        row("folder of that name", u"a"_s, {u"a/project.godot/x"_s});
    }
    void projectsAreFound()
    {
        QFETCH(const QStringList, files);
        for (const QString &file : files) {
            write(file);
        }
        QTEST(found(), "project");
    }

    void aMissingFolderHasNoProject()
    {
        QVERIFY(!ProjectInspector::findProject(path(u"none"_s)));
        QVERIFY(!ProjectInspector::findProject(folder_->path()));
    }

    void linksToFoldersAreNotFollowed()
    {
        const QTemporaryDir elsewhere;
        writeFile(elsewhere.filePath(u"project.godot"_s), {});
        QVERIFY(QFile::link(elsewhere.path(), path(u"link"_s)));
        QVERIFY(QFile::link(folder_->path(), path(u"loop"_s)));
        QCOMPARE(found(), u"none"_s);
    }

    void unreadableFoldersArePassedOver()
    {
        write(u"a/project.godot"_s);
        write(u"b/project.godot"_s);
        setMode(folder_->path(), 0755);
        setMode(path(u"b"_s), 0755);
        setMode(path(u"a"_s), 0);
        asOrdinaryUser([this] { QCOMPARE(found(), u"b"_s); });
        setMode(path(u"a"_s), 0755);
    }

    void missingFilesGiveTheDefaults()
    {
        ProjectInfo expected = ProjectInfo::placeholder;
        expected.godotVersion.reset();
        expected.repoRoot = folder_->path();
        QCOMPARE(inspected(), expected);
        QCOMPARE(inspected(u"none"_s).name, u"Brindle"_s);
    }

    void filesAreReadLineByLine_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("expected");
        const auto rows = [](const char *file, const char *field, std::initializer_list<Row> list) {
            for (const Row &row : list) {
                QTest::addRow("%s: %s", field, row.name)
                    << QString::fromLatin1(file) << row.content << QString::fromLatin1(field)
                    << QString::fromUtf8(row.expected);
            }
        };
        rows("project.godot", "configVersion",
             {{"five", "config_version=5", "5"},
              {"nothing", "config_version=", "0"},
              {"blank before", "config_version= 5", "0"},
              {"blank after", "config_version=4 ", "4"},
              {"blank inside", "config_version=4 2", "0"},
              {"indented", "\t config_version=4", "4"},
              {"minus", "config_version=-4", "-4"},
              {"sign only", "config_version=-", "0"},
              {"fraction", "config_version=4.0", "0"},
              {"Arabic digit", "config_version=\xd9\xa5", "0"},
              {"largest", "config_version=9223372036854775807", "9223372036854775807"},
              {"one too large", "config_version=9223372036854775808", "0"},
              {"later wins", "config_version=3\nconfig_version=4", "4"},
              {"later wins, even unreadable", "config_version=3\nconfig_version=x", "0"},
              {"blank before the sign", "config_version =3", "5"},
              {"byte order mark", mark + "config_version=3", "3"}});
        rows("project.godot", "name",
             {{"quoted", "config/name=\"My Game\"", "My Game"},
              {"not quoted", "config/name=My Game", "Brindle"},
              {"empty", "config/name=\"\"", ""},
              {"unfinished", "config/name=\"My", "Brindle"},
              {"first of two items", "config/name=\"a\" \"b\"", "a"},
              {"escaped quote ends it", "config/name=\"a\\\"b\"", "a\\"},
              {"later wins", "config/name=\"a\"\nconfig/name=\"b\"", "b"},
              {"later without a value does not", "config/name=\"a\"\nconfig/name=b", "a"},
              {"not ASCII", "config/name=\"Größe\"", "Größe"},
              {"in other lines", "xconfig/name=\"a\"\n;config/name=\"a\"\n[config/name=\"a\"]",
               "Brindle"},
              {"in any section", "[rendering]\nconfig/name=\"a\"\n[x]", "a"}});
        rows("project.godot", "mainScene",
             {{"quoted", "run/main_scene=\"res://a b.tscn\"", "res://a b.tscn"},
              {"not quoted", "run/main_scene=a", ""},
              {"later without a value", "run/main_scene=\"a\"\nrun/main_scene=", ""},
              {"other line ends", "\u2028\u0085x\rrun/main_scene=\"b\"\v", "b"}});
        rows("project.godot", "features",
             {{"in order", "config/features=P(\"4.3\", \"Forward Plus\")", "4.3|Forward Plus"},
              {"later wins", "config/features=\"a\"\nconfig/features=", ""},
              {"one line only", "config/features=P(\"4.3\",\n\"4.4\")", "4.3"}});
        rows("project.godot", "usesCSharp",
             {{"tag", "config/features=\"4.3\", \"C#\"", "true"},
              {"more", "config/features=\"C# 12\"", "false"}});
        rows("project.godot", "godotVersion",
             {{"patch release", "config/features=\"Mobile\", \"4.2.2\"", "4.2.2"},
              {"first of two", "config/features=\"4.2\", \"4.3\"", "4.2"},
              {"unsuitable ones first", "config/features=\"4\", \"v4.3\", \"4.4\"", "4.4"},
              {"major only", "config/features=\"4\"", "absent"},
              {"leading letter", "config/features=\"v4.3\"", "absent"},
              {"trailing letter", "config/features=\"4.3b\"", "absent"},
              {"trailing blank", "config/features=\"4.3 \"", "absent"},
              {"four numbers", "config/features=\"4.3.1.2\"", "absent"},
              {"other digits", "config/features=\"٤.٣\"", "absent"}});
        rows(".gitmodules", "submodules",
             {{"as git writes it",
               "[submodule \"x\"]\n\tpath = a\n\turl = u\n[submodule \"y\"]\n\tpath = b\n\turl = v",
               "a>u|b>v"},
              {"no blanks", "path=a\nurl=u", "a>u"},
              {"url before path", "url = u\npath = a\n[submodule \"y\"]\nurl = v", ">u|a>v"},
              {"two urls for one path", "path = a\nurl = u\nurl = v", "a>u|a>v"},
              {"last of two paths", "path = a\npath = b\nurl = u", "b>u"},
              {"other keys", "path = a\nbranch = b\nurl = u\nshallow = true", "a>u"},
              {"equals sign in the value", "path = a\nurl = u=v=", "a>u=v="},
              {"no value", "path = a\npath =\nurl =\nurl = u", "a>u"},
              {"no key", "path = a\n= b\nurl = u", "a>u"},
              {"sign at the start", "path = a\n=path=b\nurl = u", "a>u"},
              {"comment with a sign", "path = a\n# path = b\nurl = u", "a>u"},
              {"other blanks", "\u00a0path\u2003=\u3000a\t\nurl = u", "a>u"},
              {"blanks and quotes stay", "path = \"a b\"\nurl = u", "\"a b\">u"},
              {"carriage returns", "path = a\r\nurl = u\r\n", "a>u"}});
        rows("LICENSE", "licenseName",
             {{"after blank lines", "\n \t\n  GNU GPL \n\nText\n", "GNU GPL"},
              {"byte order mark", mark + "BSD", "BSD"},
              {"blank lines only", "\n \n\t\r\n", "MIT License"}});
        rows("LICENSE", "copyright",
             {{"first notice", "a\n COPYRIGHT 2020 Ada \nCopyright Bob", "COPYRIGHT 2020 Ada"},
              {"the title", "CopyRight 2020 Ada\nText\n", "CopyRight 2020 Ada"},
              {"none", "Zlib\nDo what you like.", "Copyright (c) 2023 Tessel Works"},
              {"inside a line", "BSD\nThe above copyright notice", "The above copyright notice"}});
        const char *const tagline = "Open source real-time strategy game made with Godot 4.";
        rows("README.md", "tagline",
             {{"after heading and badges", "# G\n\n![b](x)\n[![c](y)](z)\nA *fine* game.\nMore.",
               "A *fine* game."},
              {"after other markup", "<p>\n|a|\n- b\n* c\n> d\n```\n  #e\n  yes  \n", "yes"},
              {"numbered line", "1. first\n", "1. first"},
              {"byte order mark", mark + "# Title\nText", "Text"},
              {"longest line", QByteArray(4096, 'x'), QByteArray(4096, 'x')},
              {"line too long", QByteArray(4097, 'x') + '\n' + QByteArray("short"), "short"},
              {"nothing suitable", "# a\n\n- b\n", tagline}});
        rows("README.md", "controls",
             {{"until a sub-heading",
               "# Game\n- no\n## Controls\n- a\n* b\n1. no\n### More\n- no\n## Controls\n- no",
               "a|b"},
              {"any letter case and more words", "### Game CONTROLS:\n- a", "a"},
              {"controller", "# Controller\n- a", "a"},
              {"no heading", "Controls\n- a", ""},
              {"paragraphs between", "# Controls\n\n- a\n\nText\n\n- b", "a|b"},
              {"nested items", "# Controls\n- a\n    - b\n\t* c", "a|b|c"},
              {"other lists", "# Controls\n+ a\n1. b\n- c", "c"},
              {"nothing left", "# Controls\n-\n- a\n*  ", "|a|"},
              {"only the first character goes", "# Controls\n-- a\n**W**: up", "- a|*W**: up"},
              {"eight of ten", "# Controls\n- 1\n- 2\n- 3\n- 4\n- 5\n- 6\n- 7\n- 8\n- 9\n- 10",
               "1|2|3|4|5|6|7|8"},
              {"second section", "# Controls\n# Controls\n- a", ""}});
    }
    void filesAreReadLineByLine()
    {
        QFETCH(const QString, file);
        QFETCH(const QByteArray, content);
        QFETCH(const QString, field);
        write(file, content);
        QTEST(text(inspected(), field), "expected");
    }

    void theRepositoryHoldsTheSubmoduleList()
    {
        const QByteArray modules = "path = a\nurl = u\n";
        write(u"repo/game/project.godot"_s);
        write(u".gitmodules"_s, modules); // too far above the project
        QCOMPARE(inspected(u"repo/game"_s).repoRoot, path(u"repo/game"_s));
        QVERIFY(inspected(u"repo/game"_s).submodules.isEmpty());

        write(u"repo/.gitmodules"_s, modules);
        for (const QString &spelling :
             {u"repo/game"_s, u"repo/game/"_s, u"repo/./game/../game"_s}) {
            QCOMPARE(inspected(spelling).repoRoot, path(u"repo"_s));
            QCOMPARE(inspected(spelling).submodules.size(), 1);
        }
        // An entry of that name in the project decides, even if it is a dangling link.
        QVERIFY(QFile::link(u"none"_s, path(u"repo/game/.gitmodules"_s)));
        QCOMPARE(inspected(u"repo/game"_s).repoRoot, path(u"repo/game"_s));
        QVERIFY(inspected(u"repo/game"_s).submodules.isEmpty());
    }

    void addonsAreListed()
    {
        write(u".gitmodules"_s);
        write(u"addons/outer"_s);
        write(u"game/addons/zeta/x"_s);
        for (const char *name : {"Alpha", "beta", ".hidden", "ärger", "_under"}) {
            write(u"game/addons/"_s + QString::fromUtf8(name));
        }
        QVERIFY(QFile::link(u"none"_s, path(u"game/addons/Zulu"_s)));
        QCOMPARE(inspected(u"game"_s).addons, QStringList({u"Alpha"_s, u"Zulu"_s, u"_under"_s,
                                                           u"beta"_s, u"zeta"_s, u"ärger"_s}));
        write(u"bare/addons"_s); // a file
        QCOMPARE(inspected(u"bare"_s).addons, QStringList());
    }

    void namesAreTriedInOrderInBothFolders_data()
    {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QStringList>("names"); // from last choice to first
        QTest::newRow("licence") << u"licenseName"_s
                                 << QStringList{u"COPYING"_s, u"LICENSE.txt"_s, u"LICENSE.md"_s,
                                                u"LICENSE"_s};
        QTest::newRow("README") << u"tagline"_s
                                << QStringList{u"readme.md"_s, u"README"_s, u"README.md"_s};
    }
    void namesAreTriedInOrderInBothFolders()
    {
        QFETCH(const QString, field);
        QFETCH(const QStringList, names);
        write(u".gitmodules"_s);
        for (const QString &name : names) {
            for (const QString &file : {u"game/"_s + name, name}) {
                write(file, file.toUtf8());
                QCOMPARE(text(inspected(u"game"_s), field), file);
            }
        }
    }

    void unreadableFilesArePassedOver_data()
    {
        QTest::addColumn<QByteArray>("content"); // empty: no file
        QTest::newRow("stray byte") << QByteArray("wrong \xff text");
        QTest::newRow("cut off at the end") << QByteArray("wrong \xe2\x82");
        QTest::newRow("overlong") << QByteArray("wrong \xc0\xaf text");
        QTest::newRow("surrogate") << QByteArray("wrong \xed\xa0\x80 text");
        QTest::newRow("UTF-16") << QByteArray("\xff\xfew\0r\0", 6);
        QTest::newRow("too large") << "wrong" + QByteArray(mebibyte - 4, '\n');
        QTest::newRow("no regular file") << QByteArray();
    }
    void unreadableFilesArePassedOver()
    {
        QFETCH(const QByteArray, content);
        write(u".gitmodules"_s);
        write(u"game/x"_s);
        if (content.isEmpty()) {
            QCOMPARE(mkfifo(QFile::encodeName(path(u"README.md"_s)).constData(), 0600), 0);
            QVERIFY(QFile::link(u"/dev/zero"_s, path(u"LICENSE"_s)));
            QVERIFY(QFile::link(u"none"_s, path(u"game/README.md"_s)));
            QVERIFY(QDir().mkpath(path(u"game/project.godot"_s)));
        } else {
            write(u"README.md"_s, content);
            write(u"LICENSE"_s, content);
            write(u"game/README.md"_s, content);
            write(u"game/project.godot"_s, "config/name=\"wrong\"\n" + content);
        }
        // The next folder and the next name have readable files, of exactly the greatest size.
        write(u"game/LICENSE"_s, "right" + QByteArray(mebibyte - 5, '\n'));
        write(u"README"_s, "right" + QByteArray(mebibyte - 5, '\n'));
        const ProjectInfo info = inspected(u"game"_s);
        QCOMPARE(info.licenseName, u"right"_s);
        QCOMPARE(info.tagline, u"right"_s);
        QCOMPARE(info.name, u"Brindle"_s);
    }

    void linksAreReadInsideTheRepositoryOnly()
    {
        write(u".gitmodules"_s);
        write(u"docs/license"_s, "right");
        QVERIFY(QDir().mkpath(path(u"game"_s)));
        QVERIFY(QFile::link(u"../docs/license"_s, path(u"game/LICENSE"_s)));
        QCOMPARE(inspected(u"game"_s).licenseName, u"right"_s);

        write(u"private/secret"_s, "secret");
        QVERIFY(QDir().mkpath(path(u"other/sub"_s)));
        for (const QString &name :
             {u"README.md"_s, u"LICENSE"_s, u"project.godot"_s, u".gitmodules"_s}) {
            QVERIFY(QFile::link(u"../private/secret"_s, path(u"other/"_s + name)));
        }
        QVERIFY(QFile::link(u"../private"_s, path(u"other/addons"_s)));
        ProjectInfo expected = ProjectInfo::placeholder;
        expected.godotVersion.reset();
        expected.repoRoot = path(u"other"_s);
        QCOMPARE(inspected(u"other"_s), expected);
    }

    void longListsAreCut()
    {
        write(u".gitmodules"_s, "path = a\n" + QByteArray("url = u\n").repeated(300));
        for (int i = 0; i < 300; ++i) {
            write(u"addons/%1"_s.arg(i));
        }
        QCOMPARE(inspected().submodules.size(), 256);
        QCOMPARE(inspected().addons.size(), 256);
    }
};

QTEST_GUILESS_MAIN(TestProjectInspector)
#include "tst_projectinspector.moc"
