#pragma once

#include "support/Screen.h"

#include <memory>

namespace brindle {

/// Drives the installed launcher on a screen, for a user with empty folders. Call from the main
/// thread. Blocks.
class Launcher
{
public:
    explicit Launcher(Screen &screen);
    /// Kills the launcher and its games.
    ~Launcher();

    /// Starts the launcher and waits until its window has the keyboard.
    void open();
    /// Starts a second launcher, as from another login. Returns its exit code.
    int openAgain();
    bool isRunning() const { return process_->state() != QProcess::NotRunning; }
    /// Returns the exit code, or -1 after a crash.
    int waitForEnd();
    void kill() { process_->kill(); }
    void terminate() { process_->terminate(); }

    QString storage(const QString &name = {}) const;
    QString project() const { return storage(QStringLiteral("Game/godot-brindle-main")); }
    /// Returns the names of the staging folders.
    QStringList leftovers() const;
    /// Returns the process numbers of the running games.
    QList<qint64> games() const;
    void waitForGame() const;
    void waitForNoGame() const;
    /// Returns the launcher's windows, by the screen's ids.
    QStringList windows() const { return screen_.windows(title); }

    // The functions below look at the window's picture.

    void waitForSheet() const;
    /// Waits until an alert accepts keys.
    void waitForAlert() const;
    /// Waits until no sheet or alert is open.
    void waitForContent() const;
    enum class Status { gray, orange, red, green };
    void waitForStatus(Status status) const;
    /// Waits until Play can be pressed, or can't.
    void waitForPlay(bool offered = true) const;

    // The functions below press keys in the main window. At first Play has the focus.

    /// Presses Tab that many times, then the focused button.
    void pressAfterTabs(int tabs) const;
    /// Presses Play once it can be pressed.
    void play() const;
    /// Presses keys that copy a text. Waits for a new text on the clipboard, and returns it.
    QString copied(const QStringList &keys) const;
    /// Copies the log from its sheet and returns it. Presses Tab that many times to reach "Show
    /// log". Afterwards Play has the focus again.
    QString log(int tabs = 1) const;
    /// Presses Cancel or Stop. "Show log" must have the focus, as it has after Play.
    void pressEnd() const;
    /// Opens the settings from Play, presses Shift+Tab that many times, then the focused button.
    void pressInSettings(int backTabs) const;

    inline static const QString title = QStringLiteral("Brindle");
    inline static const QString gameTitle = QStringLiteral("Brindle Skirmish (DEBUG)");

private:
    QProcessEnvironment environment() const;

    Screen &screen_;
    QTemporaryDir home_;
    std::unique_ptr<QProcess> process_;
};

} // namespace brindle
