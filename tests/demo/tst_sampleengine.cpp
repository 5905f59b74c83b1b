#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>

class TestSampleEngine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void importWritesWhatAnEngineWrites();
    void importPrintsProgressInColour();
    void importEndsAsDirected();
    void withoutAProjectItFails();
    void unknownArgumentsAreRefused_data();
    void unknownArgumentsAreRefused();
    void argumentsArePrintedInOrder();
    void theVersionComesFromTheProgramsName();
    void playsWithoutADisplay();
    void playsInAWindow();
    void endsWithItsCode();
    void crashesOfItsSignal();
    void diesOfSigterm();
    void ignoresSigtermWhenTold();
    void missingFilesAreAnError();
    void printsWhatItIsTold();

private:
    void direct(const QByteArray &ini) { write(QStringLiteral("sample-engine.ini"), ini); }
    void write(const QString &name, const QByteArray &content) const
    {
        const QString path = folder_->filePath(name);
        QDir().mkpath(QFileInfo(path).path());
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(content), content.size());
    }
    QStringList importArguments() const
    {
        return {QStringLiteral("--headless"), QStringLiteral("--import"), QStringLiteral("--path"),
                folder_->path(), QStringLiteral("--quit")};
    }
    QStringList playArguments() const
    {
        return {QStringLiteral("--path"), folder_->path(), QStringLiteral("--windowed")};
    }
    void start(const QStringList &arguments,
               const QString &program = QStringLiteral(SAMPLE_ENGINE));
    /// Starts it and waits for its end.
    void run(const QStringList &arguments);
    /// Starts a game and waits until it has printed that it runs.
    void play();
    void waitForEnd();

    std::unique_ptr<QTemporaryDir> folder_;
    std::unique_ptr<QProcess> process_;
    QByteArray output_; // both streams
};

void TestSampleEngine::init()
{
    folder_ = std::make_unique<QTemporaryDir>();
    process_ = std::make_unique<QProcess>();
    process_->setProcessChannelMode(QProcess::MergedChannels);
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("DISPLAY"));
    environment.remove(QStringLiteral("WAYLAND_DISPLAY"));
    process_->setProcessEnvironment(environment);
    output_.clear();
    write(QStringLiteral("project.godot"), "config_version=5\nconfig/name=\"A Game\"\n");
    direct("importSeconds=0\n");
}

void TestSampleEngine::start(const QStringList &arguments, const QString &program)
{
    process_->start(program, arguments);
    QVERIFY(process_->waitForStarted());
}

void TestSampleEngine::waitForEnd()
{
    QVERIFY(process_->waitForFinished());
    output_ += process_->readAll();
}

void TestSampleEngine::run(const QStringList &arguments)
{
    start(arguments);
    waitForEnd();
}

void TestSampleEngine::play()
{
    start(playArguments());
    while (!output_.contains("The game is running.\n")) {
        QVERIFY(process_->waitForReadyRead());
        output_ += process_->readAll();
    }
}

void TestSampleEngine::importWritesWhatAnEngineWrites()
{
    write(QStringLiteral("icon.svg"), "<svg/>");
    write(QStringLiteral("addons/map/map.gd"), "extends Node\n");
    run(importArguments());
    QCOMPARE(process_->exitCode(), 0);
    QVERIFY(QFileInfo(folder_->filePath(QStringLiteral(".godot/imported"))).isDir());
    QVERIFY(QFile::exists(folder_->filePath(QStringLiteral("icon.svg.import"))));
    QVERIFY(QFile::exists(folder_->filePath(QStringLiteral("addons/map/map.gd.uid"))));
}

void TestSampleEngine::importPrintsProgressInColour()
{
    write(QStringLiteral("icon.svg"), "<svg/>");
    run(importArguments());
    QVERIFY(output_.startsWith("Godot Engine v4.stable.sample - https://godotengine.org\n"));
    QVERIFY(
        output_.contains("[   0% ] \x1b[90m\x1b[1mreimport\x1b[22m | icon.svg\x1b[39m\x1b[0m\n"));
    QVERIFY(output_.contains("\x1b[92m[ DONE ]\x1b[39m \x1b[1mreimport\x1b[22m\n"));
}

void TestSampleEngine::importEndsAsDirected()
{
    direct("importSeconds=0\nimportExit=3\n");
    run(importArguments());
    QCOMPARE(process_->exitCode(), 3);
}

void TestSampleEngine::withoutAProjectItFails()
{
    QVERIFY(QFile::remove(folder_->filePath(QStringLiteral("project.godot"))));
    run(importArguments());
    QCOMPARE(process_->exitCode(), 1);
    QVERIFY(!QFile::exists(folder_->filePath(QStringLiteral(".godot"))));
}

