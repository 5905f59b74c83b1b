#pragma once

#include <QProcess>
#include <QString>
#include <QStringList>

#include <chrono>

namespace brindle {

/// Runs the launcher without a window (tests/torture/launcher.cpp) as a child process. Blocks.
class ConsoleLauncher
{
public:
    struct Setting
    {
        QString home;      ///< the user's folder
        QString temporary; ///< the temporary folder
        QString host;      ///< the code host's address
        QString programs;  ///< the folder of the launcher and its helper programs

        /// Returns the storage root, or a path in it.
        QString root(const QString &name = {}) const;
    };

    explicit ConsoleLauncher(Setting setting);
    /// Kills the process if it still runs.
    ~ConsoleLauncher();

    /// Starts the process. launcher.cpp lists the values of `action`.
    void start(const QString &action = QStringLiteral("play"));
    /// Returns whether the process ended within that time.
    bool waitForEnd(std::chrono::milliseconds longest = std::chrono::minutes(2));
    /// Asks the process to end, as at the end of a session.
    void terminate() { process_.terminate(); }
    void kill();

    /// Returns whether the process has ended by a signal.
    bool wasKilled() const { return process_.exitStatus() == QProcess::CrashExit; }
    /// Returns whether the action succeeded.
    bool isGood() const { return !wasKilled() && process_.exitCode() == 0; }

    /// Returns all printed lines.
    const QStringList &lines() const { return lines_; }
    /// Returns the lines that begin with `mark`, without it.
    QStringList marked(const QString &mark) const;
    /// Returns the last headline without numbers, or "Starting", or "Ended".
    QString phase() const;

private:
    void read();

    const Setting setting_;
    QProcess process_;
    QStringList lines_;
};

} // namespace brindle
