// Tests which engine a project needs, and the engine's installation.

#include "base/Error.h"
#include "demo/EngineArchive.h"
#include "engine/EngineManager.h"
#include "files/Files.h"
#include "http/HttpServer.h"
#include "support/CutFile.h"
#include "support/TestFiles.h"
#include "support/Thrown.h"
#include "support/WorkerHold.h"

#include <QCryptographicHash>
#include <QTemporaryDir>
#include <QtTest>

#include <atomic>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const EngineSpec standard{u"4.3-stable"_s, false};
const EngineSpec mono{u"4.3-stable"_s, true};
const QByteArray release = "/godotengine/godot-builds/releases/download/4.3-stable/";
const QByteArray listTarget = release + "SHA512-SUMS.txt";
const QByteArray macZip = "Godot_v4.3-stable_macos.universal.zip";
const QByteArray archive = "the stand-in tools never look inside";

QByteArray digestOf(const QByteArray &bytes)
{
    return QCryptographicHash::hash(bytes, QCryptographicHash::Sha512).toHex();
}

/// A manager with folders of its own, and a server that offers a release. On macOS's row the tools
/// are scripts that log their calls; on Linux's row the archive tool is real.
struct Setup
{
    using Answer = std::function<void(const HttpRequest &, HttpConnection &)>;

    explicit Setup(bool isMac = true)
        : platform(isMac ? Platform::macOS(folder.path())
                         : Platform::linuxDesktop(folder.path(), u"x86_64"_s, QString()))
    {
        Files::createFolder(temporary());
        platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
        if (isMac) {
            platform.archiveTool = path(u"ditto"_s);
            platform.quarantineStep.program = path(u"xattr"_s);
            setArchiveTool("mkdir -p \"$4/Godot.app/Contents/MacOS\"\n"
                           "echo '#!/bin/sh' > \"$4/Godot.app/Contents/MacOS/Godot\"\n"
                           "chmod 755 \"$4/Godot.app/Contents/MacOS/Godot\"");
            setQuarantineTool("");
            put(listTarget, digestOf(archive) + "  " + macZip + '\n');
            put(release + macZip, archive);
        }
    }

    QString path(const QString &name) const { return folder.filePath(name); }
    QString root() const { return path(u"root"_s); }
    QString temporary() const { return path(u"tmp"_s); }
    /// Returns the engine's program on macOS's row.
    QString program() const
    {
        return standard.folder(root()) + u"/Godot.app/Contents/MacOS/Godot"_s;
    }
    QString staged() const
    {
        WorkerHold().open(); // waits for the deletion
        return Files::names(temporary()).join(u' ');
    }

    void setArchiveTool(const QByteArray &script) const
    {
        writeScript(platform.archiveTool, "echo ditto $1 $2 >> '" + record() + "'\n" + script);
    }
    void setQuarantineTool(const QByteArray &script) const
    {
        writeScript(platform.quarantineStep.program,
                    "echo xattr $1 $2 \"${3##*/}\" >> '" + record() + "'\n" + script);
    }
    QByteArray record() const { return path(u"record"_s).toUtf8(); }
    QByteArray recorded() const { return readFile(path(u"record"_s)); }

    void put(const QByteArray &target, const QByteArray &body)
    {
        answers[target] = [body](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {}, body);
        };
    }
    /// Returns the archive of a build as the release page has it.
    QByteArray packed(const EngineSpec &spec) const
    {
        return EngineArchive::pack("#!/bin/sh\n", platform, spec.version, spec.mono);
    }
    void offer(const EngineSpec &spec, const QByteArray &bytes)
    {
        const QByteArray name = spec.zipName(platform).toUtf8();
        put(release + name, bytes);
        put(listTarget, digestOf(bytes) + "  " + name + '\n');
    }

    EngineManager manager() const
    {
        return EngineManager({server.url(), root(), temporary(), platform});
    }
    QString install(const EngineSpec &spec = standard)
    {
        EngineManager engines = manager();
        return await(task(engines, spec));
    }
    std::optional<QString> failure(const EngineSpec &spec = standard)
    {
        EngineManager engines = manager();
        return thrownBy(task(engines, spec));
    }
    QCoro::Task<QString> task(EngineManager &engines, const EngineSpec &spec)
    {
        const auto onStatus = [this](const QString &text) {
            status << text;
            if (atStatus) {
                atStatus(text);
            }
        };
        return engines.install(
            spec, progress, onStatus, [this](const QString &text) { log << text; },
            stop.get_token());
    }

    QTemporaryDir folder;
    Platform platform;
    QMap<QByteArray, Answer> answers;
    std::stop_source stop;
    ProgressCallback progress = [](qint64, qint64, double) {};
    std::function<void(QString)> atStatus;
    QStringList status;
    QStringList log;
    HttpServer server{[this](const HttpRequest &request, HttpConnection &connection) {
        if (const Answer answer = answers.value(request.target)) {
            answer(request, connection);
        } else {
            connection.respond(404, {}, {});
        }
    }};
};

} // namespace

