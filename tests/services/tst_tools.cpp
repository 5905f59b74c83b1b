// Tests unpacking, with a script as the archive tool.

#include "base/Error.h"
#include "files/Files.h"
#include "process/Tools.h"
#include "support/Await.h"
#include "support/Fifo.h"
#include "support/SystemCalls.h"
#include "support/TestChild.h"
#include "support/TestFiles.h"
#include "support/Thrown.h"
#include "support/WorkerHold.h"

#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>

#include <memory>
#include <optional>
#include <semaphore>

#include <unistd.h>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestTools : public QObject
{
    Q_OBJECT

    QString at(const QString &name) const { return folder_->filePath(name); }
    QString place() const { return at(u"new/place"_s); }
    QString archive() const { return at(u"a game.zip"_s); }
    /// Makes a tool that writes its arguments to a file, then runs `script`.
    QString tool(const QString &script = {}) const
    {
        writeScript(at(u"tool"_s),
                    u"printf '%s\\n' \"$@\" > '%1'\n%2"_s.arg(at(u"called"_s), script).toUtf8());
        return at(u"tool"_s);
    }
    QStringList called() const
    {
        return QString::fromUtf8(readFile(at(u"called"_s))).split(u'\n', Qt::SkipEmptyParts);
    }
    std::shared_ptr<QFile> opened()
    {
        auto file = std::make_shared<QFile>(archive());
        if (!file->open(QIODevice::ReadOnly)) {
            throw std::runtime_error("no archive");
        }
        opened_ = file;
        return file;
    }
    QCoro::Task<> start(const QString &tool, std::stop_token stop = {})
    {
        return Tools::replaceFolder(tool, archive(), opened(), place(), stop);
    }

    /// Returns the names beside the destination.
    QStringList beside() const
    {
        WorkerHold().open(); // waits for the deletion
        return Files::names(at(u"new"_s));
    }

    std::unique_ptr<QTemporaryDir> folder_;
    std::weak_ptr<QFile> opened_; // the archive that the last call got

private Q_SLOTS:
    void init()
    {
        folder_ = std::make_unique<QTemporaryDir>();
        QVERIFY(QDir().mkpath(at(u"new"_s)));
        writeFile(archive(), "written");
    }

    void callsTheToolAsDittoIsCalled()
    {
        QString unpacked;
        QStringList names;
        const auto look = [&](const QString &folder) {
            unpacked = folder;
            names = Files::names(folder);
        };
        await(
            Tools::unzip(tool(u"touch \"$4/unpacked\""_s), archive(), opened(), place(), look, {}));
        QCOMPARE(called().size(), 4);
        QCOMPARE(called().mid(0, 2), (QStringList{u"-x"_s, u"-k"_s}));
        QVERIFY2(called()[2].startsWith(u"/dev/fd/"), qPrintable(called()[2]));
        QCOMPARE(called()[3], unpacked);
        QCOMPARE(names, QStringList{u"unpacked"_s});
        QVERIFY(!QFile::exists(archive()));
        // The unpacked folder is deleted.
        QCOMPARE(beside(), QStringList());
    }

    void aFailedPlacingIsPassedOn()
    {
        const auto fail = [](const QString &) { throw SetupError(u"No."_s); };
        QCOMPARE(thrownBy(Tools::unzip(tool(), archive(), opened(), place(), fail, {})), u"No."_s);
        QCOMPARE(beside(), QStringList());
    }

    void theContentAppearsAtOnce()
    {
        writeFile(place() + u"/old"_s, "old");
        writeFile(at(u"new/.brindle-removing-x/old"_s), "old");
        await(start(tool(u"touch \"$4/half\"; ls -A '%1' > '%2'; touch \"$4/rest\"; "
                         "chmod 777 \"$4\""_s.arg(place(), at(u"seen"_s)))));
        QVERIFY2(called().value(3).startsWith(at(u"new/.brindle-"_s)),
                 qPrintable(called().value(3)));
        QVERIFY(QFile::exists(at(u"seen"_s)));
        QCOMPARE(readFile(at(u"seen"_s)), QByteArray());
        QStringList names = Files::names(place());
        names.sort();
        QCOMPARE(names, (QStringList{u"half"_s, u"rest"_s}));
        QCOMPARE(QFile::permissions(place()) & (QFile::ReadOther | QFile::WriteGroup), 0);
        QCOMPARE(beside(), QStringList{u"place"_s});
    }

    void nothingRemainsOfAHalf_data()
    {
        QTest::addColumn<QString>("end");
        QTest::newRow("fails") << u"exit 1"_s;
        QTest::newRow("dies") << u"kill -9 $$"_s;
    }
    void nothingRemainsOfAHalf()
    {
        QFETCH(const QString, end);
        QVERIFY(thrownBy(start(tool(u"mkdir \"$4/a\"; touch \"$4/a/project.godot\"; "_s + end))));
        QCOMPARE(Files::names(place()), QStringList());
        QCOMPARE(beside(), QStringList{u"place"_s});
        QVERIFY(QFile::exists(archive())); // is removed only with its staging folder
    }

    void theArchiveIsDeletedBeforeTheSync()
    {
        std::optional<bool> wasThere;
        SystemCalls calls;
        calls.before = [&](const QString &line) {
            if (line.startsWith(u"sync all")) {
                wasThere = QFile::exists(archive()) || !opened_.expired();
            }
            return 0;
        };
        await(start(tool()));
        QCOMPARE(wasThere, false);
    }

    void aCancelDoesNotWaitForTheDisk()
    {
        std::stop_source stop;
        std::binary_semaphore answer(0);
        std::binary_semaphore answered(0);
        SystemCalls calls;
        calls.before = [&](const QString &line) {
            if (line.startsWith(u"sync all")) {
                stop.request_stop();
                answer.acquire();
                answered.release();
            }
            return 0;
        };
        QVERIFY(endsCancelled(start(tool(u"touch \"$4/unpacked\""_s), stop.get_token())));
        answer.release();
        answered.acquire();
        QCOMPARE(beside(), QStringList{u"place"_s});
        QCOMPARE(Files::names(place()), QStringList());
    }

    void theToolReadsNothingAndHasNoTerminal()
    {
        writeFile(at(u"own input"_s), "from the launcher");
        QFile own(at(u"own input"_s));
        QVERIFY(own.open(QIODevice::ReadOnly | QIODevice::Unbuffered));
        const int before = dup(STDIN_FILENO);
        QVERIFY(dup2(own.handle(), STDIN_FILENO) == STDIN_FILENO);
        const auto restore = qScopeGuard([before] {
            dup2(before, STDIN_FILENO);
            close(before);
        });
        // Field 6 of "stat" is the session. A new session has no terminal.
        const QString session = u"set -- $(cat /proc/$$/stat); test \"$6\" = $$ && "
                                "test \"$(readlink /proc/$$/fd/0)\" = /dev/null"_s;
        const bool isLinux = QSysInfo::kernelType() == u"linux";
        await(start(tool(u"cat > \"$4/input\"; "_s + (isLinux ? session : QString()))));
        QVERIFY(QFile::exists(place() + u"/input"_s));
        QCOMPARE(readFile(place() + u"/input"_s), QByteArray());
    }

    void theToolReadsTheOpenFile()
    {
        auto task = start(tool(
            u"rm '%1'; echo swapped > '%1'; cat \"$3\" > \"$4/copy\"; "
            "exec '%2' descriptors: > '%3'"_s.arg(archive(), testChild(), at(u"descriptors"_s))));
        await(std::move(task));
        QCOMPARE(readFile(place() + u"/copy"_s), QByteArray("written"));
        // The child has the three standard descriptors and the archive.
        QCOMPARE(readFile(at(u"descriptors"_s)).split(' ').size(), 4);
    }

    void errorsNameTheirCause_data()
    {
        QTest::addColumn<QString>("script");
        QTest::addColumn<QString>("message");
        const auto damaged =
            [](const char *name, const QString &script, int code) {
                QTest::newRow(name)
                    << script
                    << u"Unzipping failed (ditto exit code %1). The download may be damaged."_s.arg(
                           code);
            };
        damaged("damaged archive", u"exit 1"_s, 1);
        damaged("the last code", u"exit 127"_s, 127);
        for (const int number : {ENOSPC, EDQUOT, EACCES}) {
            QTest::addRow("%s", qPrintable(qt_error_string(number)))
                << u"exit %1"_s.arg(128 + number) << u"{place}: "_s + qt_error_string(number);
        }
    }
    void errorsNameTheirCause()
    {
        QFETCH(const QString, script);
        QFETCH(QString, message);
        message.replace(u"{place}"_s, place());
        QCOMPARE(thrownBy(start(tool(script))), message);
    }

    void aCancelBeforeTheStartChangesNothing()
    {
        writeFile(place() + u"/old"_s, "old");
        std::stop_source stop;
        stop.request_stop();
        QVERIFY(endsCancelled(start(tool(), stop.get_token())));
        QVERIFY(called().isEmpty());
        QCOMPARE(readFile(place() + u"/old"_s), QByteArray("old"));
    }

    void aCancelEndsTheTool_data()
    {
        QTest::addColumn<QString>("steps");
        QTest::newRow("that ends when asked") << QString();
        QTest::newRow("that ignores it") << u"ignore:15"_s;
    }
    void aCancelEndsTheTool()
    {
        QFETCH(const QString, steps);
        const Lifeline lifeline;
        std::stop_source stop;
        auto task = start(tool(u"exec '%1' %4 hold:'%2' touch:\"$4/half\" touch:'%3' wait:"_s.arg(
                              testChild(), lifeline.path(), at(u"working"_s), steps)),
                          stop.get_token());
        spinUntil([this] { return QFile::exists(at(u"working"_s)); });
        QVERIFY(!lifeline.isDropped());
        stop.request_stop();
        QVERIFY(endsCancelled(std::move(task)));
        QVERIFY(lifeline.isDropped());
        QCOMPARE(beside(), QStringList{u"place"_s});
        QCOMPARE(Files::names(place()), QStringList());
    }

    void aToolIsAskedBeforeItIsKilled()
    {
        std::stop_source stop;
        auto task =
            start(tool(u"trap 'touch \"%2\"; exit 1' TERM; touch '%1'; "
                       "while :; do sleep 0.01; done"_s.arg(at(u"working"_s), at(u"asked"_s))),
                  stop.get_token());
        spinUntil([this] { return QFile::exists(at(u"working"_s)); });
        stop.request_stop();
        QVERIFY(endsCancelled(std::move(task)));
        QVERIFY(QFile::exists(at(u"asked"_s)));
    }

    void aToolEndsWithTheLauncher()
    {
        if (QSysInfo::kernelType() != u"linux") {
            QSKIP("this system binds no child to its parent");
        }
        const Lifeline lifeline;
        QProcess launcher;
        launcher.start(testChild(), {u"toolbox:"_s + testChild(), u"hold:"_s + lifeline.path(),
                                     u"ignore:15"_s, u"touch:"_s + at(u"working"_s), u"wait:"_s});
        spinUntil([this] { return QFile::exists(at(u"working"_s)); });
        QVERIFY(!lifeline.isDropped());
        launcher.kill();
        QVERIFY(launcher.waitForFinished());
        spinUntil([&] { return lifeline.isDropped(); });
    }
};

QTEST_GUILESS_MAIN(TestTools)
#include "tst_tools.moc"
