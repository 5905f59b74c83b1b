// Which engine a project needs, and how it gets onto the disk.

#include "base/Error.h"
#include "demo/EngineArchive.h"
#include "engine/EngineManager.h"
#include "files/Files.h"
#include "support/ServedFiles.h"
#include "support/Thrown.h"

#include <QCryptographicHash>
#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

using namespace brindle;

namespace {

const auto version = QStringLiteral("4.3-stable");

QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void writeProgram(const QString &path, const QByteArray &content, bool executable = true)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(content);
    file.setPermissions(executable ? QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                   : QFile::ReadOwner | QFile::WriteOwner);
}

QByteArray digestOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha512).toHex();
}

/// A manager on one platform's row, with folders of its own and a server that offers builds.
struct Setup
{
    explicit Setup(bool mac = false)
        : platform(mac ? Platform::macOS(folder.path())
                       : Platform::linuxDesktop(folder.path(), QStringLiteral("x86_64"), QString()))
    {
        platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
        Files::createFolder(temporary());
    }

    EngineManager manager() const { return {server.url(), root(), temporary(), platform}; }
    QString root() const { return folder.filePath(QStringLiteral("root")); }
    QString temporary() const { return folder.filePath(QStringLiteral("tmp")); }
    static QByteArray target(const QString &name)
    {
        return "/godotengine/godot-builds/releases/download/" + version.toUtf8() + '/' +
               name.toUtf8();
    }

    /// The archive of a build, as the release page has it.
    QByteArray archive(const EngineSpec &spec, const QByteArray &program = "#!/bin/sh\n")
    {
        const QString source = folder.filePath(QStringLiteral("program"));
        const QString zip = folder.filePath(QStringLiteral("made.zip"));
        writeProgram(source, program);
        EngineArchive::pack(source, platform, spec.version, spec.mono, zip);
        return read(zip);
    }
    void offer(const EngineSpec &spec)
    {
        const QByteArray bytes = archive(spec);
        const QString name = spec.zipName(platform);
        server.put(target(name), bytes);
        offerList(digestOf(bytes) + "  " + name.toUtf8() + '\n');
    }
    void offerList(const QByteArray &list)
    {
        server.put(target(QStringLiteral("SHA512-SUMS.txt")), list);
    }

    QCoro::Task<QString> install(EngineManager &engines, const EngineSpec &spec)
    {
        return engines.install(
            spec, [](qint64, qint64, double) {}, [this](const QString &s) { status << s; },
            [this](const QString &l) { log << l; }, stop.get_token());
    }
    std::optional<QString> failure(const EngineSpec &spec)
    {
        EngineManager engines = manager();
        return thrownBy(install(engines, spec));
    }

    QTemporaryDir folder;
    ServedFiles server;
    Platform platform;
    std::stop_source stop;
    QStringList status;
    QStringList log;
};

const EngineSpec standard{version, false};
const EngineSpec mono{version, true};

} // namespace

class TestEngineManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void projectsPickTheirEngine_data()
    {
        QTest::addColumn<qint64>("configVersion");
        QTest::addColumn<QString>("godotVersion");
        QTest::addColumn<bool>("usesCSharp");
        QTest::addColumn<QString>("tag");
        QTest::newRow("standard") << qint64(5) << "4.3" << false << "4.3-stable";
        QTest::newRow("patch") << qint64(5) << "4.2.2" << false << "4.2.2-stable";
        QTest::newRow("C#") << qint64(5) << "4.3" << true << "4.3-stable-mono";
        QTest::newRow("later format") << qint64(6) << "5.0" << false << "5.0-stable";
    }

    void projectsPickTheirEngine()
    {
        QFETCH(qint64, configVersion);
        QFETCH(QString, godotVersion);
        QFETCH(bool, usesCSharp);
        QFETCH(QString, tag);
        ProjectInfo info;
        info.configVersion = configVersion;
        info.godotVersion = godotVersion;
        info.usesCSharp = usesCSharp;
        QCOMPARE(EngineManager::spec(info).tag(), tag);
    }

    void projectsThatNoEngineFits()
    {
        const auto message = [](const ProjectInfo &info) {
            try {
                EngineManager::spec(info);
            } catch (...) {
                return describe(std::current_exception());
            }
            return QString();
        };
        ProjectInfo info;
        info.godotVersion = std::nullopt;
        QCOMPARE(message(info),
                 QStringLiteral("The game's project.godot does not say which Godot version it "
                                "needs."));
        info.configVersion = 3;
        QCOMPARE(message(info),
                 QStringLiteral("This game was made with Godot 3 (config_version 3). This app only "
                                "runs Godot 4 games."));
        info.configVersion = 4;
        QCOMPARE(message(info),
                 QStringLiteral("This game was made with Godot 3 (config_version 4). This app only "
                                "runs Godot 4 games."));
    }

    void buildsAreInstalled_data()
    {
        QTest::addColumn<bool>("mac");
        QTest::addColumn<bool>("isMono");
        QTest::addColumn<QString>("program");
        QTest::newRow("Linux") << false << false
                               << "Engine/4.3-stable/Godot_v4.3-stable_linux.x86_64";
        QTest::newRow("Linux, C#") << false << true
                                   << "Engine/4.3-stable-mono/Godot_v4.3-stable_mono_linux_x86_64/"
                                      "Godot_v4.3-stable_mono_linux.x86_64";
        QTest::newRow("macOS") << true << false
                               << "Engine/4.3-stable/Godot.app/Contents/MacOS/Godot";
        QTest::newRow("macOS, C#")
            << true << true << "Engine/4.3-stable-mono/Godot_mono.app/Contents/MacOS/Godot";
    }

    void buildsAreInstalled()
    {
        QFETCH(bool, mac);
        QFETCH(bool, isMono);
        QFETCH(QString, program);
        Setup setup(mac);
        const EngineSpec spec{version, isMono};
        setup.offer(spec);
        setup.platform.quarantineStep.program = QStringLiteral("/no/such/tool");
        EngineManager engines = setup.manager();
        QVERIFY(!engines.binary(spec));
        writeProgram(spec.folder(setup.root()) + QStringLiteral("/old"), "old");
        const QString expected = setup.root() + QLatin1Char('/') + program;
        QCOMPARE(await(setup.install(engines, spec)), expected);
        QCOMPARE(engines.binary(spec), std::optional(expected));
        QVERIFY(!engines.binary(EngineSpec{version, !isMono}));
        QVERIFY(!QFileInfo::exists(spec.folder(setup.root()) + QStringLiteral("/old")));
        QCOMPARE(setup.status, (QStringList{QStringLiteral("Checking the download"),
                                            QStringLiteral("Unpacking the engine")}));
        QCOMPARE(setup.log,
                 (QStringList{QStringLiteral("Checksum (SHA-512) matches the official list."),
                              QStringLiteral("Removing the macOS quarantine flag from the engine: "
                                             "it is a program downloaded from the internet, and "
                                             "without this macOS may block it or keep asking about "
                                             "it.")}));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void theQuarantineFlagIsCleared()
    {
        Setup setup(true);
        const QString record = setup.folder.filePath(QStringLiteral("record"));
        const QString tool = setup.folder.filePath(QStringLiteral("xattr"));
        writeProgram(tool,
                     "#!/bin/sh\nprintf '%s\\n' \"$@\" > '" + record.toUtf8() + "'\nexit 1\n");
        QCOMPARE(setup.platform.quarantineStep.program, QStringLiteral("/usr/bin/xattr"));
        setup.platform.quarantineStep.program = tool;
        setup.offer(standard);
        EngineManager engines = setup.manager();
        await(setup.install(engines, standard));
        QCOMPARE(read(record),
                 "-dr\ncom.apple.quarantine\n" + standard.folder(setup.root()).toUtf8() + '\n');
    }

    void listsAreReadInBothForms_data()
    {
        QTest::addColumn<QByteArray>("list");
        QTest::addColumn<bool>("matches");
        const QByteArray name = "Godot_v4.3-stable_linux.x86_64.zip";
        const QByteArray other = "Godot_v4.3-stable_mono_linux_x86_64.zip";
        const QByteArray wrong(128, 'a');
        QTest::newRow("two blanks") << QByteArray("{digest}  " + name + "\n") << true;
        QTest::newRow("asterisk, upper case") << QByteArray("{DIGEST} *" + name) << true;
        QTest::newRow("line ends of another system")
            << QByteArray(wrong + "  x\r\n{digest}  " + name + "\r\n") << true;
        QTest::newRow("the later of two")
            << QByteArray(wrong + "  " + name + "\n{digest}  " + name) << true;
        QTest::newRow("the earlier of two")
            << QByteArray("{digest}  " + name + "\n" + wrong + "  " + name) << false;
        QTest::newRow("invalid bytes elsewhere")
            << QByteArray("\xff\xfe\n{digest}  " + name) << true;
        QTest::newRow("only the other build") << QByteArray("{digest}  " + other) << false;
        QTest::newRow("other case") << QByteArray("{digest}  " + name.toLower()) << false;
        QTest::newRow("a tab between") << QByteArray("{digest}\t" + name) << false;
        QTest::newRow("a tab for a blank") << QByteArray("{digest} \t" + name) << false;
        QTest::newRow("name alone") << name << false;
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("a page") << QByteArray("<html><body>Hello</body></html>") << false;
    }

    void listsAreReadInBothForms()
    {
        QFETCH(QByteArray, list);
        QFETCH(bool, matches);
        Setup setup;
        setup.offer(standard);
        const QByteArray digest = digestOf(setup.archive(standard));
        list.replace("{digest}", digest);
        list.replace("{DIGEST}", digest.toUpper());
        setup.offerList(list);
        QCOMPARE(!setup.failure(standard).has_value(), matches);
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aBuildThatIsNotListed_data()
    {
        QTest::addColumn<bool>("wantsMono");
        QTest::newRow("standard") << false;
        QTest::newRow("mono") << true;
    }

    void aBuildThatIsNotListed()
    {
        QFETCH(bool, wantsMono);
        Setup setup;
        setup.offer(wantsMono ? standard : mono);
        const EngineSpec wanted = wantsMono ? mono : standard;
        QCOMPARE(setup.failure(wanted),
                 std::optional(QStringLiteral("The official checksum list has no entry for %1.")
                                   .arg(wanted.zipName(setup.platform))));
        QCOMPARE(setup.server.requests().size(), 1);
    }

    void aReleaseThatIsNotThere()
    {
        Setup setup;
        QCOMPARE(setup.failure({QStringLiteral("4.9-stable"), false}),
                 std::optional(QStringLiteral("Godot 4.9-stable was not found on the official "
                                              "download page (status 404).")));
        QCOMPARE(setup.server.requests(),
                 QList<QByteArray>{"/godotengine/godot-builds/releases/download/4.9-stable/"
                                   "SHA512-SUMS.txt"});
    }

    void aTamperedArchiveIsThrownAway()
    {
        Setup setup;
        setup.offer(standard);
        setup.server.put(Setup::target(standard.zipName(setup.platform)),
                         setup.archive(standard, "#!/bin/sh\necho other\n"));
        QCOMPARE(setup.failure(standard),
                 std::optional(QStringLiteral("The engine download did not match its official "
                                              "checksum, so it was thrown away. Please try "
                                              "again.")));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
        QVERIFY(!QFileInfo::exists(setup.root()));
    }

    void anArchiveWithoutTheProgram()
    {
        Setup setup;
        const QString name = standard.zipName(setup.platform);
        const QByteArray bytes = setup.archive(mono);
        setup.server.put(Setup::target(name), bytes);
        setup.offerList(digestOf(bytes) + "  " + name.toUtf8());
        QCOMPARE(setup.failure(standard),
                 std::optional(QStringLiteral("The Godot engine was unpacked but its program was "
                                              "not found inside.")));
    }

    void aBadAddress_data()
    {
        QTest::addColumn<QString>("tag");
        QTest::newRow("way out") << QStringLiteral("../../4.3-stable");
        QTest::newRow("empty") << QString();
    }

    void aBadAddress()
    {
        QFETCH(QString, tag);
        Setup setup;
        QCOMPARE(setup.failure({tag, false}),
                 std::optional(QStringLiteral("Internal error: bad engine address.")));
        QVERIFY(setup.server.requests().isEmpty());
    }

    void aDownloadThatFails()
    {
        Setup setup;
        setup.offerList(QByteArray(128, '0') + "  " + standard.zipName(setup.platform).toUtf8());
        QCOMPARE(setup.failure(standard),
                 std::optional(QStringLiteral("The server answered with status 404 for "
                                              "127.0.0.1.")));
        QVERIFY(Files::names(setup.temporary()).isEmpty());
    }

    void aListThatIsTooLong()
    {
        Setup setup;
        setup.offerList(QByteArray(1024 * 1024 + 1, 'x'));
        QVERIFY(setup.failure(standard));
        QCOMPARE(setup.server.requests().size(), 1);
    }

    void aProgramIsAnExecutableFile()
    {
        Setup setup(true);
        const QString program =
            standard.folder(setup.root()) + QStringLiteral("/Godot.app/Contents/MacOS/Godot");
        QVERIFY(QDir().mkpath(program));
        QVERIFY(!setup.manager().binary(standard));
        QVERIFY(QDir().rmdir(program));
        writeProgram(program, "x", false);
        QVERIFY(!setup.manager().binary(standard));
        writeProgram(program, "x", true);
        QCOMPARE(setup.manager().binary(standard), std::optional(program));
    }
};

QTEST_GUILESS_MAIN(TestEngineManager)
#include "tst_enginemanager.moc"
