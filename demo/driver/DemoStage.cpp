#include "demostage/DemoStage.h"

#include "demo/EngineArchive.h"
#include "demo/GitArchive.h"
#include "engine/EngineManager.h"
#include "project/ProjectInspector.h"
#include "services/SteadyClock.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <stdexcept>

namespace brindle {

namespace {

const auto addonRepository = QStringLiteral("tessel-works/brindle-minimap");

/// Long enough for the launcher to count the game as open.
const QByteArray sampleBehaviour = "playSeconds=11\n";
/// Makes the small sample engine take a moment to download, so that progress can be seen.
constexpr qint64 sampleEngineBytes = 24'000'000;
constexpr qint64 sampleSpeed = 8'000'000;

} // namespace

DemoStage::DemoStage(const Content &content, const QString &privatePrograms)
    : platform_(Platform::current(privatePrograms))
{
    platform_.engineUserData = file(QStringLiteral("saves"));
    QDir().mkpath(file(QStringLiteral("temporary")));
    offerGame(content);
    offerEngine(content);
    if (content.sampleEngine) {
        host_.setSpeed(sampleSpeed);
    }
}

AppModelParts DemoStage::parts() const
{
    AppModelParts parts;
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

void DemoStage::offerGame(const Content &content)
{
    const QString copy = file(QStringLiteral("game"));
    std::filesystem::copy(content.game.toStdString(), copy.toStdString(),
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::copy_symlinks);
    if (content.sampleEngine) {
        QFile behaviour(copy + QStringLiteral("/sample-engine.ini"));
        if (!behaviour.open(QIODevice::WriteOnly) || behaviour.write(sampleBehaviour) < 0) {
            throw std::runtime_error("can't prepare the sample game");
        }
    }
    const auto submodules = ProjectInspector::inspect(copy).submodules;
    QStringList paths;
    for (const Submodule &submodule : submodules) {
        paths << submodule.path;
    }
    const QString zip = file(QStringLiteral("game.zip"));
    const QMap<QByteArray, QByteArray> rewritten{
        {QByteArrayLiteral("https://github.com"), host_.url().toString().toUtf8()}};
    GitArchive::pack(copy, QStringLiteral("godot-brindle-main"), zip, paths, rewritten);
    host_.offerGame(zip);

    const QString addonZip = file(QStringLiteral("addon.zip"));
    GitArchive::pack(content.addon, QStringLiteral("brindle-minimap-HEAD"), addonZip);
    host_.offerAddon(addonRepository, addonZip);
}

void DemoStage::offerEngine(const Content &content)
{
    const EngineSpec spec = EngineManager::spec(ProjectInspector::inspect(content.game));
    const QString zip = file(QStringLiteral("engine.zip"));
    EngineArchive::pack(content.engine, platform_, spec.version, spec.mono, zip,
                        content.sampleEngine ? sampleEngineBytes : 0);
    host_.offerEngine(spec.version, spec.zipName(platform_), zip);
}

} // namespace brindle
