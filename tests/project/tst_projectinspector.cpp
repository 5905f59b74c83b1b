#include "project/ProjectInspector.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

using brindle::ProjectInfo;
namespace ProjectInspector = brindle::ProjectInspector;
using brindle::Submodule;

class ProjectInspectorTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void findsTheShallowestProject();
    void findsNothingInAMissingFolder();
    void findsProjectsDownToFiveLevels_data();
    void findsProjectsDownToFiveLevels();
    void entersNoHiddenFolder();
    void followsNoLinkToAFolder();
    void passesOverUnreadableFolders();
    void takesOnlyTheExactName();
    void takesTheFirstOfEqualDepth();

    void missingProjectFileGivesTheDefaults();
    void readsTheFormatVersion_data();
    void readsTheFormatVersion();
    void readsTheName_data();
    void readsTheName();
    void readsTheMainScene_data();
    void readsTheMainScene();
    void readsTheFeatures_data();
    void readsTheFeatures();
    void ignoresSectionsAndOtherLines();
    void splitsLinesAtEveryNewline();

    void findsTheRepositoryFolder();
    void prefersTheProjectsOwnSubmodules();
    void unreadableSubmoduleListGivesNone();
    void readsSubmodules_data();
    void readsSubmodules();
    void boundsSubmodules();
    void keepsTheListsOfRealProjects();
    void staysBelowOneMebibyte();
    void readsNothingThroughALinkThatLeadsOutside();
    void takesAFolderOfThatName();

    void listsAddons();
    void addonsComeFromTheProjectFolder();

    void readsTheLicense_data();
    void readsTheLicense();
    void triesLicenseNamesInOrderInBothFolders();
    void readsTheTagline_data();
    void readsTheTagline();
    void readsControls_data();
    void readsControls();
    void triesReadmeNamesInOrderInBothFolders();

    void invalidTextCountsAsMissing_data();
    void invalidTextCountsAsMissing();
    void onlyRegularFilesAreRead();
    void linksToFilesAreRead();
    void hugeFilesCountAsUnreadable();
    void byteOrderMarksAreNoText();

private:
    QString path(const QString &name) const { return folder_->filePath(name); }
    void write(const QString &name, const QByteArray &content = QByteArray()) const;
    ProjectInfo inspected() const { return ProjectInspector::inspect(folder_->path()); }
    std::optional<QString> found() const { return ProjectInspector::findProject(folder_->path()); }

    std::unique_ptr<QTemporaryDir> folder_;
};

void ProjectInspectorTest::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    QVERIFY(folder_->isValid());
}

void ProjectInspectorTest::write(const QString &name, const QByteArray &content) const
{
    QVERIFY(QDir().mkpath(QFileInfo(path(name)).path()));
    QFile file(path(name));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(content), content.size());
}

void ProjectInspectorTest::findsTheShallowestProject()
{
    write(QStringLiteral("a/deeper/project.godot"));
    write(QStringLiteral("b/project.godot"));
    write(QStringLiteral("b/sub/project.godot"));
    QCOMPARE(found().value_or(QString()), path(QStringLiteral("b")));
    write(QStringLiteral("project.godot"));
    QCOMPARE(found().value_or(QString()), folder_->path());
}

void ProjectInspectorTest::findsNothingInAMissingFolder()
{
    QVERIFY(!ProjectInspector::findProject(path(QStringLiteral("none"))));
    QVERIFY(!found());
}

void ProjectInspectorTest::findsProjectsDownToFiveLevels_data()
{
    QTest::addColumn<QString>("folder");
    QTest::addColumn<bool>("isFound");
    QTest::newRow("second level") << QStringLiteral("1") << true;
    QTest::newRow("fifth level") << QStringLiteral("1/2/3/4") << true;
    QTest::newRow("sixth level") << QStringLiteral("1/2/3/4/5") << false;
}

void ProjectInspectorTest::findsProjectsDownToFiveLevels()
{
    QFETCH(QString, folder);
    QFETCH(bool, isFound);
    write(folder + QStringLiteral("/project.godot"));
    QCOMPARE(found().value_or(QString()), isFound ? path(folder) : QString());
}

void ProjectInspectorTest::entersNoHiddenFolder()
{
    write(QStringLiteral(".hidden/project.godot"));
    write(QStringLiteral("seen/.git/project.godot"));
    QVERIFY(!found());
    write(QStringLiteral("seen/a/b/project.godot"));
    QCOMPARE(found().value_or(QString()), path(QStringLiteral("seen/a/b")));
}

