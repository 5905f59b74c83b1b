#pragma once

#include "base/Callbacks.h"
#include "files/Storage.h"
#include "net/FileDownloader.h"
#include "project/ProjectInfo.h"

#include <QCoroTask>
#include <QUrl>

#include <stop_token>

namespace brindle {

/// Brings the game's source project and its add-ons onto the disk. One operation at a time; called
/// on the main thread, works on others.
class RepoDownloader
{
public:
    /// @param codeHost base address of the code-hosting service, e.g. https://github.com.
    /// @param archiveTool see Tools::unzip.
    RepoDownloader(QUrl codeHost, Storage storage, QString temporaryFolder, QString archiveTool);

    /// The game repository's web page below `codeHost`.
    static QUrl repositoryPage(const QUrl &codeHost);

    /// Where an add-on belongs: `path`, which comes with the download and is therefore not trusted,
    /// below `repository` (an absolute path), without "." and ".."; absent when it leads outside of
    /// the repository folder: it is absolute, climbs above the folder, or passes through symbolic
    /// links that do. An empty path names the repository folder itself. Reads links only; any
    /// thread.
    static std::optional<QString> addonFolder(const QString &repository, const QString &path);

    /// Downloads and unpacks the repository archive into the game folder, replacing it whole;
    /// returns the project folder. Throws SetupError, TransferError, SystemError or
    /// CancellationError; until the download is complete the game folder is not touched.
    QCoro::Task<QString> installGame(ProgressCallback progress, std::stop_token stop);

    /// Fetches every add-on of `info` whose folder is missing or empty. A second call goes on with
    /// the first that still is. Throws as `installGame`. `log` gets one line for each add-on
    /// fetched.
    QCoro::Task<> fetchSubmodules(ProjectInfo info, ProgressCallback progress, LineCallback log,
                                  std::stop_token stop);

    /// Does the transfers, and so can cancel the one that runs.
    FileDownloader downloader;

private:
    QCoro::Task<QString> installArchive(QUrl archive, QString zip, ProgressCallback progress,
                                        std::stop_token stop);
    QCoro::Task<QString> fetchAddon(QUrl archive, QString staging, QString path, QString folder,
                                    ProgressCallback progress, std::stop_token stop);

    QUrl codeHost_;
    Storage storage_;
    QString temporaryFolder_;
    QString archiveTool_;
};

} // namespace brindle
