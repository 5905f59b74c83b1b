#include "project/RepoDownloader.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "process/Tools.h"
#include "project/AddonFolder.h"
#include "project/CodeHost.h"
#include "project/ProjectInspector.h"

#include <QFileInfo>

namespace brindle {

namespace {

constexpr QStringView repositoryPath = u"/tessel-works/godot-brindle";

/// The place of an add-on that is still missing or empty, absent when it is there. Throws
/// SetupError for a place outside the repository folder. Blocks.
std::optional<QString> missingAddon(const QString &repository, const QString &path)
{
    const std::optional<QString> folder = AddonFolder::locate(repository, path);
    if (!folder) {
        throw SetupError(QStringLiteral("The add-on \"%1\" lies outside the game's folder, so it "
                                        "was not fetched.")
                             .arg(path));
    }
    return Files::names(*folder).isEmpty() ? folder : std::nullopt;
}

/// Puts what was unpacked into `unpacked` at the add-on's place. Blocks.
void placeAddon(const QString &unpacked, const QString &folder, const QString &path)
{
    const QStringList names = Files::names(unpacked);
    if (names.isEmpty()) {
        throw SetupError(QStringLiteral("The add-on %1 was empty.").arg(path));
    }
    Files::removeIfPossible(folder);
    const QString parent = QFileInfo(folder).path();
    Files::createFolder(parent);
    Files::removeLeftovers(parent);
    Files::move(unpacked + u'/' + names.first(), folder);
}

} // namespace

RepoDownloader::RepoDownloader(QUrl codeHost, QString storageRoot, QString temporaryFolder,
                               QString archiveTool)
    : codeHost_(std::move(codeHost))
    , storageRoot_(std::move(storageRoot))
    , temporaryFolder_(std::move(temporaryFolder))
    , archiveTool_(std::move(archiveTool))
{}

QUrl RepoDownloader::repositoryPage(const QUrl &codeHost)
{
    return CodeHost::address(codeHost, repositoryPath.toString()).value_or(QUrl());
}

QCoro::Task<QString> RepoDownloader::installGame(ProgressCallback progress, std::stop_token stop)
{
    const std::optional<QUrl> archive = CodeHost::address(
        codeHost_, repositoryPath.toString() + QStringLiteral("/archive/refs/heads/main.zip"));
    if (!archive) {
        throw SetupError(QStringLiteral("Internal error: bad download address."));
    }
    const StagingFolder::Work install = [this, address = *archive, progress, stop](QString folder) {
        return installArchive(address, folder + QStringLiteral("/game.zip"), progress, stop);
    };
    auto installing = StagingFolder::with(temporaryFolder_, storageRoot_, install);
    const QString project = co_await installing;
    co_return project;
}

QCoro::Task<QString> RepoDownloader::installArchive(QUrl archive, QString zip,
                                                    ProgressCallback progress, std::stop_token stop)
{
    downloader.setOnProgress(std::move(progress));
    auto downloading = downloader.download(archive, zip, stop);
    co_await downloading;
    checkCancellation(stop);

    const QString game = storageRoot_ + QStringLiteral("/Game");
    const auto removeOld = [root = storageRoot_, game] {
        Files::removeIfPossible(game);
        Files::removeLeftovers(root);
    };
    auto removing = runOnWorker(removeOld);
    co_await removing;

    Tools::UnzipOptions options;
    options.removesArchive = true;
    auto unpacking = Tools::unzip(archiveTool_, zip, game, stop, options);
    co_await unpacking;

    const auto find = [game] { return ProjectInspector::findProject(game); };
    auto finding = runOnWorker(find);
    const std::optional<QString> project = co_await finding;
    if (!project) {
        throw SetupError(QStringLiteral(
            "The downloaded game has no project.godot file, so it can't be started."));
    }
    co_return *project;
}

QCoro::Task<> RepoDownloader::fetchSubmodules(ProjectInfo info, ProgressCallback progress,
                                              LineCallback log, std::stop_token stop)
{
    for (const Submodule &submodule : std::as_const(info.submodules)) {
        const auto look = [repository = info.repoRoot, path = submodule.path] {
            return missingAddon(repository, path);
        };
        auto looking = runOnWorker(look);
        const std::optional<QString> folder = co_await looking;
        if (!folder) {
            continue;
        }
        const std::optional<QUrl> archive = CodeHost::repositoryArchive(codeHost_, submodule.url);
        if (!archive) {
            throw SetupError(QStringLiteral("The game needs the add-on \"%1\" from %2, which this "
                                            "app can only fetch from GitHub.")
                                 .arg(submodule.path, submodule.url));
        }
        log(QStringLiteral("Fetching add-on ") + submodule.path);
        const StagingFolder::Work fetch = [this, address = *archive, path = submodule.path,
                                           place = *folder, progress, stop](QString staging) {
            return fetchAddon(address, staging, path, place, progress, stop);
        };
        auto fetching = StagingFolder::with(temporaryFolder_, storageRoot_, fetch);
        co_await fetching;
    }
}

/// Returns the add-on's place.
QCoro::Task<QString> RepoDownloader::fetchAddon(QUrl archive, QString staging, QString path,
                                                QString folder, ProgressCallback progress,
                                                std::stop_token stop)
{
    const QString zip = staging + QStringLiteral("/sub.zip");
    const QString unpacked = staging + QStringLiteral("/out");
    downloader.setOnProgress(std::move(progress));
    auto downloading = downloader.download(archive, zip, stop);
    co_await downloading;
    Tools::UnzipOptions options;
    options.isStaged = true;
    options.removesArchive = true;
    auto unpacking = Tools::unzip(archiveTool_, zip, unpacked, stop, options);
    co_await unpacking;
    const auto place = [unpacked, folder, path] { placeAddon(unpacked, folder, path); };
    auto placing = runOnWorker(place);
    co_await placing;
    co_return folder;
}

} // namespace brindle
