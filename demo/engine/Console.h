#pragma once

#include <QByteArray>
#include <QString>

/// What the engine prints. Each call is one write, so that lines of the two streams stay in order
/// in a shared pipe.
class Console
{
public:
    static void print(const QString &line = {});
    /// On standard error.
    static void error(const QString &line);
    /// One line of a task's progress, with the engine's colour escapes.
    static void progress(int percent, const QString &task, const QString &text);
    static void taskDone(const QString &task);
};
