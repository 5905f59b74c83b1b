// Tests the names of an engine build, on the release page and in the storage.

#include "engine/EngineSpec.h"

#include <QtTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestEngineSpec : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void namesFollowTheReleasePage_data()
    {
        QTest::addColumn<Platform>("platform");
        QTest::addColumn<bool>("isMono");
        QTest::addColumn<QString>("zip");
        QTest::addColumn<QString>("program");
        const auto row = [](const char *name, const Platform &platform, bool isMono,
                            const char *zip, const char *program) {
            QTest::newRow(name) << platform << isMono << zip << program;
        };
        const auto on = [](const char *architecture) {
            return Platform::linuxDesktop(u"/data"_s, QString::fromLatin1(architecture), QString());
        };
        const Platform mac = Platform::macOS(u"/Users/ada"_s);
        const char *const app = "*.app/Contents/MacOS/Godot";
        row("macOS", mac, false, "Godot_v4.3-stable_macos.universal.zip", app);
        row("macOS, C#", mac, true, "Godot_v4.3-stable_mono_macos.universal.zip", app);
        row("Linux", on("x86_64"), false, "Godot_v4.3-stable_linux.x86_64.zip",
            "Godot_v4.3-stable_linux.x86_64");
        row("Linux, C#", on("x86_64"), true, "Godot_v4.3-stable_mono_linux_x86_64.zip",
            "Godot_v4.3-stable_mono_linux_x86_64/Godot_v4.3-stable_mono_linux.x86_64");
        row("Linux on arm64", on("arm64"), false, "Godot_v4.3-stable_linux.arm64.zip",
            "Godot_v4.3-stable_linux.arm64");
        row("Linux on arm64, C#", on("arm64"), true, "Godot_v4.3-stable_mono_linux_arm64.zip",
            "Godot_v4.3-stable_mono_linux_arm64/Godot_v4.3-stable_mono_linux.arm64");
        row("Linux without builds", on("riscv64"), false, "Godot_v4.3-stable_linux.x86_64.zip",
            "Godot_v4.3-stable_linux.x86_64");
    }
    void namesFollowTheReleasePage()
    {
        QFETCH(Platform, platform);
        QFETCH(bool, isMono);
        const EngineSpec spec{u"4.3-stable"_s, isMono};
        QTEST(spec.zipName(platform), "zip");
        QTEST(spec.program(platform), "program");
    }

    void userDataFolderFollowsTheEngine()
    {
        QCOMPARE(EngineSpec::userDataFolder(Platform::macOS(u"/Users/ada"_s)),
                 u"/Users/ada/Library/Application Support/Godot/app_userdata"_s);
        QCOMPARE(EngineSpec::userDataFolder(
                     Platform::linuxDesktop(u"/home/ada/.local/share"_s, QString(), QString())),
                 u"/home/ada/.local/share/godot/app_userdata"_s);
    }
};

QTEST_GUILESS_MAIN(TestEngineSpec)
#include "tst_enginespec.moc"
