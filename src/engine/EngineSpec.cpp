#include "engine/EngineSpec.h"

#include "project/ProjectInfo.h"

namespace brindle {

namespace {

constexpr QStringView channel = u"-stable";

/// Godot's names on one system. "%1" stands for the release tag.
struct Names
{
    QString standardZip;
    QString monoZip;
    QString standardProgram;
    QString monoProgram;
    QString userData; ///< below the system's folder for that
};

/// From the release listings at https://github.com/godotengine/godot-builds/releases.
Names namesOn(const Platform &platform)
{
    if (platform.system == Platform::System::macOS) {
        // The bundle is "Godot.app" or "Godot_mono.app".
        const auto program = QStringLiteral("*.app/Contents/MacOS/Godot");
        return {QStringLiteral("Godot_v%1_macos.universal.zip"),
                QStringLiteral("Godot_v%1_mono_macos.universal.zip"), program, program,
                QStringLiteral("/Godot/app_userdata")};
    }
    // A dot before the architecture in the standard archive and in both programs, an underscore in
    // the mono archive and its folder.
    const QString cpu =
        platform.architecture == u"arm64" ? platform.architecture : QStringLiteral("x86_64");
    const QString standard = QStringLiteral("Godot_v%1_linux.") + cpu;
    const QString mono = QStringLiteral("Godot_v%1_mono_linux_") + cpu;
    return {standard + QStringLiteral(".zip"), mono + QStringLiteral(".zip"), standard,
            mono + QStringLiteral("/Godot_v%1_mono_linux.") + cpu,
            QStringLiteral("/godot/app_userdata")};
}

} // namespace

bool EngineSpec::isWellFormed() const
{
    return version.endsWith(channel) && ProjectInfo::isVersion(version.chopped(channel.size()));
}

QString EngineSpec::tag() const
{
    return mono ? version + QStringLiteral("-mono") : version;
}

QString EngineSpec::folder(const Storage &storage) const
{
    return storage.enginesFolder() + u'/' + tag();
}

QString EngineSpec::zipName(const Platform &platform) const
{
    const Names names = namesOn(platform);
    return (mono ? names.monoZip : names.standardZip).arg(version);
}

QString EngineSpec::program(const Platform &platform) const
{
    const Names names = namesOn(platform);
    QString program = mono ? names.monoProgram : names.standardProgram;
    return program.replace(QStringLiteral("%1"), version);
}

QString EngineSpec::userDataFolder(const Platform &platform)
{
    return platform.dataFolder + namesOn(platform).userData;
}

} // namespace brindle
