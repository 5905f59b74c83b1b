// Tests that the archive tool's exit status blames the right side: archive or destination.

#include "RawZip.h"
#include "Surroundings.h"
#include "ditto/UnpackStatus.h"

#include <QDir>
#include <QtTest>

#include <cerrno>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const auto program = QStringLiteral(BRINDLE_DITTO);

} // namespace

class TestUnpackStatus : public QObject
{
    Q_OBJECT

    std::optional<Surroundings> around_;

    /// Runs the tool so that one of its system calls fails with the error `number`.
    Surroundings::Run unpackWith(const char *fault, int number) const
    {
        return around_->run(QStringLiteral(BRINDLE_FAILING),
                            {QString::fromLatin1(fault), QString::number(number), program, u"-x"_s,
                             u"-k"_s, around_->archive(), around_->destination()});
    }
    void verifyBlames(const Surroundings::Run &run, int status, int number) const
    {
        QCOMPARE(run.code, status);
        QVERIFY2(run.errors.startsWith("ditto: ") && run.errors.count('\n') == 1 &&
                     run.errors.contains(std::strerror(number)),
                 run.errors.constData());
        QCOMPARE(Surroundings::tree(around_->destination()), QStringList());
    }

private Q_SLOTS:
    void init() { around_.emplace(); }

    void callsThatFail_data()
    {
        QTest::addColumn<QByteArray>("fault");
        QTest::addColumn<int>("number");
        QTest::addColumn<int>("status");
        const auto row = [](const char *fault, int number, int status = 0) {
            QTest::addRow("%s: %s", fault, std::strerror(number))
                << QByteArray(fault) << number
                << (status == 0 ? ditto::destinationFailed + number : status);
        };
        row("folder", EACCES);
        row("folder", EROFS);
        row("create", ENOSPC);
        row("create", ENAMETOOLONG);
        row("create", EINVAL); // a name that the disk rejects
        row("write", EDQUOT);
        row("write", EFBIG);
        row("write", EKEYEXPIRED); // the highest errno that fits into a status
        row("write", EKEYREVOKED, 255);
        row("link", EPERM);
    }
    void callsThatFail()
    {
        QFETCH(const QByteArray, fault);
        QFETCH(const int, number);
        QFETCH(const int, status);
        // The file needs several calls of write.
        const RawZip zip({{"d/", {}},
                          {"d/f", QByteArray(100'000, 'x'), RawZip::file644},
                          {"l", "d", RawZip::link777}});
        around_->putArchive(zip.bytes());
        verifyBlames(unpackWith(fault.constData(), number), status, number);
    }

    /// Some disks treat two names as one, so the name is already taken.
    void aNameThatIsTaken()
    {
        around_->putArchive(RawZip({{"x", "x", RawZip::file644}}).bytes());
        const Surroundings::Run run = unpackWith("create", EEXIST);
        QCOMPARE(run.code, 1);
        QVERIFY2(run.errors.contains("two entries for one place"), run.errors.constData());
    }

    void anArchiveThatCannotBeOpened()
    {
        verifyBlames(around_->unpack(program), 1, ENOENT);
        QVERIFY(QDir().mkpath(around_->archive()));
        verifyBlames(around_->unpack(program), 1, ENODEV);
    }

    void writeBackBeginsEarly()
    {
        // The tool reads stored bytes in pieces, each smaller than one write-back.
        const RawZip zip({{"x", QByteArray(2 << 20, 'x'), RawZip::file644}});
        around_->putArchive(zip.bytes());
        QCOMPARE(unpackWith("write-back", 0).code, -1);
        around_->clear();
        // Not every file system supports an early write-back.
        QCOMPARE(unpackWith("write-back", EINVAL).code, 0);
    }
};

QTEST_GUILESS_MAIN(TestUnpackStatus)
#include "tst_unpackstatus.moc"
