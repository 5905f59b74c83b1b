// Tests that downloaded texts become short, and lose control characters and stacked accents.

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
        same("markup", u"<b>bold</b> <a href=\"x\">y</a>"_s);
        same("accents", u"Vie\u0302\u0323t"_s);
        same("as long as may be", QString(60, u'x'));
        QTest::newRow("control characters") << u"a\u001b[31m\u202eb"_s << u"a[31mb"_s;
        QTest::newRow("tower of accents")
            << u'a' + QString(40, QChar(0x0301)) + u'b' << u'a' + QString(5, QChar(0x0301)) + u'b';
        QTest::newRow("tower of accents of two units each")
            << u'a' + u"\U0001e944"_s.repeated(20) + u'b'
            << u'a' + u"\U0001e944"_s.repeated(5) + u'b';
        QTest::newRow("longer") << QString(61, u'x') << QString(60, u'x') + u'…';
        QTest::newRow("endless") << QString(16'000'000, u'x') << QString(60, u'x') + u'…';
        QTest::newRow("cut through a character")
            << QString(59, u'x') + u"🎮"_s << QString(59, u'x') + u'…';
    }
    void texts()
    {
        QFETCH(const QString, text);
        QTEST(DisplayText::of(text, 60), "shown");
    }
};

QTEST_APPLESS_MAIN(TestDisplayText)
#include "tst_displaytext.moc"
