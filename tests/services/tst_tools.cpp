#include "base/Error.h"
#include "files/Files.h"
#include "process/Tools.h"
#include "support/Await.h"
#include "support/Lifeline.h"
#include "support/TestChild.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <functional>
#include <memory>
#include <utility>

#include <unistd.h>

using namespace brindle;

namespace {

std::function<void()> atSync; // called when all is to go to the disk

} // namespace

#ifdef Q_OS_LINUX
extern "C" int syncfs(int /*descriptor*/) noexcept
{
    if (atSync) {
        atSync();
    }
    return 0;
}
#endif

/// Unpacking, as far as it is the launcher's: a script stands in for the archive tool.
class TestTools : public QObject
{
    Q_OBJECT

private:
    QString at(const QString &name) const { return folder_->filePath(name); }

    /// A tool that writes down what it was called with, then does `script`.
    QString tool(const QString &script) const
    {
        const QString path = at(QStringLiteral("tool"));
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            return {};
        }
        file.write(QStringLiteral("#!/bin/sh\nprintf '%s\\n' \"$@\" > '%1'\n%2\n")
                       .arg(at(QStringLiteral("called")), script)
                       .toUtf8());
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        return path;
    }
    QStringList called() const
    {
        QFile file(at(QStringLiteral("called")));
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }
    void unzip(const QString &archiveTool, const std::stop_token &stop = {},
               Tools::UnzipOptions options = {}) const
    {
        await(Tools::unzip(archiveTool, at(QStringLiteral("a game.zip")),
                           at(QStringLiteral("new/place")), stop, std::move(options)));
    }

    std::unique_ptr<QTemporaryDir> folder_;

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void callsTheToolAsDittoIsCalled()
    {
        unzip(tool(QStringLiteral("test -d \"$4\" && touch \"$4/unpacked\"")));
        const QStringList arguments = called();
        QCOMPARE(arguments.mid(0, 3), (QStringList{QStringLiteral("-x"), QStringLiteral("-k"),
                                                   at(QStringLiteral("a game.zip"))}));
        // Beside the destination, under a name that is taken for a leftover.
        QVERIFY2(arguments.value(3).startsWith(at(QStringLiteral("new/.brindle-moving-"))),
                 qPrintable(arguments.value(3)));
        QCOMPARE(arguments.size(), 4);
        QVERIFY(QFile::exists(at(QStringLiteral("new/place/unpacked"))));
        QCOMPARE(Files::names(at(QStringLiteral("new"))), QStringList{QStringLiteral("place")});
    }

    void nothingIsInItsPlaceUntilAllIs()
    {
        // Half is there and the tool still works, the place is empty.
        unzip(tool(QStringLiteral("touch \"$4/half\"; ls -A '%1' > '%2'; touch \"$4/rest\"")
                       .arg(at(QStringLiteral("new/place")), at(QStringLiteral("seen")))));
        QFile seen(at(QStringLiteral("seen")));
        QVERIFY(seen.open(QIODevice::ReadOnly));
        QCOMPARE(seen.readAll(), QByteArray());
        QCOMPARE(Files::names(at(QStringLiteral("new/place"))).size(), 2);
    }

    void ofAHalfNothingIsLeft_data()
    {
        QTest::addColumn<QString>("end");
        QTest::newRow("fails") << QStringLiteral("exit 1");
        QTest::newRow("dies") << QStringLiteral("kill -9 $$");
    }
    void ofAHalfNothingIsLeft()
    {
        QFETCH(const QString, end);
        QVERIFY_THROWS_EXCEPTION(
            SetupError,
            unzip(tool(QStringLiteral("mkdir \"$4/a\"; touch \"$4/a/project.godot\"; ") + end)));
        QCOMPARE(Files::names(at(QStringLiteral("new/place"))), QStringList());
        QCOMPARE(Files::names(at(QStringLiteral("new"))), QStringList{QStringLiteral("place")});
    }

    void aFilledPlaceIsLeftAlone()
    {
        QVERIFY(QDir().mkpath(at(QStringLiteral("new/place/old"))));
        QString shown;
        try {
            unzip(tool(QStringLiteral("touch \"$4/unpacked\"")));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, at(QStringLiteral("new/place")) + QStringLiteral(": ") +
                            qt_error_string(ENOTEMPTY));
        QCOMPARE(Files::names(at(QStringLiteral("new/place"))), QStringList{QStringLiteral("old")});
        QCOMPARE(Files::names(at(QStringLiteral("new"))), QStringList{QStringLiteral("place")});
    }

    void inAStagingFolderItIsUnpackedAtOnce()
    {
        Tools::UnzipOptions options;
        options.isStaged = true;
        bool isWaitedFor = false;
        atSync = [&] { isWaitedFor = true; };
        unzip(tool(QStringLiteral("touch \"$4/unpacked\"")), {}, options);
        QVERIFY_THROWS_EXCEPTION(SetupError, unzip(tool(QStringLiteral("exit 1")), {}, options));
        atSync = {};
        QCOMPARE(called().value(3), at(QStringLiteral("new/place")));
        QVERIFY(QFile::exists(at(QStringLiteral("new/place/unpacked"))));
        QVERIFY(!isWaitedFor);
    }

    void theToolReadsNothingAndHasNoTerminal()
    {
        // Our own input has something in it.
        QFile own(at(QStringLiteral("own input")));
        QVERIFY(own.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        own.write("from the launcher");
        QVERIFY(own.seek(0));
        const int before = dup(STDIN_FILENO);
        QVERIFY(dup2(own.handle(), STDIN_FILENO) == STDIN_FILENO);
        const auto restore = qScopeGuard([before] {
            dup2(before, STDIN_FILENO);
            close(before);
        });
        unzip(tool(QStringLiteral("cat > \"$4/input\"")));
        QFile input(at(QStringLiteral("new/place/input")));
        QVERIFY(input.open(QIODevice::ReadOnly));
        QCOMPARE(input.readAll(), QByteArray());
        if (QSysInfo::kernelType() == u"linux") {
            // Field 6, the session: its own, and such a one begins without a terminal.
            QVERIFY(QDir(at(QStringLiteral("new/place"))).removeRecursively());
            unzip(tool(QStringLiteral("set -- \"$4\" $(cat /proc/$$/stat); test \"$7\" = $$ && "
                                      "test \"$(readlink /proc/$$/fd/0)\" = /dev/null")));
        }
    }

    void theArchiveGoesOnceItHasBeenUnpacked()
    {
        const auto writeArchive = [this] {
            QFile archive(at(QStringLiteral("a game.zip")));
            QVERIFY(archive.open(QIODevice::WriteOnly));
            archive.write("PK");
        };
        writeArchive();
        unzip(tool(QStringLiteral("cat \"$3\" > \"$4/copy\"")));
        QVERIFY(QFile::exists(at(QStringLiteral("a game.zip"))));
        QVERIFY(QDir(at(QStringLiteral("new/place"))).removeRecursively());

        Tools::UnzipOptions options;
        options.removesArchive = true;
        // Before all that is not on the disk goes there.
        bool wasThere = true;
        atSync = [&] { wasThere = QFile::exists(at(QStringLiteral("a game.zip"))); };
        unzip(tool(QStringLiteral("cat \"$3\" > \"$4/copy\"")), {}, options);
        atSync = {};
        QVERIFY(!wasThere);
        QCOMPARE(QFileInfo(at(QStringLiteral("new/place/copy"))).size(), 2);

        // What failed is left to its owner.
        writeArchive();
        QVERIFY(QDir(at(QStringLiteral("new/place"))).removeRecursively());
        QVERIFY_THROWS_EXCEPTION(SetupError, unzip(tool(QStringLiteral("exit 1")), {}, options));
        QVERIFY(QFile::exists(at(QStringLiteral("a game.zip"))));
    }

    void theToolReadsTheFileThatIsOpen()
    {
        if (!QFile::exists(QStringLiteral("/dev/fd"))) {
            QSKIP("open files have no names here");
        }
        Tools::UnzipOptions options;
        options.opened = std::make_shared<QFile>(at(QStringLiteral("a game.zip")));
        QVERIFY(options.opened->open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        options.opened->write("checked");
        const std::weak_ptr<QFile> watched = options.opened;
        // Another takes its place.
        QVERIFY(QFile::rename(at(QStringLiteral("a game.zip")), at(QStringLiteral("aside"))));
        QFile other(at(QStringLiteral("a game.zip")));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("not checked");
        other.close();
        bool isOpen = true;
        atSync = [&] { isOpen = !watched.expired(); };
        unzip(tool(QStringLiteral("cat \"$3\" > \"$4/copy\"; exec '%1' descriptors: > '%2'")
                       .arg(testChild(), at(QStringLiteral("descriptors")))),
              {}, std::move(options));
        atSync = {};
        QFile copy(at(QStringLiteral("new/place/copy")));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), QByteArray("checked"));
        QVERIFY(!isOpen);
        // Nothing else of ours came along.
        QFile descriptors(at(QStringLiteral("descriptors")));
        QVERIFY(descriptors.open(QIODevice::ReadOnly));
        QCOMPARE(descriptors.readAll().split(' ').size(), 4);
    }

    void takesAnExistingFolder()
    {
        QVERIFY(QDir().mkpath(at(QStringLiteral("new/place"))));
        unzip(tool(QString()));
        QCOMPARE(called().size(), 4);
    }

    void discardsWhatTheToolPrints()
    {
        unzip(tool(QStringLiteral("exec '%1' lines:100000 err:done").arg(testChild())));
        QCOMPARE(called().size(), 4);
    }

    void failsWithTheStatus_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("message");
        QTest::newRow("damaged archive")
            << QStringLiteral("echo broken >&2; exit 1")
            << QStringLiteral("Unzipping failed (ditto exit code 1). The download may be damaged.");
        QTest::newRow("another code")
            << QStringLiteral("exit 77")
            << QStringLiteral(
                   "Unzipping failed (ditto exit code 77). The download may be damaged.");
        QTest::newRow("signal")
            << QStringLiteral("kill -9 $$")
            << QStringLiteral("Unzipping failed (ditto exit code 9). The download may be damaged.");
    }
    void failsWithTheStatus()
    {
        QFETCH(QString, script);
        QFETCH(QString, message);
        QString shown;
        try {
            unzip(tool(script));
        } catch (const SetupError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, message);
    }

    void saysWhatIsToBlame_data()
    {
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        const auto said = [](int reason) {
            return QStringLiteral("{place}: ") + qt_error_string(reason);
        };
        QTest::newRow("disk full") << 201 << said(ENOSPC);
        QTest::newRow("quota") << 202 << said(EDQUOT);
        QTest::newRow("read-only") << 203 << said(EROFS);
        QTest::newRow("forbidden") << 204 << said(EACCES);
        QTest::newRow("not permitted") << 205 << said(EPERM);
        QTest::newRow("long name") << 206 << said(ENAMETOOLONG);
        QTest::newRow("broken disk") << 207 << said(EIO);
        QTest::newRow("no links")
            << 208
            << QStringLiteral(
                   "The download holds symbolic links, and the disk of {place} can't keep them.");
        QTest::newRow("broken disk of the archive")
            << 209 << QString(QStringLiteral("{zip}: ") + qt_error_string(EIO));
        QTest::newRow("none of them")
            << 210
            << QStringLiteral(
                   "Unzipping failed (ditto exit code 210). The download may be damaged.");
    }
    void saysWhatIsToBlame()
    {
        QFETCH(const int, status);
        QFETCH(QString, message);
        message.replace(QStringLiteral("{place}"), at(QStringLiteral("new/place")));
        message.replace(QStringLiteral("{zip}"), at(QStringLiteral("a game.zip")));
        QString shown;
        try {
            unzip(tool(QStringLiteral("exec '%1' exit:%2").arg(testChild()).arg(status)));
        } catch (const Error &error) {
            shown = error.description();
        }
        QCOMPARE(shown, message);
    }

    void believesNoWordOfIt()
    {
        // A hostile archive may name its entries so.
        QString shown;
        try {
            unzip(tool(QStringLiteral("echo 'ditto: x: No space left on device' >&2; exit 1")));
        } catch (const SetupError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, QStringLiteral(
                            "Unzipping failed (ditto exit code 1). The download may be damaged."));
    }

    void failsWithoutATool()
    {
        QString shown;
        try {
            unzip(at(QStringLiteral("no tool")));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QCOMPARE(shown,
                 at(QStringLiteral("no tool")) + QStringLiteral(": ") + qt_error_string(ENOENT));
    }

    void failsWhereNoFolderCanBe()
    {
        QFile file(at(QStringLiteral("new")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QString shown;
        try {
            unzip(tool(QString()));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QVERIFY2(shown.contains(at(QStringLiteral("new"))), qPrintable(shown));
        QVERIFY(called().isEmpty());
    }

    void isCancelledBeforeTheStart()
    {
        std::stop_source stop;
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, unzip(tool(QString()), stop.get_token()));
        QVERIFY(called().isEmpty());
    }

    void endsTheToolWhenCancelled()
    {
        const Lifeline lifeline;
        std::stop_source stop;
        auto task = Tools::unzip(
            tool(QStringLiteral("exec '%1' hold:'%2' touch:'%3' wait:")
                     .arg(testChild(), lifeline.path(), at(QStringLiteral("working")))),
            at(QStringLiteral("a game.zip")), at(QStringLiteral("new/place")), stop.get_token());
        spinUntil([this] { return QFile::exists(at(QStringLiteral("working"))); });
        QVERIFY(!lifeline.isDropped());
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, await(std::move(task)));
        QVERIFY(lifeline.isDropped());
    }

    void endsAToolThatDoesNotReact()
    {
        const Lifeline lifeline;
        std::stop_source stop;
        auto task = Tools::unzip(
            tool(QStringLiteral("exec '%1' ignore:15 hold:'%2' touch:\"$4/half\" touch:'%3' wait:")
                     .arg(testChild(), lifeline.path(), at(QStringLiteral("working")))),
            at(QStringLiteral("a game.zip")), at(QStringLiteral("new/place")), stop.get_token());
        spinUntil([this] { return QFile::exists(at(QStringLiteral("working"))); });
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, await(std::move(task)));
        QVERIFY(lifeline.isDropped());
        QCOMPARE(Files::names(at(QStringLiteral("new"))), QStringList{QStringLiteral("place")});
        QCOMPARE(Files::names(at(QStringLiteral("new/place"))), QStringList());
    }

    void asksAToolBeforeItEndsIt()
    {
        std::stop_source stop;
        auto task = Tools::unzip(
            tool(QStringLiteral("trap 'touch \"%2\"; exit 1' TERM; touch '%1'; "
                                "while :; do sleep 0.01; done")
                     .arg(at(QStringLiteral("working")), at(QStringLiteral("asked")))),
            at(QStringLiteral("a game.zip")), at(QStringLiteral("new/place")), stop.get_token());
        spinUntil([this] { return QFile::exists(at(QStringLiteral("working"))); });
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, await(std::move(task)));
        QVERIFY(QFile::exists(at(QStringLiteral("asked"))));
    }

    void mayBeCancelledAfterTheEnd()
    {
        std::stop_source stop;
        unzip(tool(QString()), stop.get_token());
        stop.request_stop();
        QCOMPARE(called().size(), 4);
    }
};

QTEST_GUILESS_MAIN(TestTools)
#include "tst_tools.moc"
