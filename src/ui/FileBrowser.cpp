#include "ui/FileBrowser.h"

#include "services/Error.h"
#include "services/ManagedProcess.h"

#include <QFileInfo>
#include <QUrl>

namespace brindle {

namespace {

/// Everything but letters, digits and slashes is encoded: a comma, for one, separates the entries
/// of a list for the program that passes the address on.
QString fileAddress(const QString &path)
{
    const QByteArray encoded = path.toUtf8().toPercentEncoding(QByteArrayLiteral("/"));
    return QStringLiteral("file://") + QString::fromLatin1(encoded);
}

} // namespace

QStringList FileBrowser::arguments(const Platform::Command &command, const QString &path)
{
    const QFileInfo file(path);
    const QString folder = file.isDir() ? path : file.path();
    QStringList filled;
    for (const QString &argument : command.arguments) {
        // One pass, so that a path which holds a placeholder's text stays as it is.
        QString text;
        for (qsizetype i = 0; i < argument.size();) {
            const QStringView rest = QStringView(argument).sliced(i);
            const auto fill = [&](QStringView placeholder, const QString &value) {
                if (!rest.startsWith(placeholder)) {
                    return false;
                }
                text += value;
                i += placeholder.size();
                return true;
            };
            if (!fill(u"{path}", path) && !fill(u"{url}", fileAddress(path)) &&
                !fill(u"{folder}", folder)) {
                text += argument.at(i++);
            }
        }
        filled << text;
    }
    return filled;
}

QCoro::Task<bool> FileBrowser::reveal(QList<Platform::Command> commands, QString path)
{
    for (const Platform::Command &command : commands) {
        // What a file browser prints is of no use to anyone.
        ManagedProcess process(command.program, arguments(command, path), [](const QString &) {});
        try {
            auto running = process.run();
            const qint32 exitCode = co_await running;
            if (exitCode == 0) {
                co_return true;
            }
        } catch (const Error &) {
            // Not installed: the next one may be.
        }
    }
    co_return false;
}

} // namespace brindle
