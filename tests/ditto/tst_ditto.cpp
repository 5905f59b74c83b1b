// The archive tool as it is shipped: what it unpacks, what it refuses, what it leaves behind.

#include "RawZip.h"
#include "Surroundings.h"
#include "ditto/UnpackStatus.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

#include <sys/stat.h>

using namespace brindle;
using ditto::UnpackStatus;

namespace {

constexpr quint32 file644 = RawZip::file644;

Surroundings::Run unpack(const Surroundings &around, const QByteArray &archive)
{
    around.putArchive(archive);
    return around.unpack(QStringLiteral(BRINDLE_DITTO));
}

QByteArray one(const RawZip::Entry &entry)
{
    return RawZip().add({"first.txt", "first", file644}).add(entry).bytes();
}

} // namespace

class TestDitto : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void modesAreOurs()
    {
        const Surroundings around;
        const mode_t before = umask(0077);
        const Surroundings::Run run =
            unpack(around, RawZip().add({"d/f", "x", 0104600}).add({"d/x", "x", 0100711}).bytes());
        umask(before);
        QCOMPARE(run.code, 0);
        const auto mode = [&](const char *name) {
            struct stat found{};
            stat((around.destination() + QLatin1String(name)).toUtf8().constData(), &found);
            return found.st_mode & 07777U;
        };
        QCOMPARE(mode(""), 0755U);
        QCOMPARE(mode("/d"), 0755U);
        QCOMPARE(mode("/d/f"), 0644U);
        QCOMPARE(mode("/d/x"), 0755U);
    }

    void modesCountFromSystemsThatHaveThem_data()
    {
        QTest::addColumn<int>("system");
        QTest::addColumn<bool>("counts");
        QTest::newRow("DOS") << 0 << false;
        QTest::newRow("Unix") << 3 << true;
        QTest::newRow("NTFS") << 10 << false;
        QTest::newRow("macOS") << 19 << true;
    }

    void modesCountFromSystemsThatHaveThem()
    {
        QFETCH(int, system);
        QFETCH(bool, counts);
        const Surroundings around;
        RawZip::Entry program{"program", "x", RawZip::file755};
        program.system = system;
        RawZip::Entry link{"link", "x", RawZip::link777};
        link.system = system;
        QCOMPARE(unpack(around, RawZip().add(program).add(link).bytes()).code, 0);
        const auto at = [&](const char *name) {
            return QFileInfo(around.destination() + QLatin1String(name));
        };
        QCOMPARE(at("/program").isExecutable(), counts);
        QCOMPARE(at("/link").isSymLink(), counts);
        QCOMPARE(at("/link").isFile(), !counts);
    }

    void anEmptyDestinationIsFilled()
    {
        const Surroundings around;
        QDir().mkpath(around.destination());
        QCOMPARE(unpack(around, one({"second", "2", file644})).code, 0);
        QCOMPARE(Surroundings::tree(around.destination()).size(), 2);
        QCOMPARE(around.beside().size(), 2);
    }

    void aFilledDestinationIsLeftAlone()
    {
        const Surroundings around;
        QDir().mkpath(around.destination() + QStringLiteral("/d"));
        const Surroundings::Run run = unpack(around, one({"second", "2", file644}));
        QCOMPARE(run.code, static_cast<int>(UnpackStatus::writeError));
        QVERIFY2(run.errors.contains(around.destination().toUtf8()), run.errors.constData());
        QCOMPARE(Surroundings::tree(around.destination()), QStringList{QStringLiteral("d/")});
    }

    void anOpenArchiveNeedsNoName()
    {
        const Surroundings around;
        around.putArchive(RawZip().add({"other", "1", file644}).bytes());
        QVERIFY(QFile::rename(around.archive(), around.path("parent/other.zip")));
        around.putArchive(one({"second", "2", file644}));
        // Its name is another archive's by then, and its first bytes have been read.
        const auto script =
            QStringLiteral("exec 5<a.zip && head -c 10 <&5 >/dev/null && mv other.zip a.zip && "
                           "exec '%1' -x -k /dev/fd/5 out");
        const Surroundings::Run run =
            around.run(QStringLiteral("sh"),
                       {QStringLiteral("-c"), script.arg(QStringLiteral(BRINDLE_DITTO))});
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.code, 0);
        QCOMPARE(Surroundings::tree(around.destination()).size(), 2);
    }

    void itStartsWithoutAnInput()
    {
        const Surroundings around;
        around.putArchive(one({"second", "2", file644}));
        const auto script = QStringLiteral("exec '%1' -x -k a.zip out <&-");
        QCOMPARE(around
                     .run(QStringLiteral("sh"),
                          {QStringLiteral("-c"), script.arg(QStringLiteral(BRINDLE_DITTO))})
                     .code,
                 0);
    }

    void anInterruptedRunCleansUp()
    {
        const Surroundings around;
        // Poorly packed, so that it takes a while.
        QByteArray noise(60'000'000, Qt::Uninitialized);
        quint32 state = 1;
        for (char &c : noise) {
            state = state * 1664525U + 1013904223U;
            c = static_cast<char>(state >> 24U);
        }
        around.putArchive(RawZip().add({"a", noise, file644}).add({"b", noise, file644}).bytes());
        const QString first = around.destination() + QStringLiteral("/a");
        int code = 0;
        // A run that was done before it could be interrupted tells nothing.
        for (int attempt = 0; code == 0 && attempt < 20; ++attempt) {
            QDir(around.destination()).removeRecursively();
            QProcess process;
            process.start(QStringLiteral(BRINDLE_DITTO),
                          {QStringLiteral("-x"), QStringLiteral("-k"), around.archive(),
                           around.destination()});
            QVERIFY(process.waitForStarted());
            while (process.state() == QProcess::Running && !QFileInfo::exists(first)) {
                process.waitForFinished(1);
            }
            const QString input =
                QFile::symLinkTarget(QStringLiteral("/proc/%1/fd/0").arg(process.processId()));
            process.terminate();
            QVERIFY(process.state() == QProcess::NotRunning || process.waitForFinished());
            code = process.exitCode();
            QCOMPARE(Surroundings::tree(around.destination()).size(), code == 0 ? 2 : 0);
            // Where the system tells: no terminal, and no pipe of the launcher's.
            QVERIFY2(input.isEmpty() || input == QStringLiteral("/dev/null"), qPrintable(input));
        }
        QVERIFY(code != 0);
    }

    void aCommandLineOfAnotherKindIsRefused_data()
    {
        QTest::addColumn<QStringList>("arguments");
        const auto s = [](const char *text) { return QString::fromUtf8(text); };
        QTest::newRow("none") << QStringList();
        QTest::newRow("one short") << QStringList{s("-x"), s("-k"), s("a.zip")};
        QTest::newRow("swapped") << QStringList{s("-k"), s("-x"), s("a.zip"), s("out")};
        QTest::newRow("one more") << QStringList{s("-x"), s("-k"), s("a.zip"), s("out"), s("x")};
    }

    void aCommandLineOfAnotherKindIsRefused()
    {
        QFETCH(QStringList, arguments);
        const Surroundings::Run run = Surroundings().run(QStringLiteral(BRINDLE_DITTO), arguments);
        QCOMPARE(run.code, 1);
        QCOMPARE(run.errors.count('\n'), 1);
    }

    void aDestinationThatCannotBeWritten()
    {
        const Surroundings around;
        QFile file(around.destination());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const Surroundings::Run run = unpack(around, one({"second", "2", file644}));
        QCOMPARE(run.code, static_cast<int>(UnpackStatus::writeError));
        QVERIFY2(run.errors.contains(around.destination().toUtf8()), run.errors.constData());
        QCOMPARE(around.beside().size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestDitto)
#include "tst_ditto.moc"
