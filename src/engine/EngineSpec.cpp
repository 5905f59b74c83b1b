#include "engine/EngineSpec.h"

#include <QFileInfo>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

bool isMac(const Platform &platform)
{
    return platform.system == Platform::System::macOS;
}

} // namespace

// The names follow the releases at https://github.com/godotengine/godot-builds/releases.

QString EngineSpec::zipName(const Platform &platform) const
{
    const QString stem = u"Godot_v"_s + version + (mono ? u"_mono"_s : QString());
    if (isMac(platform)) {
        return stem + u"_macos.universal.zip"_s;
    }
    const QString cpu = platform.architecture == u"arm64" ? platform.architecture : u"x86_64"_s;
    return stem + (mono ? u"_linux_"_s : u"_linux."_s) + cpu + u".zip"_s;
}

QString EngineSpec::program(const Platform &platform) const
{
    if (isMac(platform)) {
        return u"*.app/Contents/MacOS/Godot"_s;
    }
    const QString name = QFileInfo(zipName(platform)).completeBaseName();
    // A mono archive holds one folder with the archive's name.
    return mono ? name + u'/' + QString(name).replace(u"_linux_"_s, u"_linux."_s) : name;
}

QString EngineSpec::userDataFolder(const Platform &platform)
{
    return platform.dataFolder + (isMac(platform) ? u"/Godot"_s : u"/godot"_s) + u"/app_userdata"_s;
}

} // namespace brindle
