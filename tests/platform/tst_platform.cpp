#include "platform/Platform.h"

#include <QDir>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTest>

using brindle::Platform;

class PlatformTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void rowsNameTheEnginesArchivesAndPrograms_data();
    void rowsNameTheEnginesArchivesAndPrograms();
    void rowsNameTheToolsAndFolders_data();
    void rowsNameTheToolsAndFolders();
    void macOSClearsTheQuarantineFlag();
    void linuxHasNoQuarantineStep();
    void macOSRevealsWithOpen();
    void linuxRevealsWithTheFileManagerThenTheFolder();
    void placeholdersAreFilledOnce();
    void urlsHoldNothingThatDBusSendSplitsAt_data();
    void urlsHoldNothingThatDBusSendSplitsAt();
    void currentIsTheRunningSystem();
};

void PlatformTest::rowsNameTheEnginesArchivesAndPrograms_data()
{
    QTest::addColumn<Platform>("row");
    QTest::addColumn<QString>("standardArchive");
    QTest::addColumn<QString>("monoArchive");
    QTest::addColumn<QString>("standardProgram");
    QTest::addColumn<QString>("monoProgram");

    const QString app = QStringLiteral("*.app/Contents/MacOS/Godot");
    QTest::newRow("macOS") << Platform::macOS(QStringLiteral("/Users/ada"))
                           << QStringLiteral("_macos.universal.zip")
                           << QStringLiteral("_mono_macos.universal.zip") << app << app;

    const auto linuxRow = [](const QString &architecture) {
        return Platform::linuxDesktop(QStringLiteral("/home/ada/.local/share"), architecture,
                                      QStringLiteral("/opt/brindle/libexec"));
    };
    const auto addX86 = [&](const char *name, const QString &architecture) {
        QTest::newRow(name)
            << linuxRow(architecture) << QStringLiteral("_linux.x86_64.zip")
            << QStringLiteral("_mono_linux_x86_64.zip")
            << QStringLiteral("Godot_v{version}_linux.x86_64")
            << QStringLiteral(
                   "Godot_v{version}_mono_linux_x86_64/Godot_v{version}_mono_linux.x86_64");
    };
    addX86("Linux on x86_64", QStringLiteral("x86_64"));
    addX86("Linux on anything else", QStringLiteral("riscv64"));
    QTest::newRow("Linux on arm64")
        << linuxRow(QStringLiteral("arm64")) << QStringLiteral("_linux.arm64.zip")
        << QStringLiteral("_mono_linux_arm64.zip") << QStringLiteral("Godot_v{version}_linux.arm64")
        << QStringLiteral("Godot_v{version}_mono_linux_arm64/Godot_v{version}_mono_linux.arm64");
}

void PlatformTest::rowsNameTheEnginesArchivesAndPrograms()
{
    QFETCH(Platform, row);
    QTEST(row.standardArchiveSuffix, "standardArchive");
    QTEST(row.monoArchiveSuffix, "monoArchive");
    QTEST(row.standardProgram, "standardProgram");
    QTEST(row.monoProgram, "monoProgram");
}

void PlatformTest::rowsNameTheToolsAndFolders_data()
{
    QTest::addColumn<Platform>("row");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("archiveTool");
    QTest::addColumn<QString>("engineUserData");

    QTest::newRow("macOS") << Platform::macOS(QStringLiteral("/Users/ada"))
                           << QStringLiteral("macOS") << QStringLiteral("/usr/bin/ditto")
                           << QStringLiteral(
                                  "/Users/ada/Library/Application Support/Godot/app_userdata");
    QTest::newRow("Linux") << Platform::linuxDesktop(QStringLiteral("/home/ada/.local/share"),
                                                     QStringLiteral("x86_64"),
                                                     QStringLiteral("/opt/brindle/libexec"))
                           << QStringLiteral("Linux")
                           << QStringLiteral("/opt/brindle/libexec/ditto")
                           << QStringLiteral("/home/ada/.local/share/godot/app_userdata");
}

void PlatformTest::rowsNameTheToolsAndFolders()
{
    QFETCH(Platform, row);
    QTEST(row.name, "name");
    QTEST(row.archiveTool, "archiveTool");
    QTEST(row.engineUserData, "engineUserData");
}

void PlatformTest::macOSClearsTheQuarantineFlag()
{
    const Platform row = Platform::macOS(QStringLiteral("/Users/ada"));
    const QString folder = QStringLiteral("/Users/ada/Engine 4.3");
    QCOMPARE(row.quarantineStep.program, QStringLiteral("/usr/bin/xattr"));
    QCOMPARE(row.quarantineStep.filled(QString(), folder),
             QStringList({QStringLiteral("-dr"), QStringLiteral("com.apple.quarantine"), folder}));
}

