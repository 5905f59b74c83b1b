#pragma once

#include "base/Callbacks.h"
#include "base/Clock.h"
#include "base/RecentRate.h"
#include "core/AppState.h"
#include "core/Desktop.h"
#include "engine/EngineManager.h"
#include "engine/GameRunner.h"
#include "log/LogQueue.h"
#include "log/LogStore.h"
#include "project/RepoDownloader.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QSettings>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <type_traits>

namespace brindle {

/// Everything that an AppModel needs from outside.
struct Dependencies : DownloadParts
{
    std::unique_ptr<QSettings> settings; ///< keys "fullscreen" and "resolution"
    std::shared_ptr<Desktop> desktop;
    std::shared_ptr<Clock> clock;
};

/// The one object behind the user interface. Holds the launcher's state, its settings, the game's
/// description and the services that do the work, and offers every action. Main thread only.
class AppModel : public QObject
{
    Q_OBJECT

    // Properties for the views. Views must make these raw texts safe to show.

    /// The AppState::Phase as a number.
    Q_PROPERTY(int phase READ phase NOTIFY changed)
    /// The failure message in the phase `needs`; otherwise empty.
    Q_PROPERTY(QString needsMessage READ needsMessage NOTIFY changed)
    Q_PROPERTY(bool gameRunning READ gameRunning NOTIFY changed)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY changed)
    Q_PROPERTY(bool canPlay READ canPlay NOTIFY changed)

    Q_PROPERTY(QString stepText READ stepText NOTIFY changed)
    Q_PROPERTY(bool hasProgress READ hasProgress NOTIFY changed)
    /// 0 to 1; 0 when the fraction is unknown.
    Q_PROPERTY(double progress READ fraction NOTIFY changed)
    Q_PROPERTY(QString detail READ detail NOTIFY changed)
    Q_PROPERTY(QString timeLeft READ timeLeft NOTIFY changed)

    Q_PROPERTY(bool hasFailure READ hasFailure NOTIFY changed)
    Q_PROPERTY(QString failureSummary READ failureSummary NOTIFY changed)
    /// The report's lines, joined with line feeds.
    Q_PROPERTY(QString failureText READ failureText NOTIFY changed)

    Q_PROPERTY(QString name READ name NOTIFY changed)
    Q_PROPERTY(QString tagline READ tagline NOTIFY changed)
    Q_PROPERTY(QString licenseName READ licenseName NOTIFY changed)
    Q_PROPERTY(QString copyright READ copyright NOTIFY changed)
    Q_PROPERTY(QStringList controls READ controls NOTIFY changed)

    Q_PROPERTY(bool fullscreen READ fullscreen WRITE setFullscreen NOTIFY changed)
    /// The index of a ResolutionChoice.
    Q_PROPERTY(int resolution READ resolutionIndex WRITE setResolutionIndex NOTIFY changed)
    Q_PROPERTY(QStringList resolutionLabels READ resolutionLabels CONSTANT)

    /// The storage root's size as text; "…" until it has been measured once.
    Q_PROPERTY(QString storageSize READ storageSize NOTIFY changed)
    /// True while "Remove everything" measures or deletes, but not while its question is open.
    Q_PROPERTY(bool removing READ removing NOTIFY changed)
    /// The game repository's address without its scheme.
    Q_PROPERTY(QString repositoryAddress READ repositoryAddress CONSTANT)
    Q_PROPERTY(QObject *log READ logObject CONSTANT)

    const Dependencies parts_;

public:
    /// Destroy the model only while no task runs, and no worker looks for the game or measures.
    explicit AppModel(Dependencies parts, QObject *parent = nullptr);

    /// Returns the process-wide model. The first call makes it from the parts of `compose`; nothing
    /// destroys it. Call from the program's entry and delegate only.
    static AppModel &shared();
    /// Makes the parts for the model of `shared`. Set it before the first call of `shared`.
    static inline std::function<Dependencies()> compose;

    LogStore log;
    GameRunner runner;
    RepoDownloader repo;
    EngineManager engines;

    const Status &status() const { return status_; }
    /// Replaces the status, between one `willChange` and one `changed`. Does nothing if the status
    /// is the same.
    void show(const Status &status);
    /// Replaces one field of the status.
    template <typename T>
    void set(T Status::*field, const std::type_identity_t<T> &value)
    {
        Status next = status_;
        next.*field = value;
        show(next);
    }

    const AppState &state() const { return status_.state; }
    const QString &stepText() const { return status_.stepText; }
    const std::optional<double> &progress() const { return status_.progress; }
    const QString &detail() const { return status_.detail; }
    const QString &timeLeft() const { return status_.timeLeft; }
    const std::optional<FailureReport> &failure() const { return status_.failure; }
    const ProjectInfo &info() const { return status_.info; }
    const QString &storageSize() const { return status_.storageSize; }
    bool removing() const { return status_.removing; }

    int phase() const { return static_cast<int>(state().phase); }
    QString needsMessage() const { return is(AppState::Phase::needs) ? state().text : QString(); }
    bool gameRunning() const
    {
        return is(AppState::Phase::starting) || is(AppState::Phase::playing);
    }
    bool canCancel() const
    {
        return is(AppState::Phase::downloading) || is(AppState::Phase::settingUp);
    }
    /// Returns whether Play and the maintenance actions would start a task.
    bool canPlay() const { return !canCancel() && !gameRunning() && !work_; }
    bool hasProgress() const { return progress().has_value(); }
    double fraction() const { return progress().value_or(0); }
    bool hasFailure() const { return failure().has_value(); }
    QString failureSummary() const { return failure().value_or(FailureReport()).summary; }
    QString failureText() const { return failure().value_or(FailureReport()).lines.join(u'\n'); }
    QString name() const { return info().name; }
    QString tagline() const { return info().tagline; }
    QString licenseName() const { return info().licenseName; }
    QString copyright() const { return info().copyright; }
    QStringList controls() const { return info().controls; }

