// Plays with each fault of the network: the player reads the right message, no leftover stays,
// Cancel works, and the next Play succeeds.

#include "NetworkFault.h"
#include "PipelineFixture.h"
#include "support/Await.h"
#include "support/CutFile.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include <dlfcn.h>
#include <netdb.h>

#include <cstring>
#include <semaphore>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

std::atomic<bool> isLookedUp = false;

} // namespace

/// Replaces the name look-up for libcurl: one name is never answered.
extern "C" int getaddrinfo(const char *node, const char *service, const addrinfo *hints,
                           addrinfo **result)
{
    if (node && std::strcmp(node, NetworkFault::silentName) == 0) {
        isLookedUp = true;
        static std::binary_semaphore never(0);
        never.acquire();
    }
    using Function = int (*)(const char *, const char *, const addrinfo *, addrinfo **);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "getaddrinfo"));
    return real(node, service, hints, result);
}

class TestNetwork : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    static QString engineName()
    {
        return EngineSpec{u"4.3-stable"_s}.zipName(Platform::current(QString()));
    }

    static QString pathOf(const QString &download)
    {
        if (download == u"game") {
            return ReleaseHost::gamePath();
        }
        return download == u"engine" ? ReleaseHost::enginePath(u"4.3-stable"_s, engineName())
                                     : ReleaseHost::checksumPath(u"4.3-stable"_s);
    }

    /// Returns the host's usual answer.
    QByteArray served(const QString &path) const
    {
        const QUrl url(fixture_->host.url().toString() + path);
        auto fetching = Transfer::toMemory(url, 10'000'000, {});
        return await(std::move(fetching)).body;
    }

    void waitUntilIdle() const
    {
        spinUntil([&] {
            fixture_->clock->advance(Clock::Duration(0.1));
            return !fixture_->model().work();
        });
    }

    void play() const
    {
        fixture_->model().log.setLines({});
        fixture_->model().startWork(true);
    }

    void verifyTheGameRan() const
    {
        QVERIFY2(fixture_->logHas(u"engine is playing"_s),
                 qPrintable(fixture_->model().log.lines().join(u'\n')));
        QCOMPARE(fixture_->leftovers(), QStringList());
    }

    void verifyNothingIsLeftAndPlayAgain(const QString &path) const
    {
        QCOMPARE(fixture_->leftovers(), QStringList());
        fixture_->restart();
        QCOMPARE(fixture_->model().state(), AppState::notDownloaded());
        fixture_->host.restore(path);
        play();
        waitUntilIdle();
        verifyTheGameRan();
    }

    /// Adds each fault for a download into a file and for one into memory.
    static void addRows(NetworkFault::End end)
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("download");
        const auto faults = NetworkFault::all();
        for (int i = 0; i < faults.size(); ++i) {
            for (const QString &download : {u"game"_s, u"engine"_s, u"checksum list"_s}) {
                const NetworkFault &fault = faults.at(i);
                // The engine's download is the game's, save for messages of its own.
                const bool isOwn =
                    fault.end == NetworkFault::End::message && fault.message.isEmpty();
                if (fault.end == end && (download != u"engine" || isOwn)) {
                    QTest::addRow("%s, %s", qPrintable(fault.name), qPrintable(download))
                        << i << download;
                }
            }
        }
    }

    static QString expectedMessage(const NetworkFault &fault, const QString &download)
    {
        if (!fault.message.isEmpty()) {
            return fault.message;
        }
        static const QMap<QString, QString> messages{
            {u"HTML page, game"_s,
             u"Unzipping failed \\(ditto exit code 1\\)\\. The download may be damaged\\."_s},
            {u"HTML page, engine"_s,
             u"The engine download did not match its official checksum, so it was thrown away\\. "
             "Please try again\\."_s},
            {u"HTML page, checksum list"_s,
             u"The official checksum list has no entry for %1\\."_s.arg(
                 QRegularExpression::escape(engineName()))},
            {u"announced too large, game"_s,
             u"The download from 127\\.0\\.0\\.1 is larger than the 8\\.59 GB that this app "
             "accepts, so it was stopped\\."_s},
            {u"announced too large, engine"_s,
             u"The download from 127\\.0\\.0\\.1 is larger than the 2\\.15 GB that this app "
             "accepts, so it was stopped\\."_s},
            {u"announced too large, checksum list"_s,
             u"The server's answer is larger than the expected 1048576 bytes\\."_s},
        };
        return messages.value(fault.name + u", "_s + download);
    }

