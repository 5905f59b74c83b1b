#include "services/CancellationError.h"
#include "services/Files.h"
#include "services/SetupError.h"
#include "services/SystemError.h"
#include "services/Tools.h"
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
        const QString path = at(u"tool"_qs);
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) {
            return {};
        }
        file.write(u"#!/bin/sh\nprintf '%s\\n' \"$@\" > '%1'\n%2\n"_qs.arg(at(u"called"_qs), script)
                       .toUtf8());
        file.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
        return path;
    }
    QStringList called() const
    {
        QFile file(at(u"called"_qs));
        if (!file.open(QIODevice::ReadOnly)) {
            return {};
        }
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }
    void unzip(const QString &archiveTool, const std::stop_token &stop = {},
               Tools::UnzipOptions options = {}) const
    {
        await(Tools::unzip(archiveTool, at(u"a game.zip"_qs), at(u"new/place"_qs), stop,
                           std::move(options)));
    }

    std::unique_ptr<QTemporaryDir> folder_;

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void callsTheToolAsDittoIsCalled()
    {
        unzip(tool(u"test -d \"$4\" && touch \"$4/unpacked\""_qs));
        const QStringList arguments = called();
        QCOMPARE(arguments.mid(0, 3), (QStringList{u"-x"_qs, u"-k"_qs, at(u"a game.zip"_qs)}));
        // Beside the destination, under a name that is taken for a leftover.
        QVERIFY2(arguments.value(3).startsWith(at(u"new/.brindle-moving-"_qs)),
                 qPrintable(arguments.value(3)));
        QCOMPARE(arguments.size(), 4);
        QVERIFY(QFile::exists(at(u"new/place/unpacked"_qs)));
        QCOMPARE(Files::names(at(u"new"_qs)), QStringList{u"place"_qs});
    }

    void nothingIsInItsPlaceUntilAllIs()
    {
        // Half is there and the tool still works, the place is empty.
        unzip(tool(u"touch \"$4/half\"; ls -A '%1' > '%2'; touch \"$4/rest\""_qs.arg(
            at(u"new/place"_qs), at(u"seen"_qs))));
        QFile seen(at(u"seen"_qs));
        QVERIFY(seen.open(QIODevice::ReadOnly));
        QCOMPARE(seen.readAll(), QByteArray());
        QCOMPARE(Files::names(at(u"new/place"_qs)).size(), 2);
    }

    void ofAHalfNothingIsLeft_data()
    {
        QTest::addColumn<QString>("end");
        QTest::newRow("fails") << u"exit 1"_qs;
        QTest::newRow("dies") << u"kill -9 $$"_qs;
    }
    void ofAHalfNothingIsLeft()
    {
        QFETCH(const QString, end);
        QVERIFY_THROWS_EXCEPTION(
            SetupError, unzip(tool(u"mkdir \"$4/a\"; touch \"$4/a/project.godot\"; "_qs + end)));
        QCOMPARE(Files::names(at(u"new/place"_qs)), QStringList());
        QCOMPARE(Files::names(at(u"new"_qs)), QStringList{u"place"_qs});
    }

    void aFilledPlaceIsLeftAlone()
    {
        QVERIFY(QDir().mkpath(at(u"new/place/old"_qs)));
        QString shown;
        try {
            unzip(tool(u"touch \"$4/unpacked\""_qs));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, at(u"new/place"_qs) + u": "_qs + qt_error_string(ENOTEMPTY));
        QCOMPARE(Files::names(at(u"new/place"_qs)), QStringList{u"old"_qs});
        QCOMPARE(Files::names(at(u"new"_qs)), QStringList{u"place"_qs});
    }

    void inAStagingFolderItIsUnpackedAtOnce()
    {
        Tools::UnzipOptions options;
        options.isStaged = true;
        bool isWaitedFor = false;
        atSync = [&] { isWaitedFor = true; };
        unzip(tool(u"touch \"$4/unpacked\""_qs), {}, options);
        QVERIFY_THROWS_EXCEPTION(SetupError, unzip(tool(u"exit 1"_qs), {}, options));
        atSync = {};
        QCOMPARE(called().value(3), at(u"new/place"_qs));
        QVERIFY(QFile::exists(at(u"new/place/unpacked"_qs)));
        QVERIFY(!isWaitedFor);
    }

    void theToolReadsNothingAndHasNoTerminal()
    {
        // Our own input has something in it.
        QFile own(at(u"own input"_qs));
        QVERIFY(own.open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        own.write("from the launcher");
        QVERIFY(own.seek(0));
        const int before = dup(STDIN_FILENO);
        QVERIFY(dup2(own.handle(), STDIN_FILENO) == STDIN_FILENO);
        const auto restore = qScopeGuard([before] {
            dup2(before, STDIN_FILENO);
            close(before);
        });
        unzip(tool(u"cat > \"$4/input\""_qs));
        QFile input(at(u"new/place/input"_qs));
        QVERIFY(input.open(QIODevice::ReadOnly));
        QCOMPARE(input.readAll(), QByteArray());
        if (QSysInfo::kernelType() == u"linux") {
            // Field 6, the session: its own, and such a one begins without a terminal.
            QVERIFY(QDir(at(u"new/place"_qs)).removeRecursively());
            unzip(tool(u"set -- \"$4\" $(cat /proc/$$/stat); test \"$7\" = $$ && "
                       u"test \"$(readlink /proc/$$/fd/0)\" = /dev/null"_qs));
        }
    }

    void theArchiveGoesOnceItHasBeenUnpacked()
    {
        const auto writeArchive = [this] {
            QFile archive(at(u"a game.zip"_qs));
            QVERIFY(archive.open(QIODevice::WriteOnly));
            archive.write("PK");
        };
        writeArchive();
        unzip(tool(u"cat \"$3\" > \"$4/copy\""_qs));
        QVERIFY(QFile::exists(at(u"a game.zip"_qs)));
        QVERIFY(QDir(at(u"new/place"_qs)).removeRecursively());

        Tools::UnzipOptions options;
        options.removesArchive = true;
        // Before all that is not on the disk goes there.
        bool wasThere = true;
        atSync = [&] { wasThere = QFile::exists(at(u"a game.zip"_qs)); };
        unzip(tool(u"cat \"$3\" > \"$4/copy\""_qs), {}, options);
        atSync = {};
        QVERIFY(!wasThere);
        QCOMPARE(QFileInfo(at(u"new/place/copy"_qs)).size(), 2);

        // What failed is left to its owner.
        writeArchive();
        QVERIFY(QDir(at(u"new/place"_qs)).removeRecursively());
        QVERIFY_THROWS_EXCEPTION(SetupError, unzip(tool(u"exit 1"_qs), {}, options));
        QVERIFY(QFile::exists(at(u"a game.zip"_qs)));
    }

    void theToolReadsTheFileThatIsOpen()
    {
        if (!QFile::exists(u"/dev/fd"_qs)) {
            QSKIP("open files have no names here");
        }
        Tools::UnzipOptions options;
        options.opened = std::make_shared<QFile>(at(u"a game.zip"_qs));
        QVERIFY(options.opened->open(QIODevice::ReadWrite | QIODevice::Unbuffered));
        options.opened->write("checked");
        const std::weak_ptr<QFile> watched = options.opened;
        // Another takes its place.
        QVERIFY(QFile::rename(at(u"a game.zip"_qs), at(u"aside"_qs)));
        QFile other(at(u"a game.zip"_qs));
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.write("not checked");
        other.close();
        bool isOpen = true;
        atSync = [&] { isOpen = !watched.expired(); };
        unzip(tool(u"cat \"$3\" > \"$4/copy\"; exec '%1' descriptors: > '%2'"_qs.arg(
                  testChild(), at(u"descriptors"_qs))),
              {}, std::move(options));
        atSync = {};
        QFile copy(at(u"new/place/copy"_qs));
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QCOMPARE(copy.readAll(), QByteArray("checked"));
        QVERIFY(!isOpen);
        // Nothing else of ours came along.
        QFile descriptors(at(u"descriptors"_qs));
        QVERIFY(descriptors.open(QIODevice::ReadOnly));
        QCOMPARE(descriptors.readAll().split(' ').size(), 4);
    }

    void takesAnExistingFolder()
    {
        QVERIFY(QDir().mkpath(at(u"new/place"_qs)));
        unzip(tool(QString()));
        QCOMPARE(called().size(), 4);
    }

    void discardsWhatTheToolPrints()
    {
        unzip(tool(u"exec '%1' lines:100000 err:done"_qs.arg(testChild())));
        QCOMPARE(called().size(), 4);
    }

    void failsWithTheStatus_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("message");
        QTest::newRow("damaged archive")
            << u"echo broken >&2; exit 1"_qs
            << u"Unzipping failed (ditto exit code 1). The download may be damaged."_qs;
        QTest::newRow("another code")
            << u"exit 77"_qs
            << u"Unzipping failed (ditto exit code 77). The download may be damaged."_qs;
        QTest::newRow("signal")
            << u"kill -9 $$"_qs
            << u"Unzipping failed (ditto exit code 9). The download may be damaged."_qs;
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
        const auto said = [](int reason) { return u"{place}: "_qs + qt_error_string(reason); };
        QTest::newRow("disk full") << 201 << said(ENOSPC);
        QTest::newRow("quota") << 202 << said(EDQUOT);
        QTest::newRow("read-only") << 203 << said(EROFS);
        QTest::newRow("forbidden") << 204 << said(EACCES);
        QTest::newRow("not permitted") << 205 << said(EPERM);
        QTest::newRow("long name") << 206 << said(ENAMETOOLONG);
        QTest::newRow("broken disk") << 207 << said(EIO);
        QTest::newRow("no links")
            << 208
            << u"The download holds symbolic links, and the disk of {place} can't keep them."_qs;
        QTest::newRow("broken disk of the archive")
            << 209 << QString(u"{zip}: "_qs + qt_error_string(EIO));
        QTest::newRow("none of them")
            << 210 << u"Unzipping failed (ditto exit code 210). The download may be damaged."_qs;
    }
    void saysWhatIsToBlame()
    {
        QFETCH(const int, status);
        QFETCH(QString, message);
        message.replace(u"{place}"_qs, at(u"new/place"_qs));
        message.replace(u"{zip}"_qs, at(u"a game.zip"_qs));
        QString shown;
        try {
            unzip(tool(u"exec '%1' exit:%2"_qs.arg(testChild()).arg(status)));
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
            unzip(tool(u"echo 'ditto: x: No space left on device' >&2; exit 1"_qs));
        } catch (const SetupError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, u"Unzipping failed (ditto exit code 1). The download may be damaged."_qs);
    }

    void failsWithoutATool()
    {
        QString shown;
        try {
            unzip(at(u"no tool"_qs));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, at(u"no tool"_qs) + u": "_qs + qt_error_string(ENOENT));
    }

    void failsWhereNoFolderCanBe()
    {
        QFile file(at(u"new"_qs));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QString shown;
        try {
            unzip(tool(QString()));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QVERIFY2(shown.contains(at(u"new"_qs)), qPrintable(shown));
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
        auto task = Tools::unzip(tool(u"exec '%1' hold:'%2' touch:'%3' wait:"_qs.arg(
                                     testChild(), lifeline.path(), at(u"working"_qs))),
                                 at(u"a game.zip"_qs), at(u"new/place"_qs), stop.get_token());
        spinUntil([this] { return QFile::exists(at(u"working"_qs)); });
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
            tool(u"exec '%1' ignore:15 hold:'%2' touch:\"$4/half\" touch:'%3' wait:"_qs.arg(
                testChild(), lifeline.path(), at(u"working"_qs))),
            at(u"a game.zip"_qs), at(u"new/place"_qs), stop.get_token());
        spinUntil([this] { return QFile::exists(at(u"working"_qs)); });
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, await(std::move(task)));
        QVERIFY(lifeline.isDropped());
        QCOMPARE(Files::names(at(u"new"_qs)), QStringList{u"place"_qs});
        QCOMPARE(Files::names(at(u"new/place"_qs)), QStringList());
    }

    void asksAToolBeforeItEndsIt()
    {
        std::stop_source stop;
        auto task = Tools::unzip(
            tool(u"trap 'touch \"%2\"; exit 1' TERM; touch '%1'; "
                 u"while :; do sleep 0.01; done"_qs.arg(at(u"working"_qs), at(u"asked"_qs))),
            at(u"a game.zip"_qs), at(u"new/place"_qs), stop.get_token());
        spinUntil([this] { return QFile::exists(at(u"working"_qs)); });
        stop.request_stop();
        QVERIFY_THROWS_EXCEPTION(CancellationError, await(std::move(task)));
        QVERIFY(QFile::exists(at(u"asked"_qs)));
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
