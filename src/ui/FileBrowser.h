#pragma once

#include "platform/Platform.h"

#include <QCoroTask>
#include <QString>

namespace brindle {

/// Shows files in the user's file browser, through the commands that a platform names. Stateless.
class FileBrowser
{
public:
    /// Shows an existing file or folder, selected where a command can do that: the commands are
    /// tried in order until one exits with 0. False when none did. Main thread; never throws.
    static QCoro::Task<bool> reveal(QList<Platform::Command> commands, QString path);

    /// A command's arguments with its placeholders filled in: "{path}" the path, "{url}" its file
    /// address, "{folder}" the folder to open, which is the path itself if it is one.
    static QStringList arguments(const Platform::Command &command, const QString &path);
};

} // namespace brindle
