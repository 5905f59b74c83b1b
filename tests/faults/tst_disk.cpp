// Tests Plays on disks that are full or can't be written. The message must name the folder, nothing
// may count as installed, and with room the next Play must succeed.

#include "ModelFixture.h"
#include "demo/ZipWriter.h"
#include "files/OutputFile.h"
#include "net/Transfer.h"
#include "support/Await.h"
#include "support/CutFile.h"
#include "support/EngineScript.h"
#include "support/Namespaces.h"
#include "support/Tree.h"

#include <QDir>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QString reasonNotToRun;

constexpr int fileCount = 24;
constexpr qsizetype fileBytes = 16 * 1024;
constexpr qsizetype engineBytes = 500 * 1024;
constexpr qint64 plenty = 64LL * 1024 * 1024;
constexpr qint64 little = 64LL * 1024;

/// Returns random bytes, which can't be compressed.
QByteArray noise(qsizetype size, quint32 which)
{
    QByteArray bytes(size, Qt::Uninitialized);
    std::generate(bytes.begin(), bytes.end(),
                  [random = QRandomGenerator(which)]() mutable { return random.generate(); });
    return bytes;
}

} // namespace

class TestDisk : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;
    qint64 needed_ = 0; // the most bytes that a first Play needs at once
    Tree complete_;     // the storage root after a Play

    QString home() const { return QFileInfo(fixture_->settingsFile()).path(); }
    QString storage() const { return QFileInfo(fixture_->root()).path(); }
    QString temporary() const { return fixture_->temporaryFolder(); }

    /// Mounts an empty disk as the home, and makes the folders for other disks.
    std::unique_ptr<SmallDisk> emptyHome() const
    {
        auto disk = std::make_unique<SmallDisk>(home(), plenty);
        QDir().mkpath(temporary());
        QDir().mkpath(storage());
        return disk;
    }

    /// Presses Play and waits for its end. Returns whether the game ran.
    bool play() const
    {
        fixture_->model().log.setLines({});
        fixture_->model().startWork(true);
        fixture_->passTheEnd();
        return fixture_->logHas(u"engine is playing"_s);
    }

    /// Checks the player's message. A new start must not take anything for installed.
    void verifyFailure(const QString &folder, int error) const
    {
        const AppState state = fixture_->model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        QVERIFY2(state.text.startsWith(folder) &&
                     state.text.endsWith(u": "_s + qt_error_string(error)),
                 qPrintable(state.text));
        QVERIFY(fixture_->logHas(u"• Problem: "_s + state.text));
        fixture_->restart();
        QCOMPARE(fixture_->model().state(), AppState::notDownloaded());
        QCOMPARE(fixture_->leftovers(), QStringList());
    }

    void verifyTheNextPlaySucceeds() const
    {
        QVERIFY2(play(), qPrintable(fixture_->model().log.lines().join(u'\n')));
        QCOMPARE(fixture_->leftovers(), QStringList());
        QCOMPARE(Tree::read(fixture_->root()).differences(complete_), QStringList());
        fixture_->restart();
    }