    /// True if the game starts in fullscreen. Every assignment is stored at once.
    bool fullscreen() const
    {
        return parts_.settings->value(QStringLiteral("fullscreen")).toBool();
    }
    void setFullscreen(bool fullscreen) { store(QStringLiteral("fullscreen"), fullscreen); }
    /// The window size passed to the game. Every assignment is stored at once.
    ResolutionChoice resolution() const;
    void setResolution(ResolutionChoice resolution);
    int resolutionIndex() const { return static_cast<int>(resolution()); }
    void setResolutionIndex(int index) { setResolution(static_cast<ResolutionChoice>(index)); }
    static QStringList resolutionLabels();

    /// Returns the stop source of the running background task; null when idle.
    std::shared_ptr<std::stop_source> work() const { return work_; }
    /// Returns the game's project folder, as last found.
    std::optional<QString> projectURL() const { return projectURL_; }
    QString repositoryAddress() const { return repo.page().authority() + repo.page().path(); }
    QObject *logObject() { return &log; }
    /// Returns the folder in which the engine keeps the game's saves.
    QString savesFolder() const;

    /// Looks for the game on a worker thread and sets `state` to `ready` or `notDownloaded`. Does
    /// nothing if a task has begun meanwhile.
    QCoro::Task<> refreshState();

    /// Runs the pipeline as the background task `work`, then the game if `launch` is set. First
    /// deletes the paths `removed` and, if there are any, the import markers. Call while no task
    /// runs.
    void startWork(bool launch, const QStringList &removed = {});
    /// Calls startWork(true) if `canPlay`.
    Q_INVOKABLE void play();
    /// Stops the running task with its transfers and its engine. The task then updates the status.
    Q_INVOKABLE void cancel();
    /// Ends the running game.
    Q_INVOKABLE void stop() { cancel(); }

    Q_INVOKABLE void updateGame();
    Q_INVOKABLE void reinstall();
    Q_INVOKABLE void removeEverything();
    Q_INVOKABLE void showSaves();
    Q_INVOKABLE void revealInFinder();
    /// Shows the game's repository in the user's browser.
    Q_INVOKABLE void openRepository() { parts_.desktop->openPage(repo.page()); }
    Q_INVOKABLE void copyFailure();
    Q_INVOKABLE void copyLog();
    /// Measures the storage root on a worker thread and sets `storageSize`.
    Q_INVOKABLE void measureStorage() { measure(); }
    /// Returns whether to quit now. If something runs, asks the user, serving events meanwhile.
    bool confirmQuit();

    /// Returns whether the error is a CancellationError.
    static bool isCancellation(const std::exception_ptr &error);
    /// Returns a hint for the player from the last log lines of a failed run.
    static QString plainHint(const QStringList &lines);
    /// Shows byte counts and a finite speed in bytes per second. A `total` below 1 means unknown.
    void updateProgress(qint64 done, qint64 total, double speed);
    /// Returns a callback for any thread. Each call queues one `updateProgress` on the main thread,
    /// unless the current run has ended by then.
    ProgressCallback progressHandler();

Q_SIGNALS:
    /// Emitted before each change of a field or setting, which still has its old value.
    void willChange();
    /// Emitted after each change of a field or setting, and after `workChanged`.
    void changed();
    /// Emitted after a task has begun or ended.
    void workChanged();
    /// Emitted by a view to ask the application's owner to quit.
    void quit();

private:
    friend class StatusBox;

    // State and life cycle (AppModel.cpp)
    void begin(const AppState &state, const QString &stepText, const QString &detail = {});
    bool is(AppState::Phase phase) const { return state().phase == phase; }
    void showReadiness(bool hasGame);
    void store(const QString &key, const QVariant &value);
    /// Adds a line of the launcher's own to the log, behind "• ".
    void note(const QString &text) const { logQueue_->note(text); }
    LineCallback lineSink() const;
    QCoro::Task<> runTask(std::function<QCoro::Task<>(std::stop_token)> body);

    // Setup and play (AppModelPipeline.cpp)
    QCoro::Task<> runAll(bool launch, QStringList removed, std::stop_token stop);
    QCoro::Task<> completeGame(QString project, std::stop_token stop);
    QCoro::Task<QString> prepareEngine(EngineSpec spec, std::stop_token stop);
    QCoro::Task<> importProject(EngineSpec spec, QString engine, QString project,
                                std::stop_token stop);
    QCoro::Task<> launchGame(QString engine, QString project, std::stop_token stop);

    // Maintenance (AppModelMaintenance.cpp)
    void reveal(const QString &path, const Alert &otherwise) const;
    QCoro::Task<> removeRoot(std::stop_token stop);
    QCoro::Task<> measure();

    Status status_;
    RecentRate rate_; // the running download's speed
    std::shared_ptr<LogQueue> logQueue_;
    std::shared_ptr<std::stop_source> work_;
    std::optional<QString> projectURL_;
    bool undecided_ = false; // a removal runs, and the player has not agreed yet
};

/// Passes step headlines of one run from worker code to the model. Does not keep the model alive.
/// Make it on the main thread; any thread may copy and use it.
class StatusBox
{
public:
    explicit StatusBox(AppModel *model) : model_(model), run_(model->work()) {}

    /// Queues the text on the main thread as the headline of a running download, unless the model
    /// or the run has ended by then.
    void set(const QString &text) const;

private:
    friend class AppModel;
    void update(std::function<void(AppModel &)> change) const;

    QPointer<AppModel> model_;
    std::shared_ptr<std::stop_source> run_;
};

} // namespace brindle
