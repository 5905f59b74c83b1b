#include "Tree.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <stdexcept>

namespace brindle {

using namespace Qt::StringLiterals;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(unreadable)");
}

Tree Tree::read(const QString &folder)
{
    Tree tree;
    const QDir top(folder);
    QDirIterator found(folder,
                       QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (found.hasNext()) {
        found.next();
        const QFileInfo info = found.fileInfo();
        const QString path = top.relativeFilePath(info.filePath());
        if (info.isSymLink()) {
            const auto target = std::filesystem::read_symlink(info.filePath().toStdString());
            tree.add(path, QByteArray::fromStdString(target.string()), Type::link);
        } else if (info.isDir()) {
            if (QDir(info.filePath())
                    .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System |
                             QDir::NoDotAndDotDot)) {
                tree.add(path, QByteArray(), Type::emptyFolder);
            }
        } else {
            tree.add(path, contentOf(info.filePath()),
                     info.isExecutable() ? Type::program : Type::file);
        }
    }
    return tree;
}

void Tree::write(const QString &folder) const
{
    QDir(folder).removeRecursively();
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        const QString path = folder + u'/' + it.key();
        QDir().mkpath(it->type == Type::emptyFolder ? path : QFileInfo(path).path());
        bool written = true;
        if (it->type == Type::link) {
            written = QFile::link(QFile::decodeName(it->content), path);
        } else if (it->type != Type::emptyFolder) {
            QFile file(path);
            written =
                file.open(QIODevice::WriteOnly) && file.write(it->content) == it->content.size();
            if (it->type == Type::program) {
                file.setPermissions(file.permissions() | QFile::ExeOwner | QFile::ExeUser |
                                    QFile::ExeGroup | QFile::ExeOther);
            }
        }
        if (!written) {
            throw std::runtime_error("can't write " + path.toStdString());
        }
    }
}

void Tree::add(const QString &path, const QByteArray &content, Type type)
{
    entries_.insert(path, {type, content});
}

void Tree::add(const QString &folder, const Tree &tree)
{
    for (auto it = tree.entries_.begin(); it != tree.entries_.end(); ++it) {
        entries_.insert(folder + u'/' + it.key(), *it);
    }
}

Tree Tree::below(const QString &folder) const
{
    Tree part;
    const QString prefix = folder + u'/';
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (it.key().startsWith(prefix)) {
            part.entries_.insert(it.key().mid(prefix.size()), *it);
        }
    }
    return part;
}

Tree Tree::without(const QString &folder) const
{
    Tree rest;
    const QString prefix = folder + u'/';
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (it.key() != folder && !it.key().startsWith(prefix)) {
            rest.entries_.insert(it.key(), *it);
        }
    }
    return rest;
}

QStringList Tree::differences(const Tree &expected, Added added) const
{
    QStringList lines;
    for (auto it = expected.entries_.begin(); it != expected.entries_.end(); ++it) {
        const auto mine = entries_.find(it.key());
        if (mine == entries_.end()) {
            lines << u"missing: "_s + it.key();
        } else if (mine->type != it->type) {
            lines << u"of another type: "_s + it.key();
        } else if (mine->content != it->content) {
            lines << u"of another content: "_s + it.key();
        }
    }
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        if (added == Added::counts && !expected.entries_.contains(it.key())) {
            lines << u"added: "_s + it.key();
        }
    }
    return lines;
}

} // namespace brindle
