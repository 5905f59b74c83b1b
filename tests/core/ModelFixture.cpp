#include "ModelFixture.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "files/Files.h"
#include "project/ProjectInspector.h"
#include "support/Await.h"
#include "support/EngineScript.h"
#include "support/WorkerHold.h"

#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

/// Returns the running system's platform, or macOS's row with stand-ins for its tools.
Platform row(const QTemporaryDir &folder)
{
    if (qEnvironmentVariable("BRINDLE_TEST_PLATFORM") == u"macOS") {
        Platform platform = Platform::macOS(folder.path());
        platform.quarantineStep.program = u"/bin/true"_s;
        return platform;
    }
    return Platform::linuxDesktop(folder.filePath(u"share"_s), QSysInfo::currentCpuArchitecture(),
                                  QFileInfo(QStringLiteral(BRINDLE_DITTO)).path());
}

} // namespace

ModelFixture::ModelFixture() : platform(row(folder_))
{
    platform.archiveTool = QStringLiteral(BRINDLE_DITTO);
    Files::createFolder(temporaryFolder());
}

AppModel &ModelFixture::model()
{
    if (!model_) {
        modelAtStart();
        finishLooks();
    }
    return *model_;
}

/// Returns when the model's workers are done.
void ModelFixture::finishLooks()
{
    WorkerHold().open();
    QCoreApplication::processEvents();
}

void ModelFixture::restart()
{
    if (model_) {
        model_->cancel();
        waitUntilIdle();
        finishLooks();
        model_.reset();
    }
}

AppModel &ModelFixture::modelAtStart()
{
    if (!model_) {
        model_ = std::make_unique<AppModel>(parts());
    }
    return *model_;
}

Dependencies ModelFixture::parts() const
{
    return {{codeHost, root(), temporaryFolder(), platform},
            std::make_unique<QSettings>(settingsFile(), QSettings::IniFormat),
            desktop,
            modelClock};
}

void ModelFixture::waitUntilIdle()
{
    spinUntil([this] { return !model().work(); });
}

QStringList ModelFixture::leftovers() const
{
    WorkerHold().open(); // waits for the deletion
    return Files::names(temporaryFolder());
}

void ModelFixture::installByHand(const QByteArray &engine)
{
    writeFile(project() + u"/project.godot"_s,
              "config_version=5\nconfig/name=\"By hand\"\nconfig/features=\"4.3\"\n");
    writeFile(root(u"info.json"_s), ProjectInspector::inspect(project()).toJson());
    const EngineSpec spec{u"4.3-stable"_s, false};
    QString program = spec.program(platform);
    if (program.startsWith(u'*')) {
        program.replace(0, 1, u"Godot"_s);
    }
    writeFile(spec.folder(root()) + u'/' + program, engine, true);
    writeFile(root(u"imported-%1.txt"_s.arg(spec.tag())), "ok");
}

QByteArray ModelFixture::engineScript(int importExit)
{
    return brindle::engineScript("printf '%s\\n' \"$@\" > \"$2/play arguments\"\n"
                                 "rm -f \"$2/finish\"\n"
                                 "mkfifo \"$2/finish\"\n"
                                 "echo \"engine is playing\"\n"
                                 "read code < \"$2/finish\"\n"
                                 "exit \"$code\"",
                                 "echo \"engine is importing\"\n"
                                 "exit " +
                                     QByteArray::number(importExit));
}

void ModelFixture::finishGame(int code) const
{
    writeFile(project() + u"/finish"_s, QByteArray::number(code) + '\n');
}

PipelineFixture::PipelineFixture()
{
    modelClock = clock;
    codeHost = host.url();
    offerGame();
    offerEngine(engineScript());
    for (const QString &name : {u"one"_s, u"two"_s}) {
        const QString folder = sources_.filePath(u"addon-"_s + name);
        writeFile(folder + u"/plugin.cfg"_s, name.toUtf8());
        host.offerAddon(u"tessel-works/"_s + name, GitArchive::pack(folder, name + u"-HEAD"_s));
    }
}

void PipelineFixture::offerGame(const QByteArray &project, const QMap<QString, QByteArray> &extra)
{
    const QString folder = sources_.filePath(u"game"_s);
    writeFile(folder + u"/project.godot"_s, project);
    writeFile(folder + u"/.gitmodules"_s, gitmodules());
    host.offerGame(GitArchive::pack(folder, u"godot-brindle-main"_s, extra));
}

void PipelineFixture::offerEngine(const QByteArray &script, const QString &version, bool mono)
{
    const EngineSpec spec{version + u"-stable"_s, mono};
    host.offerEngine(spec.version, spec.zipName(platform),
                     EngineArchive::pack(script, platform, spec.version, mono));
}

QByteArray PipelineFixture::projectFile(const QByteArray &version, const QByteArray &feature)
{
    return "config_version=5\nconfig/name=\"Piped\"\nconfig/features=PackedStringArray(\"" +
           version + "\", \"" + feature + "\")\n";
}

QByteArray PipelineFixture::gitmodules() const
{
    const QByteArray url = host.url().toString().toUtf8();
    return "[submodule \"one\"]\n\tpath = addons/one\n\turl = " + url +
           "/tessel-works/one.git\n"
           "[submodule \"two\"]\n\tpath = addons/two\n\turl = " +
           url + "/tessel-works/two\n";
}

void PipelineFixture::setUp()
{
    model().startWork(false);
    waitUntilIdle();
}

void PipelineFixture::playToTheEnd()
{
    model().startWork(true);
    waitUntilIdle();
}

void PipelineFixture::playUntilOpen()
{
    model().log.setLines({});
    model().startWork(true);
    waitForLine(u"engine is playing"_s);
}

void PipelineFixture::waitForLine(const QString &text)
{
    spinUntil([&] { return !model().log.lines().filter(text).isEmpty(); });
}

void PipelineFixture::finish(double seconds, int code)
{
    clock->advance(Clock::Duration(seconds));
    finishGame(code);
    spinUntil([&] { return !model().runner.current(); });
    passTheEnd();
}

void PipelineFixture::passTheEnd()
{
    spinUntil([&] {
        clock->advance(Clock::Duration(0.1));
        return !model().work();
    });
}

void PipelineFixture::stall(const QString &path)
{
    host.replace(path, [this](const HttpRequest &, HttpConnection &connection) {
        stalled = true;
        connection.waitUntilClosed();
    });
}

void PipelineFixture::refuse(const QString &path, int status)
{
    host.replace(path, [status](const HttpRequest &, HttpConnection &connection) {
        connection.respond(status, {}, {});
    });
}

} // namespace brindle
