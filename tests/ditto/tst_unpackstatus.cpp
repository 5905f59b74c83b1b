// Whether the archive tool's exit status blames the archive, its disk or the destination. The
// faults are real ones, or refused system calls.

#include "../e2e/Namespaces.h"
#include "../faults/SmallDisk.h"
#include "RawZip.h"
#include "Surroundings.h"
#include "ditto/UnpackStatus.h"

#include <QDir>
#include <QtTest>

#include <cerrno>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QString reasonForNoNamespaces;

constexpr quint32 file644 = RawZip::file644;

/// A folder, a link and a file large enough to be read and written by several calls.
QByteArray usual()
{
    return RawZip()
        .add({"d/", {}})
        .add({"d/f", QByteArray(100'000, 'x'), file644})
        .add({"l", "d", RawZip::link777})
        .bytes();
}

} // namespace

class TestUnpackStatus : public QObject
{
    Q_OBJECT

    std::optional<Surroundings> around_;

    static bool hasSmallDisks()
    {
        if (!reasonForNoNamespaces.isEmpty()) {
            qWarning("no small disk: namespaces are not permitted here: %s",
                     qPrintable(reasonForNoNamespaces));
        }
        return reasonForNoNamespaces.isEmpty();
    }
    Surroundings::Run unpack() const { return around_->unpack(QStringLiteral(BRINDLE_DITTO)); }
    Surroundings::Run unpackWith(const char *faults, int number) const
    {
        return around_->run(QStringLiteral(BRINDLE_FAILING),
                            {QString::fromLatin1(faults), QString::number(number),
                             QStringLiteral(BRINDLE_DITTO), u"-x"_s, u"-k"_s, around_->archive(),
                             around_->destination()});
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
        QTest::addColumn<QByteArray>("faults");
        QTest::addColumn<int>("number");
        QTest::addColumn<int>("status");
        const auto row = [](const char *faults, int number, int status = 0) {
            QTest::addRow("%s: %s", faults, std::strerror(number))
                << QByteArray(faults) << number
                << (status == 0 ? ditto::destinationFailed + number : status);
        };
        row("folder", EACCES);
        row("folder", EPERM);
        row("folder", EROFS);
        row("folder", EIO);
        row("create", ENOSPC);
        row("create", EDQUOT);
        row("create", EACCES);
        row("create", EPERM);
        row("create", ENAMETOOLONG);
        row("create", EINVAL); // a name that the disk rejects
        row("write", ENOSPC);
        row("write", EDQUOT);
        row("write", EIO);
        row("write", EFBIG);
        row("link", EPERM, ditto::linksUnsupported);
        row("link,create", EPERM);
        row("link", EOPNOTSUPP, ditto::linksUnsupported);
        row("link", ENOSYS, ditto::linksUnsupported);
        row("link", EACCES);
        row("link", ENOSPC);
        row("read", EIO, ditto::archiveUnread);
        row("read of the end", EIO, ditto::archiveUnread);
        // The archive's disk is never taken for the destination's.
        row("read", ENOSPC, ditto::archiveUnread);
        row("read of the end", EACCES, ditto::archiveUnread);
    }
    void callsThatFail()
    {
        QFETCH(const QByteArray, faults);
        QFETCH(const int, number);
        QFETCH(const int, status);
        around_->putArchive(usual());
        verifyBlames(unpackWith(faults.constData(), number), status, number);
    }

    void anArchiveThatCannotBeOpened()
    {
        QVERIFY(QDir().mkpath(around_->destination()));
        verifyBlames(unpack(), ditto::archiveUnread, ENOENT);
        QVERIFY(QDir().mkpath(around_->archive()));
        verifyBlames(unpack(), ditto::archiveUnread, EISDIR);
    }

    void aPathThatIsTooLongByItsDestination()
    {
        constexpr qsizetype maxPath = 4095;
        const QString part = QLatin1Char('/') + QString(200, QLatin1Char('d'));
        QString place = around_->path("parent");
        while (place.size() + part.size() < maxPath) {
            place += part;
        }
        QVERIFY(QDir().mkpath(place));
        around_->putArchive(RawZip().add({QByteArray(250, 'f'), "x", file644}).bytes());
        const Surroundings::Run run = around_->run(QStringLiteral(BRINDLE_DITTO),
                                                   {u"-x"_s, u"-k"_s, around_->archive(), place});
        verifyBlames(run, ditto::destinationFailed + ENAMETOOLONG, ENAMETOOLONG);
    }

    void namesProveNothing()
    {
        for (const char *name : {"x: No space left on device", "can't write x: Read-only"}) {
            RawZip::Entry entry{name, "x", file644};
            entry.crc = 1;
            around_->putArchive(RawZip().add(entry).bytes());
            QCOMPARE(unpack().code, 1);
        }
    }

    void theDiskIsAskedBeforeAnythingIsWritten()
    {
        if (!hasSmallDisks()) {
            return;
        }
        constexpr qint64 size = 1 << 20;
        around_->putArchive(RawZip()
                                .add({"first.txt", "first", file644})
                                .add(RawZip::zeros("x", 40 * size))
                                .bytes());
        QVERIFY(QDir().mkpath(around_->destination()));
        {
            const SmallDisk disk(around_->destination(), 30 * size);
            // Any write would fail with another error.
            verifyBlames(unpackWith("create", EIO), ditto::destinationFailed + ENOSPC, ENOSPC);
        }
        const SmallDisk disk(around_->destination(), 50 * size);
        QCOMPARE(unpack().code, 0);
    }

    void aReadOnlyDisk()
    {
        if (!hasSmallDisks()) {
            return;
        }
        around_->putArchive(usual());
        QVERIFY(QDir().mkpath(around_->destination()));
        SmallDisk disk(around_->destination(), 1 << 20);
        disk.setReadOnly(true);
        verifyBlames(unpack(), ditto::destinationFailed + EROFS, EROFS);
    }

    void writeBackBeginsEarly()
    {
        around_->putArchive(RawZip().add(RawZip::zeros("x", 2 << 20)).bytes());
        QCOMPARE(unpackWith("write-back", 0).code, -1);
        around_->clear();
        // Not every file system supports it.
        QCOMPARE(unpackWith("write-back", EINVAL).code, 0);
    }
};

int main(int argc, char *argv[])
{
    Namespaces::enter(&reasonForNoNamespaces);
    const QCoreApplication application(argc, argv);
    TestUnpackStatus test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_unpackstatus.moc"
