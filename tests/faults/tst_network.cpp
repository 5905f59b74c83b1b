// Plays with each fault of the network that shows at once. The player reads the right message,
// nothing is left over, and the next Play succeeds.

#include "ModelFixture.h"
#include "NetworkFault.h"
#include "support/Await.h"

#include "net/Transfer.h"

#include <QRegularExpression>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

QString engineName()
{
    return EngineSpec{u"4.3-stable"_s}.zipName(Platform::current(QString()));
}

/// Returns the messages that depend on the download, as regular expressions.
QString ownMessage(const QString &row)
{
    const QString tooLarge =
        u"The download from 127\\.0\\.0\\.1 is larger than the %1 GB that this app accepts, so it "
        "was stopped\\."_s;
    const QMap<QString, QString> messages{
        {u"HTML page, game"_s,
         u"Unzipping failed \\(ditto exit code 1\\)\\. The download may be damaged\\."_s},
        {u"HTML page, engine"_s,
         u"The engine download did not match its official checksum, so it was thrown away\\. "
         "Please try again\\."_s},
        {u"HTML page, checksum list"_s, u"The official checksum list has no entry for %1\\."_s.arg(
                                            QRegularExpression::escape(engineName()))},
        {u"announced too large, game"_s, tooLarge.arg(u"8\\.59"_s)},
        {u"announced too large, engine"_s, tooLarge.arg(u"2\\.15"_s)},
        {u"announced too large, checksum list"_s,
         u"The server's answer is larger than the expected 1048576 bytes\\."_s},
    };
    return messages.value(row);
}

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    static QString pathOf(const QString &download)
    {
        if (download == u"game") {
            return ReleaseHost::gamePath();
        }
        return download == u"engine" ? ReleaseHost::enginePath(u"4.3-stable"_s, engineName())
                                     : ReleaseHost::checksumPath(u"4.3-stable"_s);
    }

    /// Lets the fault happen to the download, and plays.
    void playWith(const NetworkFault &fault, const QString &download) const
    {
        const QString path = pathOf(download);
        auto usual =
            Transfer::toMemory(QUrl(fixture_->host.url().toString() + path), 10'000'000, {});
        fault.happenTo(fixture_->host, path, await(std::move(usual)).body,
                       std::make_shared<std::atomic<bool>>(false));
        play();
    }

    void play() const
    {
        fixture_->model().startWork(true);
        fixture_->passTheEnd();
        QCOMPARE(fixture_->leftovers(), QStringList());
    }

    void verifyTheGameRan() const
    {
        QVERIFY2(fixture_->logHas(u"engine is playing"_s),
                 qPrintable(fixture_->model().log.lines().join(u'\n')));
    }

    static void addRows(NetworkFault::End end)
    {
        QTest::addColumn<int>("fault");
        QTest::addColumn<QString>("download");
        const auto faults = NetworkFault::all();
        for (int i = 0; i < faults.size(); ++i) {
            for (const QString &download : {u"game"_s, u"engine"_s, u"checksum list"_s}) {
                const NetworkFault &fault = faults.at(i);
                // The engine's download is the game's, except for messages of its own.
                const bool isOwn =
                    fault.end == NetworkFault::End::message && fault.message.isEmpty();
                if (fault.end == end && (download != u"engine" || isOwn)) {
                    QTest::addRow("%s, %s", qPrintable(fault.name), qPrintable(download))
                        << i << download;
                }
            }
        }
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
        playWith(what, download);
        const AppState state = fixture_->model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        const QString message = what.message.isEmpty()
                                    ? ownMessage(QLatin1String(QTest::currentDataTag()))
                                    : what.message;
        const QRegularExpression form(QRegularExpression::anchoredPattern(message));
        QVERIFY2(form.match(state.text).hasMatch(), qPrintable(state.text));
        QCOMPARE(fixture_->model().log.lines().constLast(), u"• Problem: "_s + state.text);

        fixture_->restart();
        QCOMPARE(fixture_->model().state(), AppState::notDownloaded());
        fixture_->host.restore(pathOf(download));
        play();
        verifyTheGameRan();
    }

    void isNothingToWorryAbout_data() { addRows(NetworkFault::End::success); }
    void isNothingToWorryAbout()
    {
        QFETCH(const int, fault);
        QFETCH(const QString, download);
        playWith(NetworkFault::all().at(fault), download);
        verifyTheGameRan();
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
