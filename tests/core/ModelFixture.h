#pragma once

#include "core/AppModel.h"
#include "demo/ReleaseHost.h"
#include "support/ManualClock.h"
#include "support/TestFiles.h"

#include <QTemporaryDir>

#include <atomic>
#include <memory>

namespace brindle {

/// Records the model's requests, and answers them as the test wants.
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
    /// Answers an open alert. Index 0 is the oldest.
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
    bool permitsStarts = true; ///< false: requests get no answer
    int answer = 0;            ///< the button pressed in every alert
    bool waits = false;        ///< alerts stay open until `press`
    QList<std::shared_ptr<QPromise<int>>> open;
};

/// Makes a model whose storage, temporary folder and settings lie in a folder of the fixture's own.
/// Change the public parts before the first call of `model`.
class ModelFixture
{
    QTemporaryDir folder_; // first, because the public parts lie in it

public:
    ModelFixture();
    ~ModelFixture() { restart(); }
    ModelFixture(const ModelFixture &) = delete;
    ModelFixture &operator=(const ModelFixture &) = delete;

    /// Returns the model, after its first search for the game. The first call makes the model.
    AppModel &model();
    /// Returns the model without waiting for its search.
    AppModel &modelAtStart();
    /// Returns the parts for another model.
    Dependencies parts() const;
    /// Cancels the running task and deletes the model. The next `model()` makes a new one.
    void restart();

    /// Serves events until no task runs.
    void waitUntilIdle();

    QString root() const { return folder_.filePath(QStringLiteral("data/Brindle")); }
    QString root(const QString &name) const { return root() + QLatin1Char('/') + name; }
    QString project() const { return root(QStringLiteral("Game/godot-brindle-main")); }
    QString temporaryFolder() const { return folder_.filePath(QStringLiteral("temporary")); }
    QString settingsFile() const { return folder_.filePath(QStringLiteral("settings.ini")); }
    QString saves() const { return EngineSpec::userDataFolder(platform); }

    /// Returns the names in the temporary folder.
    QStringList leftovers() const;

    /// Returns an engine as a shell script. An import exits with `importExit`. A game writes its
    /// arguments, one per line, into "play arguments" in the project folder, makes the FIFO
    /// "finish" there and prints "engine is playing". It exits with the code that a test writes
    /// into the FIFO.
    static QByteArray engineScript(int importExit = 0);
    /// Writes the files of a finished setup. The engine is the shell script `engine`.
    void installByHand(const QByteArray &engine = engineScript());
    /// Makes the playing engine script exit with a code.
    void finishGame(int code) const;

    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    std::shared_ptr<Clock> modelClock = std::make_shared<SteadyClock>();
    QUrl codeHost{QStringLiteral("http://127.0.0.1:1")}; // nothing listens there
    Platform platform;

private:
    static void finishLooks();

    std::unique_ptr<AppModel> model_;
};

/// Adds a release host and a manual clock to the model. The host offers a game, two add-ons and an
/// engine script.
class PipelineFixture : public ModelFixture
{
public:
    PipelineFixture();
    ~PipelineFixture() { restart(); }

    /// @param feature an additional feature of the project.
    static QByteArray projectFile(const QByteArray &version = QByteArrayLiteral("4.3"),
                                  const QByteArray &feature = {});
    /// Offers a game. `extra` maps the paths of more files to their content.
    void offerGame(const QByteArray &project = projectFile(),
                   const QMap<QString, QByteArray> &extra = {});
    void offerEngine(const QByteArray &script, const QString &version = QStringLiteral("4.3"),
                     bool mono = false);

    /// Returns a ".gitmodules" file with two add-ons on the host.
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
    /// Ends the game after a running time in seconds. The game exits with `code`.
    void finish(double seconds, int code);
    /// Lets the time for the last lines pass, then serves events until no task runs.
    void passTheEnd();
    /// Makes the host never answer a path. A request for it sets `stalled`.
    void stall(const QString &path);
    /// Makes the host answer a path with a status.
    void refuse(const QString &path, int status);

    ReleaseHost host;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::atomic<bool> stalled = false;

private:
    QTemporaryDir sources_;
};

} // namespace brindle