private Q_SLOTS:
    void init()
    {
        for (const char *name : {"http_proxy", "https_proxy", "all_proxy"}) {
            qunsetenv(name);
        }
        fixture_ = std::make_unique<PipelineFixture>();
        fixture_->offerEngine("#!/bin/sh\necho \"engine is playing\"\n");
    }

    void cleanup() { fixture_.reset(); }

    void isReported_data() { addRows(NetworkFault::End::message); }
    void isReported()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const NetworkFault what = NetworkFault::all().at(fault);
        const QString path = pathOf(download);
        what.happenTo(fixture_->host, path, served(path),
                      std::make_shared<std::atomic<bool>>(false));
        play();
        waitUntilIdle();
        const AppState state = fixture_->model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        const QRegularExpression form(
            QRegularExpression::anchoredPattern(expectedMessage(what, download)));
        QVERIFY2(form.match(state.text).hasMatch(), qPrintable(state.text));
        QCOMPARE(fixture_->model().log.lines().constLast(), u"• Problem: "_s + state.text);
        verifyNothingIsLeftAndPlayAgain(path);
    }

    void isNothingToWorryAbout_data() { addRows(NetworkFault::End::success); }
    void isNothingToWorryAbout()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const QString path = pathOf(download);
        NetworkFault::all().at(fault).happenTo(fixture_->host, path, served(path),
                                               std::make_shared<std::atomic<bool>>(false));
        play();
        waitUntilIdle();
        verifyTheGameRan();
    }

    void isCutFiveTimes()
    {
        constexpr qsizetype noiseBytes = 2'000'000;
        QByteArray noise(noiseBytes, Qt::Uninitialized);
        std::generate(noise.begin(), noise.end(), [random = QRandomGenerator(7)]() mutable {
            return static_cast<char>(random.bounded('a', 'a' + 128));
        });
        fixture_->offerEngine("#!/bin/sh\necho \"engine is playing\"\nexit 0\n" + noise);
        const QString path = pathOf(u"engine"_s);
        const QByteArray content = served(path);
        QList<qint64> cuts;
        for (int i = 0; i < 5; ++i) {
            cuts.append(
                QRandomGenerator::global()->bounded(1, static_cast<int>(content.size()) / 5));
        }
        qInfo() << "of" << content.size() << "bytes, cut after" << cuts;
        CutFile file(content, cuts);
        fixture_->host.replace(ReleaseHost::bodyPath(path),
                               [&file](const HttpRequest &request, HttpConnection &connection) {
                                   file.answer(request, connection);
                               });
        play();
        waitUntilIdle();
        verifyTheGameRan();
        QCOMPARE(file.requests().size(), 6);
        QVERIFY(file.sent() <= content.size() + content.size() / 50);
    }

    void isCancelled_data() { addRows(NetworkFault::End::silence); }
    void isCancelled()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const NetworkFault what = NetworkFault::all().at(fault);
        const QString path = pathOf(download);
        const auto isReached = std::make_shared<std::atomic<bool>>(false);
        isLookedUp = false;
        what.happenTo(fixture_->host, path, served(path), isReached);
        play();
        spinUntil(
            [&] { return what.name == u"silent look-up" ? isLookedUp.load() : isReached->load(); });
        QVERIFY(fixture_->model().work());
        // The transfer waits for something that never comes.
        fixture_->model().cancel();
        waitUntilIdle();
        QCOMPARE(fixture_->model().log.lines().constLast(), u"• Cancelled"_s);
        verifyNothingIsLeftAndPlayAgain(path);
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
