#pragma once

#include "base/Callbacks.h"
#include "core/AppState.h"
#include "core/Dependencies.h"
#include "core/FailureReport.h"
#include "core/Published.h"
#include "core/ResolutionChoice.h"
#include "core/Work.h"
#include "engine/EngineManager.h"
#include "engine/GameRunner.h"
#include "log/LogStore.h"
#include "project/ProjectInfo.h"
#include "project/ProjectInspector.h"
#include "project/RepoDownloader.h"

#include <QCoroTask>
#include <QObject>
#include <QThreadPool>

#include <exception>
#include <functional>
#include <memory>
#include <optional>

namespace brindle {

class LogQueue;

/// The one object that the user interface observes: the launcher's state, its settings, the
/// description of the game, the services that do the work, and every action. Main thread only.
class AppModel : public QObject
{
    Q_OBJECT

public:
    explicit AppModel(Dependencies parts, QObject *parent = nullptr);
    /// Cancels a running task and serves events until it has ended.
    ~AppModel() override;

    /// The process-wide model, made on first use from the parts that `compose` named, and never
    /// destroyed. For the program's entry and delegate only.
    static AppModel &shared();
    /// Names the maker of `shared`'s parts; called once, before its first use.
    static void compose(std::function<Dependencies()> parts);

    // Published fields: `willChange`, then the change, then the field's own signal.
    Published<AppState, AppModel> state{this, &AppModel::willChange, &AppModel::stateChanged};
    /// Headline of the current step.
    Published<QString, AppModel> stepText{this, &AppModel::willChange, &AppModel::stepTextChanged};
    /// 0 to 1; absent means that no fraction is known.
    Published<std::optional<double>, AppModel> progress{this, &AppModel::willChange,
                                                        &AppModel::progressChanged};
    /// Second status line: byte counts and speed, or what the current step does.
    Published<QString, AppModel> detail{this, &AppModel::willChange, &AppModel::detailChanged};
    Published<std::optional<FailureReport>, AppModel> failure{this, &AppModel::willChange,
                                                              &AppModel::failureChanged};
    Published<ProjectInfo, AppModel> info{this, &AppModel::willChange, &AppModel::infoChanged};

    /// Start the game in fullscreen. Every assignment is stored at once.
    bool fullscreen() const { return fullscreen_(); }
    void setFullscreen(bool fullscreen);
    /// Window size passed to the game. Every assignment is stored at once.
    ResolutionChoice resolution() const { return resolution_(); }
    void setResolution(ResolutionChoice resolution);

    LogStore log;
    GameRunner runner;
    RepoDownloader repo;
    EngineManager engines;

    /// The running background task; null when idle.
    std::shared_ptr<Work> work() const { return work_; }
    /// The game's project folder, as found when last looked for.
    std::optional<QString> projectURL() const { return projectURL_; }
    const QString &storageRoot() const { return storageRoot_; }
    const QUrl &codeHost() const { return codeHost_; }

    /// `state` is `starting` or `playing`.
    bool gameRunning() const;
    /// `state` is `downloading` or `settingUp`.
    bool canCancel() const;

    /// Re-derives `state` from the disk: `ready` or `notDownloaded`.
    void refreshState();
    /// The folder where the engine keeps the game's saves.
    QString savesFolder() const;

    /// Starts the pipeline as the background task `work`; with `launch` it ends in the game.
    void startWork(bool launch);
    /// Stops whatever runs: task, transfers, engine. Changes no published field itself.
    void cancel();

    void updateGame();
    void reinstall();
    void removeEverything();
    void showSaves();
    void revealInFinder();
    void copyFailure();
    void copyLog();
    /// Asks before quitting while something runs. True: quit now.
    bool confirmQuit();

    /// Bytes that the storage root occupies, measured on a worker thread.
    QCoro::Task<qint64> storageSize() const;

    /// The task-cancellation error, or a transfer's "cancelled" error.
    static bool isCancellation(const std::exception_ptr &error);
    /// The hint for a failed run that the last lines of its log suggest.
    static QString plainHint(const QStringList &lines);
    /// Shows byte counts: `total` below 1 means unknown; speed in bytes per second, finite.
    void updateProgress(qint64 done, qint64 total, double speed);
    /// A callback, for any thread, that shows byte counts of the current run: one call of
    /// `updateProgress` on the main thread for each, none when the run has ended by then.
    ProgressCallback progressHandler();

Q_SIGNALS:
    /// Before each change of a published field, which still shows its old value.
    void willChange();
    void stateChanged();
    void stepTextChanged();
    void progressChanged();
    void detailChanged();
    void failureChanged();
    void infoChanged();
    void fullscreenChanged();
    void resolutionChanged();
    /// After `work` became present or absent.
    void workChanged();

private:
    // State and life cycle (AppModel.cpp)
    QString gameFolder() const;
    QString infoFile() const;
    QString unfinishedMark() const;
    QString importMarker(const EngineSpec &spec) const;
    bool isBusy() const;
    void store(const QString &key, const QVariant &value);
    void setWork(std::shared_ptr<Work> work);
    void startTask(std::function<QCoro::Task<>(std::stop_token)> body);
    QCoro::Task<> runTask(std::shared_ptr<Work> work,
                          std::function<QCoro::Task<>(std::stop_token)> body);
    void endWithError(const std::exception_ptr &error);

    // Setup and play (AppModelPipeline.cpp)
    QCoro::Task<> runAll(bool launch, std::stop_token stop);
    QCoro::Task<> prepareGame(std::stop_token stop);
    QCoro::Task<> downloadGame(std::stop_token stop);
    QCoro::Task<> completeGame(QString project, std::stop_token stop);
    QCoro::Task<QString> prepareEngine(EngineSpec spec, std::stop_token stop);
    QCoro::Task<> importProject(EngineSpec spec, QString engine, QString project,
                                std::stop_token stop);
    QCoro::Task<std::optional<QString>> findProject() const;
    void showDownload(const QString &headline);
    void showGameDownload();
    LineCallback lineSink() const;

    // The running game (AppModelLaunch.cpp)
    QCoro::Task<> launchGame(QString engine, QString project, std::stop_token stop);
    void classifyEnd(const PlayResult &result);

    // Maintenance (AppModelMaintenance.cpp)
    void downloadAgain(const QStringList &removed);
    QCoro::Task<> removeAndRun(QStringList removed, std::stop_token stop);
    QCoro::Task<> removeRoot(std::stop_token stop);
    static void clearMarkers(const QString &root);

    QString storageRoot_;
    std::shared_ptr<QSettings> settings_; // of its writer's thread only, once it has been read
    QThreadPool settingsWriter_;          // has one thread, so that the last value is the last
    QUrl codeHost_;
    Platform platform_;
    std::shared_ptr<Desktop> desktop_;
    std::shared_ptr<Clock> clock_;
    std::shared_ptr<LogQueue> logQueue_;

    Published<bool, AppModel> fullscreen_{this, &AppModel::willChange, &AppModel::fullscreenChanged,
                                          false};
    Published<ResolutionChoice, AppModel> resolution_{
        this, &AppModel::willChange, &AppModel::resolutionChanged, ResolutionChoice::gameDefault};
    std::shared_ptr<Work> work_;
    int tasks_ = 0; // coroutines that still use this object
    std::optional<QString> projectURL_;
};

} // namespace brindle
