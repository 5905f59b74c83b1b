#include "log/LogStore.h"

#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

using brindle::LogStore;

namespace {

/// The numbers from..to (inclusive) as lines.
QStringList numbered(int from, int to)
{
    QStringList lines;
    for (int i = from; i <= to; ++i) {
        lines.append(QString::number(i));
    }
    return lines;
}

} // namespace

class LogStoreTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void startsEmpty();
    void cleansEntries_data();
    void cleansEntries();
    void cleansAsTheRegularExpressionDoes();
    void cleanTextIsShared();
    void emptyEntriesAreNotAnnounced_data();
    void emptyEntriesAreNotAnnounced();
    void keepsExactlyTheNewest();
    void announcesBeforeAndAfterEachAppend();
    void assigningReplacesAndAnnounces();
    void assigningTooManyIsTrimmedByTheNextAppendInOneStep();
};

void LogStoreTest::startsEmpty()
{
    const LogStore log;
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(log.dropped(), 0);
    QCOMPARE(LogStore::maxLines, 5000);
}

void LogStoreTest::cleansEntries_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("entry");

    QTest::newRow("plain") << QStringLiteral("• Cancelled") << QStringLiteral("• Cancelled");
    QTest::newRow("colours around a word") << QStringLiteral("\x1b[1;31mERROR:\x1b[0m Something")
                                           << QStringLiteral("ERROR: Something");
    QTest::newRow("two lines in one entry")
        << QStringLiteral("one\ntwo\n") << QStringLiteral("one\ntwo");
    QTest::newRow("blanks stay, newlines at the ends go")
        << QStringLiteral("  word\r\n") << QStringLiteral("  word");
    QTest::newRow("blanks and tabs at the end stay")
        << QStringLiteral("\nword \t\n") << QStringLiteral("word \t");
    QTest::newRow("every newline is trimmed")
        << QStringLiteral("\v\f\u0085word\u2028\u2029") << QStringLiteral("word");
    QTest::newRow("newline uncovered by an escape")
        << QStringLiteral("\x1b[0m\nword\n\x1b[0m") << QStringLiteral("word");
    QTest::newRow("escape without bracket")
        << QStringLiteral("a\x1b(Bb") << QStringLiteral("a\x1b(Bb");
    QTest::newRow("escape at the end") << QStringLiteral("a\x1b") << QStringLiteral("a\x1b");
    QTest::newRow("escape and bracket at the end")
        << QStringLiteral("a\x1b[") << QStringLiteral("a\x1b[");
    QTest::newRow("unfinished") << QStringLiteral("a\x1b[1;3") << QStringLiteral("a\x1b[1;3");
    QTest::newRow("no parameters") << QStringLiteral("a\x1b[Kb") << QStringLiteral("ab");
    QTest::newRow("only semicolons") << QStringLiteral("a\x1b[;;mb") << QStringLiteral("ab");
    QTest::newRow("private parameter")
        << QStringLiteral("\x1b[?25lx") << QStringLiteral("\x1b[?25lx");
    QTest::newRow("letter that is not ASCII")
        << QStringLiteral("\x1b[1äx") << QStringLiteral("\x1b[1äx");
    QTest::newRow("digit that is not ASCII")
        << QStringLiteral("\x1b[\u0661mx") << QStringLiteral("\x1b[\u0661mx");
    QTest::newRow("escape inside an escape")
        << QStringLiteral("\x1b[1\x1b[0mx") << QStringLiteral("\x1b[1x");
    QTest::newRow("removal makes no new escape")
        << QStringLiteral("\x1b\x1b[0m[0mx") << QStringLiteral("\x1b[0mx");
    QTest::newRow("one after the other")
        << QStringLiteral("\x1b[90m\x1b[1m[ DONE ]\x1b[22m\x1b[39m") << QStringLiteral("[ DONE ]");
}

void LogStoreTest::cleansEntries()
{
    QFETCH(QString, text);
    QFETCH(QString, entry);
    QCOMPARE(LogStore::cleaned(text), entry);
    LogStore log;
    log.append(text);
    QCOMPARE(log.lines(), QStringList{entry});
}

void LogStoreTest::cleansAsTheRegularExpressionDoes()
{
    const QRegularExpression pattern(QStringLiteral("\x1b\\[[0-9;]*[A-Za-z]"));
    const QString alphabet = QStringLiteral("\x1b\x1b\x1b[[[019;;mKzé .");
    // Every text of five characters out of these would take too long: walk through them in a
    // fixed pseudo-random order.
    quint32 state = 1;
    for (int i = 0; i < 20'000; ++i) {
        QString text;
        for (int length = 0; length < 12; ++length) {
            state = state * 1664525u + 1013904223u;
            text += alphabet[static_cast<qsizetype>(state >> 16) % alphabet.size()];
        }
        QString expected = text;
        expected.remove(pattern);
        QCOMPARE(LogStore::cleaned(text), expected);
    }
}