void ProjectInspectorTest::followsNoLinkToAFolder()
{
    const QTemporaryDir elsewhere;
    QFile file(elsewhere.filePath(QStringLiteral("project.godot")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    QVERIFY(QFile::link(elsewhere.path(), path(QStringLiteral("link"))));
    QVERIFY(QFile::link(folder_->path(), path(QStringLiteral("loop"))));
    QVERIFY(!found());
}

void ProjectInspectorTest::passesOverUnreadableFolders()
{
    write(QStringLiteral("a/project.godot"));
    write(QStringLiteral("b/project.godot"));
    const QByteArray locked = QFile::encodeName(path(QStringLiteral("a")));
    QCOMPARE(chmod(QFile::encodeName(folder_->path()).constData(), 0755), 0);
    QCOMPARE(chmod(locked.constData(), 0), 0);
    // The administrator reads everything: be someone else for a moment.
    const bool isRoot = geteuid() == 0;
    constexpr uid_t nobody = 65534;
    QVERIFY(!isRoot || seteuid(nobody) == 0);
    const auto project = found();
    QVERIFY(!isRoot || seteuid(0) == 0);
    QCOMPARE(chmod(locked.constData(), 0755), 0);
    QCOMPARE(project.value_or(QString()), path(QStringLiteral("b")));
}

void ProjectInspectorTest::takesOnlyTheExactName()
{
    write(QStringLiteral("Project.godot"));
    write(QStringLiteral("project.godot.import"));
    write(QStringLiteral("a/my project.godot"));
    QVERIFY(!found());
}

void ProjectInspectorTest::takesTheFirstOfEqualDepth()
{
    for (const QString &name : {QStringLiteral("c/a"), QStringLiteral("b/z"), QStringLiteral("b/y"),
                                QStringLiteral("d/a")}) {
        write(name + QStringLiteral("/project.godot"));
    }
    QCOMPARE(found().value_or(QString()), path(QStringLiteral("b/y")));
}

void ProjectInspectorTest::missingProjectFileGivesTheDefaults()
{
    const ProjectInfo info = inspected();
    ProjectInfo expected = ProjectInfo::placeholder;
    expected.godotVersion.reset();
    expected.repoRoot = folder_->path();
    QVERIFY(info == expected);
    QCOMPARE(info.name, QStringLiteral("Brindle"));
    QCOMPARE(info.configVersion, 5);
    QCOMPARE(info.features, QStringList());
    QVERIFY(!info.godotVersion);

    QVERIFY(ProjectInspector::inspect(path(QStringLiteral("none"))).name ==
            QStringLiteral("Brindle"));
}

void ProjectInspectorTest::readsTheFormatVersion_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<qint64>("version");
    const auto row = [](const char *name, const QByteArray &file, qint64 version) {
        QTest::newRow(name) << file << version;
    };
    row("five", "config_version=5", 5);
    row("nothing", "config_version=", 0);
    row("blank before", "config_version= 5", 0);
    row("blank after", "config_version=4 ", 4);
    row("blank inside", "config_version=4 2", 0);
    row("indented", "\t config_version=4", 4);
    row("plus", "config_version=+4", 4);
    row("minus", "config_version=-4", -4);
    row("two signs", "config_version=+-4", 0);
    row("sign only", "config_version=-", 0);
    row("fraction", "config_version=4.0", 0);
    row("hexadecimal", "config_version=0x4", 0);
    row("leading zeros", "config_version=007", 7);
    row("Arabic digit", "config_version=\xd9\xa5", 0);
    row("quoted", "config_version=\"5\"", 0);
    row("largest", "config_version=9223372036854775807", 9223372036854775807);
    row("one too large", "config_version=9223372036854775808", 0);
    row("smallest", "config_version=-9223372036854775808", -9223372036854775807 - 1);
    row("later wins", "config_version=3\nconfig_version=4", 4);
    row("later wins, even unreadable", "config_version=3\nconfig_version=x", 0);
    row("other letter case", "Config_version=3", 5);
    row("blank before the sign", "config_version =3", 5);
    row("in a comment", ";config_version=3", 5);
}

void ProjectInspectorTest::readsTheFormatVersion()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("project.godot"), file);
    QTEST(inspected().configVersion, "version");
}

