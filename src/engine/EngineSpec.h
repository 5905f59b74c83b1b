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

    /// Whether `version` has the form of a release tag: two or three numbers with dots, then
    /// "-stable". Anything else must not become part of a path or an address.
    bool isWellFormed() const;
    /// The version, followed by "-mono" for a mono build: names the build's folder and its import
    /// marker.
    QString tag() const;
    /// Where the build is installed.
    QString folder(const Storage &storage) const;
    /// The archive's file name on the release page. There are builds for arm64 on Linux; any other
    /// architecture gets those for x86_64, the only others that every release has.
    QString zipName(const Platform &platform) const;
    /// Where the program lies in the unpacked build, relative to its folder. On macOS it begins
    /// with "*": the bundle may have any name that ends in the rest.
    QString program(const Platform &platform) const;

    /// The folder in which the engine keeps each project's user data, without a slash at its end.
    static QString userDataFolder(const Platform &platform);
};

} // namespace brindle
