#pragma once

#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace brindle {

/// An X display with a window manager, and hands to use it with. Main thread; blocks.
class Screen
{
public:
    /// Throws std::runtime_error when the display or the manager does not start.
    Screen();
    ~Screen();

    QString display() const { return display_; }
    /// Environment for its clients.
    QProcessEnvironment environment() const;

    /// The visible windows of exactly that title; ids as xdotool knows them.
    QStringList windows(const QString &title) const;
    /// The title of the window that has the keyboard; empty when none has.
    QString focusedTitle() const;
    /// Gives a window the keyboard, as Alt+Tab would, and waits until it has it.
    void activate(const QString &title) const;
    /// Presses keys, one after the other: names as in "Tab", "ctrl+q".
    void press(const QStringList &keys) const;
    /// The window manager's close button.
    void closeWindow(const QString &title) const;
    /// Asks the window manager for a size; returns the one that came of it.
    QSize resize(const QString &title, const QSize &size) const;

    /// The clipboard's text.
    QString clipboard() const;
    /// Puts a text of the test's own there.
    void setClipboard(const QString &text);

    /// What is seen on the whole display.
    QImage picture() const;

private:
    QByteArray run(const QString &program, const QStringList &arguments) const;

    QTemporaryDir frameBuffer_; // the server keeps its picture there
    QString display_;
    QProcess server_;
    QProcess manager_;
    QProcess clipboardOwner_;
};

} // namespace brindle
