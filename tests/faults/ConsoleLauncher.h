#pragma once

#include "PipelineFixture.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace brindle {

/// Runs the launcher without its window in a process and folders of its own. Main thread.
class ConsoleLauncher
{
public:
    ConsoleLauncher();
    /// Kills the process if it still runs.
    ~ConsoleLauncher();

    /// Sets a variable of its environment. Call before `play`.
    void setVariable(const QString &name, const QString &value);

    /// Sets the folder of its helper programs. Call before `play`.
    void setPrograms(const QString &folder) { programs_ = folder; }

    /// Starts the process, which presses Play against a fixture's host.
    void play(const QUrl &host);
    /// Serves events until a printed line contains the text.
    void waitFor(const QString &text);
    /// Serves events until the process ends. Returns its exit code, -1 when killed.
    int waitForEnd();
    /// Asks the process to end, as the end of a session does.
    void terminate() { process_.terminate(); }
    void kill() { process_.kill(); }

    bool hasPrinted(const QString &text) const;
    /// Returns all printed lines.
    const QStringList &lines() const { return lines_; }

    QString project() const;
    QString root() const { return data() + QStringLiteral("/Brindle"); }
    /// Returns the user's data folder.
    QString data() const { return home_.filePath(QStringLiteral("home/data")); }
    QString temporary() const { return home_.filePath(QStringLiteral("temporary")); }

private:
    void read();

    QTemporaryDir home_;
    QProcess process_;
    QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
    QString programs_;
    QStringList lines_;
};

/// Returns an engine whose imports and games do these steps of the test child.
QByteArray steppedEngine(const QString &importSteps, const QString &playSteps);

} // namespace brindle
