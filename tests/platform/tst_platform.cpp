#include "platform/Platform.h"

#include <QDir>
#include <QStandardPaths>
#include <QSysInfo>
#include <QTest>

using namespace brindle;
using namespace Qt::StringLiterals;

class TestPlatform : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void macOS()
    {
        const Platform row = Platform::macOS(u"/Users/ada"_s);
        QCOMPARE(row.system, Platform::System::macOS);
        QCOMPARE(row.architecture, QString());
        QCOMPARE(row.dataFolder, u"/Users/ada/Library/Application Support"_s);
        QCOMPARE(row.archiveTool, u"/usr/bin/ditto"_s);

        const QString folder = u"/Users/ada/Engine 4.3"_s;
        QCOMPARE(row.quarantineStep.program, u"/usr/bin/xattr"_s);
        QCOMPARE(row.quarantineStep.filled(folder),
                 (QStringList{u"-dr"_s, u"com.apple.quarantine"_s, folder}));
        QCOMPARE(row.reveal.program, u"/usr/bin/open"_s);
        QCOMPARE(row.reveal.filled(u"/a b/c"_s), (QStringList{u"-R"_s, u"/a b/c"_s}));
    }

    void linuxDesktop()
    {
        const Platform row = Platform::linuxDesktop(u"/home/ada/.local/share"_s, u"arm64"_s,
                                                    u"/opt/brindle/libexec"_s);
        QCOMPARE(row.system, Platform::System::linuxDesktop);
        QCOMPARE(row.architecture, u"arm64"_s);
        QCOMPARE(row.dataFolder, u"/home/ada/.local/share"_s);
        QCOMPARE(row.archiveTool, u"/opt/brindle/libexec/ditto"_s);
        QCOMPARE(row.quarantineStep.program, QString());
        QCOMPARE(row.reveal.program, u"xdg-open"_s);
        QCOMPARE(row.reveal.filled(u"/a b/c"_s), QStringList{u"/a b/c"_s});
    }

    void currentIsTheRunningSystem()
    {
        const QString programs = u"/opt/brindle/libexec"_s;
        const Platform row = Platform::current(programs);
        const QString data = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation);
        const Platform expected =
            QSysInfo::productType() == u"macos"
                ? Platform::macOS(QDir::homePath())
                : Platform::linuxDesktop(data, QSysInfo::buildCpuArchitecture(), programs);
        QCOMPARE(row.system, expected.system);
        QCOMPARE(row.architecture, expected.architecture);
        QCOMPARE(row.archiveTool, expected.archiveTool);
        QCOMPARE(row.dataFolder, expected.dataFolder);
    }
};

QTEST_GUILESS_MAIN(TestPlatform)
#include "tst_platform.moc"