void ProjectInspectorTest::readsTheName_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("name");
    const auto row = [](const char *what, const QByteArray &file, const char *name) {
        QTest::newRow(what) << file << QString::fromUtf8(name);
    };
    row("quoted", "config/name=\"My Game\"", "My Game");
    row("not quoted", "config/name=My Game", "Brindle");
    row("empty", "config/name=\"\"", "");
    row("unfinished", "config/name=\"My", "Brindle");
    row("first of two items", "config/name=\"a\" \"b\"", "a");
    row("escaped quote ends it", "config/name=\"a\\\"b\"", "a\\");
    row("later wins", "config/name=\"a\"\nconfig/name=\"b\"", "b");
    row("later without a value does not", "config/name=\"a\"\nconfig/name=b", "a");
    row("not ASCII",
        "config/name=\"Gr\xc3\xb6\xc3\x9f"
        "e\"",
        "Größe");
    row("translated name", "config/name_localized={\"de\": \"x\"}", "Brindle");
}

void ProjectInspectorTest::readsTheName()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("project.godot"), file);
    QTEST(inspected().name, "name");
}

void ProjectInspectorTest::readsTheMainScene_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("scene");
    QTest::newRow("quoted") << QByteArray("run/main_scene=\"res://a b.tscn\"")
                            << QStringLiteral("res://a b.tscn");
    QTest::newRow("not quoted") << QByteArray("run/main_scene=a") << QString();
    QTest::newRow("later without a value empties it")
        << QByteArray("run/main_scene=\"a\"\nrun/main_scene=") << QString();
}

void ProjectInspectorTest::readsTheMainScene()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("project.godot"), file);
    QTEST(inspected().mainScene, "scene");
}

