// Hostile texts in the window.

#include "ui/DisplayText.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestDisplayText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void texts_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("shown");
        const auto same = [](const char *name, const QString &text) {
            QTest::newRow(name) << text << text;
        };
        same("empty", {});
        same("plain", u"Brindle"_s);
        same("markup", u"<b>bold</b> <a href=\"x\">y</a>"_s);
        same("right to left", u"שלום עולם"_s);
        same("emoji", u"🎮 game"_s);
        same("accents", u"Vie\u0302\u0323t"_s);
        QTest::newRow("tower of accents")
            << u'a' + QString(40, QChar(0x0301)) + u'b' << u'a' + QString(5, QChar(0x0301)) + u'b';
        QTest::newRow("tower of accents of two units each")
            << u'a' + u"\U0001e944"_s.repeated(20) + u'b'
            << u'a' + u"\U0001e944"_s.repeated(5) + u'b';
        same("tabs and lines", u"a\tb\nc"_s);
        same("as long as may be", QString(60, u'x'));
        QTest::newRow("longer") << QString(61, u'x') << QString(60, u'x') + u'…';
        QTest::newRow("through a character")
            << QString(59, u'x') + u"🎮"_s << QString(59, u'x') + u'…';
        QTest::newRow("override") << u"a\u202efdp.exe"_s << u"afdp.exe"_s;
        QTest::newRow("isolate") << u"a\u2066b\u2069"_s << u"ab"_s;
        QTest::newRow("control") << u"a\u001b[31m\u0007b"_s << u"a[31mb"_s;
        QTest::newRow("mark") << u"a\u200fb\u061c"_s << u"ab"_s;
        QTest::newRow("carriage return") << u"a\rb\r\n"_s << u"ab\n"_s;
        QTest::newRow("zero") << QString(QChar(0)) + u'a' << u"a"_s;
    }

    void texts()
    {
        QFETCH(QString, text);
        QFETCH(QString, shown);
        QCOMPARE(DisplayText::of(text, 60), shown);
    }

    void endlessTextsAreCut()
    {
        const QString shown = DisplayText::of(QString(16 * 1024 * 1024, u'x'), 500);
        QCOMPARE(shown.size(), 501);
    }
};

QTEST_APPLESS_MAIN(TestDisplayText)
#include "tst_displaytext.moc"
