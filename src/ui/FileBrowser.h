#pragma once

#include "platform/Platform.h"

#include <QCoroTask>
#include <QString>

namespace brindle {

/// Shows files in the user's file browser, through the commands that a platform names. Stateless.
class FileBrowser
{
public:
    /// Shows an existing file or folder, selected where a command can do that; one that can only
    /// open folders gets the folder itself, or the one that a file lies in. The commands are tried
    /// in order until one exits with 0. False when none did. Main thread; never throws.
    static QCoro::Task<bool> reveal(QList<Platform::Command> commands, QString path);
};

} // namespace brindle
