#include "ui/FileBrowser.h"

#include "base/Error.h"
#include "process/ManagedProcess.h"

#include <QFileInfo>
#include <QStandardPaths>

namespace brindle {

QCoro::Task<bool> FileBrowser::reveal(QList<Platform::Command> commands, QString path)
{
    const QFileInfo file(path);
    const QString folder = file.isDir() ? path : file.path();
    for (const Platform::Command &command : commands) {
        const QString program = QStandardPaths::findExecutable(command.program);
        if (program.isEmpty()) {
            continue;
        }
        // What a file browser prints is of no use to anyone.
        ManagedProcess process(program, command.filled(path, folder), [](const QString &) {});
        try {
            auto running = process.run();
            const qint32 exitCode = co_await running;
            if (exitCode == 0) {
                co_return true;
            }
        } catch (const Error &) {
            // Ignored: found but not startable, and the next one may be.
        }
    }
    co_return false;
}

} // namespace brindle
