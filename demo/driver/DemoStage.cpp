#include "DemoStage.h"

#include "base/Clock.h"
#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineManager.h"
#include "project/ProjectInspector.h"

#include <QDir>
#include <QFile>

#include <utility>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto behaviourFile = u"sample-engine.ini"_s;
/// Long enough for the launcher to count the game as open.
const QByteArray goodBehaviour = "playSeconds=13\n";
const QByteArray brokenBehaviour =
    "playSeconds=2\nplayExit=1\n"
    "printText=\"SCRIPT ERROR: Parse Error: Unexpected \\\"}\\\" in class body.\\n"
    "          at: GDScript::reload (res://main.gd:2)\"\n";
/// Makes a real engine print an error and fail, so that the launcher must explain it.
const QByteArray brokenScript = "extends Node\n\n\nfunc _ready() -> void:\n"
                                "\tpush_error(\"The map has no start position.\")\n"
                                "\tget_tree().quit(1)\n";
/// With this size and speed, the small sample engine's download shows progress.
constexpr qint64 sampleEngineBytes = 24'000'000;
constexpr qint64 sampleSpeed = 8'000'000;

/// Returns a file's content, or nothing if it can't be read.
QByteArray read(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

DemoStage::DemoStage(Content content, const QString &privatePrograms)
    : content_(std::move(content)), platform_(Platform::current(privatePrograms))
{
    platform_.dataFolder = file(u"saves"_s);
    QDir().mkpath(file(u"temporary"_s));
    offerGoodGame();

    host_.offerAddon(u"tessel-works/brindle-minimap"_s,
                     GitArchive::pack(content_.addon, u"brindle-minimap-HEAD"_s));

    const EngineSpec spec = EngineManager::spec(ProjectInspector::inspect(content_.game));
    host_.offerEngine(spec.version, spec.zipName(platform_),
                      EngineArchive::pack(read(content_.engine), platform_, spec.version, spec.mono,
                                          content_.sampleEngine ? sampleEngineBytes : 0));
    if (content_.sampleEngine) {
        host_.setSpeed(sampleSpeed);
    }
}

Dependencies DemoStage::parts() const
{
    Dependencies parts;
    parts.storage = file(u"data/Brindle"_s);
    parts.temporaryFolder = file(u"temporary"_s);
    parts.settings = std::make_unique<QSettings>(file(u"settings.ini"_s), QSettings::IniFormat);
    parts.codeHost = host_.url();
    parts.platform = platform_;
    parts.clock = std::make_shared<SteadyClock>();
    return parts;
}

void DemoStage::offerGoodGame()
{
    offerGame({{behaviourFile, goodBehaviour}});
}

void DemoStage::offerBrokenGame()
{
    const QByteArray project = read(content_.game + u"/project.godot"_s);
    offerGame({{u"project.godot"_s, project + "\n[autoload]\n\nMistake=\"*res://mistake.gd\"\n"},
               {u"mistake.gd"_s, brokenScript},
               {behaviourFile, brokenBehaviour}});
}

void DemoStage::offerGame(QMap<QString, QByteArray> changes)
{
    const auto list = u".gitmodules"_s;
    changes.insert(
        list,
        read(content_.game + u'/' + list).replace("https://github.com", host_.url().toEncoded()));
    host_.offerGame(GitArchive::pack(content_.game, u"godot-brindle-main"_s, changes));
}

} // namespace brindle
