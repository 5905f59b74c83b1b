// Tests the storage root's rights, its owner, and the order of writes to the disk.

#include "ModelFixture.h"
#include "support/Await.h"
#include "support/SystemCalls.h"
#include "support/WorkerHold.h"

#include <QScopeGuard>
#include <QtTest>

#include <semaphore>
#include <sys/stat.h>
#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestStorageRoot : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    AppModel &model() { return fixture_->model(); }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void isMadeForThisUserAlone()
    {
        fixture_->offerEngine("#!/bin/sh\nexit 0\n");
        const mode_t before = umask(0);
        fixture_->setUp();
        umask(before);
        const auto modeOf = [&](const QString &name) {
            struct stat status = {};
            stat(QFile::encodeName(fixture_->root(name)).constData(), &status);
            return status.st_mode & 07777U;
        };
        for (const QString &folder : {u"."_s, u"Game"_s, u"Engine"_s, u"Engine/4.3-stable"_s}) {
            QCOMPARE(modeOf(folder), 0700U);
        }
        for (const QString &file : {u"info.json"_s, u"imported-4.3-stable.txt"_s}) {
            QCOMPARE(modeOf(file), 0600U);
        }
    }

    void marksReachTheDiskLast()
    {
#ifndef Q_OS_LINUX
        QSKIP("the calls are recorded on Linux only");
#endif
        fixture_->offerEngine("#!/bin/sh\nexit 0\n");
        const SystemCalls calls;
        fixture_->setUp();
        const QString root = fixture_->root();
        // The order of the calls; each returns before the next begins.
        const QStringList order{
            u" to "_s + root + u"/unfinished"_s,
            u"sync "_s + root,
            u"sync all of "_s + root,
            u" to "_s + root + u"/Game"_s,
            u"sync "_s + root,
            u" to "_s + fixture_->project() + u"/addons/one"_s,
            u" to "_s + fixture_->project() + u"/addons/two"_s,
            u"sync all of "_s + root,
            u" to "_s + root + u"/info.json"_s,
            u"sync "_s + root,
            u"sync all of "_s + root + u"/Engine"_s,
            u" to "_s + root + u"/Engine/4.3-stable"_s,
            u"sync "_s + root + u"/Engine"_s,
            u"sync all of "_s + fixture_->project(),
            u" to "_s + root + u"/imported-4.3-stable.txt"_s,
        };
        QStringList missing = order;
        for (const QString &line : calls.lines()) {
            if (!missing.isEmpty() && line.endsWith(missing.first())) {
                missing.removeFirst();
            }
        }
        QVERIFY2(missing.isEmpty(),
                 qPrintable(missing.value(0) + u"\nin\n"_s + calls.lines().join(u'\n')));
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
        fixture_->offerEngine("#!/bin/sh\nexit 0\n");
        std::counting_semaphore<> hangs{0};
        std::counting_semaphore<> goesOn{0};
        SystemCalls calls;
        calls.before = [&](const QString &line) {
            if (line == u"sync all of "_s + fixture_->root() + synced) {
                hangs.release();
                goesOn.acquire();
            }
            return 0;
        };
        const auto wake = qScopeGuard([&] { goesOn.release(10); });
        model().startWork(false);
        spinUntil([&] { return hangs.try_acquire(); });
        model().cancel();
        fixture_->waitUntilIdle();
        QCOMPARE(model().log.lines().last(), u"• Cancelled"_s);
        goesOn.release(10);
        WorkerHold().open(); // waits for the workers
        QVERIFY(!QFileInfo::exists(fixture_->root(marker)));
        QCOMPARE(QFileInfo::exists(fixture_->root(u"unfinished"_s)), synced.isEmpty());
        fixture_->setUp();
        QCOMPARE(model().state(), AppState::ready());
        QVERIFY(QFileInfo::exists(fixture_->root(marker)));
        QVERIFY(!QFileInfo::exists(fixture_->root(u"unfinished"_s)));
    }

    void anotherUsersFolderIsNotUsed()
    {
        if (geteuid() != 0) {
            QSKIP("only root can make another user's folder");
        }
        fixture_->installByHand();
        QCOMPARE(chown(QFile::encodeName(fixture_->root()).constData(), 65534, 65534), 0);
        fixture_->playToTheEnd();
        QCOMPARE(model().state().text,
                 u"The folder %1 belongs to another user, so Brindle does not use it."_s.arg(
                     fixture_->root()));
    }
};

QTEST_GUILESS_MAIN(TestStorageRoot)
#include "tst_storageroot.moc"