void PlatformTest::linuxHasNoQuarantineStep()
{
    const Platform row = Platform::linuxDesktop(QStringLiteral("/d"), QStringLiteral("x86_64"),
                                                QStringLiteral("/p"));
    QVERIFY(row.quarantineStep.program.isEmpty());
}

void PlatformTest::macOSRevealsWithOpen()
{
    const Platform row = Platform::macOS(QStringLiteral("/Users/ada"));
    QCOMPARE(row.reveal.size(), 1);
    QCOMPARE(row.reveal[0].program, QStringLiteral("/usr/bin/open"));
    QCOMPARE(row.reveal[0].filled(QStringLiteral("/a b/c"), QStringLiteral("/a b")),
             QStringList({QStringLiteral("-R"), QStringLiteral("/a b/c")}));
}

void PlatformTest::linuxRevealsWithTheFileManagerThenTheFolder()
{
    const Platform row = Platform::linuxDesktop(QStringLiteral("/d"), QStringLiteral("x86_64"),
                                                QStringLiteral("/p"));
    QCOMPARE(row.reveal.size(), 2);
    QCOMPARE(row.reveal[0].program, QStringLiteral("dbus-send"));
    QCOMPARE(
        row.reveal[0].filled(QStringLiteral("/a b/c"), QStringLiteral("/a b")),
        QStringList({QStringLiteral("--session"), QStringLiteral("--print-reply"),
                     QStringLiteral("--dest=org.freedesktop.FileManager1"),
                     QStringLiteral("/org/freedesktop/FileManager1"),
                     QStringLiteral("org.freedesktop.FileManager1.ShowItems"),
                     QStringLiteral("array:string:file:///a%20b/c"), QStringLiteral("string:")}));
    QCOMPARE(row.reveal[1].program, QStringLiteral("xdg-open"));
    QCOMPARE(row.reveal[1].filled(QStringLiteral("/a b/c"), QStringLiteral("/a b")),
             QStringList({QStringLiteral("/a b")}));
}

void PlatformTest::placeholdersAreFilledOnce()
{
    const Platform::Command command{QStringLiteral("x"),
                                    {QStringLiteral("<{path}|{folder}>"), QStringLiteral("{other}"),
                                     QString(), QStringLiteral("{{path}}")}};
    QCOMPARE(command.filled(QStringLiteral("/{folder}"), QStringLiteral("/{path}")),
             QStringList({QStringLiteral("</{folder}|/{path}>"), QStringLiteral("{other}"),
                          QString(), QStringLiteral("{/{folder}}")}));
}

void PlatformTest::urlsHoldNothingThatDBusSendSplitsAt_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("url");
    QTest::newRow("comma") << QStringLiteral("/a,b") << QStringLiteral("file:///a%2Cb");
    QTest::newRow("percent") << QStringLiteral("/100%") << QStringLiteral("file:///100%25");
    QTest::newRow("hash and query")
        << QStringLiteral("/a#b?c") << QStringLiteral("file:///a%23b%3Fc");
    QTest::newRow("not ASCII") << QStringLiteral("/Ä") << QStringLiteral("file:///%C3%84");
    QTest::newRow("plain") << QStringLiteral("/a-b._~/C9") << QStringLiteral("file:///a-b._~/C9");
}

void PlatformTest::urlsHoldNothingThatDBusSendSplitsAt()
{
    QFETCH(QString, path);
    const Platform::Command command{QStringLiteral("x"), {QStringLiteral("{url}")}};
    QTEST(command.filled(path, QString()).first(), "url");
}

void PlatformTest::currentIsTheRunningSystem()
{
    const Platform row = Platform::current(QStringLiteral("/opt/brindle/libexec"));
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const Platform expected = QSysInfo::productType() == u"macos"
                                  ? Platform::macOS(QDir::homePath())
                                  : Platform::linuxDesktop(data, QSysInfo::buildCpuArchitecture(),
                                                           QStringLiteral("/opt/brindle/libexec"));
    QCOMPARE(row.name, expected.name);
    QCOMPARE(row.standardArchiveSuffix, expected.standardArchiveSuffix);
    QCOMPARE(row.archiveTool, expected.archiveTool);
    QCOMPARE(row.engineUserData, expected.engineUserData);
}

QTEST_GUILESS_MAIN(PlatformTest)
#include "tst_platform.moc"
