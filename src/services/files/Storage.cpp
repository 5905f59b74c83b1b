#include "files/Storage.h"

#include "base/Error.h"
#include "files/Files.h"

#include <QFile>

#include <memory>

#include <fts.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

using namespace Qt::StringLiterals;

namespace {

constexpr auto importMarkerPrefix = "imported-"_L1;

/// Returns the root or its parent if another user owns it, else an empty text. The administrator is
/// not another user.
QString foreignFolder(const Storage &storage)
{
    for (const QString &folder : {storage.root, storage.parentFolder()}) {
        const QFileInfo info(folder);
        if (info.exists() && info.ownerId() != geteuid() && info.ownerId() != 0) {
            return folder;
        }
    }
    return {};
}

} // namespace

void Storage::checkOwner() const
{
    if (const QString folder = foreignFolder(*this); !folder.isEmpty()) {
        throw SetupError(
            u"The folder %1 belongs to another user, so Brindle does not use it."_s.arg(folder));
    }
}

void Storage::clearMarkers() const
{
    for (const QString &name : Files::names(root)) {
        if (name.startsWith(importMarkerPrefix)) {
            QFile::remove(root + u'/' + name);
        }
    }
}

void Storage::clearLeftovers(const std::stop_token &stop) const
{
    Files::removeLeftovers(root, stop);
    Files::removeLeftovers(parentFolder(), stop);
}

void Storage::removeAll(const std::stop_token &stop) const
{
    const QFileInfo info(root);
    if (!foreignFolder(*this).isEmpty()) {
        return;
    }
    if (!info.isSymLink()) {
        return Files::remove(root, stop);
    }
    const QString folder = info.canonicalFilePath();
    for (const QString &entry : {gameFolder(), enginesFolder(), infoFile(), unfinishedMark()}) {
        Files::remove(entry, stop);
    }
    clearMarkers();
    Files::removeLeftovers(root, stop);
    if (folder.isEmpty() || QDir().rmdir(folder)) {
        QFile::remove(root);
    }
}

QString Paths::root(const QStringList &dataFolders, const QString &home)
{
    const QString dataFolder =
        dataFolders.isEmpty() ? QDir(home).filePath(QStringLiteral("Library/Application Support"))
                              : dataFolders.first();
    return QDir(dataFolder).absoluteFilePath(QStringLiteral("Brindle"));
}

qint64 Paths::folderSize(const QString &folder)
{
    // Linux and macOS count st_blocks in 512 bytes on every file system.
    constexpr qint64 blockSize = 512;

    qint64 total = 0;
    QByteArray name = QFile::encodeName(folder);
    char *const roots[] = {name.data(), nullptr};
    const std::unique_ptr<FTS, int (*)(FTS *)> tree(
        fts_open(roots, FTS_PHYSICAL | FTS_COMFOLLOW | FTS_NOCHDIR, nullptr), &fts_close);
    while (const FTSENT *entry = tree ? fts_read(tree.get()) : nullptr) {
        const auto kind = entry->fts_info;
        const bool isFile = kind == FTS_F || kind == FTS_SL || kind == FTS_DEFAULT;
        if (isFile && entry->fts_level > FTS_ROOTLEVEL) {
            total += static_cast<qint64>(entry->fts_statp->st_blocks) * blockSize;
        }
    }
    return total;
}

} // namespace brindle
