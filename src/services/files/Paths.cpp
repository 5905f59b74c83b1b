#include "files/Paths.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <memory>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

namespace brindle {

QString Paths::root()
{
    return root(QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation),
                QDir::homePath());
}

QString Paths::root(const QStringList &dataFolders, const QString &home)
{
    const QString dataFolder =
        dataFolders.isEmpty() ? QDir(home).filePath(QStringLiteral("Library/Application Support"))
                              : dataFolders.first();
    return QDir(dataFolder).filePath(QStringLiteral("Brindle"));
}

qint64 Paths::folderSize(const QString &folder)
{
    // POSIX counts st_blocks in 512 bytes on the systems that we run on, whatever the block size
    // of the file system is.
    constexpr qint64 blockSize = 512;

    qint64 total = 0;
    std::vector<QByteArray> waiting{QFile::encodeName(folder)};
    while (!waiting.empty()) {
        const QByteArray path = std::move(waiting.back());
        waiting.pop_back();
        const std::unique_ptr<DIR, decltype(&closedir)> stream(opendir(path.constData()),
                                                               &closedir);
        if (!stream) {
            continue;
        }
        while (const dirent *entry = readdir(stream.get())) {
            const QByteArray name(entry->d_name);
            struct stat status = {};
            if (name == "." || name == ".." ||
                fstatat(dirfd(stream.get()), name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
                continue;
            }
            if (S_ISDIR(status.st_mode)) {
                waiting.push_back(path + '/' + name);
            } else {
                total += static_cast<qint64>(status.st_blocks) * blockSize;
            }
        }
    }
    return total;
}

} // namespace brindle
