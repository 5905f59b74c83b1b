#pragma once

#include "core/AppModel.h"
#include "demo/ReleaseHost.h"
#include "support/ManualClock.h"
#include "support/TestFiles.h"

#include <QTemporaryDir>

#include <atomic>
#include <memory>

namespace brindle {

/// Records the model's requests and answers as the test says.
class RecordingDesktop final : public Desktop
{
public:
    QCoro::Task<int> runAlert(Alert alert) override
    {
        alerts << alert;
        if (waits) {
            const auto pressed = std::make_shared<QPromise<int>>();
            pressed->start();
            open << pressed;
            co_return co_await pressed->future();
        }
        co_return answer;
    }
    /// Answers an open alert; the oldest is the first.
    void press(int button, qsizetype index = 0)
    {
        const auto pressed = open.takeAt(index);
        pressed->addResult(button);
        pressed->finish();
    }
    void reveal(const QString &path) override { revealed << path; }
    void copyText(const QString &text) override { copied << text; }
    void openPage(const QUrl &page) override { opened << page; }
    QCoro::Task<QMap<QString, QString>> startPermission(std::stop_token stop) override
    {
        const QMap<QString, QString> permission{{QStringLiteral("XDG_ACTIVATION_TOKEN"),
                                                 QStringLiteral("start %1").arg(++askedStarts)}};
        if (permitsStarts) {
            co_return permission;
        }
        co_await SteadyClock().sleep(std::chrono::hours(1), stop);
        co_return {};
    }

    QList<Alert> alerts;
    QStringList revealed;
    QStringList copied;
    QList<QUrl> opened;
    int askedStarts = 0;
    bool permitsStarts = true; ///< false: never answers
    int answer = 0;            ///< button of every alert
    bool waits = false;        ///< alerts stay open until `press`
    QList<std::shared_ptr<QPromise<int>>> open;
};

/// A model whose storage, temporary folder and settings lie in a folder that is deleted with the
/// fixture. Change the public parts before the first call of `model`.
class ModelFixture
{
    QTemporaryDir folder_; // first, because the public parts lie in it

public:
    ModelFixture();
    ~ModelFixture() { restart(); }
    ModelFixture(const ModelFixture &) = delete;
    ModelFixture &operator=(const ModelFixture &) = delete;

    /// Returns the model, which has looked for the game. Makes it on first use.
    AppModel &model();
    /// Returns the model without waiting for that look.
    AppModel &modelAtStart();
    /// Returns the parts for another model.
    Dependencies parts() const;
    /// Cancels the running task and deletes the model. The next `model()` makes a new one.
    void restart();

    /// Serves events until no task runs.
    void waitUntilIdle(int seconds = 60);

    QString root() const { return folder_.filePath(QStringLiteral("data/Brindle")); }
    QString root(const QString &name) const { return root() + QLatin1Char('/') + name; }
    QString project() const { return root(QStringLiteral("Game/godot-brindle-main")); }
    QString temporaryFolder() const { return folder_.filePath(QStringLiteral("temporary")); }
    QString settingsFile() const { return folder_.filePath(QStringLiteral("settings.ini")); }
    QString saves() const { return EngineSpec::userDataFolder(platform); }

    /// Returns the names in the temporary folder.
    QStringList leftovers() const;

    /// Returns an engine as a shell script. An import exits with `importExit`. A game writes its
    /// arguments, one a line, into "play arguments" in the project folder, makes the FIFO "finish"
    /// there, prints "engine is playing", and exits with the code that is written into the FIFO.
    static QByteArray engineScript(int importExit = 0);
    /// Writes the files of a finished setup. The engine is the shell script `engine`.
    void installByHand(const QByteArray &engine = engineScript());
    /// Ends the playing engine script with a code.
    void finishGame(int code) const;

    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    std::shared_ptr<Clock> modelClock = std::make_shared<SteadyClock>();
    QUrl codeHost{QStringLiteral("http://127.0.0.1:1")}; // nothing listens there
    Platform platform;

private:
    static void finishLooks();

    std::unique_ptr<AppModel> model_;
};

/// A model with a release host and a manual clock. The host offers a game, two add-ons and an
/// engine script.
class PipelineFixture : public ModelFixture
{
public:
    PipelineFixture();
    ~PipelineFixture() { restart(); }

    /// @param feature one more feature of the project.
    static QByteArray projectFile(const QByteArray &version = QByteArrayLiteral("4.3"),
                                  const QByteArray &feature = {});
    /// Offers a game with more files: content by path.
    void offerGame(const QByteArray &project = projectFile(),
                   const QMap<QString, QByteArray> &extra = {});
    void offerEngine(const QByteArray &script, const QString &version = QStringLiteral("4.3"),
                     bool mono = false);

    /// Lists two add-ons on the host.
    QByteArray gitmodules() const;

    /// Runs the pipeline without launch and serves events until it has ended.
    void setUp();
    /// Presses Play and serves events until no task runs.
    void playToTheEnd();
    /// Presses Play and serves events until the engine script prints that it is playing.
    void playUntilOpen();
    /// Serves events until the log holds a line that contains the text.
    void waitForLine(const QString &text);
    bool logHas(const QString &line) { return model().log.lines().contains(line); }
    /// Ends the game with a code after a running time in seconds.
    void finish(double seconds, int code);
    /// Lets the time for the last lines pass and serves events until no task runs.
    void passTheEnd();
    /// Never answers a path. A request sets `stalled`.
    void stall(const QString &path);
    /// Answers a path with a status.
    void refuse(const QString &path, int status);

    ReleaseHost host;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::atomic<bool> stalled = false;

private:
    QTemporaryDir sources_;
};

} // namespace brindle
