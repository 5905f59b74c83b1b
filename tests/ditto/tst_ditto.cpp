// The archive tool as it is shipped: what it unpacks, what it refuses, what it leaves behind.

#include "RawZip.h"

#include <QDir>
#include <QDirIterator>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;

namespace {

constexpr quint32 file644 = 0100644;
constexpr quint32 file755 = 0100755;
constexpr quint32 folder755 = 0040755;
constexpr quint32 link777 = 0120777;

struct Run
{
    int code = -1;
    QByteArray errors;
};

Run runTool(const QString &program, const QStringList &arguments)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8")); // unzip's names
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.waitForFinished(60'000);
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardError()};
}

/// Every entry below a folder, as text: kind, execute bit, content or target.
QStringList tree(const QString &folder)
{
    QStringList entries;
    QDirIterator it(folder, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        const QFileInfo entry(it.next());
        const QString name = QDir(folder).relativeFilePath(entry.filePath());
        const auto path = entry.filePath().toStdString();
        if (entry.isSymLink()) {
            entries << name + QStringLiteral(" -> ") +
                           QString::fromStdString(std::filesystem::read_symlink(path).string());
        } else if (entry.isDir()) {
            entries << name + QLatin1Char('/');
        } else {
            QFile file(entry.filePath());
            const QByteArray content = file.open(QIODevice::ReadOnly) ? file.readAll() : "?";
            entries << name + (entry.isExecutable() ? QStringLiteral("* ") : QStringLiteral(" ")) +
                           QString::fromLatin1(content.toHex());
        }
    }
    entries.sort();
    return entries;
}

struct Setup
{
    Run unpack(const QByteArray &archive)
    {
        QFile file(zip);
        if (!file.open(QIODevice::WriteOnly) || file.write(archive) != archive.size()) {
            return {};
        }
        file.close();
        return unpack();
    }
    Run unpack() const
    {
        return runTool(QStringLiteral(BRINDLE_DITTO),
                       {QStringLiteral("-x"), QStringLiteral("-k"), zip, destination});
    }
    QStringList beside() const
    {
        return QDir(folder.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    }

    QTemporaryDir folder;
    QString zip = folder.filePath(QStringLiteral("a.zip"));
    QString destination = folder.filePath(QStringLiteral("out"));
};

QByteArray one(const RawZip::Entry &entry)
{
    return RawZip().add({"first.txt", "first", file644}).add(entry).bytes();
}

} // namespace

