#pragma once

#include "core/AppModel.h"

#include <QObject>
#include <QString>
#include <QStringList>
#include <QUrl>

namespace brindle {

/// The launcher's model as the views see it: plain properties and one call per control. Holds no
/// launcher state; everything is the AppModel's. Texts that come from downloads are made fit to be
/// shown. Main thread only.
class LauncherModel : public QObject
{
    Q_OBJECT

    /// "notDownloaded", "downloading", "settingUp", "needs", "ready", "starting" or "playing".
    Q_PROPERTY(QString phase READ phase NOTIFY stateChanged)
    /// What went wrong, in the phase "needs"; else empty.
    Q_PROPERTY(QString needsMessage READ needsMessage NOTIFY stateChanged)
    Q_PROPERTY(bool gameRunning READ gameRunning NOTIFY stateChanged)
    Q_PROPERTY(bool canCancel READ canCancel NOTIFY stateChanged)
    /// Play and the maintenance actions would do something: the phase allows them, and no task
    /// runs.
    Q_PROPERTY(bool canPlay READ canPlay NOTIFY canPlayChanged)

    Q_PROPERTY(QString stepText READ stepText NOTIFY stepTextChanged)
    Q_PROPERTY(bool hasProgress READ hasProgress NOTIFY progressChanged)
    /// 0 to 1; 0 while there is none.
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString detail READ detail NOTIFY detailChanged)

    Q_PROPERTY(bool hasFailure READ hasFailure NOTIFY failureChanged)
    Q_PROPERTY(QString failureSummary READ failureSummary NOTIFY failureChanged)
    /// The report's lines, joined with line feeds.
    Q_PROPERTY(QString failureText READ failureText NOTIFY failureChanged)

    Q_PROPERTY(QString name READ name NOTIFY infoChanged)
    Q_PROPERTY(QString tagline READ tagline NOTIFY infoChanged)
    Q_PROPERTY(QString licenseName READ licenseName NOTIFY infoChanged)
    Q_PROPERTY(QString copyright READ copyright NOTIFY infoChanged)
    Q_PROPERTY(QStringList controls READ controls NOTIFY infoChanged)

    Q_PROPERTY(bool fullscreen READ fullscreen WRITE setFullscreen NOTIFY fullscreenChanged)
    /// Index into `resolutions`.
    Q_PROPERTY(int resolution READ resolution WRITE setResolution NOTIFY resolutionChanged)
    Q_PROPERTY(QStringList resolutions READ resolutions CONSTANT)

    /// The storage root's size as text; "…" while it is being measured.
    Q_PROPERTY(QString storageSize READ storageSize NOTIFY storageSizeChanged)

    /// The game repository's address without its scheme.
    Q_PROPERTY(QString repositoryAddress READ repositoryAddress CONSTANT)
    Q_PROPERTY(QUrl repositoryPage READ repositoryPage CONSTANT)

    Q_PROPERTY(QObject *log READ log CONSTANT)

public:
    /// `app` must outlive this.
    explicit LauncherModel(AppModel &app, QObject *parent = nullptr);

    QString phase() const;
    QString needsMessage() const;
    bool gameRunning() const { return app_.gameRunning(); }
    bool canCancel() const { return app_.canCancel(); }
    bool canPlay() const;
    QString stepText() const;
    bool hasProgress() const { return app_.progress().has_value(); }
    double progress() const { return app_.progress().value_or(0); }
    QString detail() const;
    bool hasFailure() const { return app_.failure().has_value(); }
    QString failureSummary() const;
    QString failureText() const;
    QString name() const;
    QString tagline() const;
    QString licenseName() const;
    QString copyright() const;
    QStringList controls() const;
    bool fullscreen() const { return app_.fullscreen(); }
    void setFullscreen(bool fullscreen) { app_.setFullscreen(fullscreen); }
    int resolution() const;
    /// An index that names no resolution is ignored.
    void setResolution(int index);
    QStringList resolutions() const;
    QString storageSize() const { return storageSize_; }
    QString repositoryAddress() const;
    QUrl repositoryPage() const;
    QObject *log() const { return &app_.log; }

    /// Starts the pipeline, ending in the game, unless a task exists or the phase forbids it.
    Q_INVOKABLE void play();
    /// Ends the running game.
    Q_INVOKABLE void stop();
    Q_INVOKABLE void cancel();
    Q_INVOKABLE void copyFailure();
    Q_INVOKABLE void copyLog();
    Q_INVOKABLE void updateGame();
    Q_INVOKABLE void reinstall();
    Q_INVOKABLE void removeEverything();
    Q_INVOKABLE void showSaves();
    Q_INVOKABLE void revealInFinder();
    /// Shows the game's repository in the user's browser.
    Q_INVOKABLE void openRepository();
    /// Measures the storage root on a worker thread; `storageSize` follows. From then on it is
    /// measured again whenever a task has ended.
    Q_INVOKABLE void measureStorage();
    /// Asks whoever runs the application to quit it.
    Q_INVOKABLE void quit();

Q_SIGNALS:
    void stateChanged();
    void canPlayChanged();
    void stepTextChanged();
    void progressChanged();
    void detailChanged();
    void failureChanged();
    void infoChanged();
    void fullscreenChanged();
    void resolutionChanged();
    void storageSizeChanged();
    void quitRequested();

private:
    QCoro::Task<> measure();
    static QString unknownSize() { return QStringLiteral("…"); }

    AppModel &app_;
    QString storageSize_ = unknownSize();
    int measurements_ = 0; // begun so far; only the latest counts
};

} // namespace brindle
