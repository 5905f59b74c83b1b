// Tests the shipped archive tool's modes, destinations and command lines.

#include "RawZip.h"
#include "Surroundings.h"
#include "ditto/UnpackStatus.h"

#include <QDir>
#include <QtTest>

#include <cerrno>
#include <sys/stat.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

constexpr quint32 file644 = RawZip::file644;
const auto tool = QStringLiteral(BRINDLE_DITTO);
const QByteArray twoFiles =
    RawZip({{"first.txt", "first", file644}, {"second", "2", file644}}).bytes();

} // namespace

class TestDitto : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { around_.emplace(); }

    void modesAreOurs()
    {
        const mode_t before = umask(0077);
        const Surroundings::Run run =
            unpack(RawZip({{"d/f", "x", 0104600}, {"d/x", "x", 0100711}}).bytes());
        umask(before);
        QCOMPARE(run.code, 0);
        const auto mode = [&](const char *name) {
            struct stat found{};
            stat((around_->destination() + QLatin1String(name)).toUtf8().constData(), &found);
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
        const auto entry = [system](const char *name, quint32 mode) {
            return RawZip::Entry{.name = name, .content = "x", .mode = mode, .system = system};
        };
        const RawZip zip({entry("program", RawZip::file755), entry("link", RawZip::link777)});
        QCOMPARE(unpack(zip.bytes()).code, 0);
        QCOMPARE(QFileInfo(around_->destination() + u"/program"_s).isExecutable(), counts);
        QCOMPARE(QFileInfo(around_->destination() + u"/link"_s).isSymLink(), counts);
    }

    void anEmptyDestinationIsFilled()
    {
        QDir().mkpath(around_->destination());
        QCOMPARE(unpack(twoFiles).code, 0);
        QCOMPARE(Surroundings::tree(around_->destination()).size(), 2);
        QCOMPARE(around_->beside().size(), 2);
    }

    void aFilledDestinationIsLeftAlone()
    {
        QDir().mkpath(around_->destination() + u"/d"_s);
        const Surroundings::Run run = unpack(twoFiles);
        QCOMPARE(run.code, ditto::destinationFailed + ENOTEMPTY);
        QVERIFY2(run.errors.contains(around_->destination().toUtf8()), run.errors.constData());
        QCOMPARE(Surroundings::tree(around_->destination()), QStringList{u"d/"_s});
    }

    void aDestinationThatIsAFileIsLeftAlone()
    {
        QFile file(around_->destination());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        const Surroundings::Run run = unpack(twoFiles);
        QCOMPARE(run.code, ditto::destinationFailed + EEXIST);
        QVERIFY2(run.errors.contains(around_->destination().toUtf8()), run.errors.constData());
        QCOMPARE(around_->beside().size(), 2);
    }

    void anOpenArchiveNeedsNoName()
    {
        around_->putArchive(RawZip({{"other", "1", file644}}).bytes());
        QVERIFY(QFile::rename(around_->archive(), around_->path("parent/other.zip")));
        around_->putArchive(twoFiles);
        // The script reads the first bytes, then gives the archive's name to another archive.
        const QString script = u"exec 5<a.zip && head -c 10 <&5 >/dev/null && mv other.zip a.zip &&"
                               " exec '%1' -x -k /dev/fd/5 out"_s.arg(tool);
        const Surroundings::Run run = around_->run(u"sh"_s, {u"-c"_s, script});
        QCOMPARE(run.errors, QByteArray());
        QCOMPARE(run.code, 0);
        QCOMPARE(Surroundings::tree(around_->destination()).size(), 2);
    }

    void otherCommandLinesAreRefused_data()
    {
        QTest::addColumn<QString>("arguments");
        QTest::newRow("none") << QString();
        QTest::newRow("one short") << u"-x -k a.zip"_s;
        QTest::newRow("swapped") << u"-k -x a.zip out"_s;
        QTest::newRow("one more") << u"-x -k a.zip out x"_s;
    }
    void otherCommandLinesAreRefused()
    {
        QFETCH(QString, arguments);
        const Surroundings::Run run = around_->run(tool, arguments.split(u' ', Qt::SkipEmptyParts));
        QCOMPARE(run.code, 1);
        QCOMPARE(run.errors.count('\n'), 1);
    }

private:
    Surroundings::Run unpack(const QByteArray &archive) const
    {
        around_->putArchive(archive);
        return around_->unpack(tool);
    }

    std::optional<Surroundings> around_;
};

QTEST_GUILESS_MAIN(TestDitto)
#include "tst_ditto.moc"
