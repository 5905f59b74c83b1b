#pragma once

#include "RecordingDesktop.h"

#include "base/Clock.h"
#include "core/AppModel.h"
#include "core/Dependencies.h"

#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// A model whose storage, temporary folder and settings lie in a folder that is deleted with the
/// fixture. Change the public parts before the first call of `model`.
class ModelFixture
{
    QTemporaryDir folder_; // first, because the public parts lie in it

public:
    ModelFixture();
    ~ModelFixture();

    /// Made on first use. Has looked for the game when this returns.
    AppModel &model();
    /// The same without waiting for the look.
    AppModel &modelAtStart();
    /// Deletes the model, as quitting does. The next `model()` makes a new one.
    void restart();

    /// Serves events until no task runs.
    void waitUntilIdle(int seconds = 60);

    QString root() const { return folder_.filePath(QStringLiteral("data/Brindle")); }
    QString root(const QString &name) const { return root() + QLatin1Char('/') + name; }
    QString temporaryFolder() const { return folder_.filePath(QStringLiteral("temporary")); }
    QString settingsFile() const { return folder_.filePath(QStringLiteral("settings.ini")); }
    QString saves() const { return EngineSpec::userDataFolder(platform); }

    /// Returns the names in the temporary folder.
    QStringList leftovers() const;

    /// Writes what a finished setup leaves. The engine is the shell script `engine`.
    void installByHand(const QByteArray &engine, const QString &version = QStringLiteral("4.3"));

    static void write(const QString &path, const QByteArray &content, bool executable = false);
    static QByteArray read(const QString &path);

    /// Returns an engine as a shell script. It writes its arguments, one a line, into "import
    /// arguments" or "play arguments" in the project folder. An import exits with `importExit`. A
    /// game makes the FIFO "finish" there, prints "engine is playing", and exits with the code that
    /// is written into the FIFO.
    static QByteArray engineScript(int importExit = 0);
    /// Ends the playing engine script with a code.
    static void finishGame(const QString &projectFolder, int code);

    std::shared_ptr<RecordingDesktop> desktop = std::make_shared<RecordingDesktop>();
    std::shared_ptr<Clock> modelClock = std::make_shared<SteadyClock>();
    QUrl codeHost{QStringLiteral("http://127.0.0.1:1")}; // nothing listens there
    Platform platform;
    QSettings::Format settingsFormat = QSettings::IniFormat;

private:
    std::unique_ptr<AppModel> model_;
};

} // namespace brindle
