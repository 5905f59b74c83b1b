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
    void rowsNameTheSystem_data();
    void rowsNameTheSystem();
    void macOSClearsTheQuarantineFlag();
    void linuxHasNoQuarantineStep();
    void macOSRevealsWithOpen();
    void linuxRevealsWithTheFileManagerThenTheFolder();
    void placeholdersAreFilledOnce();
    void currentIsTheRunningSystem();
};

void PlatformTest::rowsNameTheSystem_data()
{
    QTest::addColumn<Platform>("row");
    QTest::addColumn<Platform::System>("system");
    QTest::addColumn<QString>("architecture");
    QTest::addColumn<QString>("dataFolder");
    QTest::addColumn<QString>("archiveTool");

    QTest::newRow("macOS") << Platform::macOS(QStringLiteral("/Users/ada"))
                           << Platform::System::macOS << QString()
                           << QStringLiteral("/Users/ada/Library/Application Support")
                           << QStringLiteral("/usr/bin/ditto");
    const QString data = QStringLiteral("/home/ada/.local/share");
    for (const QString &architecture : {QStringLiteral("x86_64"), QStringLiteral("arm64")}) {
        QTest::addRow("Linux on %s", qPrintable(architecture))
            << Platform::linuxDesktop(data, architecture, QStringLiteral("/opt/brindle/libexec"))
            << Platform::System::linuxDesktop << architecture << data
            << QStringLiteral("/opt/brindle/libexec/ditto");
    }
}

void PlatformTest::rowsNameTheSystem()
{
    QFETCH(Platform, row);
    QTEST(row.system, "system");
    QTEST(row.architecture, "architecture");
    QTEST(row.dataFolder, "dataFolder");
    QTEST(row.archiveTool, "archiveTool");
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
    QCOMPARE(row.fileManager, QStringLiteral("org.freedesktop.FileManager1"));
    QCOMPARE(row.reveal.size(), 1);
    QCOMPARE(row.reveal[0].program, QStringLiteral("xdg-open"));
    QCOMPARE(row.reveal[0].filled(QStringLiteral("/a b/c"), QStringLiteral("/a b")),
             QStringList({QStringLiteral("/a b")}));
    QVERIFY(Platform::macOS(QStringLiteral("/Users/ada")).fileManager.isEmpty());
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

void PlatformTest::currentIsTheRunningSystem()
{
    const Platform row = Platform::current(QStringLiteral("/opt/brindle/libexec"));
    const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
    const Platform expected = QSysInfo::productType() == u"macos"
                                  ? Platform::macOS(QDir::homePath())
                                  : Platform::linuxDesktop(data, QSysInfo::buildCpuArchitecture(),
                                                           QStringLiteral("/opt/brindle/libexec"));
    QCOMPARE(row.system, expected.system);
    QCOMPARE(row.architecture, expected.architecture);
    QCOMPARE(row.archiveTool, expected.archiveTool);
    QCOMPARE(row.dataFolder, expected.dataFolder);
}

QTEST_GUILESS_MAIN(PlatformTest)
#include "tst_platform.moc"
