#pragma once

#include "PipelineFixture.h"

#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

namespace brindle {

/// The launcher without its window as a process of its own, for a user of its own. Main thread.
class ConsoleLauncher
{
public:
    ConsoleLauncher();
    /// Kills it if it still runs.
    ~ConsoleLauncher();

    /// Variables for it alone; before `play`.
    void setVariable(const QString &name, const QString &value);

    /// The folder of its helper programs, in place of its own; before `play`.
    void setPrograms(const QString &folder) { programs_ = folder; }

    /// Starts it and presses Play, against the host of a fixture.
    void play(const QUrl &host);
    /// Serves events until it has printed a line that contains the text.
    void waitFor(const QString &text);
    /// Serves events until it has ended; its exit code, -1 when it was killed.
    int waitForEnd();
    /// As the system's end of session does.
    void terminate() { process_.terminate(); }
    void kill() { process_.kill(); }

    bool hasPrinted(const QString &text) const;
    /// What it has printed so far.
    const QStringList &lines() const { return lines_; }

    QString project() const;
    QString root() const { return data() + QStringLiteral("/Brindle"); }
    /// All below the user's data folder.
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

} // namespace brindle
