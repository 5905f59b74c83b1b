#pragma once

#include "Screen.h"

#include <QProcess>
#include <QTemporaryDir>

#include <memory>

namespace brindle {

/// The installed launcher, for a user of the test's own, on a screen. Main thread; blocks.
class Launcher
{
public:
    /// @param program the installed one. The user has just moved in: every folder is empty.
    Launcher(QString program, Screen &screen);
    /// Kills what still runs of the launcher and of its games.
    ~Launcher();

    /// Starts it, and waits until its window has the keyboard.
    void open();
    /// Starts the launcher once more, as from another login. Returns its exit code.
    int openAgain();
    /// Starts so many at once and waits until one is left, which is the launcher from then on; how
    /// many ended with 0.
    int openManyAtOnce(int count);
    bool isRunning() const { return process_->state() != QProcess::NotRunning; }
    /// Waits for its end; the exit code, or -1 when it crashed.
    int waitForEnd();
    void kill() { process_->kill(); }
    void terminate() { process_->terminate(); }

    /// Its windows on the screen, by the screen's ids.
    QStringList windows() const;
    /// Waits until a sheet lies over the window.
    void waitForSheet() const;
    /// Waits until an alert lies over the window and listens to the keyboard.
    void waitForAlert() const;
    /// Waits until no sheet or alert is open.
    void waitForContent() const;

    QString storage(const QString &name = {}) const;
    QString project() const { return storage(QStringLiteral("Game/godot-brindle-main")); }
    /// What shows that the engine has imported the game.
    QString importMarker() const { return storage(QStringLiteral("imported-4.3-stable.txt")); }
    /// What is left in the temporary folder.
    QStringList leftovers() const;
    /// The games that run now.
    QList<qint64> games() const;
    /// The title of the game's window.
    static QString gameTitle() { return QStringLiteral("Brindle Skirmish (DEBUG)"); }
    void waitForGame() const;
    void waitForNoGame() const;

    /// What the status shows.
    enum class Status { gray, orange, red, green };
    void waitForStatus(Status status) const;
    /// Waits until Play can be seen to be pressable, or not.
    void waitForPlay(bool offered = true) const;
    /// Waits for Play; a point of it on the screen, below its text.
    QPoint lowerPartOfPlay() const;
    /// Waits until the progress bar is filled to about that fraction of the width.
    void waitForProgress(double fraction) const;

    // By keyboard, in the main window.

    /// Presses the button that the keyboard reaches with so many Tabs from where it is.
    void pressAfterTabs(int tabs) const;
    /// Waits for Play, which has the keyboard when it can be pressed, and presses it.
    void play() const;
    /// The log, by its sheet's Copy button. Waits for Play, from where it starts and where the
    /// keyboard is again afterwards; Show log lies so many Tabs behind it.
    QString log(int tabs = 1) const;
    /// Presses Cancel or Stop, from Show log, which has the keyboard after Play was pressed by it.
    void pressEnd() const;
    /// Opens the settings from Play and presses the button so many Shift+Tabs before Done.
    void pressInSettings(int backTabs) const;

private:
    QProcessEnvironment environment() const;
    QByteArray testimony() const;
    QString logWhateverIsShown() const;

    const QString program_;
    Screen &screen_;
    QTemporaryDir home_;
    std::unique_ptr<QProcess> process_;
};

} // namespace brindle
