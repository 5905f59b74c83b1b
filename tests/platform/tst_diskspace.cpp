// What is asked of the system to keep room for a file, and which answers are failures; the system's
// own call is replaced.

#include "platform/Disk.h"

#include <QtTest>

#include <cerrno>
#include <fcntl.h>

using namespace brindle;

namespace {

constexpr int descriptor = 7;
constexpr qint64 bytes = 5LL << 30;

int error = 0;         // what the call fails with
int interruptions = 0; // calls that a signal interrupts before that
int calls = 0;
QList<qint64> asked; // of the last call: file, mode, offset, length

} // namespace

extern "C" int fallocate(int file, int mode, off_t offset, off_t length)
{
    ++calls;
    asked = {file, mode, offset, length};
    errno = interruptions > 0 ? EINTR : error;
    --interruptions;
    return errno == 0 ? 0 : -1;
}

class TestDiskSpace : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init()
    {
        error = interruptions = calls = 0;
        asked.clear();
    }

    void theFilesSizeStays()
    {
        QCOMPARE(Disk::reserve(descriptor, bytes), 0);
        QCOMPARE(asked, (QList<qint64>{descriptor, FALLOC_FL_KEEP_SIZE, 0, bytes}));
        QCOMPARE(calls, 1);
    }

    void onlyWantOfRoomIsAFailure_data()
    {
        QTest::addColumn<int>("told");
        QTest::addColumn<bool>("isFailure");
        QTest::newRow("disk full") << ENOSPC << true;
        QTest::newRow("quota") << EDQUOT << true;
        QTest::newRow("larger than files may be") << EFBIG << true;
        QTest::newRow("file system can't") << EOPNOTSUPP << false;
        QTest::newRow("system can't") << ENOSYS << false;
        QTest::newRow("no plain file") << ENODEV << false;
        QTest::newRow("broken disk") << EIO << false;
    }

    void onlyWantOfRoomIsAFailure()
    {
        QFETCH(int, told);
        QFETCH(bool, isFailure);
        error = told;
        QCOMPARE(Disk::reserve(descriptor, bytes), isFailure ? told : 0);
        QCOMPARE(calls, 1);
    }

    void anInterruptedRequestIsMadeAgain()
    {
        interruptions = 2;
        error = ENOSPC;
        QCOMPARE(Disk::reserve(descriptor, bytes), ENOSPC);
        QCOMPARE(calls, 3);
    }

    void nothingIsAskedForNothing()
    {
        error = ENOSPC;
        QCOMPARE(Disk::reserve(descriptor, 0), 0);
        QCOMPARE(Disk::reserve(descriptor, -1), 0);
        QCOMPARE(calls, 0);
    }
};

QTEST_APPLESS_MAIN(TestDiskSpace)
#include "tst_diskspace.moc"