void TestSampleEngine::unknownArgumentsAreRefused_data()
{
    QTest::addColumn<QString>("argument");
    QTest::newRow("unknown") << QStringLiteral("--fast");
    QTest::newRow("without its value") << QStringLiteral("--resolution");
    QTest::newRow("not before an import") << QStringLiteral("--quit");
    QTest::newRow("positional") << QStringLiteral("scene.tscn");
}

void TestSampleEngine::unknownArgumentsAreRefused()
{
    QFETCH(QString, argument);
    run(playArguments() + QStringList{argument});
    QCOMPARE(process_->exitCode(), 1);
    QVERIFY(output_.contains("--windowed " + argument.toUtf8() + "\n"));
    QVERIFY(output_.contains("ERROR: "));
}

void TestSampleEngine::argumentsArePrintedInOrder()
{
    run(importArguments());
    QVERIFY(output_.contains("\nArguments: --headless --import --path " + folder_->path().toUtf8() +
                             " --quit\n"));
}

void TestSampleEngine::theVersionComesFromTheProgramsName()
{
    const QString program = folder_->filePath(QStringLiteral("Godot_v4.2.2-stable_linux.x86_64"));
    QVERIFY(QFile::copy(QStringLiteral(SAMPLE_ENGINE), program));
    start(importArguments(), program);
    waitForEnd();
    QVERIFY(output_.startsWith("Godot Engine v4.2.2.stable.sample "));
}

void TestSampleEngine::playsWithoutADisplay()
{
    direct("playSeconds=0\n");
    run(playArguments());
    QCOMPARE(process_->exitStatus(), QProcess::NormalExit);
    QCOMPARE(process_->exitCode(), 0);
    QVERIFY(output_.contains("without a window"));
}

void TestSampleEngine::playsInAWindow()
{
    auto environment = process_->processEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), QStringLiteral(":0"));
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    process_->setProcessEnvironment(environment);
    direct("playSeconds=0.2\n");
    run(playArguments() + QStringList{QStringLiteral("--resolution"), QStringLiteral("800x600")});
    QCOMPARE(process_->exitStatus(), QProcess::NormalExit);
    QCOMPARE(process_->exitCode(), 0);
    QVERIFY(!output_.contains("without a window"));
    QVERIFY(output_.contains("OpenGL"));
}

void TestSampleEngine::endsWithItsCode()
{
    direct("playSeconds=0\nplayExit=7\n");
    run(playArguments());
    QCOMPARE(process_->exitCode(), 7);
}

void TestSampleEngine::crashesOfItsSignal()
{
    direct("playSeconds=0\ncrashSignal=11\n");
    run(playArguments());
    QCOMPARE(process_->exitStatus(), QProcess::CrashExit);
    QCOMPARE(process_->exitCode(), SIGSEGV);
    QVERIFY(output_.contains("handle_crash: Program crashed with signal 11\n"));
}

void TestSampleEngine::diesOfSigterm()
{
    play();
    process_->terminate();
    waitForEnd();
    QCOMPARE(process_->exitStatus(), QProcess::CrashExit);
    QCOMPARE(process_->exitCode(), SIGTERM);
}

void TestSampleEngine::ignoresSigtermWhenTold()
{
    direct("ignoreTerm=true\nplaySeconds=0.5\nplayExit=4\n");
    play();
    process_->terminate();
    waitForEnd();
    QCOMPARE(process_->exitStatus(), QProcess::NormalExit);
    QCOMPARE(process_->exitCode(), 4);
}

void TestSampleEngine::missingFilesAreAnError()
{
    direct("importSeconds=0\nplaySeconds=0\nrequireFile=icon.svg, addons/map/plugin.cfg\n");
    write(QStringLiteral("icon.svg"), "<svg/>");
    run(playArguments());
    QCOMPARE(process_->exitCode(), 1);
    QVERIFY(output_.contains("ERROR: Cannot open file 'res://addons/map/plugin.cfg'.\n"));
    write(QStringLiteral("addons/map/plugin.cfg"), "[plugin]\n");
    run(playArguments());
    QCOMPARE(process_->exitCode(), 0);
}

void TestSampleEngine::printsWhatItIsTold()
{
    direct("playSeconds=0\nprintLines=1000\nprintParseError=true\nprintText=vulkan is missing\n");
    run(playArguments());
    QCOMPARE(process_->exitCode(), 0);
    QVERIFY(output_.contains("\nvulkan is missing\nSCRIPT ERROR: Parse Error: "));
    QCOMPARE(output_.count("\nline "), 1000);
}

QTEST_GUILESS_MAIN(TestSampleEngine)
#include "tst_sampleengine.moc"
