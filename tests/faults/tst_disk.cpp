// Disks that are full or can't be written: a message that names the place, nothing taken for
// installed, and with room the next Play succeeds.

#include "../e2e/Namespaces.h"
#include "PipelineFixture.h"
#include "SmallDisk.h"
#include "demo/ZipWriter.h"
#include "files/OutputFile.h"
#include "net/Transfer.h"
#include "support/Await.h"
#include "support/CutFile.h"
#include "support/EngineScript.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QtTest>

using namespace brindle;

namespace {

QString reasonNotToRun;

constexpr int fileCount = 24;
constexpr qsizetype fileBytes = 16 * 1024;
constexpr qsizetype engineBytes = 500 * 1024;
constexpr qint64 plenty = 64LL * 1024 * 1024;

/// Bytes that don't pack.
QByteArray noise(qsizetype size, quint32 which)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(),
                  [random = QRandomGenerator(which)]() mutable { return random.generate(); });
    return bytes;
}

/// Imports by writing a file, which may fail, and plays by saying so.
QByteArray engine()
{
    return engineScript("echo \"engine is playing\"\nexit 0",
                        "mkdir -p \"$4/.godot\" && "
                        "head -c 200000 \"$0\" > \"$4/.godot/imported\"\nexit") +
           noise(engineBytes, 1);
}

/// What a Play leaves, by path; empty folders left out.
QMap<QString, QByteArray> contents(const QString &folder)
{
    QMap<QString, QByteArray> found;
    QDirIterator files(folder, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = files.next();
        found.insert(QDir(folder).relativeFilePath(path), ModelFixture::read(path));
    }
    return found;
}

} // namespace

