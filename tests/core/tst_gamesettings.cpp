// The settings that there are: what is offered, stored, read again and passed to the game.

#include "core/GameSettings.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"

#include <QTemporaryDir>
#include <QtTest>

using namespace brindle;

class TestGameSettings : public QObject
{
    Q_OBJECT

    QTemporaryDir folder_;
    LogStore log_;

    QString file() const { return folder_.filePath(QStringLiteral("settings.ini")); }
    QVariant stored(const QString &key) const
    {
        return QSettings(file(), QSettings::IniFormat).value(key);
    }
    std::unique_ptr<GameSettings> read()
    {
        return std::make_unique<GameSettings>(
            std::make_unique<QSettings>(file(), QSettings::IniFormat),
            std::make_shared<LogQueue>(&log_));
    }

private Q_SLOTS:
    void cleanup()
    {
        QVERIFY(log_.lines().isEmpty());
        QFile::remove(file());
    }

    void resolutions_data()
    {
        QTest::addColumn<ResolutionChoice>("choice");
        QTest::addColumn<QString>("rawValue");
        QTest::newRow("default") << ResolutionChoice::gameDefault << QStringLiteral("");
        QTest::newRow("720") << ResolutionChoice::r720 << QStringLiteral("1280x720");
        QTest::newRow("900") << ResolutionChoice::r900 << QStringLiteral("1600x900");
        QTest::newRow("1080") << ResolutionChoice::r1080 << QStringLiteral("1920x1080");
        QTest::newRow("1440") << ResolutionChoice::r1440 << QStringLiteral("2560x1440");
    }
    void resolutions()
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

    void resolutionsAreOfferedInOrder()
    {
        QStringList rawValues;
        for (const ResolutionChoice choice : ResolutionChoices::all) {
            rawValues << ResolutionChoices::rawValue(choice);
        }
        QCOMPARE(rawValues.join(QLatin1Char(',')),
                 QStringLiteral(",1280x720,1600x900,1920x1080,2560x1440"));
    }

    void unknownTextsNameNoResolution_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("other size") << QStringLiteral("1920x1200");
        QTest::newRow("blank") << QStringLiteral(" ");
        QTest::newRow("capital") << QStringLiteral("1280X720");
        QTest::newRow("longer") << QStringLiteral("1280x7200");
    }
    void unknownTextsNameNoResolution()
    {
        QFETCH(QString, text);
        QVERIFY(!ResolutionChoices::fromRawValue(text));
        QSettings(file(), QSettings::IniFormat).setValue(QStringLiteral("resolution"), text);
        QCOMPARE(read()->chosen(QStringLiteral("resolution")), 0);
    }

    void theTable()
    {
        QStringList rows;
        for (const GameSettings::Setting &setting : GameSettings::table()) {
            for (const GameSettings::Choice &choice : setting.choices) {
                rows << setting.key + u'=' + choice.stored.toString() + u' ' + choice.label + u' ' +
                            choice.arguments.join(u' ');
            }
        }
        QCOMPARE(rows, (QStringList{QStringLiteral("fullscreen=false Windowed --windowed"),
                                    QStringLiteral("fullscreen=true Fullscreen --fullscreen"),
                                    QStringLiteral("resolution= Game default "),
                                    QStringLiteral("resolution=1280x720 1280x720 --resolution "
                                                   "1280x720"),
                                    QStringLiteral("resolution=1600x900 1600x900 --resolution "
                                                   "1600x900"),
                                    QStringLiteral("resolution=1920x1080 1920x1080 --resolution "
                                                   "1920x1080"),
                                    QStringLiteral("resolution=2560x1440 2560x1440 --resolution "
                                                   "2560x1440")}));
    }

    void theFirstChoiceCountsWhereNothingIsStored()
    {
        const auto settings = read();
        QStringList arguments;
        for (const GameSettings::Setting &setting : GameSettings::table()) {
            QCOMPARE(settings->chosen(setting.key), 0);
            arguments << setting.choices.first().arguments;
        }
        QCOMPARE(settings->arguments(), arguments);
        QVERIFY2(!QFile::exists(file()), "nobody has chosen anything");
    }

    void everyChoiceIsStoredReadAgainAndPassedOn_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<int>("index");
        for (const GameSettings::Setting &setting : GameSettings::table()) {
            for (int i = 0; i < setting.choices.size(); ++i) {
                QTest::addRow("%s %d", qPrintable(setting.key), i) << setting.key << i;
            }
        }
    }
    void everyChoiceIsStoredReadAgainAndPassedOn()
    {
        QFETCH(const QString, key);
        QFETCH(const int, index);
        auto settings = read();
        settings->choose(key, index);
        QCOMPARE(settings->chosen(key), index);
        settings->waitUntilStored();
        const GameSettings::Choice *const choice = GameSettings::choice(key, index);
        QVERIFY2(stored(key).isValid(), "the default is stored, not left out");
        QCOMPARE(stored(key).toString(), choice->stored.toString());

        settings = read();
        QCOMPARE(settings->chosen().value(key).toInt(), index);
        QStringList arguments;
        for (const GameSettings::Setting &setting : GameSettings::table()) {
            arguments << setting.choices.at(setting.key == key ? index : 0).arguments;
        }
        QCOMPARE(settings->arguments(), arguments);
    }

    void aFileKnowsTextsOnly_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<int>("fullscreen");
        QTest::addColumn<int>("resolution");
        QTest::newRow("chosen") << QByteArray("fullscreen=true\nresolution=1920x1080\n") << 1 << 3;
        QTest::newRow("by hand") << QByteArray("fullscreen=yes\nresolution=\"2560x1440\"\n") << 1
                                 << 4;
        QTest::newRow("default") << QByteArray("fullscreen=false\nresolution=\n") << 0 << 0;
        QTest::newRow("a list") << QByteArray("fullscreen=a, b\nresolution=1280x720, x\n") << 0
                                << 0;
    }
    void aFileKnowsTextsOnly()
    {
        QFETCH(const QByteArray, lines);
        QFETCH(const int, fullscreen);
        QFETCH(const int, resolution);
        // One that nobody has read before.
        const QTemporaryDir folder;
        QFile text(folder.filePath(QStringLiteral("settings.ini")));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write("[General]\n" + lines);
        text.close();
        const GameSettings settings(
            std::make_unique<QSettings>(text.fileName(), QSettings::IniFormat),
            std::make_shared<LogQueue>(&log_));
        QCOMPARE(settings.chosen(QStringLiteral("fullscreen")), fullscreen);
        QCOMPARE(settings.chosen(QStringLiteral("resolution")), resolution);
    }

    void onlyWhatThereIsCanBeChosen()
    {
        const QString key = QStringLiteral("fullscreen");
        QVERIFY(GameSettings::choice(key, 1));
        QVERIFY(!GameSettings::choice(key, 2));
        QVERIFY(!GameSettings::choice(key, -1));
        QVERIFY(!GameSettings::choice(QStringLiteral("volume"), 0));
    }
};

QTEST_GUILESS_MAIN(TestGameSettings)
#include "tst_gamesettings.moc"
