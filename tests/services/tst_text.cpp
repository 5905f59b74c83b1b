#include "base/Text.h"

#include <QTest>

namespace Text = brindle::Text;

class TextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void charactersFallIntoTheirClasses_data();
    void charactersFallIntoTheirClasses();
    void trimsOnlyTheEnds();
    void splitsAtEveryNewline_data();
    void splitsAtEveryNewline();
    void eachLineStopsWhenAsked();
    void takesControlsOut_data();
    void takesControlsOut();
    void isSharedWithoutControls();
};

void TextTest::charactersFallIntoTheirClasses_data()
{
    QTest::addColumn<QChar>("character");
    QTest::addColumn<bool>("isNewline");
    QTest::addColumn<bool>("isWhitespace");

    for (const char16_t newline : {0x0a, 0x0b, 0x0c, 0x0d, 0x85, 0x2028, 0x2029}) {
        QTest::addRow("newline %04x", newline) << QChar(newline) << true << false;
    }
    for (const char16_t space :
         {0x09, 0x20, 0xa0, 0x1680, 0x2000, 0x2005, 0x200a, 0x202f, 0x205f, 0x3000}) {
        QTest::addRow("white space %04x", space) << QChar(space) << false << true;
    }
    // Neighbours of the above, and what other classes take for blanks.
    for (const char16_t other :
         {0x00, 0x08, 0x0e, 0x1f, 0x41, 0x84, 0x86, 0x200b, 0x2027, 0x202a, 0x2060, 0xfeff}) {
        QTest::addRow("neither %04x", other) << QChar(other) << false << false;
    }
}

void TextTest::charactersFallIntoTheirClasses()
{
    QFETCH(QChar, character);
    QTEST(Text::isNewline(character), "isNewline");
    QTEST(Text::isWhitespace(character), "isWhitespace");
}

void TextTest::trimsOnlyTheEnds()
{
    QCOMPARE(Text::withoutNewlines(u"\r\n\u2028 a\nb \u0085\n").toString(),
             QStringLiteral(" a\nb "));
    QCOMPARE(Text::withoutNewlines(u"\n\n").toString(), QString());
    QCOMPARE(Text::withoutNewlines(u"").toString(), QString());
    QCOMPARE(Text::withoutWhitespace(u"\t\u00a0\u3000a b\n\u2003 ").toString(),
             QStringLiteral("a b\n"));
    QCOMPARE(Text::withoutWhitespace(u" \t ").toString(), QString());
    QCOMPARE(Text::withoutWhitespace(u"a").toString(), QStringLiteral("a"));
}

void TextTest::splitsAtEveryNewline_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QStringList>("lines");
    const QString a = QStringLiteral("a");
    const QString b = QStringLiteral("b");
    QTest::newRow("nothing") << QString() << QStringList{QString()};
    QTest::newRow("one line") << a << QStringList{a};
    QTest::newRow("line feed at the end") << QStringLiteral("a\n") << QStringList{a, QString()};
    QTest::newRow("line feed at the start") << QStringLiteral("\na") << QStringList{QString(), a};
    QTest::newRow("carriage return and line feed")
        << QStringLiteral("a\r\nb") << QStringList{a, QString(), b};
    QTest::newRow("every kind") << QStringLiteral("a\nb\va\fb\ra\u0085b\u2028a\u2029b")
                                << QStringList{a, b, a, b, a, b, a, b};
}

void TextTest::splitsAtEveryNewline()
{
    QFETCH(QString, text);
    QStringList lines;
    Text::eachLine(text, [&lines](QStringView line) {
        lines.append(line.toString());
        return true;
    });
    QTEST(lines, "lines");
}

void TextTest::eachLineStopsWhenAsked()
{
    QStringList seen;
    Text::eachLine(u"a\nb\nc", [&seen](QStringView line) {
        seen.append(line.toString());
        return seen.size() < 2;
    });
    QCOMPARE(seen, QStringList({QStringLiteral("a"), QStringLiteral("b")}));
}

void TextTest::takesControlsOut_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("rest");
    const auto same = [](const char *name, const QString &text) {
        QTest::newRow(name) << text << text;
    };
    same("empty", {});
    same("tabs and line feeds", QStringLiteral("\ta\tb\n\nc\n"));
    same("emoji of several characters", QStringLiteral("🎮 👩\u200d🚀 ❤\ufe0f"));
    same("letters from right to left", QStringLiteral("שלום العالم"));
    same("letters that need a joiner", QStringLiteral("می\u200cخواهم क्\u200dष"));
    same("blanks and separators", QStringLiteral("a\u00a0b\u2028c\u2029d\u3000e"));
    same("soft hyphen and byte order mark", QStringLiteral("a\u00adb\ufeffc"));
    same("replacement", QStringLiteral("\ufffd"));
    same("as long as may be", QString(100'000, u'x'));
    const auto gone = [](const char *name, const QString &text, const QString &rest) {
        QTest::newRow(name) << text << rest;
    };
    gone("paste's end", QStringLiteral("\x1b[201~rm"), QStringLiteral("[201~rm"));
    gone("carriage returns", QStringLiteral("a\rb\r\nc\r"), QStringLiteral("ab\nc"));
    gone("override", QStringLiteral("a\u202efdp.exe\u202c"), QStringLiteral("afdp.exe"));
    for (const char16_t c : {0x00,   0x07,   0x08,   0x0b,   0x0c,   0x0d,   0x1b,   0x1f,   0x7f,
                             0x80,   0x85,   0x9b,   0x9f,   0x061c, 0x200e, 0x200f, 0x202a, 0x202b,
                             0x202c, 0x202d, 0x202e, 0x2066, 0x2067, 0x2068, 0x2069}) {
        QTest::addRow("%04x", c) << u'a' + QString(QChar(c)) + u'b' << QStringLiteral("ab");
    }
    for (const char16_t c : {0x09, 0x0a, 0x20, 0x7e, 0xa0, 0x061b, 0x061d, 0x200d, 0x2010, 0x2029,
                             0x202f, 0x2065, 0x206a}) {
        const QString text = u'a' + QString(QChar(c)) + u'b';
        QTest::addRow("neighbour %04x", c) << text << text;
    }
}

void TextTest::takesControlsOut()
{
    QFETCH(QString, text);
    QTEST(Text::withoutControls(text), "rest");
}

void TextTest::isSharedWithoutControls()
{
    const QString text = QString(QStringLiteral("nothing to remove")).append(u'!');
    const QString rest = Text::withoutControls(text);
    QCOMPARE(static_cast<const void *>(rest.constData()),
             static_cast<const void *>(text.constData()));
}

QTEST_GUILESS_MAIN(TextTest)
#include "tst_text.moc"
