#pragma once

#include "base/Callbacks.h"
#include "engine/EngineSpec.h"
#include "net/FileDownloader.h"
#include "project/CodeHost.h"
#include "project/ProjectInfo.h"

#include <QCoroTask>

#include <optional>
#include <stop_token>
#include <utility>

namespace brindle {

/// Chooses, downloads, verifies and installs engine builds. Call on the main thread, one install at
/// a time. The work runs on other threads.
class EngineManager
{
public:
    explicit EngineManager(DownloadParts parts) : parts_(std::move(parts)) {}

    /// Returns the build that a project needs. Throws SetupError when none fits.
    static EngineSpec spec(const ProjectInfo &info);

    /// Returns the program of an installed build, or nothing when it is missing or not executable.
    /// Reads one folder. Any thread may call this.
    std::optional<QString> binary(const EngineSpec &spec) const;

    /// Installs a build and returns its program. Calls `progress` on the transfer's thread. Calls
    /// `status` with short headlines and `log` with sentences on the caller's thread. Throws
    /// SetupError, TransferError, SystemError or CancellationError.
    QCoro::Task<QString> install(EngineSpec spec, ProgressCallback progress, StatusCallback status,
                                 LineCallback log, std::stop_token stop);

    /// Returns an archive's digest from a release's checksum list, in lower case. The last entry
    /// counts. Reads lines "digest  name" and "digest *name". Any thread may call this.
    static std::optional<QString> publishedDigest(const QByteArray &list, const QString &zipName);

    /// Downloads the archives.
    FileDownloader downloader;

private:
    const DownloadParts parts_;
};

} // namespace brindle
