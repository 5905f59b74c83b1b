#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace brindle {

/// Describes a system by data. Tests can use any row on any system.
struct Platform
{
    struct Command
    {
        QString program;       ///< an absolute path, or a name found through $PATH
        QStringList arguments; ///< "{path}" stands for a file or folder

        /// Returns the arguments with the placeholder replaced.
        QStringList filled(const QString &path) const;
    };

    enum class System { macOS, linuxDesktop };
    System system = System::linuxDesktop;
    /// A name from QSysInfo::currentCpuArchitecture(). Empty on macOS, where one build runs on all.
    QString architecture;
    /// The folder for the user's data, without a slash at its end.
    QString dataFolder;

    /// Absolute path of the program that unpacks zip archives, with ditto's command line.
    QString archiveTool;

    /// Clears the quarantine flag below "{path}". Empty on systems without that flag.
    Command quarantineStep;

    /// Shows the folder "{path}" in the file browser.
    Command reveal;

    /// Returns the row for the running system.
    /// @param privatePrograms folder of the launcher's own helper programs.
    static Platform current(const QString &privatePrograms);

    /// The rows, one for each system.
    /// @param home the user's home folder.
    /// @param dataFolder `$XDG_DATA_HOME` or "~/.local/share".
    static Platform macOS(const QString &home);
    static Platform linuxDesktop(const QString &dataFolder, const QString &architecture,
                                 const QString &privatePrograms);
};

} // namespace brindle
