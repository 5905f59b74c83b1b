#include "support/Tree.h"

#include "support/TestFiles.h"

#include <filesystem>

namespace brindle {

using namespace Qt::StringLiterals;

Tree Tree::read(const QString &folder)
{
    namespace fs = std::filesystem;
    Tree tree;
    const fs::path top = folder.toStdString();
    std::error_code isMissing;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(top, isMissing)) {
        const QString path = QString::fromStdString(entry.path().lexically_relative(top).string());
        if (entry.is_symlink()) {
            tree.add(path, QByteArray::fromStdString(fs::read_symlink(entry).string()), Type::link);
        } else if (!entry.is_directory()) {
            const bool isProgram =
                (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
            tree.add(path, readFile(QString::fromStdString(entry.path().string())),
                     isProgram ? Type::program : Type::file);
        } else if (fs::is_empty(entry)) {
            tree.add(path, {}, Type::emptyFolder);
        }
    }
    return tree;
}

void Tree::write(const QString &folder) const
{
    for (auto it = entries_.begin(); it != entries_.end(); ++it) {
        const QString path = folder + u'/' + it.key();
        QDir().mkpath(it->type == Type::emptyFolder ? path : QFileInfo(path).path());
        if (it->type == Type::link) {
            QFile::link(QFile::decodeName(it->content), path);
        } else if (it->type != Type::emptyFolder) {
            writeFile(path, it->content, it->type == Type::program);
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
