// The archive tool as it is shipped: what it unpacks, what it refuses, what it leaves behind.

#include "RawZip.h"
#include "Surroundings.h"

#include <QDir>
#include <QProcess>
#include <QtTest>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;

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

    void anEmptyDestinationIsReplacedByOneRename()
    {
        const Surroundings around;
        QDir().mkpath(around.destination());
        QCOMPARE(unpack(around, one({"second", "2", file644})).code, 0);
        QCOMPARE(Surroundings::tree(around.destination()).size(), 2);
        QCOMPARE(around.beside().size(), 2);
    }

    void aFilledDestinationIsFilledInPlace()
    {
        const Surroundings around;
        QDir().mkpath(around.destination() + QStringLiteral("/d"));
        const auto put = [&](const char *name) {
            QFile file(around.destination() + QLatin1String(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write("old");
        };
        put("/d/kept");
        put("/d/replaced");
        QCOMPARE(unpack(around, RawZip()
                                    .add({"d/replaced", "new", file644})
                                    .add({"d/added", "new", file644})
                                    .bytes())
                     .code,
                 0);
        const QString hexNew = QString::fromLatin1(QByteArray("new").toHex());
        QCOMPARE(
            Surroundings::tree(around.destination()),
            (QStringList{QStringLiteral("d/"), QStringLiteral("d/added ") + hexNew,
                         QStringLiteral("d/kept ") + QString::fromLatin1(QByteArray("old").toHex()),
                         QStringLiteral("d/replaced ") + hexNew}));
        QCOMPARE(around.beside().size(), 2);
    }

    void aRefusalLeavesAFilledDestinationAlone()
    {
        const Surroundings around;
        QDir().mkpath(around.destination() + QStringLiteral("/d"));
        const QStringList before = Surroundings::tree(around.destination());
        QCOMPARE(unpack(around, one({"../x", "x"})).code, 1);
        QCOMPARE(Surroundings::tree(around.destination()), before);
    }

    void leftoversAreClearedUnlessInUse()
    {
        const Surroundings around;
        const QString left = around.path("parent/.out.unpacking-abcdef");
        const QString used = around.path("parent/.out.unpacking-ghijkl");
        const QString other = around.path("parent/.other.unpacking-abcdef");
        for (const QString &path : {left, used, other}) {
            QDir().mkpath(path + QStringLiteral("/x"));
        }
        const int lock = ::open(used.toUtf8().constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        QCOMPARE(flock(lock, LOCK_EX), 0);
        QCOMPARE(unpack(around, one({"second", "2", file644})).code, 0);
        ::close(lock);
        QVERIFY(!QFileInfo::exists(left));
        QVERIFY(QFileInfo::exists(used));
        QVERIFY(QFileInfo::exists(other));
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
        QFile file(around.archive());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(RawZip().add({"a", noise, file644}).add({"b", noise, file644}).bytes());
        file.close();
        QProcess process;
        process.start(QStringLiteral(BRINDLE_DITTO), {QStringLiteral("-x"), QStringLiteral("-k"),
                                                      around.archive(), around.destination()});
        QVERIFY(process.waitForStarted());
        QTRY_VERIFY(around.beside().size() > 1); // its folder has appeared: it is at work
        process.terminate();
        QVERIFY(process.waitForFinished());
        if (process.exitCode() == 0) {
            QVERIFY2(QFileInfo::exists(around.destination()), "it had finished before the signal");
        } else {
            QCOMPARE(around.beside(), QStringList{QStringLiteral("a.zip")});
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
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.contains(around.destination().toUtf8()), run.errors.constData());
        QCOMPARE(around.beside().size(), 2);
    }
};

QTEST_GUILESS_MAIN(TestDitto)
#include "tst_ditto.moc"
