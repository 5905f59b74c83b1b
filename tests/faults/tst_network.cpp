// Plays with bad answers of the network. The player reads the right message, nothing is left over,
// and the next Play succeeds.

#include "ModelFixture.h"

#include <QRegularExpression>
#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestNetwork : public QObject
{
    Q_OBJECT

    static void play(PipelineFixture &fixture)
    {
        fixture.model().startWork(true);
        fixture.passTheEnd();
        QCOMPARE(fixture.leftovers(), QStringList());
    }

private Q_SLOTS:
    void isReported_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("message"); // a regular expression
        const QString game = ReleaseHost::gamePath();
        const QString name = EngineSpec{u"4.3-stable"_s}.zipName(Platform::current({}));
        const QString engine = ReleaseHost::enginePath(u"4.3-stable"_s, name);
        const QString list = ReleaseHost::checksumPath(u"4.3-stable"_s);
        const QString tooLarge =
            u"The download from 127\\.0\\.0\\.1 is larger than the %1 GB that this app accepts, "
            "so it was stopped\\."_s;
        QTest::newRow("reset, game")
            << game << u"reset"_s
            << u".*(reset|The server ended the connection|transfer closed).*"_s;
        QTest::newRow("page, game")
            << game << u"page"_s
            << u"Unzipping failed \\(ditto exit code 1\\)\\. The download may be damaged\\."_s;
        QTest::newRow("page, engine")
            << engine << u"page"_s
            << u"The engine download did not match its official checksum, so it was thrown away\\. "
               "Please try again\\."_s;
        QTest::newRow("page, checksum list")
            << list << u"page"_s
            << u"The official checksum list has no entry for %1\\."_s.arg(
                   QRegularExpression::escape(name));
        QTest::newRow("size, game") << game << u"size"_s << tooLarge.arg(u"8\\.59"_s);
        QTest::newRow("size, engine") << engine << u"size"_s << tooLarge.arg(u"2\\.15"_s);
        QTest::newRow("size, checksum list")
            << list << u"size"_s
            << u"The server's answer is larger than the expected 1048576 bytes\\."_s;
    }
    void isReported()
    {
        QFETCH(const QString, path);
        QFETCH(const QString, answer);
        QFETCH(const QString, message);
        PipelineFixture fixture;
        fixture.offerEngine("#!/bin/sh\necho \"engine is playing\"\n");
        fixture.host.replace(path, [answer](const HttpRequest &, HttpConnection &connection) {
            if (answer == u"page") {
                connection.respond(200, {{"Content-Type", "text/html"}},
                                   "<!DOCTYPE html>\n<html>Please log in.</html>\n");
            } else if (answer == u"size") {
                connection.respond(200, {{"Content-Length", "9000000000"}}, {});
                connection.waitUntilClosed();
            } else {
                connection.respond(200, {{"Content-Length", "1000"}}, "PK");
                connection.reset();
            }
        });
        play(fixture);
        const AppState state = fixture.model().state();
        QCOMPARE(state.phase, AppState::Phase::needs);
        const QRegularExpression form(QRegularExpression::anchoredPattern(message));
        QVERIFY2(form.match(state.text).hasMatch(), qPrintable(state.text));
        QCOMPARE(fixture.model().log.lines().constLast(), u"• Problem: "_s + state.text);

        fixture.restart();
        QCOMPARE(fixture.model().state(), AppState::notDownloaded());
        fixture.host.restore(path);
        play(fixture);
        QVERIFY2(fixture.logHas(u"engine is playing"_s),
                 qPrintable(fixture.model().log.lines().join(u'\n')));
    }
};

QTEST_GUILESS_MAIN(TestNetwork)
#include "tst_network.moc"
