#pragma once

#include <QImage>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <functional>

namespace brindle {

/// An X display with a window manager, and hands to use it with. Main thread; blocks. What it waits
/// for in vain ends the test with an exception and leaves evidence.
class Screen
{
public:
    /// @param panel pixels at the bottom that windows keep free of. Throws std::runtime_error when
    /// the display or the manager does not start.
    explicit Screen(const QSize &size = {1400, 1000}, int panel = 0);
    ~Screen();

    QString display() const { return display_; }
    /// Environment for its clients.
    QProcessEnvironment environment() const;

    /// The visible windows of exactly that title; ids as xdotool knows them.
    QStringList windows(const QString &title) const;
    /// The window that has the keyboard, and its title; empty when none has.
    QString focusedWindow() const;
    QString focusedTitle() const;
    /// Gives a window the keyboard, as Alt+Tab would, and waits until it has it.
    void activate(const QString &title) const;
    /// Presses keys, one after the other: names as in "Tab", "ctrl+q".
    void press(const QStringList &keys) const;
    /// Clicks twice with the left mouse button, about as quickly as people do.
    void doubleClick(const QPoint &place) const;
    /// The window manager's close button.
    void closeWindow(const QString &title) const;
    /// A window's size without its frame.
    QSize size(const QString &window) const;
    /// Asks the window manager for a size; returns the one that came of it.
    QSize resize(const QString &window, const QSize &wanted) const;

    /// The clipboard's text.
    QString clipboard() const;
    /// Puts a text of the test's own there.
    void setClipboard(const QString &text);

    /// What is seen on the whole display.
    QImage picture() const;

    /// Serves events until `done()` is true; throws std::runtime_error when it takes a minute.
    void wait(const QByteArray &what, const std::function<bool()> &done) const;
    /// For a test that fails: writes a picture of the display and what the witness has to say to
    /// files named after the test's function; returns where they are.
    QByteArray keepEvidence() const;
    void setWitness(std::function<QByteArray()> witness) { witness_ = std::move(witness); }

private:
    QByteArray run(const QString &program, const QStringList &arguments) const;

    QTemporaryDir folder_; // the server keeps its picture there
    QString display_;
    QProcess server_;
    QProcess manager_;
    QProcess clipboardOwner_;
    std::function<QByteArray()> witness_;
};

} // namespace brindle
