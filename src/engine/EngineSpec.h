#pragma once

#include "files/Storage.h"
#include "platform/Platform.h"

#include <QString>

namespace brindle {

/// One official engine build.
struct EngineSpec
{
    QString version;   ///< the release tag, always ending in "-stable", e.g. "4.3-stable"
    bool mono = false; ///< the build with C# support

    bool operator==(const EngineSpec &) const = default;

    /// Returns the version, with "-mono" for a mono build. It names the build's folder and its
    /// import marker.
    QString tag() const { return mono ? version + QStringLiteral("-mono") : version; }
    /// Returns the folder that holds the installed build.
    QString folder(const Storage &storage) const { return storage.enginesFolder() + u'/' + tag(); }
    /// Returns the archive's name on the release page. On Linux, arm64 has builds of its own; all
    /// other architectures get x86_64, which each release has.
    QString zipName(const Platform &platform) const;
    /// Returns the program's path in the build's folder. On macOS the path begins with "*", because
    /// the bundle may have any name that ends in ".app".
    QString program(const Platform &platform) const;

    /// Returns the folder of the projects' user data, without a slash at its end.
    static QString userDataFolder(const Platform &platform);
};

} // namespace brindle
