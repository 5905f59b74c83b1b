#include "demo/GitArchive.h"

#include "demo/ZipWriter.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>

#include <filesystem>
#include <stdexcept>

namespace brindle {

namespace {

constexpr quint32 executableMode = 0100755;
constexpr quint32 linkMode = 0120777;

QByteArray contentOf(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        throw std::runtime_error("can't read " + path.toStdString());
    }
    return file.readAll();
}

QByteArray linkTarget(const QString &link)
{
    const auto target = std::filesystem::read_symlink(link.toStdString());
    return QByteArray::fromStdString(target.string());
}

} // namespace

void GitArchive::pack(const QString &folder, const QString &topFolder, const QString &zip,
                      const QStringList &submodules,
                      const QMap<QByteArray, QByteArray> &replaced)
{
    ZipWriter writer(zip);
    QCryptographicHash commit(QCryptographicHash::Sha1);
    const QString top = topFolder + QLatin1Char('/');
    writer.add(top, {});

    QStringList paths;
    QDirIterator entries(folder, QDir::AllEntries | QDir::Hidden | QDir::System
                                 | QDir::NoDotAndDotDot,
                         QDirIterator::Subdirectories);
    while (entries.hasNext()) {
        paths << QDir(folder).relativeFilePath(entries.next());
    }
    paths.sort();
    for (const QString &path : paths) {
        const QFileInfo entry(folder + QLatin1Char('/') + path);
        commit.addData(path.toUtf8());
        if (entry.isSymLink()) {
            writer.add(top + path, linkTarget(entry.filePath()), linkMode);
        } else if (entry.isDir()) {
            writer.add(top + path + QLatin1Char('/'), {});
        } else {
            QByteArray content = contentOf(entry.filePath());
            if (path == QLatin1String(".gitmodules")) {
                for (auto it = replaced.begin(); it != replaced.end(); ++it) {
                    content.replace(it.key(), it.value());
                }
            }
            commit.addData(content);
            writer.add(top + path, content, entry.isExecutable() ? executableMode : 0);
        }
    }
    for (const QString &submodule : submodules) {
        writer.add(top + submodule + QLatin1Char('/'), {});
    }
    writer.setComment(commit.result().toHex());
    writer.close();
}

} // namespace brindle
