#pragma once

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

namespace brindle {

/// An X display with a window manager, and a player's keyboard for it. Call from the main
/// thread. Blocks. Throws std::runtime_error when a program does not start or a wait takes a
/// minute.
class Screen
{
public:
    enum class Manager { none, openbox };

    /// @param panel height of a strip at the bottom that the manager keeps free.
    explicit Screen(const QSize &size = {1400, 1000}, int panel = 0,
                    Manager manager = Manager::openbox);
    ~Screen();

    /// Returns the environment for programs on this display, without the developer's own look,
    /// proxies and scaling.
    QProcessEnvironment environment() const;

    /// Returns the visible windows of that title, by their ids for xdotool.
    QStringList windows(const QString &title) const;
    /// Returns the title of the window with the keyboard.
    QString focusedTitle() const;
    /// Gives a window the keyboard, as Alt+Tab would, and waits until it has it.
    void activate(const QString &title) const;
    /// Presses keys one after the other. Their names are "Tab" or "ctrl+q".
    void press(const QStringList &keys) const;
    /// Closes a window by the window manager's key.
    void closeWindow(const QString &title) const;
    /// Returns a window's size without its frame.
    QSize size(const QString &window) const;
    /// Asks the window manager for a size. Returns the window's size afterwards.
    QSize resize(const QString &window, const QSize &wanted) const;

    QString clipboard() const;

    /// Returns the content of the whole display. The picture shares the X server's memory and
    /// changes with it, also while a program draws.
    const QImage &picture() const { return picture_; }

    /// Serves events until `done()` is true. Asks every 20 ms.
    static void wait(const QByteArray &what, const std::function<bool()> &done);

private:
    void startServer(const QSize &size);
    void startManager(int panel);
    QByteArray run(const QString &program, const QStringList &arguments) const;

    QTemporaryDir folder_;
    QString display_;
    QFile memory_; // the server's picture
    QImage picture_;
    QProcess server_;
    QProcess manager_;
};

} // namespace brindle