void ProjectInspectorTest::readsTheFeatures_data()
{
    QTest::addColumn<QByteArray>("items");
    QTest::addColumn<QStringList>("features");
    QTest::addColumn<QString>("version"); // empty: absent
    QTest::addColumn<bool>("usesCSharp");
    const auto row = [](const char *name, const QByteArray &items, const QStringList &features,
                        const char *version, bool usesCSharp) {
        QTest::newRow(name) << items << features << QString::fromUtf8(version) << usesCSharp;
    };
    const QString forward = QStringLiteral("Forward Plus");
    const QString cSharp = QStringLiteral("C#");
    const auto s = [](const char *text) { return QString::fromUtf8(text); };
    row("version and renderer", R"("4.3", "Forward Plus")", {s("4.3"), forward}, "4.3", false);
    row("with C#", R"("4.3", "C#", "Forward Plus")", {s("4.3"), cSharp, forward}, "4.3", true);
    row("other letter case of C#", R"("4.3", "c#")", {s("4.3"), s("c#")}, "4.3", false);
    row("more than C#", R"("C# 12")", {s("C# 12")}, "", false);
    row("patch release", R"("Mobile", "4.2.2")", {s("Mobile"), s("4.2.2")}, "4.2.2", false);
    row("first of two versions", R"("4.2", "4.3")", {s("4.2"), s("4.3")}, "4.2", false);
    row("major only", R"("4")", {s("4")}, "", false);
    row("leading letter", R"("v4.3")", {s("v4.3")}, "", false);
    row("trailing letter", R"("4.3b")", {s("4.3b")}, "", false);
    row("trailing blank", R"("4.3 ")", {s("4.3 ")}, "", false);
    row("four numbers", R"("4.3.1.2")", {s("4.3.1.2")}, "", false);
    row("trailing dot", R"("4.3.")", {s("4.3.")}, "", false);
    row("digits that are not ASCII", "\"\xd9\xa4.\xd9\xa3\"", {s("٤.٣")}, "", false);
    row("large numbers", R"("10.20.30")", {s("10.20.30")}, "10.20.30", false);
    row("unsuitable before suitable", R"("4", "v4.3", "4.4")", {s("4"), s("v4.3"), s("4.4")}, "4.4",
        false);
    row("none", "", {}, "", false);
}

void ProjectInspectorTest::readsTheFeatures()
{
    QFETCH(QByteArray, items);
    QFETCH(QString, version);
    write(QStringLiteral("project.godot"), "config/features=PackedStringArray(\"old\")\n"
                                           "config/features=PackedStringArray(" +
                                               items + ")\n");
    const ProjectInfo info = inspected();
    QTEST(info.features, "features");
    QCOMPARE(info.godotVersion.has_value(), !version.isEmpty());
    QCOMPARE(info.godotVersion.value_or(QString()), version);
    QTEST(info.usesCSharp, "usesCSharp");
}

void ProjectInspectorTest::ignoresSectionsAndOtherLines()
{
    write(QStringLiteral("project.godot"), R"(; Engine configuration file.
config_version=5

[rendering]

config/name="Right"
  run/main_scene="res://main.tscn"
config/description="config/name=\"Wrong\""
[application]
xconfig/name="Wrong"
config/features=PackedStringArray("4.3",
"4.4")
)");
    const ProjectInfo info = inspected();
    QCOMPARE(info.name, QStringLiteral("Right"));
    QCOMPARE(info.mainScene, QStringLiteral("res://main.tscn"));
    QCOMPARE(info.features, QStringList{QStringLiteral("4.3")});
}

void ProjectInspectorTest::splitsLinesAtEveryNewline()
{
    write(QStringLiteral("project.godot"),
          "config_version=4\r\nconfig/name=\"a\"\u2028run/main_scene=\"b\"\rconfig/"
          "features=\"4.3\"\u0085config_version=3\v");
    const ProjectInfo info = inspected();
    QCOMPARE(info.configVersion, 3);
    QCOMPARE(info.name, QStringLiteral("a"));
    QCOMPARE(info.mainScene, QStringLiteral("b"));
    QCOMPARE(info.features, QStringList{QStringLiteral("4.3")});
}

void ProjectInspectorTest::findsTheRepositoryFolder()
{
    const QString project = path(QStringLiteral("repo/game"));
    write(QStringLiteral("repo/game/project.godot"));
    const QByteArray modules = "[submodule \"a\"]\n\tpath = addons/a\n\turl = u\n";

    // In neither folder, though one further up.
    write(QStringLiteral(".gitmodules"), modules);
    ProjectInfo info = ProjectInspector::inspect(project);
    QCOMPARE(info.repoRoot, project);
    QVERIFY(info.submodules.isEmpty());

    write(QStringLiteral("repo/.gitmodules"), modules);
    info = ProjectInspector::inspect(project);
    QCOMPARE(info.repoRoot, path(QStringLiteral("repo")));
    QCOMPARE(info.submodules.size(), 1);
    // However the folder is written.
    QCOMPARE(ProjectInspector::inspect(project + u'/').repoRoot, path(QStringLiteral("repo")));
    QCOMPARE(ProjectInspector::inspect(path(QStringLiteral("repo/./game/../game"))).repoRoot,
             path(QStringLiteral("repo")));
}

void ProjectInspectorTest::prefersTheProjectsOwnSubmodules()
{
    const QString project = path(QStringLiteral("game"));
    write(QStringLiteral(".gitmodules"), "path = outer\nurl = outer");
    write(QStringLiteral("game/.gitmodules"), "path = inner\nurl = inner");
    const ProjectInfo info = ProjectInspector::inspect(project);
    QCOMPARE(info.repoRoot, project);
    QCOMPARE(info.submodules,
             QList<Submodule>({{QStringLiteral("inner"), QStringLiteral("inner")}}));
}

void ProjectInspectorTest::unreadableSubmoduleListGivesNone()
{
    // An entry of that name decides, whatever it is; the parent's list is not read instead.
    write(QStringLiteral(".gitmodules"), "path = outer\nurl = outer");
    QVERIFY(QDir().mkpath(path(QStringLiteral("game/.gitmodules"))));
    const ProjectInfo info = ProjectInspector::inspect(path(QStringLiteral("game")));
    QCOMPARE(info.repoRoot, path(QStringLiteral("game")));
    QVERIFY(info.submodules.isEmpty());
}

void ProjectInspectorTest::readsSubmodules_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QStringList>("submodules"); // path and url in turn
    const auto row = [](const char *name, const QByteArray &file, const QStringList &list) {
        QTest::newRow(name) << file << list;
    };
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    const QString u = QStringLiteral("u");
    const QString v = QStringLiteral("v");
    row("as git writes it",
        "[submodule \"x\"]\n\tpath = a\n\turl = u\n[submodule \"y\"]\n\tpath = b\n\turl = v\n",
        {a, u, b, v});
    row("no blanks", "path=a\nurl=u", {a, u});
    row("url before path", "url = u\npath = a\n[submodule \"y\"]\nurl = v\npath = b",
        {{}, u, a, v});
    row("two urls for one path", "path = a\nurl = u\nurl = v", {a, u, a, v});
    row("last of two paths", "path = a\npath = b\nurl = u", {b, u});
    row("path alone", "path = a", {});
    row("other keys", "path = a\nbranch = b\nurl = u\nshallow = true", {a, u});
    row("other letter case", "Path = a\nurl = u", {{}, u});
    row("equals sign in the value", "path = a\nurl = u=v=", {a, QStringLiteral("u=v=")});
    row("no value", "path = a\npath =\nurl =\nurl = u", {a, u});
    row("no key", "path = a\n= b\nurl = u", {a, u});
    row("doubled sign at the start", "path = a\n=path=b\nurl = u", {a, u});
    row("comment with a sign", "path = a\n# path = b\nurl = u", {a, u});
    row("blanks of other kinds", "\u00a0path\u2003=\u3000a\t\nurl = u", {a, u});
    row("blanks inside stay", "path = a b\nurl = u", {QStringLiteral("a b"), u});
    row("quotes stay", "path = \"a\"\nurl = u", {QStringLiteral("\"a\""), u});
    row("carriage returns", "path = a\r\nurl = u\r\n", {a, u});
    row("empty file", "", {});
}

void ProjectInspectorTest::readsSubmodules()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral(".gitmodules"), file);
    QStringList list;
    for (const Submodule &submodule : inspected().submodules) {
        list << submodule.path << submodule.url;
    }
    QTEST(list, "submodules");
}

