#pragma once

#include "base/Callbacks.h"
#include "base/RecentRate.h"
#include "core/AppState.h"
#include "core/BackgroundTask.h"
#include "core/Dependencies.h"
#include "core/GameSettings.h"
#include "core/Pipeline.h"
#include "engine/EngineManager.h"
#include "engine/GameRunner.h"
#include "files/Storage.h"
#include "log/LogStore.h"
#include "project/ProjectInfo.h"
#include "project/RepoDownloader.h"

#include <QCoroTask>
#include <QObject>
#include <QPointer>

#include <exception>
#include <functional>
#include <memory>
#include <optional>

namespace brindle {

/// The one object that the user interface observes: the launcher's state, its settings, the
/// description of the game, the services that do the work, and every action. Main thread only.
class AppModel : public QObject
{
    Q_OBJECT

    // What the views bind. Texts are as they came: whoever shows one makes it fit to be shown. A
    // published field is read as a function is.

    /// An AppState::Phase.
    Q_PROPERTY(int phase READ phase NOTIFY stateChanged)
    /// What went wrong, in the phase `needs`; else empty.
    Q_PROPERTY(QString needsMessage READ needsMessage NOTIFY stateChanged)
    Q_PROPERTY(bool gameRunning READ gameRunning NOTIFY stateChanged)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY stateChanged)
    Q_PROPERTY(bool canPlay READ canPlay NOTIFY canPlayChanged)

    Q_PROPERTY(QString stepText READ stepText NOTIFY stepTextChanged)
    Q_PROPERTY(bool hasProgress READ hasProgress NOTIFY progressChanged)
    /// 0 to 1; 0 while there is none.
    Q_PROPERTY(double progress READ fraction NOTIFY progressChanged)
    Q_PROPERTY(QString detail READ detail NOTIFY detailChanged)
    Q_PROPERTY(QString timeLeft READ timeLeft NOTIFY timeLeftChanged)

    Q_PROPERTY(bool hasFailure READ hasFailure NOTIFY failureChanged)
    Q_PROPERTY(QString failureSummary READ failureSummary NOTIFY failureChanged)
    /// The report's lines, joined with line feeds.
    Q_PROPERTY(QString failureText READ failureText NOTIFY failureChanged)

    Q_PROPERTY(QString name READ name NOTIFY infoChanged)
    Q_PROPERTY(QString tagline READ tagline NOTIFY infoChanged)
    Q_PROPERTY(QString licenseName READ licenseName NOTIFY infoChanged)
    Q_PROPERTY(QString copyright READ copyright NOTIFY infoChanged)
    Q_PROPERTY(QStringList controls READ controls NOTIFY infoChanged)

    /// By the setting's key: the index of its choice, and the labels of all of them.
    Q_PROPERTY(QVariantMap settings READ settings NOTIFY settingsChanged)
    Q_PROPERTY(QVariantMap settingLabels READ settingLabels CONSTANT)

    /// The storage root's size as text; "…" while it is being measured.
    Q_PROPERTY(QString storageSize READ storageSize NOTIFY storageSizeChanged)
    /// The game repository's address without its scheme.
    Q_PROPERTY(QString repositoryAddress READ repositoryAddress CONSTANT)
    Q_PROPERTY(QObject *log READ logObject CONSTANT)

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
    Published<AppState, AppModel> state{this, &AppModel::stateChanged, status_.state};
    /// Headline of the current step.
    Published<QString, AppModel> stepText{this, &AppModel::stepTextChanged, status_.stepText};
    /// 0 to 1; absent means that no fraction is known.
    Published<std::optional<double>, AppModel> progress{this, &AppModel::progressChanged,
                                                        status_.progress};
    /// Second status line: byte counts and speed, or what the current step does.
    Published<QString, AppModel> detail{this, &AppModel::detailChanged, status_.detail};
    /// In plain words, by what the last seconds brought; empty when it can't be told.
    Published<QString, AppModel> timeLeft{this, &AppModel::timeLeftChanged, status_.timeLeft};
    Published<std::optional<FailureReport>, AppModel> failure{this, &AppModel::failureChanged,
                                                              failure_};
    Published<ProjectInfo, AppModel> info{this, &AppModel::infoChanged, info_};

    /// Start the game in fullscreen. Every assignment is stored at once.
    bool fullscreen() const;
    void setFullscreen(bool fullscreen);
    /// Window size passed to the game. Every assignment is stored at once.
    ResolutionChoice resolution() const;
    void setResolution(ResolutionChoice resolution);
    const QVariantMap &settings() const { return settings_.chosen(); }
    static QVariantMap settingLabels() { return GameSettings::labels(); }
    /// Chooses for a setting, by its key. What names no setting or no choice is ignored.
    Q_INVOKABLE void choose(const QString &setting, int choice);

    LogStore log;
    GameRunner runner;
    RepoDownloader repo;
    EngineManager engines;

