#pragma once

#include "base/Callbacks.h"
#include "net/FileDownloader.h"
#include "project/CodeHost.h"
#include "project/ProjectInfo.h"

#include <QCoroTask>

#include <stop_token>
#include <utility>

namespace brindle {

/// Fetches the game's source project and its add-ons. Call on the main thread, one operation at a
/// time. The work runs on other threads.
class RepoDownloader
{
public:
    explicit RepoDownloader(DownloadParts parts) : parts_(std::move(parts)) {}

    /// Returns the address of the game repository's web page.
    QUrl page() const;

    /// Returns the absolute path of the add-on at `path` below `repository`. Returns nothing when
    /// the path or its links lead out of the repository, or when `path` has a backslash or a
    /// control character. An empty `path` names the repository itself. Reads the disk.
    static std::optional<QString> addonFolder(const QString &repository, const QString &path);

    /// Downloads the repository archive, replaces the game folder with its content and returns the
    /// project folder. Leaves the storage untouched until the download is complete. Then sets the
    /// mark `unfinished` and clears the import markers. Throws SetupError, TransferError,
    /// SystemError or CancellationError.
    QCoro::Task<QString> installGame(ProgressCallback progress, std::stop_token stop);

    /// Fetches each add-on of `info` whose folder is missing or empty, and logs a line for each.
    /// After a failure, another call continues. Throws as `installGame`.
    QCoro::Task<> fetchSubmodules(ProjectInfo info, ProgressCallback progress, LineCallback log,
                                  std::stop_token stop);

    /// Downloads the archives.
    FileDownloader downloader;

private:
    const DownloadParts parts_;
};

} // namespace brindle
