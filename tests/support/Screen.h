#pragma once

#include <QFile>
#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

namespace brindle {

/// An X display with a window manager and a keyboard. Call from the main thread. Blocks. Throws
/// std::runtime_error if a program does not start or a wait takes a minute.
class Screen
{
public:
    enum class Manager { none, openbox };

    /// @param panel height of a strip at the bottom that the window manager keeps free.
    explicit Screen(const QSize &size = {1400, 1000}, int panel = 0,
                    Manager manager = Manager::openbox);
    ~Screen();

    /// Returns the environment for programs on this display, without the developer's own style,
    /// proxies and scaling.
    QProcessEnvironment environment() const;

    /// Returns xdotool's ids of the visible windows with that title.
    QStringList windows(const QString &title) const;
    /// Returns the title of the window with the keyboard.
    QString focusedTitle() const;
    /// Gives a window the keyboard, as Alt+Tab would, and waits until the window has it.
    void activate(const QString &title) const;
    /// Presses keys one after the other. Names look like "Tab" or "ctrl+q".
    void press(const QStringList &keys) const;
    /// Closes a window with the window manager's key.
    void closeWindow(const QString &title) const;
    /// Returns a window's size without its frame.
    QSize size(const QString &window) const;
    /// Asks the window manager for a size. Returns the window's size afterwards.
    QSize resize(const QString &window, const QSize &wanted) const;

    QString clipboard() const;

    /// Returns the whole display's picture. It shares the X server's memory, so it changes whenever
    /// a program draws.
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
