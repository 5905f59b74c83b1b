#pragma once

#include "base/Callbacks.h"
#include "engine/EngineSpec.h"
#include "net/FileDownloader.h"
#include "project/ProjectInfo.h"

#include <QCoroTask>
#include <QUrl>

#include <optional>
#include <stop_token>

namespace brindle {

/// Chooses, downloads, verifies and installs engine builds. One install at a time; called on the
/// main thread, works on others.
class EngineManager
{
public:
    /// @param codeHost base address of the code-hosting service, which holds the releases.
    EngineManager(QUrl codeHost, Storage storage, QString temporaryFolder, Platform platform);

    /// Returns the build that a project needs. Throws SetupError when none fits.
    static EngineSpec spec(const ProjectInfo &info);

    /// The program of an installed build; absent when it is missing or not executable. Reads one
    /// folder; any thread.
    std::optional<QString> binary(const EngineSpec &spec) const;

    /// Installs a build and returns its program. Calls `progress` on the transfer's thread,
    /// `status` (short phase texts) and `log` (sentences) on the caller's. Throws SetupError,
    /// TransferError, SystemError or CancellationError.
    QCoro::Task<QString> install(EngineSpec spec, ProgressCallback progress, StatusCallback status,
                                 LineCallback log, std::stop_token stop);

    /// The digest that a release's checksum list gives for an archive, in lower case. The last
    /// entry counts. Reads "digest  name" and "digest *name". Any thread; never fails.
    static std::optional<QString> publishedDigest(const QByteArray &list, const QString &zipName);

    /// Runs the transfers.
    FileDownloader downloader;

private:
    QCoro::Task<QString> installArchive(EngineSpec spec, QUrl archive, QString staging,
                                        QString expectedDigest, ProgressCallback progress,
                                        StatusCallback status, LineCallback log,
                                        std::stop_token stop);

    QUrl codeHost_;
    Storage storage_;
    QString temporaryFolder_;
    Platform platform_;
};

} // namespace brindle