class TestEngineManager : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void projectsPickTheirEngine_data()
    {
        QTest::addColumn<qint64>("configVersion");
        QTest::addColumn<QString>("godotVersion"); // empty for a project without one
        QTest::addColumn<bool>("usesCSharp");
        QTest::addColumn<QString>("result"); // the tag or the message
        const QString old = u"This game was made with Godot 3 (config_version %1). This app only "
                            "runs Godot 4 games."_s;
        QTest::newRow("standard") << qint64(5) << "4.3" << false << "4.3-stable";
        QTest::newRow("patch") << qint64(5) << "4.2.2" << false << "4.2.2-stable";
        QTest::newRow("C#") << qint64(5) << "4.3" << true << "4.3-stable-mono";
        QTest::newRow("later format") << qint64(6) << "5.0" << false << "5.0-stable";
        QTest::newRow("no version")
            << qint64(5) << "" << false
            << "The game's project.godot does not say which Godot version it needs.";
        for (const qint64 version : {4, 0}) {
            QTest::addRow("format %lld", version) << version << "4.3" << false << old.arg(version);
        }
        QTest::newRow("old format, no version") << qint64(4) << "" << false << old.arg(4);
    }
    void projectsPickTheirEngine()
    {
        QFETCH(const qint64, configVersion);
        QFETCH(const QString, godotVersion);
        QFETCH(const bool, usesCSharp);
        ProjectInfo info;
        info.configVersion = configVersion;
        info.godotVersion = godotVersion.isEmpty() ? std::nullopt : std::optional(godotVersion);
        info.usesCSharp = usesCSharp;
        QString result;
        try {
            result = EngineManager::spec(info).tag();
        } catch (const SetupError &error) {
            result = error.message;
        }
        QTEST(result, "result");
    }

    void buildsAreInstalled_data()
    {
        QTest::addColumn<bool>("isMac");
        QTest::addColumn<bool>("isMono");
        QTest::addColumn<QString>("program");
        QTest::newRow("Linux") << false << false << "4.3-stable/Godot_v4.3-stable_linux.x86_64";
        QTest::newRow("Linux, C#") << false << true
                                   << "4.3-stable-mono/Godot_v4.3-stable_mono_linux_x86_64/"
                                      "Godot_v4.3-stable_mono_linux.x86_64";
        QTest::newRow("macOS") << true << false << "4.3-stable/Godot.app/Contents/MacOS/Godot";
        QTest::newRow("macOS, C#")
            << true << true << "4.3-stable-mono/Godot_mono.app/Contents/MacOS/Godot";
    }
    void buildsAreInstalled()
    {
        QFETCH(const bool, isMac);
        QFETCH(const bool, isMono);
        QFETCH(const QString, program);
        Setup setup(isMac);
        setup.platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
        const EngineSpec spec{standard.version, isMono};
        setup.offer(spec, setup.packed(spec));
        writeFile(spec.folder(setup.root()) + u"/old"_s, "old");
        QVERIFY(!setup.manager().binary(spec));
        const QString expected = setup.root() + u"/Engine/"_s + program;
        QCOMPARE(setup.install(spec), expected);
        QCOMPARE(setup.manager().binary(spec), std::optional(expected));
        QVERIFY(!setup.manager().binary({standard.version, !isMono}));
        QVERIFY(!QFileInfo::exists(spec.folder(setup.root()) + u"/old"_s));
        QCOMPARE(setup.staged(), QString());
    }

    void theStepsComeInOrder_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("as usual") << QByteArray();
        QTest::newRow("quarantine tool fails") << QByteArray("exit 1");
        QTest::newRow("no quarantine tool") << QByteArray("none");
    }
    void theStepsComeInOrder()
    {
        QFETCH(const QByteArray, script);
        Setup setup;
        QCOMPARE(Platform::macOS(QString()).quarantineStep.program, u"/usr/bin/xattr"_s);
        std::atomic<qint64> most = 0;
        setup.progress = [&](qint64 done, qint64 total, double) {
            most = total == archive.size() ? done : -1;
        };
        setup.setQuarantineTool(script);
        const bool hasTool = script != "none";
        if (!hasTool) {
            setup.platform.quarantineStep.program = u"/no/such/tool"_s;
        }
        QCOMPARE(setup.install(), setup.program());
        QCOMPARE(setup.status,
                 (QStringList{u"Checking the download"_s, u"Unpacking the engine"_s}));
        QCOMPARE(setup.log,
                 (QStringList{u"Checksum (SHA-512) matches the official list."_s,
                              u"Removing the macOS quarantine flag from the engine: it is a "
                              "program downloaded from the internet, and without this macOS may "
                              "block it or keep asking about it."_s}));
        QByteArray calls = "ditto -x -k\n";
        calls += hasTool ? "xattr -dr com.apple.quarantine 4.3-stable\n" : "";
        QCOMPARE(setup.recorded(), calls);
        QCOMPARE(most.load(), qint64(archive.size()));
        QCOMPARE(setup.staged(), QString());
    }

    void bothFormsOfAListAreRead_data()
    {
        QTest::addColumn<QByteArray>("list");
        QTest::addColumn<QString>("digest"); // empty for a list without one
        const auto row = [](const char *name, const QByteArray &list, const char *digest) {
            QTest::newRow(name) << list << QString::fromLatin1(digest);
        };
        row("two blanks", "abc  n.zip\n", "abc");
        row("asterisk, upper case", "ABC *n.zip", "abc");
        row("other lines", "d  x\r\nabc  n.zip\r\nd  y\r\n", "abc");
        row("the later of two", "d  n.zip\nabc  n.zip", "abc");
        row("text behind", "abc  n.zip and more", "abc");
        row("invalid bytes elsewhere", "\xff\xfe\nabc  n.zip", "abc");
        row("another name", "abc  n.zip2\nabc  xn.zip", "");
        row("a tab between", "abc\tn.zip", "");
        row("a tab for a blank", "abc \tn.zip", "");
        row("name in front", "n.zip  abc", "");
        row("a page", "<html><body>Hello</body></html>", "");
    }
    void bothFormsOfAListAreRead()
    {
        QFETCH(const QByteArray, list);
        QTEST(EngineManager::publishedDigest(list, u"n.zip"_s).value_or(QString()), "digest");
    }

    void onlyAnAnsweredListCounts()
    {
        for (const int status : {204, 404}) {
            Setup setup;
            setup.answers[listTarget] = [status](const HttpRequest &, HttpConnection &connection) {
                connection.respond(status, {}, {});
            };
            QCOMPARE(setup.failure(),
                     u"Godot 4.3-stable was not found on the official download page "
                     "(status %1)."_s.arg(status));
            QCOMPARE(setup.server.requestCount(), 1);
        }
    }

    void badListsEndTheInstall()
    {
        Setup setup;
        for (const EngineSpec &listed : {standard, mono}) {
            const EngineSpec wanted{standard.version, !listed.mono};
            setup.put(listTarget, "abc  " + listed.zipName(setup.platform).toUtf8());
            QCOMPARE(setup.failure(wanted),
                     u"The official checksum list has no entry for %1."_s.arg(
                         wanted.zipName(setup.platform)));
        }
        setup.put(listTarget, QByteArray(1024 * 1024 + 1, 'x'));
        QCOMPARE(setup.failure(), u"The download from 127.0.0.1 is larger than the 1 MB that this "
                                  "app accepts, so it was stopped."_s);
        QCOMPARE(setup.server.requestCount(release + macZip), 0);
    }

    void aBadAddressIsNotAsked()
    {
        const Setup setup;
        EngineManager engines(
            {QUrl(u"http://"_s), setup.root(), setup.temporary(), setup.platform});
        QCOMPARE(thrownBy(engines.install(standard, {}, {}, {}, {})),
                 u"Internal error: bad engine address."_s);
    }

    void theInstalledBuildStaysUntilTheArchiveIsChecked_data()
    {
        using Fault = std::function<void(Setup &)>;
        QTest::addColumn<Fault>("fault");
        QTest::addColumn<QString>("message"); // empty for a cancellation
        QTest::addColumn<bool>("isChecked");
        const auto row = [](const char *name, const Fault &fault, const QString &message,
                            bool isChecked = false) {
            QTest::newRow(name) << fault << message << isChecked;
        };
        row(
            "refused", [](Setup &setup) { setup.answers.remove(release + macZip); },
            u"The server answered with status 404 for 127.0.0.1."_s);
        row(
            "too large",
            [](Setup &setup) {
                setup.answers[release + macZip] = [](const HttpRequest &,
                                                     HttpConnection &connection) {
                    connection.write("HTTP/1.1 200 OK\r\nContent-Length: 3000000000\r\n\r\nx");
                    connection.waitUntilClosed();
                };
            },
            u"The download from 127.0.0.1 is larger than the 2.15 GB that this app accepts, so it "
            "was stopped."_s);
        row(
            "tampered", [](Setup &setup) { setup.put(release + macZip, "something else"); },
            u"The engine download did not match its official checksum, so it was thrown away. "
            "Please try again."_s,
            true);
        row(
            "cancelled at the check",
            [](Setup &setup) {
                setup.atStatus = [&](const QString &) { setup.stop.request_stop(); };
            },
            {}, true);
    }
    void theInstalledBuildStaysUntilTheArchiveIsChecked()
    {
        QFETCH(const std::function<void(Setup &)>, fault);
        QFETCH(const QString, message);
        Setup setup;
        writeScript(setup.program(), "");
        fault(setup);
        EngineManager engines = setup.manager();
        if (message.isEmpty()) {
            QVERIFY(endsCancelled(setup.task(engines, standard)));
        } else {
            QCOMPARE(thrownBy(setup.task(engines, standard)), message);
        }
        QCOMPARE(engines.binary(standard), std::optional(setup.program()));
        QCOMPARE(setup.recorded(), QByteArray());
        QCOMPARE(setup.staged(), QString());
        QTEST(setup.status.contains(u"Checking the download"_s), "isChecked");
    }

    void theCheckedFileIsUnpacked_data()
    {
        QTest::addColumn<QString>("moment");
        QTest::newRow("before the check") << u"Checking the download"_s;
        QTest::newRow("after the check") << u"Unpacking the engine"_s;
    }
    /// Another archive replaces the downloaded one at its path.
    void theCheckedFileIsUnpacked()
    {
        QFETCH(const QString, moment);
        Setup setup;
        const QString unpacked = setup.path(u"unpacked"_s);
        setup.setArchiveTool("cat \"$3\" > '" + unpacked.toUtf8() + "'\nexit 9");
        setup.atStatus = [&](const QString &text) {
            if (text == moment) {
                const QString zip = setup.temporary() + u'/' + setup.staged() + u"/godot.zip"_s;
                QVERIFY(QFile::remove(zip));
                writeFile(zip, "not checked");
            }
        };
        QVERIFY(setup.failure());
        QCOMPARE(readFile(unpacked), archive);
    }

    void aBrokenDownloadIsHashedRight_data()
    {
        QTest::addColumn<bool>("servesRanges");
        QTest::newRow("goes on") << true;
        QTest::newRow("begins anew") << false;
    }
    void aBrokenDownloadIsHashedRight()
    {
        QFETCH(const bool, servesRanges);
        Setup setup;
        CutFile file(archive, {10, 5});
        setup.answers[release + macZip] = [&](HttpRequest request, HttpConnection &connection) {
            if (!servesRanges) {
                request.headers.remove("range");
            }
            file.answer(request, connection);
        };
        QCOMPARE(setup.install(), setup.program());
        QCOMPARE(file.requests().size(), 3);
    }

    void aFailedUnpackingLeavesNoEngine()
    {
        Setup setup;
        writeScript(setup.program(), "");
        setup.setArchiveTool("exit 3");
        QCOMPARE(setup.failure(),
                 u"Unzipping failed (ditto exit code 3). The download may be damaged."_s);
        QVERIFY(!setup.manager().binary(standard));
        QCOMPARE(setup.recorded(), QByteArray("ditto -x -k\n"));

        Setup other(false);
        other.offer(standard, other.packed(mono));
        QCOMPARE(other.failure(),
                 u"The Godot engine was unpacked but its program was not found inside."_s);
    }

    void programsAreFoundInBundles()
    {
        const Setup setup;
        const EngineManager engines = setup.manager();
        const auto inside = [&](const QString &bundle) {
            return standard.folder(setup.root()) + u'/' + bundle + u"/Contents/MacOS/Godot"_s;
        };
        QVERIFY(!engines.binary(standard));
        for (const QString &bundle : {u"Godot"_s, u"Godot.app.old"_s, u"Godot.APP"_s}) {
            writeScript(inside(bundle), "");
        }
        QVERIFY(QDir().mkpath(inside(u"A.app"_s)));
        writeFile(inside(u"B.app"_s), "not executable");
        QVERIFY(!engines.binary(standard));
        writeScript(inside(u"C.app"_s), "");
        QCOMPARE(engines.binary(standard), std::optional(inside(u"C.app"_s)));
        QVERIFY(!engines.binary(mono));
    }
};

QTEST_GUILESS_MAIN(TestEngineManager)
#include "tst_enginemanager.moc"
