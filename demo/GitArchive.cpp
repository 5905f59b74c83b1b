#include "demo/GitArchive.h"

#include "demo/ZipWriter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>
#include <map>
#include <set>
#include <stdexcept>
#include <variant>

namespace brindle {

namespace {

// The only modes that git knows (git-fast-import(1)); everything else is a plain file.
constexpr quint32 executableMode = 0100755;
constexpr quint32 linkMode = 0120777;

constexpr QStringView modulesFile = u".gitmodules";

struct Folder
{};
struct Link
{
    QByteArray target;
};
struct PlainFile
{
    QByteArray content;
    bool executable = false;
};
/// By path, in the byte order that git sorts by. Paths are UTF-8, below the top folder.
using Tree = std::map<QByteArray, std::variant<Folder, Link, PlainFile>>;

PlainFile read(const QFileInfo &entry)
{
    QFile file(entry.filePath());
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + entry.filePath().toStdString() + ": " +
                                 file.errorString().toStdString());
    }
    return {file.readAll(), entry.permission(QFile::ExeOwner)};
}

/// The link's own text. Qt only tells the absolute path that it leads to.
Link readLink(const QFileInfo &entry)
{
    return {QByteArray::fromStdString(
        std::filesystem::read_symlink(entry.filePath().toStdString()).string())};
}

QStringList modulePaths(const QByteArray &modules)
{
    QStringList paths;
    for (const QByteArray &line : modules.split('\n')) {
        const qsizetype equals = line.indexOf('=');
        if (equals > 0 && line.left(equals).trimmed() == "path") {
            paths.append(QString::fromUtf8(line.mid(equals + 1).trimmed()));
        }
    }
    return paths;
}

void collect(const QDir &folder, const QString &prefix, const std::set<QString> &submodules,
             Tree &tree)
{
    const auto entries =
        folder.entryInfoList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    for (const QFileInfo &entry : entries) {
        const QString path = prefix + entry.fileName();
        if (entry.fileName() == u".git" || entry.fileName() == u".godot" ||
            submodules.contains(path)) {
            continue;
        }
        const QByteArray key = path.toUtf8();
        if (entry.isSymLink()) {
            tree.insert_or_assign(key, readLink(entry));
        } else if (entry.isDir()) {
            collect(QDir(entry.filePath()), path + QLatin1Char('/'), submodules, tree);
        } else {
            tree.insert_or_assign(key, read(entry));
        }
    }
}

/// Git knows folders only as parts of paths: each gets an entry before what it holds.
void addFolders(Tree &tree)
{
    QList<QByteArray> folders;
    for (const auto &[path, entry] : tree) {
        for (qsizetype at = path.indexOf('/'); at > 0; at = path.indexOf('/', at + 1)) {
            folders.append(path.left(at));
        }
    }
    for (const QByteArray &folder : folders) {
        tree.try_emplace(folder, Folder{});
    }
}

QByteArray commitId(const Tree &tree)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    for (const auto &[path, entry] : tree) {
        hash.addData(path + '\0');
        if (const auto *file = std::get_if<PlainFile>(&entry)) {
            hash.addData(file->content);
        } else if (const auto *link = std::get_if<Link>(&entry)) {
            hash.addData(link->target);
        }
    }
    return hash.result().toHex();
}

} // namespace

void GitArchive::pack(const QString &folder, const QString &topFolder, const QString &zip,
                      const QStringList &submodules, const QMap<QByteArray, QByteArray> &replaced,
                      const QMap<QString, QByteArray> &extraFiles)
{
    if (!QFileInfo(folder).isDir()) {
        throw std::runtime_error("there is no folder " + folder.toStdString());
    }
    QByteArray modules;
    const QString modulesPath = folder + QLatin1Char('/') + modulesFile.toString();
    if (extraFiles.contains(modulesFile.toString())) {
        modules = extraFiles.value(modulesFile.toString());
    } else if (QFileInfo::exists(modulesPath)) {
        modules = read(QFileInfo(modulesPath)).content;
    }
    const QStringList named = modulePaths(modules) + submodules;
    const std::set<QString> modulePathSet(named.begin(), named.end());

    Tree tree;
    collect(QDir(folder), {}, modulePathSet, tree);
    for (const QString &path : modulePathSet) {
        tree.insert_or_assign(path.toUtf8(), Folder{});
    }
    for (auto file = extraFiles.begin(); file != extraFiles.end(); ++file) {
        tree.insert_or_assign(file.key().toUtf8(), PlainFile{file.value(), false});
    }
    if (!modules.isEmpty()) {
        for (auto text = replaced.begin(); text != replaced.end(); ++text) {
            modules.replace(text.key(), text.value());
        }
        tree.insert_or_assign(modulesFile.toUtf8(), PlainFile{modules, false});
    }
    addFolders(tree);

    ZipWriter writer(zip);
    writer.addFolder(topFolder);
    for (const auto &[path, entry] : tree) {
        const QString name = topFolder + QLatin1Char('/') + QString::fromUtf8(path);
        if (const auto *file = std::get_if<PlainFile>(&entry)) {
            writer.add(name, file->content, file->executable ? executableMode : 0);
        } else if (const auto *link = std::get_if<Link>(&entry)) {
            writer.add(name, link->target, linkMode);
        } else {
            writer.addFolder(name);
        }
    }
    writer.setComment(commitId(tree));
    // All entries bear the commit's time.
    writer.setTime(QDateTime::currentDateTime());
    writer.close();
}

} // namespace brindle
