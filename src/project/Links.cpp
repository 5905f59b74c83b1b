#include "project/Links.h"

#include <QFile>

#include <algorithm>
#include <filesystem>

namespace brindle {

namespace {

namespace fs = std::filesystem;

fs::path native(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

/// Returns whether `path` leads to `folder` or below it. The path of `folder` must have no links.
bool isBelow(const fs::path &folder, const fs::path &path)
{
    std::error_code error;
    const fs::path end = fs::weakly_canonical(path, error);
    if (error) {
        return false;
    }
    // `end` still contains dangling links, so follow the first of them.
    fs::path start;
    for (const fs::path &part : end) {
        const fs::path target = fs::read_symlink(start / part, error);
        if (!error) {
            return isBelow(folder, start / target / end.lexically_relative(start / part));
        }
        start /= part;
    }
    return std::mismatch(folder.begin(), folder.end(), end.begin(), end.end()).first ==
           folder.end();
}

} // namespace

bool Links::stayInside(const QString &folder, const QString &path)
{
    std::error_code error;
    const fs::path root = fs::weakly_canonical(native(folder), error);
    return !error && isBelow(root, native(path));
}

bool Links::leadOutside(const QString &folder)
{
    const fs::path root = fs::canonical(native(folder));
    return std::any_of(fs::recursive_directory_iterator(root), fs::recursive_directory_iterator(),
                       [&root](const fs::directory_entry &entry) {
                           return entry.is_symlink() && !isBelow(root, entry.path());
                       });
}

} // namespace brindle
