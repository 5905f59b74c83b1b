#pragma once

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
    /// The archive's file name on the release page.
    QString zipName(const Platform &platform) const;
    /// Where the build is installed below the storage root.
    QString folder(const QString &storageRoot) const;
};

} // namespace brindle
