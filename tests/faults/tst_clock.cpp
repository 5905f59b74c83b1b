// The wall clock jumps by ten years while the launcher works, and no wait changes its length. A
// preloaded library sets the clock of the launcher's process.

#include "ConsoleLauncher.h"
#include "support/Await.h"
#include "support/Fifo.h"

#include <QFile>
#include <QRegularExpression>
#include <QtTest>

#include <memory>
#include <vector>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

const QByteArray tenYears = "315360000";

/// Runs a launcher and sets its clock.
class TimeTraveller
{
public:
    TimeTraveller()
    {
        jump("0");
        launcher.setVariable(u"LD_PRELOAD"_s, library());
        launcher.setVariable(u"CLOCK_JUMP"_s, file());
    }

    static QString library() { return QCoreApplication::applicationDirPath() + u"/clockjump.so"_s; }
    QString file() const { return folder_.filePath(u"jump"_s); }

    void jump(const QByteArray &seconds) const { ModelFixture::write(file(), seconds); }

    ConsoleLauncher launcher;
    Gate gate;

private:
    QTemporaryDir folder_;
};

/// Returns the year as a program under this clock sees it.
int yearUnder(const TimeTraveller &traveller)
{
    QProcess date;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LD_PRELOAD"_s, TimeTraveller::library());
    environment.insert(u"CLOCK_JUMP"_s, traveller.file());
    date.setProcessEnvironment(environment);
    date.start(u"date"_s, {u"+%Y"_s});
    date.waitForFinished();
    return date.readAllStandardOutput().trimmed().toInt();
}

} // namespace

class TestClock : public QObject
{
    Q_OBJECT

    std::unique_ptr<PipelineFixture> fixture_;

    void offerEngine(const QString &playSteps) const
    {
        fixture_->offerEngine(steppedEngine(u"exit:0"_s, playSteps));
    }

    static void eitherWay()
    {
        QTest::addColumn<QByteArray>("seconds");
        QTest::newRow("into the future") << tenYears;
        QTest::newRow("into the past") << QByteArray('-' + tenYears);
    }

private Q_SLOTS:
    void init() { fixture_ = std::make_unique<PipelineFixture>(); }
    void cleanup() { fixture_.reset(); }

    void theTestsClockDoesJump()
    {
        const TimeTraveller traveller;
        const int now = yearUnder(traveller);
        traveller.jump(tenYears);
        QVERIFY(yearUnder(traveller) >= now + 9);
        traveller.jump('-' + tenYears);
        QVERIFY(yearUnder(traveller) <= now - 9);
    }

    void aShortGameStaysShort_data() { eitherWay(); }
    void aShortGameStaysShort()
    {
        QFETCH(const QByteArray, seconds);
        TimeTraveller traveller;
        offerEngine(u"'out:engine is playing\\n' gate:'%1' exit:0"_s.arg(traveller.gate.path()));
        traveller.launcher.play(fixture_->host.url());
        traveller.launcher.waitFor(u"engine is playing"_s);
        traveller.jump(seconds);
        traveller.gate.open();
        traveller.launcher.waitForEnd();
        static const QRegularExpression end(
            u"^end: bad The game closed after \\d seconds? \\(exit code 0\\), so it did not start "
            "properly\\.$"_s);
        QVERIFY2(end.match(traveller.launcher.lines().constLast()).hasMatch(),
                 qPrintable(traveller.launcher.lines().join(u'\n')));
    }

    void aDownloadThatPausesGoesOn_data() { eitherWay(); }
    void aDownloadThatPausesGoesOn()
    {
        QFETCH(const QByteArray, seconds);
        TimeTraveller traveller;
        offerEngine(u"'out:engine is playing\\n'"_s);
        const auto held = fixture_->host.hold(ReleaseHost::gamePath(), 100);
        traveller.launcher.play(fixture_->host.url());
        spinUntil([&] { return held->isReached(); });
        traveller.jump(seconds);
        held->open();
        traveller.launcher.waitFor(u"engine is playing"_s);
        traveller.launcher.waitForEnd();
    }

    /// Runs the slow cases side by side.
    void tenSecondsAndFiveStayWhatTheyAre()
    {
        offerEngine(u"ignore:15 'out:engine is playing\\n' gate:\"$GATE\" exit:0"_s);
        std::vector<std::unique_ptr<TimeTraveller>> open;
        std::vector<std::unique_ptr<TimeTraveller>> stopped;
        const std::vector<QByteArray> ways{tenYears, '-' + tenYears};
        for (size_t i = 0; i < 2 * ways.size(); ++i) {
            auto traveller = std::make_unique<TimeTraveller>();
            traveller->launcher.setVariable(u"GATE"_s, traveller->gate.path());
            traveller->launcher.play(fixture_->host.url());
            traveller->launcher.waitFor(u"engine is playing"_s);
            traveller->jump(ways.at(i % ways.size()));
            (i < ways.size() ? open : stopped).push_back(std::move(traveller));
        }
        for (const auto &traveller : stopped) {
            // The engine ignores the request, and its gate stays shut.
            traveller->launcher.terminate();
        }
        for (const auto &traveller : stopped) {
            QCOMPARE(traveller->launcher.waitForEnd(), 0);
        }
        for (const auto &traveller : open) {
            traveller->launcher.waitFor(u"phase: The game is open"_s);
            traveller->gate.open();
            QCOMPARE(traveller->launcher.waitForEnd(), 1);
            QVERIFY2(traveller->launcher.hasPrinted(u"• Game closed normally"_s),
                     qPrintable(traveller->launcher.lines().join(u'\n')));
        }
    }
};

QTEST_GUILESS_MAIN(TestClock)
#include "tst_clock.moc"