void LogStoreTest::cleanTextIsShared()
{
    const QString text = QString(QStringLiteral("nothing to remove")).append(u'!');
    QCOMPARE(static_cast<const void *>(LogStore::cleaned(text).constData()),
             static_cast<const void *>(text.constData()));
}

void LogStoreTest::emptyEntriesAreNotAnnounced_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("two line feeds") << QStringLiteral("\n\n");
    QTest::newRow("colour reset only") << QStringLiteral("\x1b[0m");
    QTest::newRow("colour reset and line end") << QStringLiteral("\x1b[0m\r\n");
}

void LogStoreTest::emptyEntriesAreNotAnnounced()
{
    QFETCH(QString, text);
    LogStore log;
    log.append(QStringLiteral("first"));
    const QSignalSpy willChange(&log, &LogStore::willChange);
    const QSignalSpy changed(&log, &LogStore::linesChanged);
    log.append(text);
    QCOMPARE(log.lines(), QStringList{QStringLiteral("first")});
    QCOMPARE(willChange.count(), 0);
    QCOMPARE(changed.count(), 0);
}

void LogStoreTest::keepsExactlyTheNewest()
{
    LogStore log;
    for (int i = 1; i <= 5000; ++i) {
        log.append(QString::number(i));
    }
    QCOMPARE(log.lines(), numbered(1, 5000));
    QCOMPARE(log.dropped(), 0);

    log.append(QStringLiteral("5001"));
    QCOMPARE(log.lines(), numbered(2, 5001));
    QCOMPARE(log.dropped(), 1);

    for (int i = 5002; i <= 20'000; ++i) {
        log.append(QString::number(i));
    }
    QCOMPARE(log.lines(), numbered(15'001, 20'000));
    QCOMPARE(log.dropped(), 15'000);
}

void LogStoreTest::announcesBeforeAndAfterEachAppend()
{
    LogStore log;
    QList<QStringList> before;
    QList<QStringList> after;
    connect(&log, &LogStore::willChange, &log, [&] { before.append(log.lines()); });
    connect(&log, &LogStore::linesChanged, &log, [&] { after.append(log.lines()); });
    const QSignalSpy reset(&log, &LogStore::reset);

    log.append(QStringLiteral("a"));
    log.append(QStringLiteral("b"));

    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QCOMPARE(before, QList<QStringList>({{}, {a}}));
    QCOMPARE(after, QList<QStringList>({{a}, {a, b}}));
    QCOMPARE(reset.count(), 0);
}

void LogStoreTest::assigningReplacesAndAnnounces()
{
    LogStore log;
    for (int i = 1; i <= 5003; ++i) {
        log.append(QString::number(i));
    }
    QCOMPARE(log.dropped(), 3);
    QStringList events;
    connect(&log, &LogStore::willChange, &log,
            [&] { events.append(QStringLiteral("will %1").arg(log.lines().size())); });
    connect(&log, &LogStore::reset, &log,
            [&] { events.append(QStringLiteral("reset %1").arg(log.dropped())); });
    connect(&log, &LogStore::linesChanged, &log,
            [&] { events.append(QStringLiteral("did %1").arg(log.lines().size())); });

    log.setLines({});

    QVERIFY(log.lines().isEmpty());
    QCOMPARE(log.dropped(), 0);
    QCOMPARE(events, QStringList({QStringLiteral("will 5000"), QStringLiteral("reset 0"),
                                  QStringLiteral("did 0")}));

    // An equal value is announced as well.
    log.setLines({});
    QCOMPARE(events.size(), 6);
}

void LogStoreTest::assigningTooManyIsTrimmedByTheNextAppendInOneStep()
{
    LogStore log;
    log.setLines(numbered(1, 5010));
    QCOMPARE(log.lines().size(), 5010);
    const QSignalSpy changed(&log, &LogStore::linesChanged);
    log.append(QStringLiteral("5011"));
    QCOMPARE(log.lines(), numbered(12, 5011));
    QCOMPARE(log.dropped(), 11);
    QCOMPARE(changed.count(), 1);
}

QTEST_GUILESS_MAIN(LogStoreTest)
#include "tst_logstore.moc"
