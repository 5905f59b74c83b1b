#pragma once

#include "support/Screen.h"

#include <memory>

namespace brindle {

/// The installed launcher on a screen, for a new user whose folders are empty. Call from the main
/// thread. Blocks.
class Launcher
{
public:
    explicit Launcher(Screen &screen);
    /// Kills the launcher and its games.
    ~Launcher();

    /// Starts the launcher and waits until its window has the keyboard.
    void open();
    /// Starts the launcher once more, as from another login. Returns the exit code.
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

    // The window's content.

    void waitForSheet() const;
    /// Waits until an alert takes keys.
    void waitForAlert() const;
    /// Waits until no sheet or alert is open.
    void waitForContent() const;
    enum class Status { gray, orange, red, green };
    void waitForStatus(Status status) const;
    /// Waits until Play can be pressed, or can't.
    void waitForPlay(bool offered = true) const;

    // The keyboard in the main window. It starts on Play.

    /// Presses the button behind that many Tabs.
    void pressAfterTabs(int tabs) const;
    /// Presses Play once it can be pressed.
    void play() const;
    /// Presses keys that copy another text than the last one. Returns it.
    QString copied(const QStringList &keys) const;
    /// Returns the log as its sheet copies it. "Show log" lies behind that many Tabs. The keyboard
    /// is on Play again afterwards.
    QString log(int tabs = 1) const;
    /// Presses Cancel or Stop, from "Show log", which has the keyboard after Play.
    void pressEnd() const;
    /// Opens the settings from Play and presses the button that many Shift+Tabs before Done.
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