void ProjectInspectorTest::boundsSubmodules()
{
    write(QStringLiteral(".gitmodules"),
          "path = " + QByteArray(500'000, 'p') + '\n' + QByteArray("url = u\n").repeated(50'000));
    const ProjectInfo info = inspected();
    QVERIFY(info.toJson().size() < 1024 * 1024);
    QCOMPARE(info.submodules.value(0), (Submodule{QString(), QStringLiteral("u")}));
}

void ProjectInspectorTest::keepsTheListsOfRealProjects()
{
    QByteArray modules;
    for (int i = 0; i < 150; ++i) {
        const QByteArray name = "module-number-" + QByteArray::number(i);
        modules += "[submodule \"" + name + "\"]\n\tpath = thirdparty/libraries/" + name +
                   "\n\turl = https://code.example/some-organisation/" + name + ".git\n";
    }
    write(QStringLiteral(".gitmodules"), modules);
    QCOMPARE(inspected().submodules.size(), 150);
}

/// The worst that each file can do, all at once.
void ProjectInspectorTest::staysBelowOneMebibyte()
{
    constexpr qsizetype room = ProjectInspector::maxFileBytes - 100;
    for (const qsizetype length : {qsizetype(100), qsizetype(4000), room}) {
        const QByteArray bad(length, '\x01');
        write(
            QStringLiteral("project.godot"),
            "config/name=\"" + bad.left(room / 4) + "\"\nrun/main_scene=\"" + bad.left(room / 4) +
                "\"\nconfig/features=" + QByteArray("\"a\",").repeated(qMin(length, room / 2) / 4));
        write(QStringLiteral("LICENSE"), bad.left(room / 2) + "\ncopyright" + bad.left(room / 2));
        write(QStringLiteral("README.md"), bad.left(room / 10) + "\n# Controls\n" +
                                               ('-' + bad.left(room / 10) + '\n').repeated(8));
        write(QStringLiteral(".gitmodules"),
              "path=" + bad.left(room / 2) + '\n' +
                  ("url=" + bad.left(room / 2) + '\n')
                      .repeated(room / 2 / (bad.left(room / 2).size() + 5)));
        const ProjectInfo info = inspected();
        QVERIFY2(info.toJson().size() < 1024 * 1024,
                 qPrintable(QString::number(info.toJson().size())));
        QCOMPARE(ProjectInfo::fromJson(info.toJson()), info);
    }
    for (int i = 0; i < 1000; ++i) {
        write(QStringLiteral("addons/%1").arg(i, 4) + QString(250, QChar(1)));
    }
    QVERIFY2(inspected().toJson().size() < 1024 * 1024,
             qPrintable(QString::number(inspected().toJson().size())));
}

