#include "ZipReader.h"

#include "demo/EngineArchive.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace brindle;

class TestEngineArchive : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void layout_data();
    void layout();
    void paddedProgramsPackLikePrograms();
    void aMissingProgramFails();

private:
    QTemporaryDir folder_;
    QString program_ = folder_.filePath(QStringLiteral("program"));
    QString zip_ = folder_.filePath(QStringLiteral("engine.zip"));
    QByteArray script_ = "#!/bin/sh\nexec true\n";
};

void TestEngineArchive::initTestCase()
{
    QFile file(program_);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(script_), script_.size());
}

void TestEngineArchive::layout_data()
{
    QTest::addColumn<bool>("macOS");
    QTest::addColumn<bool>("mono");
    QTest::addColumn<QList<QByteArray>>("names");
    QTest::addColumn<QByteArray>("program");

    QTest::newRow("Linux") << false << false << QList<QByteArray>{"Godot_v4.3-stable_linux.x86_64"}
                           << QByteArray("Godot_v4.3-stable_linux.x86_64");
    const QByteArray folder = "Godot_v4.3-stable_mono_linux_x86_64/";
    QTest::newRow("Linux, mono") << false << true
                                 << QList<QByteArray>{folder,
                                                      folder +
                                                          "Godot_v4.3-stable_mono_linux.x86_64",
                                                      folder + "GodotSharp/",
                                                      folder + "GodotSharp/Api/",
                                                      folder + "GodotSharp/Api/Release/",
                                                      folder +
                                                          "GodotSharp/Api/Release/GodotSharp.xml"}
                                 << folder + "Godot_v4.3-stable_mono_linux.x86_64";
    QTest::newRow("macOS") << true << false
                           << QList<QByteArray>{"Godot.app/", "Godot.app/Contents/",
                                                "Godot.app/Contents/Info.plist",
                                                "Godot.app/Contents/MacOS/",
                                                "Godot.app/Contents/MacOS/Godot"}
                           << QByteArray("Godot.app/Contents/MacOS/Godot");
    const QByteArray mono = "Godot_mono.app/";
    const QByteArray resources = mono + "Contents/Resources/";
    QTest::newRow("macOS, mono") << true << true
                                 << QList<QByteArray>{mono,
                                                      mono + "Contents/",
                                                      mono + "Contents/Info.plist",
                                                      mono + "Contents/MacOS/",
                                                      mono + "Contents/MacOS/Godot",
                                                      resources,
                                                      resources + "GodotSharp/",
                                                      resources + "GodotSharp/Api/",
                                                      resources + "GodotSharp/Api/Release/",
                                                      resources +
                                                          "GodotSharp/Api/Release/GodotSharp.xml"}
                                 << mono + "Contents/MacOS/Godot";
}

void TestEngineArchive::layout()
{
    QFETCH(bool, macOS);
    QFETCH(bool, mono);
    QFETCH(QList<QByteArray>, names);
    QFETCH(QByteArray, program);
    const Platform platform =
        macOS ? Platform::macOS(QStringLiteral("/Users/a"))
              : Platform::linuxDesktop(QStringLiteral("/data"), QStringLiteral("x86_64"),
                                       QStringLiteral("/programs"));
    EngineArchive::pack(program_, platform, QStringLiteral("4.3-stable"), mono, zip_);
    const ZipReader zip(zip_);
    QCOMPARE(zip.names, names);
    QCOMPARE(zip.entries[program].content, script_);
    QCOMPARE(zip.entries[program].system, quint8(3));
    QCOMPARE(zip.entries[program].attributes, 0100755U << 16);
    for (const auto &[name, entry] : zip.entries.asKeyValueRange()) {
        const quint32 mode = entry.attributes >> 16;
        if (name != program) {
            QCOMPARE(mode, name.endsWith('/') ? 0040755U : 0100644U);
        }
    }
}

void TestEngineArchive::paddedProgramsPackLikePrograms()
{
    constexpr qint64 size = 6'000'001;
    EngineArchive::pack(program_, Platform::linuxDesktop({}, QStringLiteral("x86_64"), QString()),
                        QStringLiteral("4.3-stable"), false, zip_, size);
    const QByteArray content = ZipReader(zip_).entries.first().content;
    QCOMPARE(content.size(), size);
    QVERIFY(content.startsWith(script_));
    const double ratio = static_cast<double>(QFile(zip_).size()) / static_cast<double>(size);
    QVERIFY2(ratio > 0.28 && ratio < 0.42, qPrintable(QString::number(ratio)));
    qInfo("packs to %.3f", ratio);
    // The padded copy is gone.
    QCOMPARE(QDir(folder_.path()).entryList(QDir::Files).size(), 2);
}

void TestEngineArchive::aMissingProgramFails()
{
    QVERIFY_THROWS_EXCEPTION(std::runtime_error,
                             EngineArchive::pack(folder_.filePath(QStringLiteral("absent")),
                                                 Platform::macOS({}), QStringLiteral("4.3-stable"),
                                                 false, zip_));
}

QTEST_GUILESS_MAIN(TestEngineArchive)
#include "tst_enginearchive.moc"
