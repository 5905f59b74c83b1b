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

    /// Whether `version` is two or three numbers with dots, then "-stable". Nothing else may become
    /// part of a path or an address.
    bool isWellFormed() const;
    /// The version, with "-mono" for a mono build: names the build's folder and its import marker.
    QString tag() const;
    /// The folder that the build is installed in.
    QString folder(const Storage &storage) const;
    /// The archive's name on the release page. On Linux, arm64 has builds of its own; every other
    /// architecture gets x86_64, which each release has.
    QString zipName(const Platform &platform) const;
    /// The program's path in the build's folder. On macOS it begins with "*", because the bundle
    /// may have any name that ends in ".app".
    QString program(const Platform &platform) const;

    /// The folder of the projects' user data, without a slash at its end.
    static QString userDataFolder(const Platform &platform);
};

} // namespace brindle