void ProjectInspectorTest::readsNothingThroughALinkThatLeadsOutside()
{
    write(QStringLiteral("private/secret"), "secret");
    write(QStringLiteral("private/listed"));
    QVERIFY(QDir().mkpath(path(QStringLiteral("game/sub"))));
    for (const char *name : {"README.md", "LICENSE", "project.godot", ".gitmodules"}) {
        QVERIFY(QFile::link(QStringLiteral("../private/secret"),
                            path(QStringLiteral("game/") + QString::fromLatin1(name))));
    }
    QVERIFY(QFile::link(QStringLiteral("../private"), path(QStringLiteral("game/addons"))));
    ProjectInfo expected = ProjectInfo::placeholder;
    expected.godotVersion.reset();
    expected.repoRoot = path(QStringLiteral("game"));
    QCOMPARE(ProjectInspector::inspect(expected.repoRoot), expected);
}

void ProjectInspectorTest::takesAFolderOfThatName()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("a/project.godot"))));
    QCOMPARE(found().value_or(QString()), path(QStringLiteral("a")));
}

void ProjectInspectorTest::listsAddons()
{
    QVERIFY(QDir().mkpath(path(QStringLiteral("addons/zeta"))));
    QVERIFY(QDir().mkpath(path(QStringLiteral("addons/Alpha"))));
    write(QStringLiteral("addons/beta"));
    write(QStringLiteral("addons/.hidden"));
    QVERIFY(QFile::link(path(QStringLiteral("none")), path(QStringLiteral("addons/Zulu"))));
    write(QStringLiteral("addons/ärger"));
    write(QStringLiteral("addons/_under"));
    QCOMPARE(inspected().addons, QStringList({QStringLiteral("Alpha"), QStringLiteral("Zulu"),
                                              QStringLiteral("_under"), QStringLiteral("beta"),
                                              QStringLiteral("zeta"), QStringLiteral("ärger")}));
}

void ProjectInspectorTest::addonsComeFromTheProjectFolder()
{
    write(QStringLiteral(".gitmodules"));
    write(QStringLiteral("addons/outer"));
    write(QStringLiteral("game/addons/inner"));
    QCOMPARE(ProjectInspector::inspect(path(QStringLiteral("game"))).addons,
             QStringList{QStringLiteral("inner")});
    write(QStringLiteral("bare/addons")); // a file
    QCOMPARE(ProjectInspector::inspect(path(QStringLiteral("bare"))).addons, QStringList());
}

void ProjectInspectorTest::readsTheLicense_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("copyright");
    const QString defaultName = QStringLiteral("MIT License");
    const QString defaultNotice = QStringLiteral("Copyright (c) 2023 Tessel Works");
    QTest::newRow("title after blank lines")
        << QByteArray("\n \t\n  GNU GPL \n\nText\n COPYRIGHT 2020 Ada \nCopyright 2021 Bob\n")
        << QStringLiteral("GNU GPL") << QStringLiteral("COPYRIGHT 2020 Ada");
    QTest::newRow("title is the notice")
        << QByteArray("CopyRight 2020 Ada\nText\n") << QStringLiteral("CopyRight 2020 Ada")
        << QStringLiteral("CopyRight 2020 Ada");
    QTest::newRow("no notice") << QByteArray("Zlib\nDo what you like.\n") << QStringLiteral("Zlib")
                               << defaultNotice;
    QTest::newRow("the word inside a line")
        << QByteArray("BSD\nThe above copyright notice\n") << QStringLiteral("BSD")
        << QStringLiteral("The above copyright notice");
    QTest::newRow("empty") << QByteArray() << defaultName << defaultNotice;
    QTest::newRow("blank lines only") << QByteArray("\n \n\t\r\n") << defaultName << defaultNotice;
}

void ProjectInspectorTest::readsTheLicense()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("LICENSE"), file);
    const ProjectInfo info = inspected();
    QTEST(info.licenseName, "name");
    QTEST(info.copyright, "copyright");
}

