#include "process/LineSplitter.h"

#include <QTest>

using namespace brindle;
using namespace Qt::StringLiterals;

/// Tests the cutting of bytes into lines.
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
        row("no line feed at the end", "a\nb", {u"a"_s, u"b"_s});
        row("line feed at the end", "a\nb\n", {u"a"_s, u"b"_s});
        row("empty lines", "\n\na\n\n", {u""_s, u""_s, u"a"_s, u""_s});
        row("carriage return", "x\r\ny\rz\n", {u"x\r"_s, u"y\rz"_s});
        row("other line ends", "a\vb\fc\xC2\x85\n", {u"a\vb\fc\u0085"_s});
        row("byte order mark",
            "\xEF\xBB\xBF"
            "a\n",
            {u"\uFEFFa"_s});
        row("nul", QByteArray("a\0b\n", 4), {QString::fromLatin1("a\0b", 3)});
        row("invalid",
            "a\xFF"
            "b\n",
            {u"a\uFFFDb"_s});
        row("character without an end", "a\xC3\nb", {u"a\uFFFD"_s, u"b"_s});
        row("character without an end, at the end", "a\xC3", {u"a\uFFFD"_s});
        row("as long as the limit", "12345678\n", {u"12345678"_s});
        row("as long as the limit, no end", "12345678", {u"12345678"_s});
        row("longer by one", "123456789\n", {u"12345678… (1 byte left out)"_s});
        row("longer by one, no end", "123456789", {u"12345678… (1 byte left out)"_s});
        row("longer, then another", "1234567812345678\na\n",
            {u"12345678… (8 bytes left out)"_s, u"a"_s});
        row("longer, then an empty one", "1234567812345678\n\n",
            {u"12345678… (8 bytes left out)"_s, u""_s});
        row("each is counted by itself", "1234567890\n1234567890\n12345678\n",
            {u"12345678… (2 bytes left out)"_s, u"12345678… (2 bytes left out)"_s, u"12345678"_s});
        row("longer, with a carriage return", "12345678\r\n", {u"12345678… (1 byte left out)"_s});
        row("much longer", QByteArray(123'456, 'x') + '\n', {u"xxxxxxxx… (123 KB left out)"_s});
        row("two bytes at the limit",
            "1234567\xC3\xA9"
            "9\n",
            {u"1234567… (2 bytes left out)"_s});
        row("two bytes before the limit",
            "123456\xC3\xA9"
            "9\n",
            {u"123456é… (1 byte left out)"_s});
        row("three bytes, one over", "123456\xE2\x82\xAC\n", {u"123456… (1 byte left out)"_s});
        row("three bytes, two over", "1234567\xE2\x82\xAC\n", {u"1234567… (2 bytes left out)"_s});
        row("four bytes, one over", "12345\xF0\x9F\x98\x80\n", {u"12345… (1 byte left out)"_s});
        row("four bytes, three over", "1234567\xF0\x9F\x98\x80\n",
            {u"1234567… (3 bytes left out)"_s});
        row("four bytes fit", "1234\xF0\x9F\x98\x80\n", {u"1234😀"_s});
        row("no character at all", "\x80\x80\x80\x80\x80\x80\x80\x80\x80\n",
            {QString(8, QChar(0xFFFD)) + u"… (1 byte left out)"_s});
        row("byte order mark of a long line",
            "\xEF\xBB\xBF"
            "123456\n",
            {u"\uFEFF12345… (1 byte left out)"_s});
    }
    void splits()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, expected);
        constexpr qsizetype limit = 8;
        constexpr qsizetype maxPortions = 40; // more show nothing new
        for (qsizetype portion = 1; portion <= std::min(bytes.size() + 1, maxPortions); ++portion) {
            QCOMPARE(split(bytes, limit, portion), expected);
        }
    }

    void startsAnewWhenFlushed()
    {
        QStringList lines;
        const auto add = [&lines](const QString &line) { lines.append(line); };
        LineSplitter splitter(8);
        splitter.feed("1234567890", add);
        QCOMPARE(lines, QStringList());
        splitter.flush(add);
        splitter.flush(add);
        QCOMPARE(lines, QStringList{u"12345678… (2 bytes left out)"_s});
        splitter.feed("12345678", add);
        splitter.flush(add);
        QCOMPARE(lines.last(), u"12345678"_s);
        splitter.feed("next\n", add);
        QCOMPARE(lines.last(), u"next"_s);
    }
};

QTEST_GUILESS_MAIN(TestLineSplitter)
#include "tst_linesplitter.moc"
