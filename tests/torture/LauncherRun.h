#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

namespace brindle {

/// One run of the tortured launcher, from its start to its end or its violent death.
struct LauncherRun
{
    struct Setting
    {
        QString program;   ///< the torture-launcher
        QString home;      ///< the user's folder
        QString temporary; ///< the temporary folder
        QString host;      ///< the code host's address
        QString programs;  ///< the folder of the launcher's helper programs
    };

    QStringList lines;   ///< of the launcher's output
    bool killed = false; ///< and it had not ended by itself before
    bool good = false;   ///< it reached its aim
    std::chrono::milliseconds time{0};

    /// Returns what the launcher did last: a headline without numbers, or "Starting", "Ended".
    QString phase() const;
    /// Returns the lines that begin with `mark`, without it.
    QStringList marked(const QString &mark) const;

    /// Runs the launcher; blocks. With `killAfter` it gets SIGKILL that long after its start.
    /// `beforeKill` is called just before, even if the launcher has ended by then.
    static LauncherRun of(const Setting &setting, const QString &action,
                          std::optional<std::chrono::milliseconds> killAfter = {},
                          const std::function<void()> &beforeKill = {});
};

} // namespace brindle