private Q_SLOTS:
    void initTestCase()
    {
        if (!reasonNotToRun.isEmpty()) {
            QSKIP(qPrintable(u"namespaces are not permitted here: "_s + reasonNotToRun));
        }
        fixture_ = std::make_unique<PipelineFixture>();
        QMap<QString, QByteArray> files;
        for (int i = 0; i < fileCount; ++i) {
            files.insert(u"art/%1.bin"_s.arg(i), noise(fileBytes, i + 2));
        }
        fixture_->offerGame(PipelineFixture::projectFile(), files);
        fixture_->offerEngine(engineScript("echo \"engine is playing\"\nexit 0",
                                           "mkdir -p \"$4/.godot\" && head -c 200000 \"$0\" > "
                                           "\"$4/.godot/imported\"\nexit") +
                              noise(engineBytes, 1));
        const auto disk = emptyHome();
        qint64 most = 0;
        fixture_->model().startWork(true);
        spinUntil([&] {
            fixture_->clock->advance(Clock::Duration(0.1));
            most = std::max(most, disk->used());
            return !fixture_->model().work();
        });
        QVERIFY(fixture_->logHas(u"engine is playing"_s));
        complete_ = Tree::read(fixture_->root());
        // The loop above may have missed the moment of the largest need.
        needed_ = std::max(most, disk->used() + engineBytes);
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
        QTest::addColumn<int>("tenths");
        for (int i = 0; i < 10; ++i) {
            QTest::addRow("%d of 10", i) << i;
        }
    }
    void isFull()
    {
        QFETCH(const int, tenths);
        SmallDisk disk(home(), std::max<qint64>(needed_ * tenths / 10, 4096));
        if (play()) {
            // Only the import lacked room. The engine imports later.
            QVERIFY2(tenths > 5, "there can't have been room for it");
        } else {
            verifyFailure(home(), ENOSPC);
        }
        disk.resize(plenty);
        verifyTheNextPlaySucceeds();
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
        const auto all = emptyHome();
        const SmallDisk memory(temporary(), bytes);
        verifyTheNextPlaySucceeds();
        QCOMPARE(QDir(storage()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList{u"Brindle"_s});
    }

    void noFolderTakesTheGame_data()
    {
        QTest::addColumn<qint64>("storageBytes");
        QTest::addColumn<qint64>("temporaryBytes");
        QTest::addColumn<QString>("readOnly");
        QTest::addColumn<QString>("named");
        QTest::addColumn<int>("error");
        QTest::addColumn<int>("requests");
        QTest::newRow("full storage") << little << plenty << QString() << fixture_->root() << ENOSPC
                                      << 1; // the storage is full, so no other folder helps
        QTest::newRow("both full")
            << little << little << QString() << temporary() + u"/Brindle-"_s << ENOSPC << 1;
        QTest::newRow("read-only storage")
            << plenty << plenty << u"storage"_s << storage() << EROFS << 1;
        QTest::newRow("read-only temporary folder")
            << plenty << plenty << u"temporary"_s << temporary() << EROFS << 0;
    }
    void noFolderTakesTheGame()
    {
        QFETCH(const qint64, storageBytes);
        QFETCH(const qint64, temporaryBytes);
        QFETCH(const QString, readOnly);
        QFETCH(const QString, named);
        QFETCH(const int, error);
        const auto all = emptyHome();
        SmallDisk disk(storage(), storageBytes);
        SmallDisk memory(temporary(), temporaryBytes);
        disk.setReadOnly(readOnly == u"storage");
        memory.setReadOnly(readOnly == u"temporary");
        fixture_->host.forgetRequests();
        QVERIFY(!play());
        QTEST(static_cast<int>(fixture_->host.requests().size()), "requests");
        verifyFailure(named, error);
        disk.resize(plenty);
        memory.resize(plenty);
        verifyTheNextPlaySucceeds();
    }

    /// The temporary folder has room for the add-on, but the storage has not.
    void theStorageFillsWhileAnAddonIsUnpacked()
    {
        const auto offerAddon = [this](qsizetype bytes) {
            ZipWriter zip;
            zip.add(u"one-HEAD/plugin.cfg"_s, "one");
            if (bytes > 0) {
                zip.add(u"one-HEAD/data.bin"_s, noise(bytes, 1));
            }
            fixture_->host.offerAddon(u"tessel-works/one"_s, zip.close());
        };
        const auto all = emptyHome();
        const SmallDisk memory(temporary(), plenty);
        SmallDisk disk(storage(), 3 * fileCount * fileBytes);
        offerAddon(3 * fileCount * fileBytes);
        fixture_->host.forgetRequests();
        QVERIFY(!play());
        QCOMPARE(fixture_->host.requests().size(), 2); // no second download to another folder
        verifyFailure(fixture_->root(), ENOSPC);
        QVERIFY(!QFileInfo::exists(fixture_->project() + u"/addons/one/data.bin"_s));
        disk.resize(plenty);
        offerAddon(0);
        verifyTheNextPlaySucceeds();
    }

    void tooLittleRoomIsReportedAtOnce()
    {
        const SmallDisk disk(home(), 50'000'000);
        const QString path = ReleaseHost::bodyPath(ReleaseHost::gamePath());
        fixture_->host.replace(path, [](const HttpRequest &, HttpConnection &connection) {
            connection.respond(200, {{"Content-Length", "60000000"}}, {});
            connection.waitUntilClosed(); // sends no byte
        });
        fixture_->host.forgetRequests();
        QVERIFY(!play());
        fixture_->host.restore(path);
        QCOMPARE(fixture_->host.requests(), QStringList{ReleaseHost::gamePath()});
        verifyFailure(home(), ENOSPC);
        verifyTheNextPlaySucceeds();
    }

    /// A download that begins anew must first free its earlier bytes.
    void beginsAnewWhereThereIsRoomForOne()
    {
        const SmallDisk disk(home(), 1'500'000);
        const QByteArray content = noise(1'000'000, 0);
        CutFile file(content, {900'000});
        const HttpServer server([&](HttpRequest request, HttpConnection &connection) {
            request.headers.remove("range");
            file.answer(request, connection);
        });
        const QString target = home() + u"/file"_s;
        auto fetching =
            Transfer::toFile(server.url(), std::make_shared<OutputFile>(target), {}, {});
        QCOMPARE(await(std::move(fetching)).status, 200);
        QVERIFY(readFile(target) == content);
        QCOMPARE(file.requests().size(), 2);
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
