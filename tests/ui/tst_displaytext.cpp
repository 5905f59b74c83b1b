// Hostile texts in the window.

#include "ui/DisplayText.h"

#include <QtTest>

using namespace brindle;

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
        same("plain", QStringLiteral("Brindle"));
        same("markup", QStringLiteral("<b>bold</b> <a href=\"x\">y</a>"));
        same("right to left", QStringLiteral("שלום עולם"));
        same("emoji", QStringLiteral("🎮 game"));
        same("accents", QStringLiteral("Vie\u0302\u0323t"));
        QTest::newRow("tower of accents")
            << u'a' + QString(40, QChar(0x0301)) + u'b' << u'a' + QString(5, QChar(0x0301)) + u'b';
        QTest::newRow("tower of accents of two units each")
            << u'a' + QStringLiteral("\U0001e944").repeated(20) + u'b'
            << u'a' + QStringLiteral("\U0001e944").repeated(5) + u'b';
        same("tabs and lines", QStringLiteral("a\tb\nc"));
        same("as long as may be", QString(60, u'x'));
        QTest::newRow("longer") << QString(61, u'x') << QString(60, u'x') + u'…';
        QTest::newRow("through a character")
            << QString(59, u'x') + QStringLiteral("🎮") << QString(59, u'x') + u'…';
        QTest::newRow("override") << QStringLiteral("a\u202efdp.exe") << QStringLiteral("afdp.exe");
        QTest::newRow("isolate") << QStringLiteral("a\u2066b\u2069") << QStringLiteral("ab");
        QTest::newRow("control") << QStringLiteral("a\u001b[31m\u0007b")
                                 << QStringLiteral("a[31mb");
        QTest::newRow("mark") << QStringLiteral("a\u200fb\u061c") << QStringLiteral("ab");
        QTest::newRow("carriage return") << QStringLiteral("a\rb\r\n") << QStringLiteral("ab\n");
        QTest::newRow("zero") << QString(QChar(0)) + u'a' << QStringLiteral("a");
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
