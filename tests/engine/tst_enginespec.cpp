// How one engine build is named: on the release page and on the disk.

#include "engine/EngineSpec.h"

#include <QtTest>

using namespace brindle;

class TestEngineSpec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void archivesAreNamedAsOnTheReleasePage_data()
    {
        QTest::addColumn<bool>("mac");
        QTest::addColumn<QString>("architecture");
        QTest::addColumn<bool>("isMono");
        QTest::addColumn<QString>("name");
        QTest::newRow("macOS") << true << "" << false << "Godot_v4.3-stable_macos.universal.zip";
        QTest::newRow("macOS, C#")
            << true << "" << true << "Godot_v4.3-stable_mono_macos.universal.zip";
        QTest::newRow("Linux") << false << "x86_64" << false
                               << "Godot_v4.3-stable_linux.x86_64.zip";
        QTest::newRow("Linux, C#")
            << false << "x86_64" << true << "Godot_v4.3-stable_mono_linux_x86_64.zip";
        QTest::newRow("Linux on Arm")
            << false << "arm64" << false << "Godot_v4.3-stable_linux.arm64.zip";
        QTest::newRow("Linux on Arm, C#")
            << false << "arm64" << true << "Godot_v4.3-stable_mono_linux_arm64.zip";
    }

    void archivesAreNamedAsOnTheReleasePage()
    {
        QFETCH(bool, mac);
        QFETCH(QString, architecture);
        QFETCH(bool, isMono);
        QFETCH(QString, name);
        const QString home = QStringLiteral("/home/player");
        const Platform platform =
            mac ? Platform::macOS(home) : Platform::linuxDesktop(home, architecture, home);
        QCOMPARE((EngineSpec{QStringLiteral("4.3-stable"), isMono}.zipName(platform)), name);
    }

    void bothBuildsOfAVersionLieSideBySide()
    {
        const QString root = QStringLiteral("/data/Brindle");
        const EngineSpec standard{QStringLiteral("4.2.2-stable"), false};
        const EngineSpec mono{QStringLiteral("4.2.2-stable"), true};
        QCOMPARE(standard.tag(), QStringLiteral("4.2.2-stable"));
        QCOMPARE(standard.folder(root), QStringLiteral("/data/Brindle/Engine/4.2.2-stable"));
        QCOMPARE(mono.tag(), QStringLiteral("4.2.2-stable-mono"));
        QCOMPARE(mono.folder(root), QStringLiteral("/data/Brindle/Engine/4.2.2-stable-mono"));
    }

    void onlyReleaseTagsAreWellFormed_data()
    {
        QTest::addColumn<QString>("version");
        QTest::addColumn<bool>("isWellFormed");
        QTest::newRow("two numbers") << "4.3-stable" << true;
        QTest::newRow("three numbers") << "4.10.12-stable" << true;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("no version") << "-stable" << false;
        QTest::newRow("one number") << "4-stable" << false;
        QTest::newRow("four numbers") << "4.3.1.2-stable" << false;
        QTest::newRow("not stable") << "4.3" << false;
        QTest::newRow("another channel") << "4.3-beta1" << false;
        QTest::newRow("a way out") << "../../4.3-stable" << false;
        QTest::newRow("a way out behind") << "4.3-stable/../.." << false;
        QTest::newRow("a line feed behind") << "4.3-stable\n" << false;
        QTest::newRow("digits of another script") << QStringLiteral("٤.٣-stable") << false;
    }

    void onlyReleaseTagsAreWellFormed()
    {
        QFETCH(QString, version);
        QFETCH(bool, isWellFormed);
        QCOMPARE((EngineSpec{version, false}.isWellFormed()), isWellFormed);
    }
};

QTEST_GUILESS_MAIN(TestEngineSpec)
#include "tst_enginespec.moc"
