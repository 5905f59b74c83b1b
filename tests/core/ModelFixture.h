#pragma once

#include "RecordingDesktop.h"

#include "base/Clock.h"
#include "core/AppModel.h"
#include "core/Dependencies.h"

#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// A model of the test's own: storage, temporary folder and settings in a folder that goes with
/// the fixture. The parts may be changed before `model` is first called.
class ModelFixture
{
    QTemporaryDir folder_; // first: the public parts lie in it

public:
    /// @param clock time as the model measures it. @param codeHost base address; one that nothing
    /// listens on by default.
    explicit ModelFixture(std::shared_ptr<Clock> clock,
                          QUrl codeHost = QUrl(QStringLiteral("http://127.0.0.1:1")));
    ~ModelFixture();

    /// Made on first use; has looked for the game by then.
    AppModel &model();
    /// The same, right after its constructor.
    AppModel &modelAtStart();
    /// Ends the model, as quitting does; the next `model()` is a new start.
    void restart();

    /// Serves events until no task runs.
    void waitUntilIdle(int seconds = 60);

    QString root() const { return folder_.filePath(QStringLiteral("data/Brindle")); }
    QString root(const QString &name) const { return root() + QLatin1Char('/') + name; }
    QString temporaryFolder() const { return folder_.filePath(QStringLiteral("temporary")); }
    QString settingsFile() const { return folder_.filePath(QStringLiteral("settings.ini")); }
    QString saves() const { return EngineSpec::userDataFolder(platform); }

    /// What is left in the temporary folder.
    QStringList leftovers() const;

    /// Puts a game and an engine that are complete into the storage root, as a finished setup
    /// leaves them. The engine is the shell script `engine`.
    void installByHand(const QByteArray &engine, const QString &version = QStringLiteral("4.3"));

    static void write(const QString &path, const QByteArray &content, bool executable = false);
    static QByteArray read(const QString &path);

    /// An engine as a shell script. It writes its arguments, one a line, into "import arguments" or
    /// "play arguments" in the project folder. Importing exits with `importExit`. Playing makes a
    /// FIFO "finish" there, prints "engine is playing", and ends with the code that is written into
    /// the FIFO.
    static QByteArray engineScript(int importExit = 0);
    /// Ends the playing engine script with a code.
    static void finishGame(const QString &projectFolder, int code);

    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    std::shared_ptr<Clock> clock;
    QUrl codeHost;
    Platform platform;
    QSettings::Format settingsFormat = QSettings::IniFormat;

private:
    std::unique_ptr<AppModel> model_;
};

} // namespace brindle