class TestDisk : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;
    qint64 needed_ = 0;                  // by a first Play at its worst moment
    QMap<QString, QByteArray> complete_; // what it leaves

    QString home() const { return QFileInfo(fixture_->settingsFile()).path(); }
    QString storage() const { return QFileInfo(fixture_->root()).path(); }

    void offer() const
    {
        QMap<QString, QByteArray> files;
        for (int i = 0; i < fileCount; ++i) {
            files.insert(QStringLiteral("art/%1.bin").arg(i), noise(fileBytes, i + 2));
        }
        fixture_->offerGameWith(files);
        fixture_->offerEngine(engine());
    }

    /// Presses Play and waits for its end, whichever.
    void play() const
    {
        fixture_->model().log.setLines({});
        fixture_->model().startWork(true);
        spinUntil([&] {
            fixture_->clock->advance(Clock::Duration(0.1));
            return !fixture_->model().work();
        });
    }

    bool gameRan() const { return fixture_->logHas(QStringLiteral("engine is playing")); }

    /// The message that the player sees, if it names a place below `folder`.
    void verifyMessageNames(const QString &folder, const QString &reason) const
    {
        const AppState state = fixture_->model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        QVERIFY2(state.text.startsWith(folder) &&
                     state.text.endsWith(QStringLiteral(": ") + reason),
                 qPrintable(state.text));
        QVERIFY(fixture_->logHas(QStringLiteral("• Problem: ") + state.text));
    }

    /// A new start, which trusts nothing but the disk, does not take this for ready.
    void verifyNothingIsTakenForInstalled() const
    {
        fixture_->restart();
        QCOMPARE(fixture_->model().state(), AppState::notDownloaded());
        QCOMPARE(fixture_->leftovers(), QStringList());
    }

    void verifyTheNextPlaySucceeds() const
    {
        play();
        QVERIFY2(gameRan(), qPrintable(fixture_->model().log.lines().join(u'\n')));
        const auto found = contents(fixture_->root());
        QCOMPARE(found.keys(), complete_.keys());
        QVERIFY(found == complete_);
        QCOMPARE(fixture_->leftovers(), QStringList());
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!reasonNotToRun.isEmpty()) {
            QSKIP(
                qPrintable(QStringLiteral("namespaces are not permitted here: ") + reasonNotToRun));
        }
        fixture_ = std::make_unique<PipelineFixture>();
        offer();
        const SmallDisk disk(home(), plenty);
        qint64 most = 0;
        fixture_->model().startWork(true);
        spinUntil([&] {
            fixture_->clock->advance(Clock::Duration(0.1));
            most = std::max(most, disk.used());
            return !fixture_->model().work();
        });
        QVERIFY(gameRan());
        complete_ = contents(fixture_->root());
        // Besides what was seen, which may have missed the worst moment, a staged archive.
        needed_ = std::max(most, disk.used() + engineBytes);
        fixture_->restart();
    }

    void cleanup()
    {
        if (fixture_) {
            fixture_->restart();
        }
    }

    void isFull_data()
    {
        QTest::addColumn<int>("twentieths");
        for (int i = 0; i < 20; ++i) {
            QTest::addRow("%d of 20", i) << i;
        }
    }
    void isFull()
    {
        QFETCH(const int, twentieths);
        SmallDisk disk(home(), std::max<qint64>(needed_ * twentieths / 20, 4096));
        play();
        if (gameRan()) {
            // What is left out then is the import, which the engine makes up for by itself.
            QVERIFY2(twentieths > 10, "there can't have been room for it");
        } else {
            verifyMessageNames(home(), qt_error_string(ENOSPC));
            verifyNothingIsTakenForInstalled();
        }
        disk.resize(plenty);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    void temporaryFolderIsTooSmall_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::newRow("for anything") << qint64{4096};
        QTest::newRow("for the game") << qint64{fileCount * fileBytes / 4};
        QTest::newRow("for the engine") << qint64{engineBytes / 3};
    }
    void temporaryFolderIsTooSmall()
    {
        QFETCH(const qint64, bytes);
        const SmallDisk all(home(), plenty);
        const QString temporary = fixture_->temporaryFolder();
        QVERIFY(QDir().mkpath(temporary));
        const SmallDisk memory(temporary, bytes);
        verifyTheNextPlaySucceeds();
        QCOMPARE(QDir(storage()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{QStringLiteral("Brindle")});
        fixture_->restart();
    }

    void neitherPlaceHasRoom()
    {
        const SmallDisk all(home(), plenty);
        const QString temporary = fixture_->temporaryFolder();
        QVERIFY(QDir().mkpath(temporary) && QDir().mkpath(storage()));
        SmallDisk memory(temporary, 65536);
        SmallDisk disk(storage(), 65536);
        play();
        QVERIFY(!gameRan());
        verifyMessageNames(storage() + QStringLiteral("/Brindle-"), qt_error_string(ENOSPC));
        verifyNothingIsTakenForInstalled();
        disk.resize(plenty);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    /// What is full is the storage: another place for the archive would not help.
    void aFullStorageIsNotTriedTwice()
    {
        const SmallDisk all(home(), plenty);
        QVERIFY(QDir().mkpath(storage()));
        SmallDisk disk(storage(), 65536);
        fixture_->host.forgetRequests();
        play();
        QVERIFY(!gameRan());
        verifyMessageNames(fixture_->root(), qt_error_string(ENOSPC));
        QCOMPARE(fixture_->host.requests(), QStringList{ReleaseHost::gamePath()});
        verifyNothingIsTakenForInstalled();
        disk.resize(plenty);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    /// The temporary folder has room for the add-on, the storage has not.
    void theStorageFillsWhileAnAddonIsUnpacked()
    {
        const auto offerAddon = [this](qsizetype bytes) {
            const QString path = fixture_->settingsFile() + QStringLiteral(".addon.zip");
            ZipWriter zip(path);
            zip.add(QStringLiteral("one-HEAD/plugin.cfg"), "one");
            if (bytes > 0) {
                zip.add(QStringLiteral("one-HEAD/data.bin"), noise(bytes, 1));
            }
            zip.close();
            fixture_->host.offerAddon(QStringLiteral("tessel-works/one"), ModelFixture::read(path));
        };
        const SmallDisk all(home(), plenty);
        const QString temporary = fixture_->temporaryFolder();
        QVERIFY(QDir().mkpath(temporary) && QDir().mkpath(storage()));
        const SmallDisk memory(temporary, plenty);
        SmallDisk disk(storage(), 3 * fileCount * fileBytes);
        offerAddon(3 * fileCount * fileBytes);
        fixture_->host.forgetRequests();
        play();
        QVERIFY(!gameRan());
        verifyMessageNames(fixture_->root(), qt_error_string(ENOSPC));
        QCOMPARE(fixture_->host.requests().size(), 2); // not fetched again to another folder
        QVERIFY(!QFileInfo::exists(fixture_->root() +
                                   QStringLiteral("/Game/godot-brindle-main/addons/one/data.bin")));
        disk.resize(plenty);
        offerAddon(0);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    /// Of 60 MB, no byte comes.
    void tooLittleRoomIsToldAtOnce()
    {
        const SmallDisk disk(home(), 50'000'000);
        const QString path = ReleaseHost::bodyPath(ReleaseHost::gamePath());
        fixture_->host.replace(path, [](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", "60000000"}}, {});
            connection.waitUntilClosed();
        });
        fixture_->host.forgetRequests();
        play();
        fixture_->host.restore(path);
        // There is no other disk to try.
        QCOMPARE(fixture_->host.requests(), QStringList{ReleaseHost::gamePath()});
        verifyMessageNames(home(), qt_error_string(ENOSPC));
        verifyNothingIsTakenForInstalled();
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    /// What a download that begins anew has brought before is no room lost.
    void beginsAnewWhereThereIsRoomForOne()
    {
        const SmallDisk disk(home(), 1'500'000);
        const QByteArray content = noise(1'000'000, 0);
        CutFile file(content, {900'000});
        const HttpServer server([&](HttpRequest request, HttpConnection &connection) {
            request.headers.remove("range");
            file.answer(request, connection);
        });
        const QString target = home() + QStringLiteral("/file");
        auto fetching = Transfer::toFile(server.url(), std::make_shared<OutputFile>(target), {}, {});
        QCOMPARE(await(std::move(fetching)).status, 200);
        QVERIFY(ModelFixture::read(target) == content);
        QCOMPARE(file.requests().size(), 2);
    }

    void isReadOnly_data()
    {
        QTest::addColumn<QString>("place");
        QTest::newRow("storage") << storage();
        QTest::newRow("staging") << fixture_->temporaryFolder();
    }
    void isReadOnly()
    {
        QFETCH(const QString, place);
        const SmallDisk all(home(), plenty);
        QVERIFY(QDir().mkpath(place));
        SmallDisk disk(place, plenty);
        disk.setReadOnly(true);
        play();
        QVERIFY(!gameRan());
        verifyMessageNames(place, qt_error_string(EROFS));
        verifyNothingIsTakenForInstalled();
        disk.setReadOnly(false);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    void storageBecomesReadOnlyAtTheUnpacking()
    {
        const SmallDisk all(home(), plenty);
        QVERIFY(QDir().mkpath(storage()));
        SmallDisk disk(storage(), plenty);
        const QString path = ReleaseHost::gamePath();
        const auto gate = fixture_->host.hold(path, 1);
        fixture_->model().startWork(true);
        spinUntil([&] { return gate->isReached(); });
        disk.setReadOnly(true);
        gate->open();
        spinUntil([&] { return !fixture_->model().work(); });
        fixture_->host.restore(path);
        verifyMessageNames(storage(), qt_error_string(EROFS));
        verifyNothingIsTakenForInstalled();
        disk.setReadOnly(false);
        verifyTheNextPlaySucceeds();
        fixture_->restart();
    }

    void settingsAreReadOnly()
    {
        SmallDisk disk(home(), plenty);
        fixture_->model(); // looks for the settings while there are none
        disk.setReadOnly(true);
        fixture_->model().setResolution(ResolutionChoice::r900);
        spinUntil([this] { return !fixture_->model().log.lines().isEmpty(); });
        QCOMPARE(fixture_->model().log.lines(),
                 QStringList{QStringLiteral("• Problem: The settings could not be saved in ") +
                             fixture_->settingsFile() + u'.'});
        disk.setReadOnly(false);
        play();
        QVERIFY(gameRan());
        QVERIFY(!fixture_->model().log.lines().filter(QStringLiteral("1600x900")).isEmpty());
        fixture_->model().setFullscreen(true);
        fixture_->restart();
        QCOMPARE(fixture_->model().resolution(), ResolutionChoice::r900);
        QCOMPARE(fixture_->model().fullscreen(), true);
        fixture_->restart();
    }
};

int main(int argc, char *argv[])
{
    Namespaces::enter(&reasonNotToRun);
    const QCoreApplication application(argc, argv);
    TestDisk test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_disk.moc"
