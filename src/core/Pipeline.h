#pragma once

#include "base/Callbacks.h"
#include "base/Clock.h"
#include "core/AppState.h"
#include "engine/EngineManager.h"
#include "engine/GameRunner.h"
#include "files/Storage.h"
#include "project/ProjectInfo.h"
#include "project/RepoDownloader.h"

#include <QCoroTask>

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

namespace brindle {

class LogQueue;

/// Setup and play: the steps behind the Play button, each skipped when its result is on disk. Main
/// thread only; what blocks is done by workers.
class Pipeline
{
public:
    /// What it works with, and what it reports to. All of it outlives every run.
    struct Parts
    {
        RepoDownloader &repo;
        EngineManager &engines;
        GameRunner &runner;
        Storage storage;
        QUrl repositoryPage;
        Platform platform;
        std::shared_ptr<Clock> clock;
        std::shared_ptr<LogQueue> log;
        const Status &status; ///< what is shown now
        std::function<void(const Status &)> show;
        const ProjectInfo &info; ///< what is known of the game now
        std::function<void(const ProjectInfo &)> setInfo;
        std::function<QStringList()> gameArguments; ///< that the player has chosen
        GameRunner::AskVariables gameVariables;     ///< see `Desktop::startPermission`
    };

    /// One run. The callbacks are called on any thread.
    struct Run
    {
        bool launch = false; ///< it ends in the game
        ProgressCallback progress;
        StatusCallback status;
        std::stop_token stop;
    };

    /// A launch that went wrong.
    struct Failure
    {
        QString message;
        bool isExplained = false; ///< the game ran: the log's last lines may tell why it ended
    };

    explicit Pipeline(Parts parts);

    /// The whole way. Absent when nothing went wrong: what is on disk says how things are then.
    /// Throws SetupError, TransferError, SystemError or CancellationError when the setup fails.
    QCoro::Task<std::optional<Failure>> runAll(Run run);

    /// Shows that the game's download begins, as the first step does.
    void showGameDownload();

private:
    QCoro::Task<> prepareGame(Run run);
    QCoro::Task<> downloadGame(Run run);
    QCoro::Task<> completeGame(QString project, Run run);
    QCoro::Task<QString> prepareEngine(EngineSpec spec, Run run);
    QCoro::Task<> importProject(EngineSpec spec, QString engine, QString project,
                                std::stop_token stop);
    QCoro::Task<std::optional<QString>> findProject() const;
    QCoro::Task<std::optional<Failure>> launchGame(QString engine, QString project,
                                                   std::stop_token stop);
    std::optional<Failure> classifyEnd(const PlayResult &result) const;

    const Parts parts_;
    const LineCallback lineSink_; // the engine's own lines, from any thread
};

} // namespace brindle
