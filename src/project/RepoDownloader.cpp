#include "project/RepoDownloader.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "process/Tools.h"
#include "project/CodeHost.h"
#include "project/ProjectInspector.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <system_error>

namespace brindle {

namespace {

constexpr QStringView repositoryPath = u"/tessel-works/godot-brindle";

QStringList components(const QString &path)
{
    return path.split(u'/', Qt::SkipEmptyParts);
}

/// Where `path` ends, starting from the folder `start` (without links in its path), with every
/// link on the way followed, dangling ones as well. Absent when there are too many links.
std::optional<QString> followLinks(const QString &start, const QString &path)
{
    constexpr int maxLinks = 40; // as the system's own limit
    QString place = start;
    QStringList ahead = components(path);
    int links = 0;
    while (!ahead.isEmpty()) {
        const QString name = ahead.takeFirst();
        if (name == u".") {
            continue;
        }
        if (name == u"..") {
            place = place.left(qMax(place.lastIndexOf(u'/'), 0));
            continue;
        }
        const QString next = place + u'/' + name;
        std::error_code notALink;
        const auto target =
            std::filesystem::read_symlink(QFile::encodeName(next).toStdString(), notALink);
        if (notALink) {
            place = next;
            continue;
        }
        if (++links > maxLinks) {
            return std::nullopt;
        }
        const QString targetText = QFile::decodeName(QByteArray::fromStdString(target.string()));
        if (targetText.startsWith(u'/')) {
            place.clear();
        }
        ahead = components(targetText) + ahead;
    }
    return place;
}

/// The place of an add-on that is still missing or empty, absent when it is there. Throws
/// SetupError for a place outside the repository folder. Blocks.
std::optional<QString> missingAddon(const QString &repository, const QString &path)
{
    const std::optional<QString> folder = RepoDownloader::addonFolder(repository, path);
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

RepoDownloader::RepoDownloader(QUrl codeHost, Storage storage, QString temporaryFolder,
                               QString archiveTool)
    : codeHost_(std::move(codeHost))
    , storage_(std::move(storage))
    , temporaryFolder_(std::move(temporaryFolder))
    , archiveTool_(std::move(archiveTool))
{}

QUrl RepoDownloader::repositoryPage(const QUrl &codeHost)
{
    return CodeHost::address(codeHost, repositoryPath.toString()).value_or(QUrl());
}

std::optional<QString> RepoDownloader::addonFolder(const QString &repository, const QString &path)
{
    // The system would see the path end at a null character.
    if (!repository.startsWith(u'/') || path.startsWith(u'/') || path.contains(QChar::Null)) {
        return std::nullopt;
    }
    const QString clean = QDir::cleanPath(path);
    if (clean == u".." || clean.startsWith(u"../")) {
        return std::nullopt;
    }
    if (clean.isEmpty() || clean == u".") {
        return repository;
    }
    QString located = QDir::cleanPath(repository) + u'/' + clean;
    QString root = QFileInfo(repository).canonicalFilePath();
    if (root.isEmpty()) {
        // There is no such folder, so no link can lie in it either.
        return located;
    }
    if (root == u"/") {
        root.clear();
    }
    const std::optional<QString> end = followLinks(root, clean);
    if (!end || (*end != root && !end->startsWith(root + u'/'))) {
        return std::nullopt;
    }
    return located;
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
    co_return co_await StagingFolder::with(temporaryFolder_, storage_, install);
}

QCoro::Task<QString> RepoDownloader::installArchive(QUrl archive, QString zip,
                                                    ProgressCallback progress, std::stop_token stop)
{
    downloader.setOnProgress(std::move(progress));
    co_await downloader.download(archive, zip, stop);
    checkCancellation(stop);

    const QString game = storage_.gameFolder();
    const auto removeOld = [root = storage_.root, game] {
        Files::removeIfPossible(game);
        Files::removeLeftovers(root);
    };
    co_await runOnWorker(removeOld);

    Tools::UnzipOptions options;
    options.removesArchive = true;
    co_await Tools::unzip(archiveTool_, zip, game, stop, options);

    const auto find = [game] { return ProjectInspector::findProject(game); };
    const std::optional<QString> project = co_await runOnWorker(find);
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
        // A download may list as many as it likes.
        checkCancellation(stop);
        const auto look = [repository = info.repoRoot, path = submodule.path] {
            return missingAddon(repository, path);
        };
        const std::optional<QString> folder = co_await runOnWorker(look);
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
        co_await StagingFolder::with(temporaryFolder_, storage_, fetch);
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
    co_await downloader.download(archive, zip, stop);
    Tools::UnzipOptions options;
    options.isStaged = true;
    options.removesArchive = true;
    co_await Tools::unzip(archiveTool_, zip, unpacked, stop, options);
    const auto place = [unpacked, folder, path] { placeAddon(unpacked, folder, path); };
    co_await runOnWorker(place);
    co_return folder;
}

} // namespace brindle
