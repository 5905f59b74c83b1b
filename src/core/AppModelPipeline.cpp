// Implements the steps behind the Play button. A step whose result is on disk does nothing.

#include "base/Error.h"
#include "base/Threads.h"
#include "core/AppModel.h"
#include "files/Files.h"
#include "project/ProjectInspector.h"

#include <QFile>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace brindle {

namespace {

const auto gameHeadline = u"Step 1 of 3 · Downloading the game"_s;
const auto addonsHeadline = u"Step 1 of 3 · Fetching add-ons"_s;
const auto engineStep = u"Step 2 of 3 · "_s;
const auto importHeadline = u"Step 3 of 3 · First-time setup, this can take a minute or more"_s;

/// The time that the last lines of output may take to reach the log.
constexpr Clock::Duration lastLinesDelay{0.2};

/// The number of log lines that a failure report shows.
constexpr qsizetype reportLines = 30;

} // namespace

QCoro::Task<> AppModel::runAll(bool launch, QStringList removed, std::stop_token stop)
{
    const auto showDownload = [this] { begin(AppState::downloading(gameHeadline), gameHeadline); };
    const auto look = [storage = parts_.storage] {
        return ProjectInspector::findProject(storage.gameFolder());
    };
    const auto clean = [=, storage = parts_.storage] {
        storage.checkOwner();
        for (const QString &path : removed) {
            checkCancellation(stop);
            Files::remove(path, stop);
        }
        if (!removed.isEmpty()) {
            storage.clearMarkers();
        }
        storage.clearLeftovers(stop);
        return look();
    };
    if (!removed.isEmpty()) {
        showDownload(); // early, because deleting a large game takes a moment
    }
    projectURL_ = co_await runOnWorker(clean, stop);
    if (!projectURL_) {
        showDownload();
        note(u"Downloading the game from %1 (branch main)"_s.arg(repo.page().toString()));
        const QString project = co_await repo.installGame(progressHandler(), stop);
        co_await completeGame(project, stop);
    } else if (QFile::exists(parts_.storage.unfinishedMark())) {
        // The game was unpacked, but its setup was interrupted.
        begin(AppState::downloading(addonsHeadline), addonsHeadline);
        co_await completeGame(*projectURL_, stop);
    }
    projectURL_ = co_await runOnWorker(look, stop);
    if (!projectURL_) {
        throw SetupError(u"The game folder could not be found."_s);
    }
    const QString project = *projectURL_;
    const EngineSpec spec = EngineManager::spec(info());
    const QString engine = co_await prepareEngine(spec, stop);
    co_await importProject(spec, engine, project, stop);
    if (launch) {
        co_await launchGame(engine, project, stop);
    } else {
        co_await refreshState();
    }
}

/// Completes Step 1 for the unpacked game: reads it, fetches its add-ons, saves "info.json".
QCoro::Task<> AppModel::completeGame(QString project, std::stop_token stop)
{
    const auto inspect = [project] { return ProjectInspector::inspect(project); };
    set(&Status::info, co_await runOnWorker(inspect, stop));
    if (!info().submodules.isEmpty()) {
        set(&Status::stepText, addonsHeadline);
        co_await repo.fetchSubmodules(info(), progressHandler(), lineSink(), stop);
        set(&Status::info, co_await runOnWorker(inspect, stop));
    }

    const auto save = [storage = parts_.storage, json = info().toJson(), stop] {
        bool isSynced = false;
        try {
            // Sync the game before its description is written and its mark removed.
            Files::sync(storage.root, stop);
            isSynced = true;
            // If writing fails, no older game's description may stay.
            QFile::remove(storage.infoFile());
            Files::writeAtomically(storage.infoFile(), json, stop);
        } catch (const SystemError &) {
            // Ignored: the next run completes an unsynced game again.
        }
        if (isSynced) {
            QFile::remove(storage.unfinishedMark());
        }
    };
    co_await runOnWorker(save, stop);

    note(u"Game ready: %1, needs Godot %2%3"_s.arg(info().name,
                                                   info().godotVersion.value_or(u"?"_s),
                                                   info().usesCSharp ? u" (.NET)"_s : QString()));
}

