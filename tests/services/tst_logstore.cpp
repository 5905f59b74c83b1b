#include "log/LogStore.h"

#include <QSignalSpy>
#include <QTest>

using namespace brindle;
using namespace Qt::StringLiterals;

namespace {

/// Returns the numbers from `from` to `to`, both included, as lines.
QStringList numbered(int from, int to)
{
    QStringList lines;
    for (int i = from; i <= to; ++i) {
        lines.append(QString::number(i));
    }
    return lines;
}

} // namespace

class TestLogStore : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleansEntries_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("entry");
        const auto row = [](const char *name, const QString &text, const QString &entry) {
            QTest::newRow(name) << text << entry;
        };
        const auto same = [&](const char *name, const QString &text) { row(name, text, text); };
        same("plain", u"• Cancelled"_s);
        row("colours around a word", u"\x1b[1;31mERROR:\x1b[0m Something"_s, u"ERROR: Something"_s);
        row("two lines in one entry", u"one\ntwo\n"_s, u"one\ntwo"_s);
        row("blanks stay, newlines at the ends go", u"  word\r\n"_s, u"  word"_s);
        row("blanks and tabs at the end stay", u"\nword \t\n"_s, u"word \t"_s);
        row("every newline is trimmed", u"\v\f\u0085word\u2028\u2029"_s, u"word"_s);
        row("newline uncovered by an escape", u"\x1b[0m\nword\n\x1b[0m"_s, u"word"_s);
        same("escape without bracket", u"a\x1b(Bb"_s);
        same("escape at the end", u"a\x1b"_s);
        same("escape and bracket at the end", u"a\x1b["_s);
        same("unfinished", u"a\x1b[1;3"_s);
        row("no parameters", u"a\x1b[Kb"_s, u"ab"_s);
        row("only semicolons", u"a\x1b[;;mb"_s, u"ab"_s);
        same("private parameter", u"\x1b[?25lx"_s);
        same("letter that is not ASCII", u"\x1b[1äx"_s);
        same("digit that is not ASCII", u"\x1b[\u0661mx"_s);
        row("escape inside an escape", u"\x1b[1\x1b[0mx"_s, u"\x1b[1x"_s);
        row("removal makes no new escape", u"\x1b\x1b[0m[0mx"_s, u"\x1b[0mx"_s);
        row("one after the other", u"\x1b[90m\x1b[1m[ DONE ]\x1b[22m\x1b[39m"_s, u"[ DONE ]"_s);
        for (const char letter : {'A', 'Z', 'a', 'z'}) {
            QTest::addRow("ends in %c", letter)
                << u"\x1b[09"_s + QLatin1Char(letter) + u'!' << u"!"_s;
        }
        // Characters that ASCII has next to letters and digits.
        for (const char other : {'@', '[', '`', '{', '/', ':'}) {
            same(qPrintable(u"ends in "_s + QLatin1Char(other)),
                 u"\x1b[0"_s + QLatin1Char(other) + u'!');
        }
    }
    void cleansEntries()
    {
        QFETCH(QString, text);
        QFETCH(QString, entry);
        QCOMPARE(LogStore::cleaned(text), entry);
        LogStore log;
        log.append(text);
        QCOMPARE(log.lines(), QStringList{entry});
    }

    void cleanTextIsShared()
    {
        const QString text = QString(u"nothing to remove"_s).append(u'!');
        QVERIFY(LogStore::cleaned(text).constData() == text.constData());
    }

    void ignoresEmptyEntries_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("empty") << QString();
        QTest::newRow("two line feeds") << u"\n\n"_s;
        QTest::newRow("colour reset only") << u"\x1b[0m"_s;
        QTest::newRow("colour reset and line end") << u"\x1b[0m\r\n"_s;
    }
    void ignoresEmptyEntries()
    {
        QFETCH(QString, text);
        LogStore log;
        log.append(u"first"_s);
        const QSignalSpy willChange(&log, &LogStore::willChange);
        const QSignalSpy changed(&log, &LogStore::linesChanged);
        log.append(text);
        QCOMPARE(log.lines(), QStringList{u"first"_s});
        QCOMPARE(willChange.count(), 0);
        QCOMPARE(changed.count(), 0);
    }

    void keepsExactlyTheNewest()
    {
        LogStore log;
        const auto append = [&](int from, int to) {
            for (int i = from; i <= to; ++i) {
                log.append(QString::number(i));
            }
        };
        append(1, 5000);
        QCOMPARE(log.lines(), numbered(1, 5000));
        QCOMPARE(log.dropped(), 0);
        append(5001, 5001);
        QCOMPARE(log.lines(), numbered(2, 5001));
        QCOMPARE(log.dropped(), 1);
        append(5002, 20'000);
        QCOMPARE(log.lines(), numbered(15'001, 20'000));
        QCOMPARE(log.dropped(), 15'000);
    }

    void announcesEachAppend()
    {
        LogStore log;
        QList<QStringList> before;
        QList<QStringList> after;
        connect(&log, &LogStore::willChange, &log, [&] { before.append(log.lines()); });
        connect(&log, &LogStore::linesChanged, &log, [&] { after.append(log.lines()); });
        const QSignalSpy reset(&log, &LogStore::reset);
        const QString a = u"a"_s;
        const QString b = u"b"_s;
        log.append(a);
        log.append(b);
        QCOMPARE(before, QList<QStringList>({{}, {a}}));
        QCOMPARE(after, QList<QStringList>({{a}, {a, b}}));
        QCOMPARE(reset.count(), 0);
    }

    void assigningReplacesAndAnnounces()
    {
        LogStore log;
        for (int i = 1; i <= 5003; ++i) {
            log.append(QString::number(i));
        }
        QCOMPARE(log.dropped(), 3);
        QStringList events;
        connect(&log, &LogStore::willChange, &log,
                [&] { events << u"will %1"_s.arg(log.lines().size()); });
        connect(&log, &LogStore::reset, &log, [&] { events << u"reset %1"_s.arg(log.dropped()); });
        connect(&log, &LogStore::linesChanged, &log,
                [&] { events << u"did %1"_s.arg(log.lines().size()); });
        log.setLines({});
        QVERIFY(log.lines().isEmpty());
        QCOMPARE(log.dropped(), 0);
        QCOMPARE(events, (QStringList{u"will 5000"_s, u"reset 0"_s, u"did 0"_s}));

        // Setting an equal value emits the signals, too.
        log.setLines({});
        QCOMPARE(events.size(), 6);
    }
};

QTEST_GUILESS_MAIN(TestLogStore)
#include "tst_logstore.moc"