    /// The running background task; null when idle.
    std::shared_ptr<BackgroundTask> work() const { return work_; }
    /// The game's project folder, as found when last looked for.
    std::optional<QString> projectURL() const { return projectURL_; }

    int phase() const { return static_cast<int>(state().phase); }
    QString needsMessage() const;
    /// `state` is `starting` or `playing`.
    bool gameRunning() const;
    /// `state` is `downloading` or `settingUp`.
    bool canCancel() const;
    /// Play and the maintenance actions would do something: the phase allows them, and no task
    /// runs.
    bool canPlay() const { return !canCancel() && !gameRunning() && !work_; }
    bool hasProgress() const { return progress().has_value(); }
    double fraction() const { return progress().value_or(0); }
    bool hasFailure() const { return failure().has_value(); }
    QString failureSummary() const;
    QString failureText() const;
    QString name() const { return info().name; }
    QString tagline() const { return info().tagline; }
    QString licenseName() const { return info().licenseName; }
    QString copyright() const { return info().copyright; }
    QStringList controls() const { return info().controls; }
    QString storageSize() const { return storageSize_; }
    QString repositoryAddress() const;
    QObject *logObject() { return &log; }

    /// Re-derives `state` from the disk: `ready` or `notDownloaded`.
    void refreshState();
    /// The folder where the engine keeps the game's saves.
    QString savesFolder() const;

    /// Starts the pipeline as the background task `work`; with `launch` it ends in the game.
    void startWork(bool launch);
    /// As startWork(true), unless a task exists or the phase forbids it.
    Q_INVOKABLE void play();
    /// Ends the running game.
    Q_INVOKABLE void stop() { runner.stop(); }
    /// Stops whatever runs: task, transfers, engine. Changes no published field itself.
    Q_INVOKABLE void cancel();

    Q_INVOKABLE void updateGame();
    Q_INVOKABLE void reinstall();
    Q_INVOKABLE void removeEverything();
    Q_INVOKABLE void showSaves();
    Q_INVOKABLE void revealInFinder();
    /// Shows the game's repository in the user's browser.
    Q_INVOKABLE void openRepository();
    Q_INVOKABLE void copyFailure();
    Q_INVOKABLE void copyLog();
    /// Measures the storage root on a worker thread; `storageSize` follows. From then on it is
    /// measured again whenever a task has ended.
    Q_INVOKABLE void measureStorage();
    /// Asks before quitting while something runs. True: quit now.
    bool confirmQuit();

    /// The task-cancellation error.
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
    void timeLeftChanged();
    void failureChanged();
    void infoChanged();
    void settingsChanged();
    void canPlayChanged();
    void storageSizeChanged();
    /// After `work` became present or absent.
    void workChanged();
    /// A view asks whoever runs the application to quit it.
    void quit();

private:
    friend class StatusBox;

    // State and life cycle (AppModel.cpp)
    void show(const Status &next);
    void setWork(std::shared_ptr<BackgroundTask> work);
    void startTask(BackgroundTask::Body body);
    void endTask(const std::exception_ptr &error);
    QCoro::Task<> runPipeline(bool launch, std::stop_token stop);

    // Maintenance (AppModelMaintenance.cpp)
    void downloadAgain(const QStringList &removed);
    QCoro::Task<> removeAndRun(QStringList removed, std::stop_token stop);
    QCoro::Task<> removeRoot(std::stop_token stop);
    QCoro::Task<> measure();
    static QString unknownSize() { return QStringLiteral("…"); }

    Status status_;
    std::optional<FailureReport> failure_;
    ProjectInfo info_;
    RecentRate rate_; // of the running download

    Storage storage_;
    QUrl repositoryPage_;
    QString engineUserData_;
    std::shared_ptr<Desktop> desktop_;
    std::shared_ptr<Clock> clock_;
    std::shared_ptr<LogQueue> logQueue_;
    GameSettings settings_;
    Pipeline pipeline_;

    std::shared_ptr<BackgroundTask> work_;
    BackgroundTask::Count tasks_;
    std::optional<QString> projectURL_;
    QString storageSize_ = unknownSize();
    int measurements_ = 0; // begun so far; only the latest counts
};

/// How worker code reports a step headline of the run that it was made in. Never keeps the model
/// alive. Made on the main thread, used and copied on any.
class StatusBox
{
public:
    explicit StatusBox(AppModel *model) : model_(model), run_(model->work()) {}

    /// Makes the text the headline of a running download, on the main thread, in the order of the
    /// calls; does nothing when the model is gone or the run has ended by then. Any thread.
    void set(const QString &text) const;

private:
    friend class AppModel;
    void update(std::function<void(AppModel &)> change) const;

    QPointer<AppModel> model_;
    std::shared_ptr<BackgroundTask> run_;
};

} // namespace brindle
