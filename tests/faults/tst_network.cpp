// Every way in which a download goes wrong, through the whole of a Play: what the player is told,
// that nothing of it stays, that Cancel ends it, and that the next Play goes on.

#include "NetworkFault.h"
#include "PipelineFixture.h"
#include "demo/ProgramFill.h"
#include "support/Await.h"
#include "support/CutFile.h"

#include <QDir>
#include <QFile>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QtTest>

#include <dlfcn.h>
#include <netdb.h>

#include <cstring>
#include <semaphore>

using namespace brindle;

namespace {

std::atomic<bool> isLookedUp = false;

} // namespace

/// Stands in for the system's look-up in libcurl: one name is never answered.
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

    QMap<QString, QString> paths_; // of a Play's downloads, by what they are called here

    static QString engineName()
    {
        return EngineSpec{QStringLiteral("4.3-stable")}.zipName(Platform::current(QString()));
    }

    /// What the host usually answers.
    QByteArray served(const QString &path) const
    {
        constexpr qint64 most = 10'000'000;
        const QUrl url(fixture_->host.url().toString() + path);
        auto fetching = Transfer::toMemory(url, most, {});
        return await(std::move(fetching)).body;
    }

    void play() const
    {
        fixture_->model().log.setLines({});
        fixture_->model().startWork(true);
    }

    void waitUntilIdle() const
    {
        spinUntil([&] {
            fixture_->clock->advance(Clock::Duration(0.1));
            return !fixture_->model().work();
        });
    }

    bool gameRan() const { return fixture_->logHas(QStringLiteral("engine is playing")); }

    /// The game is whole, or it is not there; and so is the engine.
    void verifyNothingIsLeft() const
    {
        QCOMPARE(fixture_->files.leftovers(), QStringList());
        fixture_->files.restart();
        QCOMPARE(fixture_->model().state(), AppState::notDownloaded());
    }

    void verifyTheNextPlaySucceeds(const QString &path) const
    {
        fixture_->host.restore(path);
        play();
        waitUntilIdle();
        QVERIFY2(gameRan(), qPrintable(fixture_->model().log.lines().join(u'\n')));
        QCOMPARE(fixture_->files.leftovers(), QStringList());
        for (const char *name : {"one", "two"}) {
            QCOMPARE(ModelFixture::read(
                         fixture_->project() +
                         QStringLiteral("/addons/%1/plugin.cfg").arg(QLatin1String(name))),
                     QByteArray(name));
        }
    }

    void addRows(const std::function<bool(NetworkFault::End)> &wanted) const
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("download");
        const auto faults = NetworkFault::all();
        for (int i = 0; i < faults.size(); ++i) {
            if (!wanted(faults.at(i).end())) {
                continue;
            }
            for (auto it = paths_.begin(); it != paths_.end(); ++it) {
                QTest::addRow("%s, %s", qPrintable(faults.at(i).name()), qPrintable(it.key()))
                    << i << it.key();
            }
        }
    }

    /// What the player is told: a form for all downloads, or one for this.
    static QString expectedMessage(const QString &fault, const QString &download)
    {
        if (fault == u"HTML page") {
            if (download == u"checksum list") {
                return QStringLiteral("The official checksum list has no entry for %1\\.")
                    .arg(QRegularExpression::escape(engineName()));
            }
            return download == u"engine"
                       ? QStringLiteral("The engine download did not match its official checksum, "
                                        "so it was thrown away\\. Please try again\\.")
                       : QStringLiteral("Unzipping failed \\(ditto exit code 1\\)\\. The download "
                                        "may be damaged\\.");
        }
        if (fault == u"announced too large") {
            return download == u"checksum list"
                       ? QStringLiteral("The server's answer is larger than the expected 1048576 "
                                        "bytes\\.")
                       : QStringLiteral("The download from 127\\.0\\.0\\.1 is larger than the %1 "
                                        "that this app accepts, so it was stopped\\.")
                             .arg(download == u"engine" ? QStringLiteral("2\\.15 GB")
                                                        : QStringLiteral("8\\.59 GB"));
        }
        static const QMap<QString, QString> forms{
            {QStringLiteral("refused"), QStringLiteral("Failed to connect to 127\\.0\\.0\\.1 .*")},
            {QStringLiteral("reset in the middle"),
             QStringLiteral(".*(reset|The server ended the connection|transfer closed).*")},
            {QStringLiteral("short body"),
             QStringLiteral(
                 "(transfer closed|end of response) with \\d+ bytes (remaining to read|missing)")},
            {QStringLiteral("sign-in page"),
             QStringLiteral("The network answered with a web page in place of 127\\.0\\.0\\.1\\. .*"
                            "sign in first.*")},
            {QStringLiteral("gzip-encoded"),
             QStringLiteral("The server sent the file in an encoding \\(gzip\\) that .*")},
            {QStringLiteral("redirect loop"),
             QStringLiteral("The server redirected more than 20 times\\.")},
            {QStringLiteral("redirect to plain http"),
             QStringLiteral("The server redirected to an insecure address \\(plain http\\), "
                            "which was not followed\\.")},
        };
        return forms.value(fault);
    }

