#include "services/CancellationError.h"
#include "services/SetupError.h"
#include "services/SystemError.h"
#include "services/Tools.h"
#include "support/Await.h"
#include "support/Lifeline.h"
#include "support/TestChild.h"

#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace brindle;

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
    void unzip(const QString &archiveTool, const std::stop_token &stop = {}) const
    {
        await(Tools::unzip(archiveTool, at(u"a game.zip"_qs), at(u"new/place"_qs), stop));
    }

    std::unique_ptr<QTemporaryDir> folder_;

private Q_SLOTS:
    void init() { folder_ = std::make_unique<QTemporaryDir>(); }

    void callsTheToolAsDittoIsCalled()
    {
        unzip(tool(u"test -d \"$4\" && touch \"$4/unpacked\""_qs));
        QCOMPARE(called(),
                 (QStringList{u"-x"_qs, u"-k"_qs, at(u"a game.zip"_qs), at(u"new/place"_qs)}));
        QVERIFY(QFile::exists(at(u"new/place/unpacked"_qs)));
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

    void saysWhatCouldNotBeWritten_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("reason");
        QTest::newRow("disk full")
            << u"ditto: can't write /x/.Game.unpacking-1/a: No space left on device"_qs << ENOSPC;
        QTest::newRow("quota") << u"ditto: /x/a: Disk quota exceeded"_qs << EDQUOT;
        QTest::newRow("read-only") << u"ditto: can't write /x: Read-only file system"_qs << EROFS;
        QTest::newRow("forbidden") << u"ditto: can't write /x: Permission denied"_qs << EACCES;
        QTest::newRow("broken disk") << u"ditto: can't write /x: Input/output error"_qs << EIO;
    }
    void saysWhatCouldNotBeWritten()
    {
        QFETCH(const QString, line);
        QFETCH(const int, reason);
        QString shown;
        try {
            unzip(tool(u"echo \"%1\" >&2; exit 1"_qs.arg(line)));
        } catch (const SystemError &error) {
            shown = error.description();
        }
        QCOMPARE(shown, at(u"new/place"_qs) + u": "_qs + qt_error_string(reason));
    }

    void believesOnlyTheToolsOwnLines()
    {
        QVERIFY_THROWS_EXCEPTION(SetupError,
                                 unzip(tool(u"echo 'x: No space left on device'; exit 1"_qs)));
        // And nothing at all when it has done its work.
        unzip(tool(u"echo 'ditto: x: No space left on device'"_qs));
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
