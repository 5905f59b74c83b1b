// Tests text rules, byte counts and remaining times.

#include "base/RecentRate.h"
#include "base/Text.h"

#include <QLocale>
#include <QTest>

#include <limits>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void sortsCharacters_data()
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
        // Neighbours of the newlines, and blanks of other classes.
        for (const char16_t other :
             {0x00, 0x08, 0x0e, 0x1f, 0x41, 0x84, 0x86, 0x200b, 0x2027, 0x202a, 0x2060, 0xfeff}) {
            QTest::addRow("neither %04x", other) << QChar(other) << false << false;
        }
    }
    void sortsCharacters()
    {
        QFETCH(QChar, character);
        QTEST(Text::isNewline(character), "isNewline");
        QTEST(Text::withoutWhitespace(QStringView(&character, 1)).isEmpty(), "isWhitespace");
    }

    void trimsOnlyTheEnds()
    {
        QCOMPARE(Text::withoutNewlines(u"\r\n\u2028 a\nb \u0085\n"), u" a\nb ");
        QCOMPARE(Text::withoutNewlines(u"\n\n"), u"");
        QCOMPARE(Text::withoutNewlines(u""), u"");
        QCOMPARE(Text::withoutWhitespace(u"\t\u00a0\u3000a b\n\u2003 "), u"a b\n");
        QCOMPARE(Text::withoutWhitespace(u" \t "), u"");
        QCOMPARE(Text::withoutWhitespace(u"a"), u"a");
    }

    void splitsAtEveryNewline_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("lines");
        const QString a = u"a"_s;
        const QString b = u"b"_s;
        QTest::newRow("nothing") << QString() << QStringList{QString()};
        QTest::newRow("one line") << a << QStringList{a};
        QTest::newRow("line feed at the end") << u"a\n"_s << QStringList{a, QString()};
        QTest::newRow("line feed at the start") << u"\na"_s << QStringList{QString(), a};
        QTest::newRow("carriage return and line feed")
            << u"a\r\nb"_s << QStringList{a, QString(), b};
        QTest::newRow("every kind")
            << u"a\nb\va\fb\ra\u0085b\u2028a\u2029b"_s << QStringList{a, b, a, b, a, b, a, b};
    }
    void splitsAtEveryNewline()
    {
        QFETCH(QString, text);
        QStringList lines;
        Text::eachLine(text, [&lines](QStringView line) {
            lines.append(line.toString());
            return true;
        });
        QTEST(lines, "lines");
    }

    void stopsSplittingWhenAsked()
    {
        QStringList seen;
        Text::eachLine(u"a\nb\nc", [&seen](QStringView line) {
            seen.append(line.toString());
            return seen.size() < 2;
        });
        QCOMPARE(seen, (QStringList{u"a"_s, u"b"_s}));
    }

    void removesControls_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("rest");
        const auto same = [](const char *name, const QString &text) {
            QTest::newRow(name) << text << text;
        };
        same("empty", {});
        same("tabs and line feeds", u"\ta\tb\n\nc\n"_s);
        same("emoji of several characters", u"🎮 👩\u200d🚀 ❤\ufe0f"_s);
        same("letters from right to left", u"שלום العالم"_s);
        same("letters that need a joiner", u"می\u200cخواهم क्\u200dष"_s);
        same("blanks and separators", u"a\u00a0b\u2028c\u2029d\u3000e"_s);
        same("soft hyphen and byte order mark", u"a\u00adb\ufeffc"_s);
        same("replacement", u"\ufffd"_s);
        QTest::newRow("end of a paste") << u"\x1b[201~rm"_s << u"[201~rm"_s;
        QTest::newRow("carriage returns") << u"a\rb\r\nc\r"_s << u"ab\nc"_s;
        QTest::newRow("override") << u"a\u202efdp.exe\u202c"_s << u"afdp.exe"_s;
        for (const char16_t c :
             {0x00,   0x07,   0x08,   0x0b,   0x0c,   0x0d,   0x1b,   0x1f,   0x7f,
              0x80,   0x85,   0x9b,   0x9f,   0x061c, 0x200e, 0x200f, 0x202a, 0x202b,
              0x202c, 0x202d, 0x202e, 0x2066, 0x2067, 0x2068, 0x2069}) {
            QTest::addRow("%04x", c) << u'a' + QString(QChar(c)) + u'b' << u"ab"_s;
        }
        for (const char16_t c : {0x09, 0x0a, 0x20, 0x7e, 0xa0, 0x061b, 0x061d, 0x200d, 0x2010,
                                 0x2029, 0x202f, 0x2065, 0x206a}) {
            const QString text = u'a' + QString(QChar(c)) + u'b';
            QTest::addRow("neighbour %04x", c) << text << text;
        }
    }
    void removesControls()
    {
        QFETCH(QString, text);
        QTEST(Text::withoutControls(text), "rest");
    }

    void writesByteCounts_data()
    {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("text");
        const auto row = [](qint64 bytes, const char *text) {
            QTest::addRow("%lld", static_cast<long long>(bytes))
                << bytes << QString::fromLatin1(text);
        };
        row(0, "Zero KB");
        row(1, "1 byte");
        row(2, "2 bytes");
        row(999, "999 bytes");
        row(1'000, "1 KB");
        row(1'499, "1 KB");
        row(1'500, "2 KB");
        row(999'499, "999 KB");
        row(999'500, "1 MB");
        row(1'049'999, "1 MB");
        row(1'050'000, "1.1 MB");
        row(12'300'000, "12.3 MB");
        row(100'000'000, "100 MB");
        row(999'949'999, "999.9 MB");
        row(999'950'000, "1 GB");
        row(1'004'999'999, "1 GB");
        row(1'005'000'000, "1.01 GB");
        row(1'049'999'999, "1.05 GB");
        row(1'100'000'000, "1.1 GB");
        row(999'994'999'999, "999.99 GB");
        row(999'995'000'000, "1 TB");
        row(2'500'000'000'000, "2.5 TB");
        row(999'995'000'000'000, "1 PB");
        row(999'995'000'000'000'000, "1 EB");
        row(std::numeric_limits<qint64>::max(), "9.22 EB");
    }
    void writesByteCounts()
    {
        QFETCH(qint64, bytes);
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German)); // must make no difference
        const QString text = Text::byteCount(bytes);
        QLocale::setDefault(before);
        QTEST(text, "text");
    }

    void writesTheTimeLeft_data()
    {
        QTest::addColumn<double>("seconds");
        QTest::addColumn<QString>("text");
        const auto row = [](double seconds, const char *text) {
            QTest::addRow("%g", seconds) << seconds << QString::fromLatin1(text);
        };
        row(0, "Less than a minute left");
        row(59.9, "Less than a minute left");
        row(60, "About 1 minute left");
        row(89, "About 1 minute left");
        row(90, "About 2 minutes left");
        row(59 * 60, "About 59 minutes left");
        row(59.5 * 60, "About 1 hour left");
        row(89 * 60, "About 1 hour left");
        row(90 * 60, "About 2 hours left");
        row(23.4 * 3600, "About 23 hours left");
        row(23.6 * 3600, "More than a day left");
        row(std::numeric_limits<double>::infinity(), "More than a day left");
        row(-1, "");
        row(std::numeric_limits<double>::quiet_NaN(), "");
    }
    void writesTheTimeLeft()
    {
        QFETCH(double, seconds);
        QTEST(Text::timeLeft(seconds), "text");
    }

    void measuresNoRateWithinASecond()
    {
        RecentRate rate;
        QCOMPARE(rate.add(Clock::Duration(5), 0), 0.0);
        QCOMPARE(rate.add(Clock::Duration(5.9), 900), 0.0);
        QCOMPARE(rate.add(Clock::Duration(6), 2000), 2000.0);
    }

    void forgetsOldGrowth()
    {
        RecentRate rate;
        // The growth is fast for a minute, then slow.
        for (int second = 0; second <= 70; ++second) {
            const double found = rate.add(Clock::Duration(second),
                                          std::min(second, 60) * 1000 + std::max(second - 60, 0));
            if (second == 65) {
                QCOMPARE(found, (5 * 1000 + 5) / 10.0);
            } else if (second == 70) {
                QCOMPARE(found, 1.0);
            }
        }
    }

    void startsAnewWhenTheCountShrinks()
    {
        RecentRate rate;
        rate.add(Clock::Duration(0), 0);
        rate.add(Clock::Duration(2), 5000);
        QCOMPARE(rate.add(Clock::Duration(3), 10), 0.0);
        QCOMPARE(rate.add(Clock::Duration(5), 30), 10.0);
    }
};

QTEST_GUILESS_MAIN(TestText)
#include "tst_text.moc"
