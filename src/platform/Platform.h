#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace brindle {

/// The running system, described by data. Every row is a plain value, so any row can be tested on
/// any system with stand-in tools at other paths.
struct Platform
{
    /// A program (an absolute path, or a name that is looked up in $PATH) and its arguments. An
    /// argument may hold placeholders: "{path}" (a file's path), "{folder}" (a folder's path).
    struct Command
    {
        QString program;
        QStringList arguments;

        /// The arguments with their placeholders filled in. What is filled in is not searched for
        /// placeholders.
        QStringList filled(const QString &path, const QString &folder) const;
    };

    enum class System { macOS, linuxDesktop };
    System system = System::linuxDesktop;
    /// As QSysInfo::currentCpuArchitecture() names it; empty on macOS, whose programs run on all.
    QString architecture;
    /// The folder in which programs keep the user's data, without a slash at its end.
    QString dataFolder;

    /// Absolute path of the program that unpacks zip archives (ditto's command line).
    QString archiveTool;

    /// Clears the quarantine flag below "{folder}"; no program where there is no such flag.
    Command quarantineStep;

    /// The service on the session's message bus that shows files in the file browser; empty where
    /// there is no such thing.
    QString fileManager;
    /// How else to show "{path}" in the file browser: tried in order until one exits with 0.
    /// "{folder}" is the path itself when it is a folder, otherwise the one that holds it.
    QList<Command> reveal;

    /// The row of the running system. @param privatePrograms folder of the launcher's own helper
    /// programs.
    static Platform current(const QString &privatePrograms);

    /// The rows. @param home the user's home folder; @param dataFolder `$XDG_DATA_HOME` or
    /// "~/.local/share".
    static Platform macOS(const QString &home);
    static Platform linuxDesktop(const QString &dataFolder, const QString &architecture,
                                 const QString &privatePrograms);
};

} // namespace brindle
