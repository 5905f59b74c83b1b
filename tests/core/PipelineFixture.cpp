#include "PipelineFixture.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "support/Await.h"

#include <QDir>

using namespace Qt::StringLiterals;

namespace brindle {

PipelineFixture::PipelineFixture()
{
    modelClock = clock;
    codeHost = host.url();
    offerGame(projectFile());
    offerEngine(ModelFixture::engineScript());
    for (const QString &name : {u"one"_s, u"two"_s}) {
        const QString folder = sources_.filePath(u"addon-"_s + name);
        ModelFixture::write(folder + u"/plugin.cfg"_s, name.toUtf8());
        const QString zip = folder + u".zip"_s;
        GitArchive::pack(folder, name + u"-HEAD"_s, zip);
        host.offerAddon(u"tessel-works/"_s + name, zip);
    }
}

void PipelineFixture::offerGame(const QByteArray &projectFile, const QByteArray &modules)
{
    const QString folder = sources_.filePath(u"game"_s);
    QDir(folder).removeRecursively();
    packGame(folder, projectFile, modules);
}

void PipelineFixture::offerGameWith(const QMap<QString, QByteArray> &extra)
{
    const QString folder = sources_.filePath(u"game"_s);
    QDir(folder).removeRecursively();
    for (auto it = extra.begin(); it != extra.end(); ++it) {
        ModelFixture::write(folder + u'/' + it.key(), *it);
    }
    packGame(folder, projectFile(), gitmodules());
}

void PipelineFixture::packGame(const QString &folder, const QByteArray &projectFile,
                               const QByteArray &modules)
{
    ModelFixture::write(folder + u"/project.godot"_s, projectFile);
    ModelFixture::write(folder + u"/main.gd"_s, "extends Node\n");
    ModelFixture::write(folder + u"/.gitmodules"_s, modules);
    const QString zip = sources_.filePath(u"game.zip"_s);
    GitArchive::pack(folder, u"godot-brindle-main"_s, zip,
                     {{QByteArrayLiteral("{host}"), host.url().toString().toUtf8()}});
    host.offerGame(zip);
}

void PipelineFixture::offerEngine(const QByteArray &script, const QString &version, bool mono)
{
    const EngineSpec spec{version + u"-stable"_s, mono};
    const QString program = sources_.filePath(u"engine.sh"_s);
    ModelFixture::write(program, script, true);
    const QString zip = sources_.filePath(spec.tag() + u".zip"_s);
    EngineArchive::pack(program, platform, spec.version, mono, zip);
    host.offerEngine(spec.version, spec.zipName(platform), zip);
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
    ModelFixture::finishGame(project(), code);
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

} // namespace brindle