void ProjectInspectorTest::triesLicenseNamesInOrderInBothFolders()
{
    write(QStringLiteral(".gitmodules"));
    QVERIFY(QDir().mkpath(path(QStringLiteral("game"))));
    const auto name = [this] {
        return ProjectInspector::inspect(path(QStringLiteral("game"))).licenseName;
    };
    QCOMPARE(name(), QStringLiteral("MIT License"));
    // Last choice first; each later one wins over all before it.
    for (const char *file : {"game/COPYING", "COPYING", "game/LICENSE.txt", "LICENSE.txt",
                             "game/LICENSE.md", "LICENSE.md", "game/LICENSE", "LICENSE"}) {
        write(QString::fromUtf8(file), file);
        QCOMPARE(name(), QString::fromUtf8(file));
    }
}

void ProjectInspectorTest::readsTheTagline_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("tagline");
    const QString fallback = ProjectInfo::placeholder.tagline;
    QTest::newRow("after heading and badges")
        << QByteArray("# Game\n\n![badge](x)\n[![build](y)](z)\nA *fine* game.\nMore.\n")
        << QStringLiteral("A *fine* game.");
    for (const char first : QByteArray("#![<|-*>`")) {
        QTest::addRow("line that begins with %c", first) << QByteArray(1, first) + " no\n  yes  \n"
                                                         << QStringLiteral("yes");
        QTest::addRow("indented line that begins with %c", first)
            << QByteArray("   ") + first + "no\nyes" << QStringLiteral("yes");
    }
    QTest::newRow("numbered line") << QByteArray("# a\n1. first\n") << QStringLiteral("1. first");
    QTest::newRow("underscore") << QByteArray("_yes_") << QStringLiteral("_yes_");
    QTest::newRow("nothing suitable") << QByteArray("# a\n\n- b\n") << fallback;
    QTest::newRow("empty") << QByteArray() << fallback;
}

void ProjectInspectorTest::readsTheTagline()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("README.md"), file);
    QTEST(inspected().tagline, "tagline");
}

void ProjectInspectorTest::readsControls_data()
{
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QStringList>("controls");
    const auto row = [](const char *name, const QByteArray &file, const QByteArrayList &controls) {
        QStringList texts;
        for (const QByteArray &text : controls) {
            texts.append(QString::fromUtf8(text));
        }
        QTest::newRow(name) << file << texts;
    };
    row("ends at a sub-heading",
        "# Game\n- no\n## Controls\n- a\n* b\n1. no\n### More\n- no\n## Controls\n- no\n",
        {"a", "b"});
    row("any letter case and more words", "### Game CONTROLS:\n- a", {"a"});
    row("controller", "# Controller\n- a", {"a"});
    row("heading without blank", "#controls\n- a", {"a"});
    row("not a heading", "Controls\n- a", {});
    row("blank lines and paragraphs between", "# Controls\n\n- a\n\nText\n\n- b", {"a", "b"});
    row("nested items", "# Controls\n- a\n    - b\n\t* c", {"a", "b", "c"});
    row("plus and numbers are no items", "# Controls\n+ a\n1. b\n- c", {"c"});
    row("nothing left", "# Controls\n-\n- a\n*  ", {"", "a", ""});
    row("only the first character goes", "# Controls\n-- a\n**W**: up", {"- a", "*W**: up"});
    row("eight", "# Controls\n- 1\n- 2\n- 3\n- 4\n- 5\n- 6\n- 7\n- 8\n",
        {"1", "2", "3", "4", "5", "6", "7", "8"});
    row("ten", "# Controls\n- 1\n- 2\n- 3\n- 4\n- 5\n- 6\n- 7\n- 8\n- 9\n- 10\n",
        {"1", "2", "3", "4", "5", "6", "7", "8"});
    row("a second section after an empty first", "# Controls\n# Controls\n- a", {});
    row("none", "# Game\n- a\n", {});
}

void ProjectInspectorTest::readsControls()
{
    QFETCH(QByteArray, file);
    write(QStringLiteral("README.md"), file);
    QTEST(inspected().controls, "controls");
}

void ProjectInspectorTest::triesReadmeNamesInOrderInBothFolders()
{
    write(QStringLiteral(".gitmodules"));
    QVERIFY(QDir().mkpath(path(QStringLiteral("game"))));
    for (const char *file :
         {"game/readme.md", "readme.md", "game/README", "README", "game/README.md", "README.md"}) {
        write(QString::fromUtf8(file), file);
        QCOMPARE(ProjectInspector::inspect(path(QStringLiteral("game"))).tagline,
                 QString::fromUtf8(file));
    }
}