/// Runs Step 2. Returns the engine's program.
QCoro::Task<QString> AppModel::prepareEngine(EngineSpec spec, std::stop_token stop)
{
    std::optional<QString> engine = engines.binary(spec);
    if (!engine) {
        const QString headline = engineStep + u"Downloading Godot "_s + spec.version;
        begin(AppState::downloading(headline), headline);
        note(u"Downloading Godot %1 (%2) from the official godot-builds releases"_s.arg(
            spec.version, spec.zipName(parts_.platform)));
        const StatusCallback status = [box = StatusBox(this)](const QString &text) {
            box.set(engineStep + text);
        };
        engine = co_await engines.install(spec, progressHandler(), status, lineSink(), stop);
    }
    checkCancellation(stop);
    co_return *engine;
}

/// Runs Step 3. A failed import is not an error, because the engine imports again when it starts
/// the game.
QCoro::Task<> AppModel::importProject(EngineSpec spec, QString engine, QString project,
                                      std::stop_token stop)
{
    const QString marker = parts_.storage.importMarker(spec.tag());
    if (QFile::exists(marker)) {
        co_return;
    }
    begin(AppState::settingUp(importHeadline), importHeadline,
          u"Godot is importing the game's files"_s);
    note(u"Importing the project (first run)"_s);

    const qint32 exitCode = co_await runner.runImport(engine, project, lineSink());
    checkCancellation(stop);
    if (exitCode != 0) {
        note(u"Setup finished with exit code %1; Godot will try to import again while starting the "
             "game."_s.arg(exitCode));
        co_return;
    }
    const auto mark = [marker, project, stop] {
        try {
            // The imported files must reach the disk before the marker does.
            Files::sync(project, stop);
            Files::writeAtomically(marker, QByteArrayLiteral("ok"), stop);
        } catch (const SystemError &) {
            // Ignored: without the marker the next run imports again, which costs only time.
        }
    };
    co_await runOnWorker(mark, stop);
}

QCoro::Task<> AppModel::launchGame(QString engine, QString project, std::stop_token stop)
{
    begin(AppState::starting(), u"Starting the game…"_s);
    QStringList arguments{u"--path"_s, project, fullscreen() ? u"--fullscreen"_s : u"--windowed"_s};
    if (const QString &size = resolutions.at(resolutionIndex()); !size.isEmpty()) {
        arguments << u"--resolution"_s << size;
    }
    note(u"Starting: Godot "_s + arguments.join(u' '));

    const std::function<void()> stayedOpen = [this] {
        if (state() == AppState::starting()) {
            begin(AppState::playing(), u"The game is open"_s);
        }
    };
    // The desktop grants a permission for one start only.
    const auto variables = co_await parts_.desktop->startPermission(stop);
    PlayResult result{0, 0, true};
    try {
        if (!stop.stop_requested()) {
            result = co_await runner.play(engine, arguments, lineSink(), stayedOpen, variables);
        }
    } catch (...) {
        const QString reason = describe(std::current_exception());
        set(&Status::state, AppState::needs(u"Could not start the engine: "_s + reason));
        co_return;
    }

    // Wait for the last lines, unless a stop is requested.
    co_await parts_.clock->sleep(lastLinesDelay, stop);
    const auto seconds = static_cast<qint64>(result.seconds);
    QString message;
    if (result.userStopped) {
        note(u"Game stopped"_s);
    } else if (result.seconds < GameRunner::stayedOpenAfter.count()) {
        message =
            u"The game closed after %1 second%2 (exit code %3), so it did not start properly."_s
                .arg(QString::number(seconds), seconds == 1 ? QString() : u"s"_s,
                     QString::number(result.exitCode));
    } else if (result.exitCode != 0) {
        message =
            u"The game stopped unexpectedly after %1 seconds (exit code %2)."_s.arg(seconds).arg(
                result.exitCode);
    } else {
        note(u"Game closed normally"_s);
    }
    if (message.isEmpty()) {
        co_await refreshState();
        co_return;
    }
    logQueue_->flush();
    const QStringList tail = log.lines().mid(log.lines().size() - reportLines);
    set(&Status::failure, FailureReport{message + u' ' + plainHint(tail), tail});
    set(&Status::state, AppState::needs(message));
}

QString AppModel::plainHint(const QStringList &lines)
{
    static const QRegularExpression graphics(u"vulkan|metal|gpu|rendering"_s);
    static const QRegularExpression scripts(u"(script|parse) error"_s);
    const QString text = lines.join(u'\n').toLower();
    if (text.contains(graphics)) {
        return u"The graphics system reported a problem. The game may need a faster Mac or a newer "
               "macOS."_s;
    }
    if (text.contains(scripts)) {
        return u"The game's scripts reported errors. The log below shows where."_s;
    }
    return u"The last lines of the log below may show why."_s;
}

} // namespace brindle
