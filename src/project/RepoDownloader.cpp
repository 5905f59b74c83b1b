#include "project/RepoDownloader.h"

#include "base/Error.h"
#include "base/Threads.h"
#include "files/Files.h"
#include "files/StagingFolder.h"
#include "platform/ProcessLock.h"
#include "process/Tools.h"
#include "project/Links.h"
#include "project/ProjectInspector.h"

#include <QDir>
#include <QFileInfo>
#include <QScopeGuard>

#include <algorithm>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

const auto repositoryPath = u"/tessel-works/godot-brindle"_s;

/// Returns whether the add-on's folder has content. Throws SetupError when the folder lies outside
/// the repository. Blocks.
bool isPresent(const QString &repository, const QString &path)
{
    const std::optional<QString> folder = RepoDownloader::addonFolder(repository, path);
    if (!folder) {
        throw SetupError(
            u"The add-on \"%1\" lies outside the game's folder, so it was not fetched."_s.arg(
                path));
    }
    return !Files::names(*folder).isEmpty();
}

/// Moves the unpacked add-on into its folder, which `isPresent` has checked. Blocks.
void placeAddon(const QString &unpacked, const QString &repository, const QString &path,
                const std::stop_token &stop)
{
    const QStringList names = Files::names(unpacked);
    if (names.isEmpty()) {
        throw SetupError(u"The add-on %1 was empty."_s.arg(path));
    }
    const QString folder = QDir::cleanPath(repository + u'/' + path);
    Files::removeInPlace(folder, stop);
    Files::createFolder(QFileInfo(folder).path());
    Files::move(unpacked + u'/' + names.first(), folder, stop);

    // Links of several archives, each harmless alone, can together lead outside.
    auto discard = qScopeGuard([&folder] { Files::remove(folder); });
    if (Links::leadOutside(repository)) {
        throw SetupError(u"The add-on \"%1\" has links that lead outside the game's folder, so it "
                         "was not kept."_s.arg(path));
    }
    discard.dismiss();
}

} // namespace

QUrl RepoDownloader::page() const
{
    return CodeHost::address(parts_.codeHost, repositoryPath).value_or(QUrl());
}

std::optional<QString> RepoDownloader::addonFolder(const QString &repository, const QString &path)
{
    const bool isOdd = std::any_of(path.begin(), path.end(), [](QChar c) {
        return c == u'\\' || c.category() == QChar::Other_Control;
    });
    if (isOdd || QDir::isAbsolutePath(path)) {
        return std::nullopt;
    }
    const QString folder = QDir::cleanPath(repository + u'/' + path);
    return Links::stayInside(repository, folder) ? std::optional(folder) : std::nullopt;
}

QCoro::Task<QString> RepoDownloader::installGame(ProgressCallback progress, std::stop_token stop)
{
    const auto archive =
        CodeHost::address(parts_.codeHost, repositoryPath + u"/archive/refs/heads/main.zip"_s);
    if (!archive) {
        throw SetupError(u"Internal error: bad download address."_s);
    }
    const auto staging = co_await StagingFolder::create(parts_.temporaryFolder, parts_.storage);
    const QString zip = staging->path() + u"/game.zip"_s;
    downloader.onProgress = std::move(progress);
    const QString game = parts_.storage.gameFolder();
    auto file = co_await downloader.download(*archive, zip, stop);
    const auto prepare = [storage = parts_.storage] {
        Files::createFolder(storage.root);
        // With an earlier game's markers, the new game would not be imported.
        storage.clearMarkers();
        // The mark must reach the disk before the game does.
        Files::writeAtomically(storage.unfinishedMark(),
                               QByteArrayLiteral("The game's setup has not finished.\n"));
    };
    co_await runOnWorker(prepare);
    co_await Tools::replaceFolder(parts_.platform.archiveTool, zip, std::move(file), game, stop);

    const auto find = [game] { return ProjectInspector::findProject(game); };
    const std::optional<QString> project = co_await runOnWorker(find);
    if (!project) {
        throw SetupError(
            u"The downloaded game has no project.godot file, so it can't be started."_s);
    }
    co_return *project;
}

QCoro::Task<> RepoDownloader::fetchSubmodules(ProjectInfo info, ProgressCallback progress,
                                              LineCallback log, std::stop_token stop)
{
    for (const Submodule &submodule : std::as_const(info.submodules)) {
        const auto look = [repository = info.repoRoot, path = submodule.path] {
            return isPresent(repository, path);
        };
        if (co_await runOnWorker(look)) {
            continue;
        }
        const std::optional<QUrl> archive =
            CodeHost::repositoryArchive(parts_.codeHost, submodule.url);
        if (!archive) {
            throw SetupError(u"The game needs the add-on \"%1\" from %2, which this app can only "
                             "fetch from GitHub."_s.arg(submodule.path, submodule.url));
        }
        log(u"Fetching add-on "_s + submodule.path);
        const auto staging = co_await StagingFolder::create(parts_.temporaryFolder, parts_.storage);
        const QString zip = staging->path() + u"/sub.zip"_s;
        downloader.onProgress = progress;
        auto file = co_await downloader.download(*archive, zip, stop);
        const Tools::Place place = [repository = info.repoRoot, path = submodule.path,
                                    stop](const QString &unpacked) {
            placeAddon(unpacked, repository, path, stop);
        };
        co_await Tools::unzip(parts_.platform.archiveTool, zip, std::move(file),
                              parts_.storage.gameFolder(), place, stop);
    }
}

} // namespace brindle
