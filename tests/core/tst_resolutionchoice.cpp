#include "core/GameSettings.h"

#include <QtTest>

using namespace brindle;

class TestResolutionChoice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rawValuesAndArguments_data()
    {
        QTest::addColumn<ResolutionChoice>("choice");
        QTest::addColumn<QString>("rawValue");
        QTest::newRow("default") << ResolutionChoice::gameDefault << QStringLiteral("");
        QTest::newRow("720") << ResolutionChoice::r720 << QStringLiteral("1280x720");
        QTest::newRow("900") << ResolutionChoice::r900 << QStringLiteral("1600x900");
        QTest::newRow("1080") << ResolutionChoice::r1080 << QStringLiteral("1920x1080");
        QTest::newRow("1440") << ResolutionChoice::r1440 << QStringLiteral("2560x1440");
    }

    void rawValuesAndArguments()
    {
        QFETCH(ResolutionChoice, choice);
        QFETCH(QString, rawValue);
        QCOMPARE(ResolutionChoices::rawValue(choice), rawValue);
        QCOMPARE(ResolutionChoices::fromRawValue(rawValue), std::optional(choice));
        const auto argument = ResolutionChoices::argument(choice);
        QCOMPARE(argument.has_value(), !rawValue.isEmpty());
        if (argument) {
            QCOMPARE(*argument, rawValue);
        }
    }

    void offersAllInOrder()
    {
        QStringList rawValues;
        for (const ResolutionChoice choice : ResolutionChoices::all) {
            rawValues << ResolutionChoices::rawValue(choice);
        }
        QCOMPARE(rawValues.join(QLatin1Char(',')),
                 QStringLiteral(",1280x720,1600x900,1920x1080,2560x1440"));
    }

    void unknownTextsNameNoChoice_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("other size") << QStringLiteral("1920x1200");
        QTest::newRow("blank") << QStringLiteral(" ");
        QTest::newRow("capital") << QStringLiteral("1280X720");
        QTest::newRow("longer") << QStringLiteral("1280x7200");
    }

    void unknownTextsNameNoChoice()
    {
        QFETCH(QString, text);
        QVERIFY(!ResolutionChoices::fromRawValue(text));
    }
};

QTEST_GUILESS_MAIN(TestResolutionChoice)
#include "tst_resolutionchoice.moc"
