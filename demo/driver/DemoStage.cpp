#include "demostage/DemoStage.h"

#include "base/Clock.h"
#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineManager.h"
#include "project/ProjectInspector.h"

#include <QDir>
#include <QFile>

#include <stdexcept>
#include <utility>

namespace brindle {

namespace {

const auto addonRepository = QStringLiteral("tessel-works/brindle-minimap");

const auto behaviourFile = QStringLiteral("sample-engine.ini");
/// Long enough for the launcher to count the game as open.
const QByteArray goodBehaviour = "playSeconds=13\n";
const QByteArray brokenBehaviour = "playSeconds=2\nplayExit=1\nprintParseError=true\n";
/// What a real engine finds: an error, and an end that the launcher must explain.
const QByteArray brokenScript = "extends Node\n\n\nfunc _ready() -> void:\n"
                                "\tpush_error(\"The map has no start position.\")\n"
                                "\tget_tree().quit(1)\n";
/// Makes the small sample engine take a moment to download, so that progress can be seen.
constexpr qint64 sampleEngineBytes = 24'000'000;
constexpr qint64 sampleSpeed = 8'000'000;

} // namespace

DemoStage::DemoStage(Content content, const QString &privatePrograms)
    : content_(std::move(content)), platform_(Platform::current(privatePrograms))
{
    platform_.dataFolder = file(QStringLiteral("saves"));
    QDir().mkpath(file(QStringLiteral("temporary")));
    offerGoodGame();
    offerAddon();
    offerEngine();
    if (content_.sampleEngine) {
        host_.setSpeed(sampleSpeed);
    }
}

Dependencies DemoStage::parts() const
{
    Dependencies parts;
    parts.storageRoot = storageRoot();
    parts.temporaryFolder = file(QStringLiteral("temporary"));
    parts.settings =
        std::make_unique<QSettings>(file(QStringLiteral("settings.ini")), QSettings::IniFormat);
    parts.codeHost = host_.url();
    parts.platform = platform_;
    parts.clock = std::make_shared<SteadyClock>();
    return parts;
}

QString DemoStage::storageRoot() const
{
    return file(QStringLiteral("data/Brindle"));
}

void DemoStage::offerGoodGame()
{
    QMap<QString, QByteArray> behaviour;
    if (content_.sampleEngine) {
        behaviour.insert(behaviourFile, goodBehaviour);
    }
    offerGame(QStringLiteral("game"), behaviour);
}

void DemoStage::offerBrokenGame()
{
    QFile project(content_.game + QStringLiteral("/project.godot"));
    if (!project.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read the game's project file");
    }
    const QByteArray mistake("\n[autoload]\n\nMistake=\"*res://mistake.gd\"\n");
    offerGame(QStringLiteral("broken"),
              {{QStringLiteral("project.godot"), project.readAll() + mistake},
               {QStringLiteral("mistake.gd"), brokenScript},
               {behaviourFile, brokenBehaviour}});
}

void DemoStage::offerGame(const QString &name, const QMap<QString, QByteArray> &changes)
{
    const QString zip = file(name + QStringLiteral(".zip"));
    const QMap<QByteArray, QByteArray> rewritten{
        {QByteArrayLiteral("https://github.com"), host_.url().toString().toUtf8()}};
    GitArchive::pack(content_.game, QStringLiteral("godot-brindle-main"), zip, rewritten, changes);
    host_.offerGame(zip);
}

void DemoStage::offerAddon()
{
    const QString zip = file(QStringLiteral("addon.zip"));
    GitArchive::pack(content_.addon, QStringLiteral("brindle-minimap-HEAD"), zip);
    host_.offerAddon(addonRepository, zip);
}

void DemoStage::offerEngine()
{
    const EngineSpec spec = EngineManager::spec(ProjectInspector::inspect(content_.game));
    const QString zip = file(QStringLiteral("engine.zip"));
    EngineArchive::pack(content_.engine, platform_, spec.version, spec.mono, zip,
                        content_.sampleEngine ? sampleEngineBytes : 0);
    host_.offerEngine(spec.version, spec.zipName(platform_), zip);
}

} // namespace brindle
