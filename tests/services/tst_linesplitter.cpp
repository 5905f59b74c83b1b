#include "services/LineSplitter.h"

#include <QTest>

using namespace brindle;

/// Lines from bytes that arrive in any portions.
class TestLineSplitter : public QObject
{
    Q_OBJECT

private:
    static QStringList split(const QByteArray &bytes, qsizetype limit, qsizetype portion)
    {
        QStringList lines;
        const auto add = [&lines](const QString &line) { lines.append(line); };
        LineSplitter splitter(limit);
        for (qsizetype i = 0; i < bytes.size(); i += portion) {
            splitter.feed(bytes.mid(i, portion), add);
        }
        splitter.flush(add);
        return lines;
    }

private Q_SLOTS:
    void splits_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("expected");
        const auto row = [](const char *name, const QByteArray &bytes,
                            const QStringList &expected) {
            QTest::newRow(name) << bytes << expected;
        };
        // The limit is 8 bytes.
        row("nothing", "", {});
        row("no line feed at the end", "a\nb", {u"a"_qs, u"b"_qs});
        row("line feed at the end", "a\nb\n", {u"a"_qs, u"b"_qs});
        row("empty lines", "\n\na\n\n", {u""_qs, u""_qs, u"a"_qs, u""_qs});
        row("carriage return", "x\r\ny\rz\n", {u"x\r"_qs, u"y\rz"_qs});
        row("other line ends", "a\vb\fc\xC2\x85\n", {u"a\vb\fc\u0085"_qs});
        row("byte order mark",
            "\xEF\xBB\xBF"
            "a\n",
            {u"\uFEFFa"_qs});
        row("nul", QByteArray("a\0b\n", 4), {QString::fromLatin1("a\0b", 3)});
        row("invalid",
            "a\xFF"
            "b\n",
            {u"a\uFFFDb"_qs});
        row("character without an end", "a\xC3\nb", {u"a\uFFFD"_qs, u"b"_qs});
        row("character without an end, at the end", "a\xC3", {u"a\uFFFD"_qs});
        row("as long as the limit", "12345678\n", {u"12345678"_qs});
        row("as long as the limit, no end", "12345678", {u"12345678"_qs});
        row("longer by one", "123456789\n", {u"12345678"_qs, u"9"_qs});
        row("twice the limit", "1234567812345678\na\n", {u"12345678"_qs, u"12345678"_qs, u"a"_qs});
        row("two bytes at the limit",
            "1234567\xC3\xA9"
            "9\n",
            {u"1234567"_qs, u"é9"_qs});
        row("two bytes before the limit",
            "123456\xC3\xA9"
            "9\n",
            {u"123456é"_qs, u"9"_qs});
        row("three bytes, one over", "123456\xE2\x82\xAC\n", {u"123456"_qs, u"€"_qs});
        row("three bytes, two over", "1234567\xE2\x82\xAC\n", {u"1234567"_qs, u"€"_qs});
        row("four bytes, one over", "12345\xF0\x9F\x98\x80\n", {u"12345"_qs, u"😀"_qs});
        row("four bytes, three over", "1234567\xF0\x9F\x98\x80\n", {u"1234567"_qs, u"😀"_qs});
        row("four bytes fit", "1234\xF0\x9F\x98\x80\n", {u"1234😀"_qs});
        row("no character at all", "\x80\x80\x80\x80\x80\x80\x80\x80\x80\n",
            {QString(8, QChar(0xFFFD)), QString(1, QChar(0xFFFD))});
    }
    void splits()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, expected);
        constexpr qsizetype limit = 8;
        for (qsizetype portion = 1; portion <= bytes.size() + 1; ++portion) {
            QCOMPARE(split(bytes, limit, portion), expected);
        }
    }

    void cutsAnEndlessLineEverFiner()
    {
        constexpr qsizetype shortest = LineSplitter::shortestPiece;
        const QByteArray line(8 * shortest, 'x');
        // Half a shortest piece is left of the first line. The second begins with a long one again.
        const QByteArray bytes = line.chopped(shortest / 2) + '\n' + line + '\n' + "short\n";
        for (const qsizetype portion : {qsizetype(1), shortest, bytes.size()}) {
            QList<qsizetype> sizes;
            const QStringList pieces = split(bytes, 4 * shortest, portion);
            for (const QString &piece : pieces) {
                sizes.append(piece.size());
            }
            QCOMPARE(sizes, (QList<qsizetype>{4 * shortest, 2 * shortest, shortest, shortest / 2,
                                              4 * shortest, 2 * shortest, shortest, shortest, 5}));
        }
    }

    void startsAnewWhenFlushed()
    {
        constexpr qsizetype shortest = LineSplitter::shortestPiece;
        QList<qsizetype> sizes;
        const auto add = [&sizes](const QString &line) { sizes.append(line.size()); };
        LineSplitter splitter(2 * shortest);
        splitter.feed(QByteArray(3 * shortest, 'x'), add);
        splitter.flush(add);
        splitter.feed(QByteArray(2 * shortest, 'x'), add);
        splitter.flush(add);
        QCOMPARE(sizes, (QList<qsizetype>{2 * shortest, shortest, 2 * shortest}));
    }

    void handsOnWithoutWaitingForTheEnd()
    {
        QStringList lines;
        const auto add = [&lines](const QString &line) { lines.append(line); };
        LineSplitter splitter(8);
        splitter.feed("12345678", add);
        QCOMPARE(lines, QStringList());
        splitter.feed("9", add);
        QCOMPARE(lines, QStringList{u"12345678"_qs});
        splitter.feed("\nnext", add);
        QCOMPARE(lines, (QStringList{u"12345678"_qs, u"9"_qs}));
        splitter.flush(add);
        splitter.flush(add);
        QCOMPARE(lines, (QStringList{u"12345678"_qs, u"9"_qs, u"next"_qs}));
    }
};

QTEST_GUILESS_MAIN(TestLineSplitter)
#include "tst_linesplitter.moc"
