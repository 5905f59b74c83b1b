#include "engine/EngineSpec.h"

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

bool isMac(const Platform &platform)
{
    return platform.system == Platform::System::macOS;
}

// Names as in the release listings at https://github.com/godotengine/godot-builds/releases.

QString stem(const EngineSpec &spec)
{
    return u"Godot_v"_s + spec.version + (spec.mono ? u"_mono"_s : QString());
}

QString cpu(const Platform &platform)
{
    return platform.architecture == u"arm64" ? platform.architecture : u"x86_64"_s;
}

} // namespace

QString EngineSpec::zipName(const Platform &platform) const
{
    if (isMac(platform)) {
        return stem(*this) + u"_macos.universal.zip"_s;
    }
    return stem(*this) + (mono ? u"_linux_"_s : u"_linux."_s) + cpu(platform) + u".zip"_s;
}

QString EngineSpec::program(const Platform &platform) const
{
    if (isMac(platform)) {
        return u"*.app/Contents/MacOS/Godot"_s;
    }
    const QString program = stem(*this) + u"_linux."_s + cpu(platform);
    const QString folder = stem(*this) + u"_linux_"_s + cpu(platform);
    return mono ? folder + u'/' + program : program;
}

QString EngineSpec::userDataFolder(const Platform &platform)
{
    return platform.dataFolder + (isMac(platform) ? u"/Godot"_s : u"/godot"_s) + u"/app_userdata"_s;
}

} // namespace brindle
