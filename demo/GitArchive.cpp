#include "demo/GitArchive.h"

#include "demo/ZipWriter.h"

#include <QCryptographicHash>
#include <QDirIterator>

#include <filesystem>
#include <map>
#include <stdexcept>

namespace brindle {

namespace {

// The only modes that git stores (git-fast-import(1)); plain files get none.
constexpr quint32 executableMode = 0100755;
constexpr quint32 linkMode = 0120777;

struct Entry
{
    QByteArray content; ///< or a link's target
    quint32 mode = 0;
    bool isFolder = false;
};

Entry read(const QFileInfo &file)
{
    if (file.isSymLink()) {
        // Qt returns a link's target only as an absolute path.
        const auto target = std::filesystem::read_symlink(file.filePath().toStdString());
        return {QByteArray::fromStdString(target.string()), linkMode};
    }
    QFile content(file.filePath());
    if (!content.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + file.filePath().toStdString());
    }
    return {content.readAll(), file.permission(QFile::ExeOwner) ? executableMode : 0};
}

} // namespace

QByteArray GitArchive::pack(const QString &folder, const QString &topFolder,
                            const QMap<QString, QByteArray> &extraFiles)
{
    std::map<QByteArray, Entry> tree; // in git's order
    const QDir top(folder);
    QDirIterator files(folder,
                       QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString path = top.relativeFilePath(files.next());
        const bool isFolder = files.fileInfo().isDir() && !files.fileInfo().isSymLink();
        if (!isFolder && !path.startsWith(u".git/") && !path.contains(u".godot/")) {
            tree[path.toUtf8()] = read(files.fileInfo());
        }
    }
    for (auto file = extraFiles.begin(); file != extraFiles.end(); ++file) {
        tree[file.key().toUtf8()] = {file.value()};
    }
    QByteArray &modules = tree[".gitmodules"].content;
    for (const QByteArray &line : modules.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals > 0 && line.left(equals).trimmed() == "path") {
            const QByteArray module = line.mid(equals + 1).trimmed();
            std::erase_if(tree,
                          [&](const auto &file) { return file.first.startsWith(module + '/'); });
            tree[module].isFolder = true;
        }
    }
    if (modules.isEmpty()) {
        tree.erase(".gitmodules");
    }

    ZipWriter writer;
    writer.addFolder(topFolder);
    QCryptographicHash commit(QCryptographicHash::Sha1);
    for (const auto &[path, entry] : tree) {
        const QString name = topFolder + u'/' + QString::fromUtf8(path);
        if (entry.isFolder) {
            writer.addFolder(name);
        } else {
            writer.add(name, entry.content, entry.mode);
        }
        commit.addData(path + '\0' + entry.content);
    }
    writer.setComment(commit.result().toHex());
    return writer.close();
}

} // namespace brindle
