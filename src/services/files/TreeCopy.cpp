#include "files/TreeCopy.h"

#include "base/Error.h"

#include <QFile>

#include <filesystem>
#include <ranges>
#include <utility>
#include <vector>

namespace brindle {

namespace {

namespace fs = std::filesystem;

void check(const std::error_code &error, const fs::path &path)
{
    if (error) {
        throw SystemError::fromErrno(error.value(), QFile::decodeName(path.c_str()));
    }
}

void copyEntry(const fs::path &from, const fs::path &to, fs::file_type type)
{
    std::error_code error;
    switch (type) {
    case fs::file_type::directory:
        // Its own bits come last: they may not allow filling it.
        fs::create_directory(to, error);
        break;
    case fs::file_type::symlink:
        fs::copy_symlink(from, to, error);
        break;
    case fs::file_type::regular:
        fs::copy_file(from, to, error);
        break;
    default:
        error = std::make_error_code(std::errc::not_supported);
    }
    check(error, from);
}

} // namespace

void TreeCopy::copy(const QString &from, const QString &to)
{
    const fs::path source(QFile::encodeName(from).toStdString());
    const fs::path target(QFile::encodeName(to).toStdString());
    std::error_code error;
    const fs::file_status status = fs::symlink_status(source, error);
    check(error, source);
    copyEntry(source, target, status.type());
    if (status.type() != fs::file_type::directory) {
        return;
    }

    std::vector<std::pair<fs::path, fs::perms>> folders{{fs::path(), status.permissions()}};
    for (size_t next = 0; next < folders.size(); ++next) {
        const fs::path below = folders[next].first;
        const fs::path folder = below.empty() ? source : source / below;
        fs::directory_iterator entry(folder, error);
        check(error, folder);
        while (entry != fs::directory_iterator()) {
            const fs::path name = below / entry->path().filename();
            const fs::file_status entryStatus = fs::symlink_status(source / name, error);
            check(error, source / name);
            copyEntry(source / name, target / name, entryStatus.type());
            if (entryStatus.type() == fs::file_type::directory) {
                folders.emplace_back(name, entryStatus.permissions());
            }
            entry.increment(error);
            check(error, folder);
        }
    }
    for (const auto &[name, permissions] : folders | std::views::reverse) {
        const fs::path path = name.empty() ? target : target / name;
        fs::permissions(path, permissions, error);
        check(error, path);
    }
}

} // namespace brindle
