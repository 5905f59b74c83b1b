// Setup and play: the steps behind the Play button, each skipped when its result is on disk.

#include "base/ByteCount.h"
#include "base/Error.h"
#include "base/Worker.h"
#include "core/AppModel.h"
#include "core/StatusBox.h"
#include "files/Files.h"
#include "log/LogQueue.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

#include <limits>

namespace brindle {

namespace {

const auto addonsHeadline = QStringLiteral("Step 1 of 3 · Fetching add-ons");
const auto importHeadline =
    QStringLiteral("Step 3 of 3 · First-time setup, this can take a minute or more");

} // namespace

void AppModel::startWork(bool launch)
{
    failure = std::nullopt;
    startTask([this, launch](std::stop_token stop) { return runAll(launch, std::move(stop)); });
}

void AppModel::cancel()
{
    if (work_) {
        work_->stop.request_stop();
    }
    repo.downloader.cancelTask();
    engines.downloader.cancelTask();
    runner.stop();
}

bool AppModel::isCancellation(const std::exception_ptr &error)
{
    try {
        std::rethrow_exception(error);
    } catch (const CancellationError &) {
        return true;
    } catch (...) {
        return false;
    }
}

void AppModel::updateProgress(qint64 done, qint64 total, double speed)
{
    constexpr auto most = static_cast<double>(std::numeric_limits<qint64>::max()) / 2;
    const auto wholeSpeed = static_cast<qint64>(std::clamp(speed, 0.0, most));
    const QString doneText = ByteCount::string(done);
    const QString speedText = ByteCount::string(wholeSpeed) + QStringLiteral("/s");
    if (total < 1) {
        progress = std::nullopt;
        detail = doneText + QStringLiteral(" · ") + speedText;
        return;
    }
    progress = static_cast<double>(done) / static_cast<double>(total);
    detail = doneText + QStringLiteral(" of ") + ByteCount::string(total) + QStringLiteral(" · ") +
             speedText;
}

QCoro::Task<> AppModel::runAll(bool launch, std::stop_token stop)
{
    auto preparingGame = prepareGame(stop);
    co_await preparingGame;

    auto search = findProject();
    const std::optional<QString> project = co_await search;
    checkCancellation(stop);
    if (!project) {
        throw SetupError(QStringLiteral("The game folder could not be found."));
    }

    const EngineSpec spec = EngineManager::spec(info());
    auto preparingEngine = prepareEngine(spec, stop);
    const QString engine = co_await preparingEngine;

    auto importing = importProject(spec, engine, *project, stop);
    co_await importing;

    if (launch) {
        auto launching = launchGame(engine, *project, stop);
        co_await launching;
    } else {
        refreshState();
    }
}

/// Step 1. A game that is complete is left as it is; one whose setup was interrupted after it was
/// unpacked is completed.
QCoro::Task<> AppModel::prepareGame(std::stop_token stop)
{
    auto search = findProject();
    const std::optional<QString> found = co_await search;
    checkCancellation(stop);
    if (!found) {
        auto downloading = downloadGame(stop);
        co_await downloading;
    } else if (QFile::exists(unfinishedMark())) {
        showDownload(addonsHeadline);
        auto completing = completeGame(*found, stop);
        co_await completing;
    }
}

QCoro::Task<> AppModel::downloadGame(std::stop_token stop)
{
    showGameDownload();
    log.append(QStringLiteral("• Downloading the game from %1 (branch main)")
                   .arg(RepoDownloader::repositoryPage(codeHost_).toString()));

    // Must be on disk before the game is: from then on only a whole Step 1 takes it away.
    const auto mark = [root = storageRoot_, path = unfinishedMark()] {
        Files::createFolder(root);
        // A download takes its time anyway: the moment to delete what interrupted removals left.
        Files::removeLeftovers(root);
        Files::removeLeftovers(QFileInfo(root).path());
        Files::writeAtomically(path, QByteArrayLiteral("The game's setup has not finished.\n"));
    };
    auto marking = runOnWorker(mark);
    co_await marking;

    std::exception_ptr error;
    QString project;
    try {
        checkCancellation(stop);
        const ProgressCallback progressCallback = progressHandler();
        auto installing = repo.installGame(progressCallback, stop);
        project = co_await installing;
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        const auto unmark = [game = gameFolder(), path = unfinishedMark()] {
            if (!ProjectInspector::findProject(game)) {
                QFile::remove(path);
            }
        };
        auto unmarking = runOnWorker(unmark);
        co_await unmarking;
        std::rethrow_exception(error);
    }
    auto completing = completeGame(project, stop);
    co_await completing;
}

/// The rest of Step 1 once the game is unpacked: description, add-ons, "info.json".
QCoro::Task<> AppModel::completeGame(QString project, std::stop_token stop)
{
    const auto inspect = [project] { return ProjectInspector::inspect(project); };
    auto inspecting = runOnWorker(inspect);
    info = co_await inspecting;
    checkCancellation(stop);
    if (!info().submodules.isEmpty()) {
        stepText = addonsHeadline;
        const ProgressCallback progressCallback = progressHandler();
        const LineCallback line = lineSink();
        auto fetching = repo.fetchSubmodules(info(), progressCallback, line, stop);
        co_await fetching;
        auto inspectingAgain = runOnWorker(inspect);
        info = co_await inspectingAgain;
    }

    const auto save = [root = storageRoot_, file = infoFile(), mark = unfinishedMark(),
                       json = info().toJson()] {
        try {
            Files::createFolder(root);
            // What the interrupted writing of a run before this one left.
            Files::removeLeftovers(root);
            // A marker left by an interrupted update would keep the new game from being imported.
            clearMarkers(root);
            // All that the description and the mark's absence vouch for.
            Files::sync(root);
            Files::writeAtomically(file, json);
        } catch (const Error &) {
            // Not being able to save the description does not stop this run. The mark stays, so
            // that the next one reads the project again instead of trusting an older description.
            return;
        }
        QFile::remove(mark);
    };
    auto saving = runOnWorker(save);
    co_await saving;

    log.append(QStringLiteral("• Game ready: %1, needs Godot %2%3")
                   .arg(info().name, info().godotVersion.value_or(QStringLiteral("?")),
                        info().usesCSharp ? QStringLiteral(" (.NET)") : QString()));
}

/// Step 2. Returns the engine's program.
QCoro::Task<QString> AppModel::prepareEngine(EngineSpec spec, std::stop_token stop)
{
    if (!engines.binary(spec)) {
        const QString headline = QStringLiteral("Step 2 of 3 · Downloading Godot ") + spec.version;
        showDownload(headline);
        progress = std::nullopt;
        detail = QString();
        log.append(QStringLiteral("• Downloading Godot %1 (%2) from the official godot-builds "
                                  "releases")
                       .arg(spec.version, spec.zipName(platform_)));
        const ProgressCallback progressCallback = progressHandler();
        const auto status = [box = StatusBox(this)](const QString &text) {
            box.set(QStringLiteral("Step 2 of 3 · ") + text);
        };
        const StatusCallback statusCallback = status;
        const LineCallback line = lineSink();
        auto installing = engines.install(spec, progressCallback, statusCallback, line, stop);
        co_await installing;
    }
    checkCancellation(stop);
    const auto engine = engines.binary(spec);
    if (!engine) {
        throw SetupError(QStringLiteral("The Godot engine is missing."));
    }
    co_return *engine;
}

/// Step 3. A failed import is not an error: the engine tries again while it starts the game.
QCoro::Task<> AppModel::importProject(EngineSpec spec, QString engine, QString project,
                                      std::stop_token stop)
{
    const QString marker = importMarker(spec);
    if (QFile::exists(marker)) {
        co_return;
    }
    state = AppState::settingUp(importHeadline);
    stepText = importHeadline;
    progress = std::nullopt;
    detail = QStringLiteral("Godot is importing the game's files");
    log.append(QStringLiteral("• Importing the project (first run)"));

    const LineCallback line = lineSink();
    auto importing = runner.runImport(engine, project, line);
    const qint32 exitCode = co_await importing;
    logQueue_->flush();
    checkCancellation(stop);
    if (exitCode != 0) {
        log.append(QStringLiteral("• Setup finished with exit code %1; Godot will try to import "
                                  "again while starting the game.")
                       .arg(exitCode));
        co_return;
    }
    const auto mark = [marker, project, root = storageRoot_] {
        try {
            Files::removeLeftovers(root);
            // What was imported must be on the disk before the marker says so.
            Files::sync(project);
            Files::writeAtomically(marker, QByteArrayLiteral("ok"));
        } catch (const Error &) {
            // Ignored: without the marker the next run imports again, which costs only time.
        }
    };
    auto marking = runOnWorker(mark);
    co_await marking;
    checkCancellation(stop);
}

QCoro::Task<std::optional<QString>> AppModel::findProject() const
{
    const auto find = [folder = gameFolder()] { return ProjectInspector::findProject(folder); };
    auto finding = runOnWorker(find);
    std::optional<QString> project = co_await finding;
    co_return project;
}

ProgressCallback AppModel::progressHandler()
{
    return
        [model = QPointer<AppModel>(this), run = work_](qint64 done, qint64 total, double speed) {
            QMetaObject::invokeMethod(
                QCoreApplication::instance(),
                [model, run, done, total, speed] {
                    if (model && model->work() == run) {
                        model->updateProgress(done, total, speed);
                    }
                },
                Qt::QueuedConnection);
        };
}

/// The state and the headline of a download that begins.
void AppModel::showDownload(const QString &headline)
{
    state = AppState::downloading(headline);
    stepText = headline;
}

void AppModel::showGameDownload()
{
    showDownload(QStringLiteral("Step 1 of 3 · Downloading the game"));
}

LineCallback AppModel::lineSink() const
{
    return [sink = logQueue_](const QString &line) { sink->append(line); };
}

} // namespace brindle