private Q_SLOTS:
    void initTestCase()
    {
        for (const char *name : {"http_proxy", "https_proxy", "all_proxy"}) {
            qunsetenv(name);
        }
        const QString tag = QStringLiteral("4.3-stable");
        paths_ = {
            {QStringLiteral("game"), ReleaseHost::gamePath()},
            {QStringLiteral("add-on"), ReleaseHost::addonPath(QStringLiteral("tessel-works/two"))},
            {QStringLiteral("checksum list"), ReleaseHost::checksumPath(tag)},
            {QStringLiteral("engine"), ReleaseHost::enginePath(tag, engineName())},
        };
    }

    void init()
    {
        fixture_ = std::make_unique<PipelineFixture>();
        fixture_->offerEngine("#!/bin/sh\necho \"engine is playing\"\n");
    }

    void cleanup() { fixture_.reset(); }

    void isTold_data()
    {
        addRows([](NetworkFault::End end) { return end == NetworkFault::End::message; });
    }
    void isTold()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const NetworkFault what = NetworkFault::all().at(fault);
        const QString path = paths_.value(download);
        what.happenTo(fixture_->host, path, served(path),
                      std::make_shared<std::atomic<bool>>(false));
        play();
        waitUntilIdle();
        QVERIFY(!gameRan());
        const AppState state = fixture_->model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        const QRegularExpression form(
            QRegularExpression::anchoredPattern(expectedMessage(what.name(), download)));
        QVERIFY2(form.match(state.text).hasMatch(), qPrintable(state.text));
        QCOMPARE(fixture_->model().log.lines().constLast(),
                 QStringLiteral("• Problem: ") + state.text);
        verifyNothingIsLeft();
        verifyTheNextPlaySucceeds(path);
    }

    void isNothingToWorryAbout_data()
    {
        addRows([](NetworkFault::End end) { return end == NetworkFault::End::success; });
    }
    void isNothingToWorryAbout()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const QString path = paths_.value(download);
        NetworkFault::all().at(fault).happenTo(fixture_->host, path, served(path),
                                               std::make_shared<std::atomic<bool>>(false));
        play();
        waitUntilIdle();
        QVERIFY2(gameRan(), qPrintable(fixture_->model().log.lines().join(u'\n')));
    }

    void isCutFiveTimes()
    {
        constexpr qsizetype engineBytes = 6'000'000;
        fixture_->offerEngine("#!/bin/sh\necho \"engine is playing\"\nexit 0\n" +
                              ProgramFill().next(engineBytes));
        const QString path = paths_.value(QStringLiteral("engine"));
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
        QVERIFY2(gameRan(), qPrintable(fixture_->model().log.lines().join(u'\n')));
        QCOMPARE(file.requests().size(), 6);
        QVERIFY(file.sent() <= content.size() + content.size() / 50);
        QCOMPARE(fixture_->files.leftovers(), QStringList());
    }

    void isCancelled_data()
    {
        addRows([](NetworkFault::End end) { return end == NetworkFault::End::silence; });
    }
    void isCancelled()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        const NetworkFault what = NetworkFault::all().at(fault);
        const QString path = paths_.value(download);
        const auto isReached = std::make_shared<std::atomic<bool>>(false);
        isLookedUp = false;
        what.happenTo(fixture_->host, path, served(path), isReached);
        play();
        spinUntil([&] {
            return what.name() == u"silent look-up" ? isLookedUp.load() : isReached->load();
        });
        QVERIFY(fixture_->model().work());
        // Nothing that it waits for will ever come.
        fixture_->model().cancel();
        waitUntilIdle();
        QCOMPARE(fixture_->model().log.lines().constLast(), QStringLiteral("• Cancelled"));
        verifyNothingIsLeft();
        verifyTheNextPlaySucceeds(path);
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
