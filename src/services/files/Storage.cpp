#include "files/Storage.h"

#include "files/Files.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <fts.h>
#include <sys/stat.h>

namespace brindle {

void Storage::clearMarkers() const
{
    for (const QString &name : Files::names(root)) {
        if (name.startsWith(u"imported-")) {
            QFile::remove(root + u'/' + name);
        }
    }
}

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
    QByteArray name = QFile::encodeName(folder);
    char *const roots[] = {name.data(), nullptr};
    FTS *const tree = fts_open(roots, FTS_PHYSICAL | FTS_COMFOLLOW | FTS_NOCHDIR, nullptr);
    while (const FTSENT *entry = tree ? fts_read(tree) : nullptr) {
        const auto kind = entry->fts_info;
        const bool isFile = kind == FTS_F || kind == FTS_SL || kind == FTS_DEFAULT;
        if (isFile && entry->fts_level > FTS_ROOTLEVEL) {
            total += static_cast<qint64>(entry->fts_statp->st_blocks) * blockSize;
        }
    }
    if (tree) {
        fts_close(tree);
    }
    return total;
}

} // namespace brindle
