#include "project/AddonFolder.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <filesystem>
#include <system_error>

namespace brindle {

namespace {

QStringList components(const QString &path)
{
    return path.split(u'/', Qt::SkipEmptyParts);
}

/// Where `path` ends, starting from the folder `start` (without links in its path), with every
/// link on the way followed, dangling ones as well. Absent when there are too many links.
std::optional<QString> followLinks(const QString &start, const QString &path)
{
    constexpr int maxLinks = 40; // as the system's own limit
    QString place = start;
    QStringList ahead = components(path);
    int links = 0;
    while (!ahead.isEmpty()) {
        const QString name = ahead.takeFirst();
        if (name == u".") {
            continue;
        }
        if (name == u"..") {
            place = place.left(qMax(place.lastIndexOf(u'/'), 0));
            continue;
        }
        const QString next = place + u'/' + name;
        std::error_code notALink;
        const auto target =
            std::filesystem::read_symlink(QFile::encodeName(next).toStdString(), notALink);
        if (notALink) {
            place = next;
            continue;
        }
        if (++links > maxLinks) {
            return std::nullopt;
        }
        const QString targetText = QFile::decodeName(QByteArray::fromStdString(target.string()));
        if (targetText.startsWith(u'/')) {
            place.clear();
        }
        ahead = components(targetText) + ahead;
    }
    return place;
}

} // namespace

std::optional<QString> AddonFolder::locate(const QString &repository, const QString &path)
{
    // The system would see the path end at a null character.
    if (!repository.startsWith(u'/') || path.startsWith(u'/') || path.contains(QChar::Null)) {
        return std::nullopt;
    }
    const QString clean = QDir::cleanPath(path);
    if (clean == u".." || clean.startsWith(u"../")) {
        return std::nullopt;
    }
    if (clean.isEmpty() || clean == u".") {
        return repository;
    }
    QString located = QDir::cleanPath(repository) + u'/' + clean;
    QString root = QFileInfo(repository).canonicalFilePath();
    if (root.isEmpty()) {
        // There is no such folder, so no link can lie in it either.
        return located;
    }
    if (root == u"/") {
        root.clear();
    }
    const std::optional<QString> end = followLinks(root, clean);
    if (!end || (*end != root && !end->startsWith(root + u'/'))) {
        return std::nullopt;
    }
    return located;
}

} // namespace brindle
