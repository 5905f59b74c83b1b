#pragma once

#include <QString>
#include <QStringList>

#include <chrono>
#include <functional>
#include <optional>

namespace brindle {

/// One run of the launcher that is tortured, from its start to its end or its violent death.
struct LauncherRun
{
    /// What every run of a round has in common.
    struct Setting
    {
        QString program;   ///< the torture-launcher
        QString home;      ///< the user's folder
        QString temporary; ///< the temporary folder
        QString host;      ///< the code host's address
        QString programs;  ///< the folder of the launcher's helper programs
    };

    QStringList lines;   ///< what it printed
    bool killed = false; ///< it was, and had not ended by itself before
    bool good = false;   ///< it came to a good end
    std::chrono::milliseconds time{0};

    /// What it was doing last: a headline without numbers, or "Starting", "Ended".
    QString phase() const;
    /// The lines of the launcher's log.
    QStringList log() const;

    /// Runs it; blocks. With `killAfter` it gets SIGKILL that long after its start, and
    /// `beforeKill` is called just before, also when it has ended by then.
    static LauncherRun of(const Setting &setting, const QString &action,
                          std::optional<std::chrono::milliseconds> killAfter = {},
                          const std::function<void()> &beforeKill = {});
};

} // namespace brindle
