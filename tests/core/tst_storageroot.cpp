// The storage root's rights, its owner, and the order of what reaches the disk.

#include "PipelineFixture.h"
#include "support/Await.h"
#include "support/WorkerHold.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QScopeGuard>
#include <QtTest>

#include <cstdio>
#include <fcntl.h>
#include <mutex>
#include <semaphore>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

std::mutex eventsLock;
QStringList events; // system calls in order

QString hanging; // the folder whose sync hangs
std::counting_semaphore<> hangs{0};
std::counting_semaphore<> goesOn{0};

void note(const QString &what, const QString &path)
{
    static const QRegularExpression hidden(u"/\\.brindle-[0-9a-f-]{36}"_s);
    const std::lock_guard guard(eventsLock);
    events << what + u' ' + QString(path).replace(hidden, u"/.hidden"_s);
}

QString pathOf(int descriptor)
{
    return QFile::symLinkTarget(u"/proc/self/fd/%1"_s.arg(descriptor));
}

} // namespace

// These replace the system's calls, so no test waits for the disk.
#ifdef Q_OS_LINUX
extern "C" int syncfs(int descriptor) noexcept
{
    const QString path = pathOf(descriptor);
    note(u"all of"_s, path);
    if (!hanging.isEmpty() && path == hanging) {
        hangs.release();
        goesOn.acquire();
    }
    return 0;
}

extern "C" int fsync(int descriptor)
{
    note(u"names in"_s, pathOf(descriptor));
    return 0;
}
#endif

extern "C" int rename(const char *from, const char *to) noexcept
{
    note(u"renamed to"_s, QFile::decodeName(to));
    return renameat(AT_FDCWD, from, AT_FDCWD, to);
}

class TestStorageRoot : public QObject
{
    Q_OBJECT

    static QString modeOf(const QString &path)
    {
        struct stat status = {};
        return stat(QFile::encodeName(path).constData(), &status) == 0
                   ? QString::number(status.st_mode & 07777U, 8)
                   : u"none"_s;
    }

private Q_SLOTS:
    void isMadeForThisUserAlone()
    {
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\nexit 0\n");
        const mode_t before = umask(0);
        fixture.model().startWork(true);
        fixture.passTheEnd();
        umask(before);
        const auto modeIn = [&](const char *name) {
            return modeOf(fixture.root(QLatin1String(name)));
        };
        QCOMPARE(modeOf(fixture.root()), u"700"_s);
        QCOMPARE(modeIn("Game"), u"700"_s);
        QCOMPARE(modeIn("Engine"), u"700"_s);
        QCOMPARE(modeIn("Engine/4.3-stable"), u"700"_s);
        QCOMPARE(modeIn("info.json"), u"600"_s);
        QCOMPARE(modeIn("imported-4.3-stable.txt"), u"600"_s);
    }

    void whatVouchesComesLast()
    {
#ifndef Q_OS_LINUX
        QSKIP("written down as this system is asked");
#else
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\nexit 0\n");
        events.clear();
        fixture.model().startWork(true);
        fixture.passTheEnd();
        const QString root = fixture.root();
        // Each call returns before the next one begins.
        const QStringList order{
            u"renamed to "_s + root + u"/unfinished"_s,
            u"names in "_s + root,
            u"all of "_s + root + u"/.hidden"_s,
            u"renamed to "_s + root + u"/Game"_s,
            u"names in "_s + root,
            u"renamed to "_s + fixture.project() + u"/addons/one"_s,
            u"renamed to "_s + fixture.project() + u"/addons/two"_s,
            u"all of "_s + root,
            u"renamed to "_s + root + u"/info.json"_s,
            u"names in "_s + root,
            u"all of "_s + root + u"/Engine/.hidden"_s,
            u"renamed to "_s + root + u"/Engine/4.3-stable"_s,
            u"names in "_s + root + u"/Engine"_s,
            u"all of "_s + fixture.project(),
            u"renamed to "_s + root + u"/imported-4.3-stable.txt"_s,
        };
        qsizetype at = -1;
        for (const QString &event : order) {
            at = events.indexOf(event, at + 1);
            QVERIFY2(at >= 0, qPrintable(event + u"\nin\n"_s + events.join(u'\n')));
        }
#endif
    }

    void aCancelDoesNotWaitForASync_data()
    {
        QTest::addColumn<QString>("synced");
        QTest::addColumn<QString>("marker");
        QTest::newRow("of the game") << QString() << u"info.json"_s;
        QTest::newRow("of the import")
            << u"/Game/godot-brindle-main"_s << u"imported-4.3-stable.txt"_s;
    }
    void aCancelDoesNotWaitForASync()
    {
        QFETCH(const QString, synced);
        QFETCH(const QString, marker);
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\nexit 0\n");
        hanging = fixture.root() + synced;
        fixture.model().startWork(false);
        spinUntil([] { return hangs.try_acquire(); });
        fixture.model().cancel();
        auto wake = qScopeGuard([] { goesOn.release(); });
        fixture.waitUntilIdle(5);
        QCOMPARE(fixture.model().log.lines().last(), u"• Cancelled"_s);
        hanging.clear();
        wake.dismiss();
        goesOn.release();
        WorkerHold().open(); // waits for the worker
        QVERIFY(!QFileInfo::exists(fixture.root(marker)));
        QCOMPARE(QFileInfo::exists(fixture.root(u"unfinished"_s)), synced.isEmpty());
        fixture.model().startWork(false);
        fixture.waitUntilIdle();
        QCOMPARE(fixture.model().state(), AppState::ready());
        QVERIFY(QFileInfo::exists(fixture.root(marker)));
        QVERIFY(!QFileInfo::exists(fixture.root(u"unfinished"_s)));
    }

    void anExistingFolderKeepsItsMode()
    {
        PipelineFixture fixture;
        fixture.installByHand("#!/bin/sh\nexit 0\n");
        QCOMPARE(chmod(QFile::encodeName(fixture.root()).constData(), 02775), 0);
        QCOMPARE(fixture.model().state(), AppState::ready());
        QCOMPARE(modeOf(fixture.root()), u"2775"_s);
    }

    void anotherUsersFolderIsNotUsed()
    {
        if (geteuid() != 0) {
            QSKIP("only root can make another user's folder");
        }
        PipelineFixture fixture;
        fixture.installByHand("#!/bin/sh\nexit 0\n");
        QCOMPARE(chown(QFile::encodeName(fixture.root()).constData(), 65534, 65534), 0);
        fixture.model().startWork(true);
        spinUntil([&] { return !fixture.model().work(); });
        QCOMPARE(fixture.model().state().text,
                 u"The folder %1 belongs to another user, so Brindle does not use it."_s.arg(
                     fixture.root()));
    }
};

QTEST_GUILESS_MAIN(TestStorageRoot)
#include "tst_storageroot.moc"