void ProjectInspectorTest::invalidTextCountsAsMissing_data()
{
    QTest::addColumn<QByteArray>("invalid");
    QTest::newRow("stray byte") << QByteArray("wrong \xff text");
    QTest::newRow("cut off at the end") << QByteArray("wrong \xe2\x82");
    QTest::newRow("overlong") << QByteArray("wrong \xc0\xaf text");
    QTest::newRow("surrogate") << QByteArray("wrong \xed\xa0\x80 text");
    QTest::newRow("UTF-16") << QByteArray("\xff\xfew\0r\0", 6);
}

void ProjectInspectorTest::invalidTextCountsAsMissing()
{
    QFETCH(QByteArray, invalid);
    write(QStringLiteral(".gitmodules"));
    const QString project = path(QStringLiteral("game"));
    // The next folder, and after it the next name.
    write(QStringLiteral("LICENSE"), invalid);
    write(QStringLiteral("game/LICENSE"), "right");
    write(QStringLiteral("README.md"), invalid);
    write(QStringLiteral("game/README.md"), invalid);
    write(QStringLiteral("README"), "right");
    write(QStringLiteral("game/project.godot"), "config/name=\"wrong\"\n" + invalid);
    const ProjectInfo info = ProjectInspector::inspect(project);
    QCOMPARE(info.licenseName, QStringLiteral("right"));
    QCOMPARE(info.tagline, QStringLiteral("right"));
    QCOMPARE(info.name, QStringLiteral("Brindle"));
}

void ProjectInspectorTest::onlyRegularFilesAreRead()
{
    QCOMPARE(mkfifo(QFile::encodeName(path(QStringLiteral("README.md"))).constData(), 0600), 0);
    QVERIFY(QDir().mkpath(path(QStringLiteral("LICENSE"))));
    QVERIFY(QFile::link(QStringLiteral("/dev/zero"), path(QStringLiteral("project.godot"))));
    write(QStringLiteral("README"), "right");
    write(QStringLiteral("LICENSE.md"), "right");
    const ProjectInfo info = inspected();
    QCOMPARE(info.tagline, QStringLiteral("right"));
    QCOMPARE(info.licenseName, QStringLiteral("right"));
    QCOMPARE(info.name, QStringLiteral("Brindle"));
}

void ProjectInspectorTest::linksToFilesAreRead()
{
    write(QStringLiteral("docs/license"), "right");
    QVERIFY(QFile::link(path(QStringLiteral("docs/license")), path(QStringLiteral("LICENSE"))));
    QVERIFY(QFile::link(path(QStringLiteral("none")), path(QStringLiteral("README.md"))));
    write(QStringLiteral("README"), "right");
    QCOMPARE(inspected().licenseName, QStringLiteral("right"));
    QCOMPARE(inspected().tagline, QStringLiteral("right"));
}

void ProjectInspectorTest::hugeFilesCountAsUnreadable()
{
    write(QStringLiteral("README"), "right");
    write(QStringLiteral("README.md"),
          "huge\n" + QByteArray(ProjectInspector::maxFileBytes - 5, '\n'));
    QCOMPARE(inspected().tagline, QStringLiteral("huge"));
    QFile file(path(QStringLiteral("README.md")));
    QVERIFY(file.resize(ProjectInspector::maxFileBytes + 1));
    QCOMPARE(inspected().tagline, QStringLiteral("right"));
    QVERIFY(file.resize(qint64(1) << 40));
    QCOMPARE(inspected().tagline, QStringLiteral("right"));
}

void ProjectInspectorTest::byteOrderMarksAreNoText()
{
    write(QStringLiteral("project.godot"), "\xef\xbb\xbf"
                                           "config_version=3\nconfig/name=\"a\"");
    write(QStringLiteral("LICENSE"), "\xef\xbb\xbf"
                                     "BSD");
    write(QStringLiteral("README.md"), "\xef\xbb\xbf"
                                       "# Title\nText");
    const ProjectInfo info = inspected();
    QCOMPARE(info.configVersion, 3);
    QCOMPARE(info.licenseName, QStringLiteral("BSD"));
    QCOMPARE(info.tagline, QStringLiteral("Text"));
}

QTEST_GUILESS_MAIN(ProjectInspectorTest)
#include "tst_projectinspector.moc"
