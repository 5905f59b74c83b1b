#include "PipelineFixture.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "support/Await.h"

#include <QDir>

namespace brindle {

PipelineFixture::PipelineFixture()
{
    offerGame(projectFile());
    offerEngine(ModelFixture::engineScript());
    for (const QString &name : {QStringLiteral("one"), QStringLiteral("two")}) {
        const QString folder = sources_.filePath(QStringLiteral("addon-") + name);
        ModelFixture::write(folder + QStringLiteral("/plugin.cfg"), name.toUtf8());
        const QString zip = folder + QStringLiteral(".zip");
        GitArchive::pack(folder, name + QStringLiteral("-HEAD"), zip);
        host.offerAddon(QStringLiteral("tessel-works/") + name, zip);
    }
}

void PipelineFixture::offerGame(const QByteArray &projectFile, const QByteArray &modules)
{
    const QString folder = sources_.filePath(QStringLiteral("game"));
    QDir(folder).removeRecursively();
    packGame(folder, projectFile, modules);
}

void PipelineFixture::offerGameWith(const QMap<QString, QByteArray> &extra)
{
    const QString folder = sources_.filePath(QStringLiteral("game"));
    QDir(folder).removeRecursively();
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        ModelFixture::write(folder + u'/' + it.key(), *it);
    }
    packGame(folder, projectFile(), gitmodules());
}

void PipelineFixture::packGame(const QString &folder, const QByteArray &projectFile,
                               const QByteArray &modules)
{
    ModelFixture::write(folder + QStringLiteral("/project.godot"), projectFile);
    ModelFixture::write(folder + QStringLiteral("/main.gd"), "extends Node\n");
    ModelFixture::write(folder + QStringLiteral("/.gitmodules"), modules);
    const QString zip = sources_.filePath(QStringLiteral("game.zip"));
    GitArchive::pack(folder, QStringLiteral("godot-brindle-main"), zip,
                     {{QByteArrayLiteral("{host}"), host.url().toString().toUtf8()},
                      {QByteArrayLiteral("{outside}"), QByteArrayLiteral("../../x")}});
    host.offerGame(zip);
}

void PipelineFixture::offerEngine(const QByteArray &script, const QString &version, bool mono)
{
    const EngineSpec spec{version + QStringLiteral("-stable"), mono};
    const QString program = sources_.filePath(QStringLiteral("engine.sh"));
    ModelFixture::write(program, script, true);
    const QString zip = sources_.filePath(spec.tag() + QStringLiteral(".zip"));
    EngineArchive::pack(program, files.platform, spec.version, mono, zip);
    host.offerEngine(spec.version, spec.zipName(files.platform), zip);
}

QByteArray PipelineFixture::projectFile(const QByteArray &version, const QByteArray &feature)
{
    const QByteArray features = feature.isEmpty() ? version : version + "\", \"" + feature;
    return "config_version=5\nconfig/name=\"Piped\"\nconfig/features=PackedStringArray(\"" +
           features + "\")\n";
}

QByteArray PipelineFixture::gitmodules()
{
    return "[submodule \"one\"]\n\tpath = addons/one\n\turl = {host}/tessel-works/one.git\n"
           "[submodule \"two\"]\n\tpath = addons/two\n\turl = {host}/tessel-works/two\n";
}

void PipelineFixture::playToTheEnd()
{
    model().startWork(true);
    files.waitUntilIdle();
}

void PipelineFixture::playUntilOpen()
{
    model().log.setLines({});
    model().startWork(true);
    waitForLine(QStringLiteral("engine is playing"));
}

void PipelineFixture::waitForLine(const QString &text)
{
    spinUntil([&] { return !model().log.lines().filter(text).isEmpty(); });
}

void PipelineFixture::finish(double seconds, int code)
{
    clock->advance(Clock::Duration(seconds));
    ModelFixture::finishGame(project(), code);
    // The model waits a moment for the last lines once the game has ended.
    spinUntil([&] { return !model().runner.current(); });
    clock->advance(Clock::Duration(0.2));
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

} // namespace brindle
