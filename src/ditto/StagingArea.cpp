#include "ditto/StagingArea.h"

#include "ditto/ArchiveError.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace fs = std::filesystem;

namespace {

constexpr mode_t folderMode = 0755;

/// The destination's absolute path without a slash at its end.
fs::path placeOf(const std::string &destination)
{
    const fs::path place = fs::absolute(destination).lexically_normal();
    return place.has_filename() ? place : place.parent_path();
}

int lockFolder(const std::string &path)
{
    const int descriptor = open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor >= 0 && flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        close(descriptor);
        return -1;
    }
    return descriptor;
}

void fill(const fs::path &from, const fs::path &to)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(from)) {
        const fs::path target = to / entry.path().filename();
        const bool isFolder = fs::is_directory(entry.symlink_status());
        const auto there = fs::symlink_status(target);
        if (isFolder && fs::is_directory(there)) {
            fill(entry.path(), target);
            continue;
        }
        if (fs::is_directory(there)) {
            fs::remove_all(target);
        }
        if (isFolder && fs::exists(there)) {
            fs::remove(target);
        }
        fs::rename(entry.path(), target);
    }
}

} // namespace

StagingArea::StagingArea(const std::string &destination)
{
    const fs::path place = placeOf(destination);
    destination_ = place.string();
    parent_ = place.parent_path().string();
    prefix_ = '.' + place.filename().string() + ".unpacking-";
    clearLeftovers();

    std::string pattern = parent_ + '/' + prefix_ + "XXXXXX";
    if (!mkdtemp(pattern.data())) {
        throw ArchiveError("can't write " + parent_ + ": " + std::strerror(errno));
    }
    path_ = pattern;
    lock_ = lockFolder(path_);
    if (lock_ < 0 || fchmod(lock_, folderMode) != 0) {
        throw ArchiveError("can't write " + path_ + ": " + std::strerror(errno));
    }
}

StagingArea::~StagingArea()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
    if (lock_ >= 0) {
        close(lock_);
    }
}

std::string StagingArea::parentOf(const std::string &destination)
{
    return placeOf(destination).parent_path().string();
}

void StagingArea::takePlace()
{
    if (std::rename(path_.c_str(), destination_.c_str()) == 0) {
        return;
    }
    if (errno != ENOTEMPTY && errno != EEXIST) {
        throw ArchiveError("can't write " + destination_ + ": " + std::strerror(errno));
    }
    try {
        fill(path_, destination_);
    } catch (const fs::filesystem_error &error) {
        throw ArchiveError("can't write " + error.path2().string() + ": " + error.code().message());
    }
}

void StagingArea::clearLeftovers() const
{
    std::error_code ignored;
    for (const fs::directory_entry &entry : fs::directory_iterator(parent_, ignored)) {
        const std::string path = entry.path().string();
        if (!entry.path().filename().string().starts_with(prefix_)) {
            continue;
        }
        const int lock = lockFolder(path);
        if (lock >= 0) {
            fs::remove_all(path, ignored);
            close(lock);
        }
    }
}

} // namespace brindle
