#include "core/Pipeline.h"

#include "base/Error.h"
#include "base/Worker.h"
#include "files/Files.h"
#include "log/LogQueue.h"
#include "project/ProjectInspector.h"

#include <QFile>

namespace brindle {

namespace {

const auto gameHeadline = QStringLiteral("Step 1 of 3 · Downloading the game");
const auto addonsHeadline = QStringLiteral("Step 1 of 3 · Fetching add-ons");
const auto engineStep = QStringLiteral("Step 2 of 3 · ");
const auto importHeadline =
    QStringLiteral("Step 3 of 3 · First-time setup, this can take a minute or more");

/// How long the last lines of output may take to reach the log.
constexpr Clock::Duration lastLinesDelay{0.2};

/// What is shown when a download begins.
Status downloading(const QString &headline)
{
    return {AppState::downloading(headline), headline, std::nullopt, {}};
}

} // namespace

Pipeline::Pipeline(Parts parts)
    : parts_(std::move(parts))
    , lineSink_([log = parts_.log](const QString &line) { log->append(line); })
{}

QCoro::Task<std::optional<Pipeline::Failure>> Pipeline::runAll(Run run)
{
    auto connections = Transfer::keepConnections();
    co_await prepareGame(run);
    const std::optional<QString> project = co_await findProject();
    checkCancellation(run.stop);
    if (!project) {
        throw SetupError(QStringLiteral("The game folder could not be found."));
    }
    const EngineSpec spec = EngineManager::spec(parts_.info);
    const QString engine = co_await prepareEngine(spec, run);
    connections.reset(); // nothing more is fetched
    co_await importProject(spec, engine, *project, run.stop);
    if (!run.launch) {
        co_return std::nullopt;
    }
    co_return co_await launchGame(engine, *project, run.stop);
}

void Pipeline::showGameDownload()
{
    parts_.show(downloading(gameHeadline));
}

/// Step 1. A game that is complete is left as it is; one whose setup was interrupted after it was
/// unpacked is completed.
QCoro::Task<> Pipeline::prepareGame(Run run)
{
    const std::optional<QString> found = co_await findProject();
    checkCancellation(run.stop);
    if (!found) {
        co_await downloadGame(run);
    } else if (QFile::exists(parts_.storage.unfinishedMark())) {
        parts_.show(downloading(addonsHeadline));
        co_await completeGame(*found, run);
    }
}

QCoro::Task<> Pipeline::downloadGame(Run run)
{
    showGameDownload();
    parts_.log->note(QStringLiteral("Downloading the game from %1 (branch main)")
                         .arg(parts_.repositoryPage.toString()));

    // Must be on disk before the game is: from then on only a whole Step 1 takes it away.
    const auto mark = [storage = parts_.storage] {
        Files::createFolder(storage.root);
        // A download takes its time anyway: the moment to delete what interrupted removals left.
        Files::removeLeftovers(storage.root);
        Files::removeLeftovers(storage.parentFolder());
        Files::writeAtomically(storage.unfinishedMark(),
                               QByteArrayLiteral("The game's setup has not finished.\n"));
    };
    co_await runOnWorker(mark);

    std::exception_ptr error;
    QString project;
    try {
        checkCancellation(run.stop);
        project = co_await parts_.repo.installGame(run.progress, run.stop);
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        const auto unmark = [storage = parts_.storage] {
            if (!ProjectInspector::findProject(storage.gameFolder())) {
                QFile::remove(storage.unfinishedMark());
            }
        };
        co_await runOnWorker(unmark);
        std::rethrow_exception(error);
    }
    co_await completeGame(project, run);
}

/// The rest of Step 1 once the game is unpacked: description, add-ons, "info.json".
QCoro::Task<> Pipeline::completeGame(QString project, Run run)
{
    const auto inspect = [project] { return ProjectInspector::inspect(project); };
    parts_.setInfo(co_await runOnWorker(inspect));
    checkCancellation(run.stop);
    if (!parts_.info.submodules.isEmpty()) {
        Status status = parts_.status;
        status.stepText = addonsHeadline;
        parts_.show(status);
        co_await parts_.repo.fetchSubmodules(parts_.info, run.progress, lineSink_, run.stop);
        parts_.setInfo(co_await runOnWorker(inspect));
    }

    const auto save = [storage = parts_.storage, info = parts_.info] {
        try {
            Files::createFolder(storage.root);
            // What the interrupted writing of a run before this one left.
            Files::removeLeftovers(storage.root);
            // A marker left by an interrupted update would keep the new game from being imported.
            storage.clearImportMarkers();
            // All that the description and the mark's absence vouch for.
            Files::sync(storage.root);
            Files::writeAtomically(storage.infoFile(), info.toJson());
        } catch (const Error &) {
            // Ignored: that the description can't be saved, which stops no run. The mark stays, so
            // that the next one reads the project again instead of trusting an older description.
            return;
        }
        QFile::remove(storage.unfinishedMark());
    };
    co_await runOnWorker(save);

    const ProjectInfo &info = parts_.info;
    parts_.log->note(QStringLiteral("Game ready: %1, needs Godot %2%3")
                         .arg(info.name, info.godotVersion.value_or(QStringLiteral("?")),
                              info.usesCSharp ? QStringLiteral(" (.NET)") : QString()));
}

/// Step 2. Returns the engine's program.
QCoro::Task<QString> Pipeline::prepareEngine(EngineSpec spec, Run run)
{
    if (!parts_.engines.binary(spec)) {
        parts_.show(downloading(engineStep + QStringLiteral("Downloading Godot ") + spec.version));
        parts_.log->note(
            QStringLiteral("Downloading Godot %1 (%2) from the official godot-builds releases")
                .arg(spec.version, spec.zipName(parts_.platform)));
        const StatusCallback status = [show = run.status](const QString &text) {
            show(engineStep + text);
        };
        co_await parts_.engines.install(spec, run.progress, status, lineSink_, run.stop);
    }
    checkCancellation(run.stop);
    const auto engine = parts_.engines.binary(spec);
    if (!engine) {
        throw SetupError(QStringLiteral("The Godot engine is missing."));
    }
    co_return *engine;
}

/// Step 3. A failed import is not an error: the engine tries again while it starts the game.
QCoro::Task<> Pipeline::importProject(EngineSpec spec, QString engine, QString project,
                                      std::stop_token stop)
{
    const QString marker = parts_.storage.importMarker(spec.tag());
    if (QFile::exists(marker)) {
        co_return;
    }
    parts_.show({AppState::settingUp(importHeadline), importHeadline, std::nullopt,
                 QStringLiteral("Godot is importing the game's files")});
    parts_.log->note(QStringLiteral("Importing the project (first run)"));

    const qint32 exitCode = co_await parts_.runner.runImport(engine, project, lineSink_, stop);
    checkCancellation(stop);
    if (exitCode != 0) {
        parts_.log->note(QStringLiteral("Setup finished with exit code %1; Godot will try to "
                                        "import again while starting the game.")
                             .arg(exitCode));
        co_return;
    }
    const auto mark = [marker, project, root = parts_.storage.root] {
        try {
            Files::removeLeftovers(root);
            // What was imported must be on the disk before the marker says so.
            Files::sync(project);
            Files::writeAtomically(marker, QByteArrayLiteral("ok"));
        } catch (const Error &) {
            // Ignored: without the marker the next run imports again, which costs only time.
        }
    };
    co_await runOnWorker(mark);
    checkCancellation(stop);
}

QCoro::Task<std::optional<QString>> Pipeline::findProject() const
{
    const auto find = [storage = parts_.storage] {
        return ProjectInspector::findProject(storage.gameFolder());
    };
    co_return co_await runOnWorker(find);
}

QCoro::Task<std::optional<Pipeline::Failure>> Pipeline::launchGame(QString engine, QString project,
                                                                   std::stop_token stop)
{
    parts_.show(
        {AppState::starting(), QStringLiteral("Starting the game…"), std::nullopt, QString()});
    const QStringList arguments =
        QStringList{QStringLiteral("--path"), project} + parts_.gameArguments();
    parts_.log->note(QStringLiteral("Starting: Godot ") + arguments.join(QLatin1Char(' ')));

    const std::function<void()> stayedOpen = [this] {
        if (parts_.status.state == AppState::starting()) {
            Status status = parts_.status;
            status.state = AppState::playing();
            status.stepText = QStringLiteral("The game is open");
            parts_.show(status);
        }
    };
    std::exception_ptr error;
    PlayResult result;
    try {
        result = co_await parts_.runner.play(engine, arguments, lineSink_, stayedOpen, stop,
                                             parts_.gameVariables);
    } catch (...) {
        error = std::current_exception();
    }
    if (error) {
        co_return Failure{QStringLiteral("Could not start the engine: ") + describe(error), false};
    }

    // A stop ends the wait early; the end is classified all the same.
    co_await parts_.clock->sleep(lastLinesDelay, stop);
    co_return classifyEnd(result);
}

std::optional<Pipeline::Failure> Pipeline::classifyEnd(const PlayResult &result) const
{
    if (result.userStopped) {
        parts_.log->note(QStringLiteral("Game stopped"));
        return std::nullopt;
    }
    const auto seconds = static_cast<qint64>(result.seconds);
    if (result.seconds < GameRunner::stayedOpenAfter.count()) {
        return Failure{QStringLiteral("The game closed after %1 second%2 (exit code %3), so it did "
                                      "not start properly.")
                           .arg(QString::number(seconds),
                                seconds == 1 ? QString() : QStringLiteral("s"),
                                QString::number(result.exitCode)),
                       true};
    }
    if (result.exitCode != 0) {
        return Failure{
            QStringLiteral("The game stopped unexpectedly after %1 seconds (exit code %2).")
                .arg(seconds)
                .arg(result.exitCode),
            true};
    }
    parts_.log->note(QStringLiteral("Game closed normally"));
    return std::nullopt;
}

} // namespace brindle