class TestDitto : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unpacksAsOthersDo_data()
    {
        QTest::addColumn<QByteArray>("archive");
        const QByteArray text = QByteArray("brindle ").repeated(5000);
        RawZip repository;
        repository.add({"repo-main/", {}})
            .add({"repo-main/plain.txt", text, 0, true})
            .add({"repo-main/run.sh", "#!/bin/sh\n", file755, true})
            .add({"repo-main/link", "plain.txt", link777})
            .add({"repo-main/addons/empty/", {}})
            .add({"repo-main/na\xc3\xafve/\xf0\x9f\x8e\xae.txt", "game", file644});
        QTest::newRow("repository") << repository.bytes("0123456789abcdef0123456789abcdef01234567");
        RawZip bundle;
        bundle.add({"Godot.app/Contents/MacOS/Godot", QByteArray(300'000, 'x'), file755, true})
            .add({"Godot.app/Contents/A/B", "b", file644})
            .add({"Godot.app/Contents/Current", "A", link777})
            .add({"Godot.app/Contents/Through", "Current/B", link777})
            .add({"Godot.app/Contents/up", "../Contents/./A", link777});
        QTest::newRow("bundle with links") << bundle.bytes();
        QTest::newRow("program")
            << RawZip().add({"Godot_v4.3-stable_linux.x86_64", text, file755, true}).bytes();
        QTest::newRow("empty file") << RawZip().add({"x", {}, file644}).bytes();
        QTest::newRow("empty deflated file") << RawZip().add({"x", {}, file644, true}).bytes();
        QTest::newRow("only a folder") << RawZip().add({"x/", {}, folder755}).bytes();
        QTest::newRow("folder after its content")
            << RawZip().add({"x/y", "y", file644}).add({"x/", {}, folder755}).bytes();
        QTest::newRow("folder without permissions")
            << RawZip().add({"x/", {}, 0040000}).add({"x/y", "y", file644}).bytes();
        QTest::newRow("well packed but small")
            << RawZip().add({"zeros", QByteArray(900'000, 0), file644, true}).bytes();
        QTest::newRow("names that differ in case")
            << RawZip().add({"a", "1", file644}).add({"A", "2", file644}).bytes();
        QTest::newRow("longest name") << RawZip().add({QByteArray(255, 'n'), "n", file644}).bytes();
    }

    void unpacksAsOthersDo()
    {
        QFETCH(QByteArray, archive);
        Setup setup;
        const Run run = setup.unpack(archive);
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.code, 0);
        const QString other = setup.folder.filePath(QStringLiteral("other"));
        runTool(QStringLiteral("unzip"),
                {QStringLiteral("-q"), setup.zip, QStringLiteral("-d"), other});
        std::filesystem::permissions(other.toStdString(), std::filesystem::perms::owner_all);
        QVERIFY(!tree(setup.destination).isEmpty());
        QCOMPARE(tree(setup.destination), tree(other));
        QCOMPARE(setup.beside().size(), 3);
    }

    void modesAreOurs()
    {
        Setup setup;
        const mode_t before = umask(0077);
        const Run run =
            setup.unpack(RawZip().add({"d/f", "x", 0104600}).add({"d/x", "x", 0100711}).bytes());
        umask(before);
        QCOMPARE(run.code, 0);
        const auto mode = [&](const char *name) {
            struct stat found{};
            stat((setup.destination + QLatin1String(name)).toUtf8().constData(), &found);
            return found.st_mode & 07777U;
        };
        QCOMPARE(mode(""), 0755U);
        QCOMPARE(mode("/d"), 0755U);
        QCOMPARE(mode("/d/f"), 0644U);
        QCOMPARE(mode("/d/x"), 0755U);
    }

    void hostileArchivesAreRefused_data()
    {
        QTest::addColumn<QByteArray>("archive");
        QTest::addColumn<QByteArray>("why");
        const auto row = [](const char *name, const RawZip::Entry &entry, const char *why) {
            QTest::newRow(name) << one(entry) << QByteArray(why);
        };
        row("absolute name", {"/etc/x", "x"}, "absolute");
        row("parent", {"../x", "x"}, "relative part");
        row("parent inside", {"a/../../x", "x"}, "relative part");
        row("parent at the end", {"a/..", "x"}, "relative part");
        row("here", {"./x", "x"}, "relative part");
        row("backslash", {"a\\b", "x"}, "backslash");
        row("backslash parent", {"..\\x", "x"}, "backslash");
        row("line feed", {"a\nb", "x"}, "control character");
        row("escape", {"a\x1b[0m", "x"}, "");
        row("delete", {"a\x7f", "x"}, "control character");
        row("empty part", {"a//b", "x"}, "empty part");
        row("only a slash", {"/", {}}, "absolute");
        row("no name", {"", "x"}, "");
        row("name of 256 bytes", {QByteArray(256, 'n'), "x"}, "over-long");
        row("path of 5000 bytes", {QByteArray("ab/").repeated(1700) + 'x', "x"}, "over-long");
        row("not UTF-8", {"caf\xe9", "x", file644, false, -1, -1, -1, -1, 0}, "UTF-8");
        row("surrogate", {"\xed\xa0\x80", "x", file644, false, -1, -1, -1, -1, 0}, "UTF-8");
        row("character device", {"dev", {}, 0020666}, "neither");
        row("block device", {"dev", {}, 0060666}, "neither");
        row("pipe", {"pipe", {}, 0010666}, "neither");
        row("socket", {"socket", {}, 0140777}, "neither");
        row("folder mode, file name", {"x", {}, folder755}, "neither");
        row("file mode, folder name", {"x/", {}, file644}, "neither");
        row("link mode, folder name", {"x/", "y", link777}, "");
        row("folder with content", {"x/", "content"}, "");
        row("encrypted", {"x", "x", file644, false, -1, -1, -1, -1, 0x801}, "");
        row("unknown method", {"x", "x", file644, false, -1, -1, -1, 12}, "method");
        row("unknown method 99", {"x", "x", file644, false, -1, -1, -1, 99}, "");
        row("same name", {"first.txt", "x"}, "");
        row("file and folder", {"first.txt/", {}}, "two entries");
        row("below a file", {"first.txt/x", "x"}, "below a file");
        row("link out", {"l", "../x", link777}, "leads outside");
        row("link far out", {"a/b/l", "../../../x", link777}, "leads outside");
        row("absolute link", {"l", "/etc/passwd", link777}, "leads outside");
        row("link to itself", {"l", "l", link777}, "leads outside");
        row("empty link", {"l", {}, link777}, "link");
        row("endless link", {"l", QByteArray(5000, 'x'), link777}, "link");
        row("link with a zero", {"l", QByteArray("a\0b", 3), link777}, "leads outside");
        row("bad checksum", {"x", "content", file644, false, -1, -1, 1}, "checksum");
        row("bad checksum, deflated", {"x", QByteArray(5000, 'a'), file644, true, -1, -1, 1},
            "checksum");
        row("more than announced", {"x", QByteArray(5000, 'a'), file644, true, 10}, "");
        row("less than announced", {"x", QByteArray(5000, 'a'), file644, true, 6000}, "");
        row("packed size too small", {"x", QByteArray(5000, 'a'), file644, true, -1, 5}, "");
        row("packed size beyond the end", {"x", "abc", file644, false, 900'000, 900'000}, "");
        row("stored sizes disagree", {"x", "abc", file644, false, 2, 3}, "");
        row("not deflated at all", {"x", "\xff\xff\xff\xff", file644, false, 4, 4, -1, 8}, "");
        row("other local name", {"good", "x", file644, false, -1, -1, -1, -1, -1, "evil"}, "");
        row("bomb by ratio", {"x", QByteArray(40'000'000, 0), file644, true}, "too much");
        row("four gigabytes announced", {"x", QByteArray(5000, 'a'), file644, true, 0xFFFFFFFELL},
            "");

        QTest::newRow("through a link")
            << RawZip().add({"l", "d", link777}).add({"l/x", "x", file644}).bytes()
            << QByteArray("below a file or link");
        QTest::newRow("chain of links out") << RawZip()
                                                   .add({"a/b/", {}, folder755})
                                                   .add({"one", "a/b", link777})
                                                   .add({"a/b/two", "../..", link777})
                                                   .add({"out", "one/two/../x", link777})
                                                   .bytes()
                                            << QByteArray("leads outside");
        QTest::newRow("ring of links")
            << RawZip().add({"a", "b", link777}).add({"b", "a", link777}).bytes()
            << QByteArray("leads outside");
        const QByteArray good = one({"second.txt", "second", file644, true});
        QTest::newRow("cut in the directory") << good.chopped(40) << QByteArray("");
        QTest::newRow("cut in the data") << good.left(50) << QByteArray("");
        QTest::newRow("cut at the front") << good.mid(10) << QByteArray("");
        QTest::newRow("no archive") << QByteArray("<html>not found</html>") << QByteArray("");
        QTest::newRow("empty file") << QByteArray() << QByteArray("");
        QByteArray overlapping = RawZip().add({"a", "1", file644}).add({"b", "2", file644}).bytes();
        const auto second = overlapping.lastIndexOf("PK\x01\x02");
        overlapping.replace(second + 42, 4, QByteArray(4, 0));
        QTest::newRow("two records, one place in the file") << overlapping << QByteArray("");
        RawZip many;
        many.add({"first.txt", "first", file644});
        QByteArray lying = many.bytes();
        const auto end = lying.lastIndexOf("PK\x05\x06");
        lying.replace(end + 8, 4, QByteArray("\xff\xff\xff\xff", 4));
        QTest::newRow("lying entry count") << lying << QByteArray("");
    }

    void hostileArchivesAreRefused()
    {
        QFETCH(QByteArray, archive);
        QFETCH(QByteArray, why);
        Setup setup;
        const Run run = setup.unpack(archive);
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.startsWith("ditto: ") && run.errors.count('\n') == 1 &&
                     run.errors.endsWith('\n'),
                 run.errors.constData());
        QVERIFY2(run.errors.contains(why), run.errors.constData());
        QCOMPARE(setup.beside(), QStringList{QStringLiteral("a.zip")});
    }

    void manyEntriesAreNoHarm()
    {
        RawZip zip;
        for (int i = 0; i < 5001; ++i) {
            zip.add(
                {"d" + QByteArray::number(i % 100) + "/f" + QByteArray::number(i), "x", file644});
        }
        Setup setup;
        QCOMPARE(setup.unpack(zip.bytes()).code, 0);
        QCOMPARE(tree(setup.destination).size(), 5101);
    }

    void anEmptyDestinationIsReplacedByOneRename()
    {
        Setup setup;
        QDir().mkpath(setup.destination);
        QCOMPARE(setup.unpack(one({"second", "2", file644})).code, 0);
        QCOMPARE(tree(setup.destination).size(), 2);
        QCOMPARE(setup.beside().size(), 2);
    }

    void aFilledDestinationIsFilledInPlace()
    {
        Setup setup;
        QDir().mkpath(setup.destination + QStringLiteral("/d"));
        const auto put = [&](const char *name) {
            QFile file(setup.destination + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("old");
        };
        put("/d/kept");
        put("/d/replaced");
        QCOMPARE(setup
                     .unpack(RawZip()
                                 .add({"d/replaced", "new", file644})
                                 .add({"d/added", "new", file644})
                                 .bytes())
                     .code,
                 0);
        const QString hexNew = QString::fromLatin1(QByteArray("new").toHex());
        QCOMPARE(
            tree(setup.destination),
            (QStringList{QStringLiteral("d/"), QStringLiteral("d/added ") + hexNew,
                         QStringLiteral("d/kept ") + QString::fromLatin1(QByteArray("old").toHex()),
                         QStringLiteral("d/replaced ") + hexNew}));
        QCOMPARE(setup.beside().size(), 2);
    }

    void aRefusalLeavesAFilledDestinationAlone()
    {
        Setup setup;
        QDir().mkpath(setup.destination + QStringLiteral("/d"));
        const QStringList before = tree(setup.destination);
        QCOMPARE(setup.unpack(one({"../x", "x"})).code, 1);
        QCOMPARE(tree(setup.destination), before);
    }

    void leftoversAreClearedUnlessInUse()
    {
        Setup setup;
        const QString left = setup.folder.filePath(QStringLiteral(".out.unpacking-abcdef"));
        const QString used = setup.folder.filePath(QStringLiteral(".out.unpacking-ghijkl"));
        const QString other = setup.folder.filePath(QStringLiteral(".other.unpacking-abcdef"));
        for (const QString &path : {left, used, other}) {
            QDir().mkpath(path + QStringLiteral("/x"));
        }
        const int lock = ::open(used.toUtf8().constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(flock(lock, LOCK_EX), 0);
        QCOMPARE(setup.unpack(one({"second", "2", file644})).code, 0);
        ::close(lock);
        QVERIFY(!QFileInfo::exists(left));
        QVERIFY(QFileInfo::exists(used));
        QVERIFY(QFileInfo::exists(other));
    }

    void anInterruptedRunCleansUp()
    {
        Setup setup;
        // Poorly packed, so that it takes a while.
        QByteArray noise(60'000'000, Qt::Uninitialized);
        quint32 state = 1;
        for (char &c : noise) {
            state = state * 1664525U + 1013904223U;
            c = static_cast<char>(state >> 24U);
        }
        QFile file(setup.zip);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(RawZip().add({"a", noise, file644}).add({"b", noise, file644}).bytes());
        file.close();
        QProcess process;
        process.start(QStringLiteral(BRINDLE_DITTO),
                      {QStringLiteral("-x"), QStringLiteral("-k"), setup.zip, setup.destination});
        QVERIFY(process.waitForStarted());
        QTRY_VERIFY(setup.beside().size() > 1); // its folder has appeared: it is at work
        process.terminate();
        QVERIFY(process.waitForFinished());
        if (process.exitCode() == 0) {
            QVERIFY2(QFileInfo::exists(setup.destination), "it had finished before the signal");
        } else {
            QCOMPARE(setup.beside(), QStringList{QStringLiteral("a.zip")});
        }
    }

    void aCommandLineOfAnotherKindIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        const auto s = [](const char *text) { return QString::fromUtf8(text); };
        QTest::newRow("none") << QStringList();
        QTest::newRow("one short") << QStringList{s("-x"), s("-k"), s("a.zip")};
        QTest::newRow("swapped") << QStringList{s("-k"), s("-x"), s("a.zip"), s("out")};
        QTest::newRow("one more") << QStringList{s("-x"), s("-k"), s("a.zip"), s("out"), s("x")};
        QTest::newRow("no archive") << QStringList{s("-x"), s("-k"), s("/no/such.zip"), s("/no/x")};
    }

    void aCommandLineOfAnotherKindIsRefused()
    {
        QFETCH(QStringList, arguments);
        const Run run = runTool(QStringLiteral(BRINDLE_DITTO), arguments);
        QCOMPARE(run.code, 1);
        QCOMPARE(run.errors.count('\n'), 1);
    }

    void aDestinationThatCannotBeWritten()
    {
        Setup setup;
        QFile file(setup.destination);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const Run run = setup.unpack(one({"second", "2", file644}));
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.contains(setup.destination.toUtf8()), run.errors.constData());
        QCOMPARE(setup.beside().size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestDitto)
#include "tst_ditto.moc"
