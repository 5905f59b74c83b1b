// Tests the order of syncs and renames.

#include "base/Error.h"
#include "files/Files.h"
#include "support/SystemCalls.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>
#include <optional>
#include <sys/stat.h>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestFilesOnDisk : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> folder_;
    std::optional<SystemCalls> calls_;

    QString path(const QString &name) const { return folder_->filePath(name); }
    QString hidden() const { return path(u".brindle-…"_s); }

    static void write(const QString &path)
    {
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        QVERIFY(QFile(path).open(QIODevice::WriteOnly));
    }
    static QString syncFile(const QString &path) { return u"sync "_s + path; }
    static QString syncAll(const QString &path) { return u"sync all of "_s + path; }
    static QString rename(const QString &from, const QString &to)
    {
        return u"rename %1 to %2"_s.arg(from, to);
    }

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        calls_.emplace();
    }

    void aFileIsSyncedBeforeItsName()
    {
        const QString file = path(u"info.json"_s);
        Files::writeAtomically(file, "content");
        QCOMPARE(calls_->lines(), (QStringList{syncFile(hidden()), rename(hidden(), file),
                                               syncFile(folder_->path())}));
    }

    void aFailedSyncFailsTheWrite()
    {
        const QString file = path(u"info.json"_s);
        Files::writeAtomically(file, "old");
        calls_->before = [](const QString &) { return EIO; };
        try {
            Files::writeAtomically(file, "new");
            QFAIL("a failure was expected");
        } catch (const SystemError &error) {
            QCOMPARE(error.description(), file + u": "_s + qt_error_string(EIO));
        }
        QFile kept(file);
        QVERIFY(kept.open(QIODevice::ReadOnly));
        QCOMPARE(kept.readAll(), "old");
        QCOMPARE(Files::names(folder_->path()), QStringList{u"info.json"_s});
    }

    void aMovedFolderIsSyncedBeforeItsName()
    {
        write(path(u"from/file"_s));
        QVERIFY(QDir().mkpath(path(u"place"_s)));
        Files::move(path(u"from"_s), path(u"place/to"_s));
        QCOMPARE(calls_->lines(), (QStringList{syncAll(path(u"from"_s)),
                                               rename(path(u"from"_s), path(u"place/to"_s)),
                                               syncFile(path(u"place"_s))}));
    }

    void ofAMovedLinkItsOwnFolderIsSynced()
    {
        QVERIFY(QFile::link(u"/dev/shm"_s, path(u"link"_s)));
        Files::move(path(u"link"_s), path(u"other"_s));
        QCOMPARE(calls_->lines().value(0), syncAll(folder_->path()));
    }

    void aRemovedFolderIsRenamedBeforeItIsDeleted()
    {
        write(path(u"tree/file"_s));
        Files::remove(path(u"tree"_s));
        QCOMPARE(calls_->lines(),
                 (QStringList{rename(path(u"tree"_s), hidden()), syncFile(folder_->path())}));
    }

    void aFolderIsSyncedAsAWhole()
    {
        Files::sync(folder_->path());
        QCOMPARE(calls_->lines(), QStringList{syncAll(folder_->path())});
        QVERIFY_THROWS_EXCEPTION(SystemError, Files::sync(path(u"none"_s)));
    }

    void nothingGetsItsNameAfterAStop_data()
    {
        QTest::addColumn<QString>("call");
        QTest::newRow("a file") << u"write"_s;
        QTest::newRow("a moved folder") << u"move"_s;
        QTest::newRow("a synced folder") << u"sync"_s;
    }
    void nothingGetsItsNameAfterAStop()
    {
        QFETCH(const QString, call);
        write(path(u"from/file"_s));
        std::stop_source stop;
        calls_->before = [&](const QString &line) {
            if (line.startsWith(u"sync")) {
                stop.request_stop(); // while the disk is waited for
            }
            return 0;
        };
        const auto act = [&] {
            if (call == u"write") {
                Files::writeAtomically(path(u"info.json"_s), "content", stop.get_token());
            } else if (call == u"move") {
                Files::move(path(u"from"_s), path(u"to"_s), stop.get_token());
            } else {
                Files::sync(folder_->path(), stop.get_token());
            }
        };
        QVERIFY_THROWS_EXCEPTION(CancellationError, act());
        QCOMPARE(Files::names(folder_->path()), QStringList{u"from"_s});
    }
};

QTEST_GUILESS_MAIN(TestFilesOnDisk)
#include "tst_filesondisk.moc"
