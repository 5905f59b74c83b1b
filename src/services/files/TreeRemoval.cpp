#include "files/TreeRemoval.h"

#include <QUuid>

#include <cerrno>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace brindle {

namespace {

/// Folders are taken apart one level at a time: a folder found inside another is moved up into the
/// top folder under a name of its own and waits there for its turn. So the depth of what is
/// deleted costs neither descriptors nor path length.
class Remover
{
public:
    explicit Remover(std::stop_token stop) : stop_(std::move(stop)) {}

    int run(const QByteArray &folder)
    {
        allowAll(AT_FDCWD, folder);
        top_ = open(folder.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        if (top_ < 0) {
            return errno;
        }
        empty(".");
        while (!waiting_.empty()) {
            const QByteArray name = std::move(waiting_.back());
            waiting_.pop_back();
            empty(name);
            check(unlinkat(top_, name.constData(), AT_REMOVEDIR));
        }
        close(top_);
        check(rmdir(folder.constData()));
        return firstError_;
    }

private:
    void check(int result)
    {
        if (result != 0 && firstError_ == 0) {
            firstError_ = errno;
        }
    }

    /// Emptying a folder, and moving it to another parent, needs all of its owner's bits.
    static void allowAll(int parent, const QByteArray &name)
    {
        struct stat status = {};
        if (fstatat(parent, name.constData(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISDIR(status.st_mode) && (status.st_mode & S_IRWXU) != S_IRWXU) {
            // Ignored: a failure, which shows when the folder is opened.
            (void)fchmodat(parent, name.constData(), S_IRWXU, 0);
        }
    }

    void empty(const QByteArray &name)
    {
        const int folder =
            openat(top_, name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
        DIR *const stream = folder < 0 ? nullptr : fdopendir(folder);
        if (!stream) {
            check(-1);
            if (folder >= 0) {
                close(folder);
            }
            return;
        }
        // All names first, because what a stream yields while its folder changes is not defined.
        std::vector<QByteArray> entries;
        while (const dirent *entry = readdir(stream)) {
            entries.emplace_back(entry->d_name);
        }
        for (const QByteArray &entry : entries) {
            if (stop_.stop_requested()) {
                break;
            }
            if (entry != "." && entry != "..") {
                remove(folder, entry, name == ".");
            }
        }
        closedir(stream);
    }

    void remove(int folder, const QByteArray &entry, bool isTop)
    {
        struct stat status = {};
        if (fstatat(folder, entry.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
            check(-1);
            return;
        }
        if (!S_ISDIR(status.st_mode)) {
            check(unlinkat(folder, entry.constData(), 0));
            return;
        }
        if (unlinkat(folder, entry.constData(), AT_REMOVEDIR) == 0) {
            return; // it was empty
        }
        allowAll(folder, entry);
        QByteArray name = entry;
        if (!isTop) {
            name = waitingPrefix_ + QByteArray::number(++moved_);
            if (renameat(folder, entry.constData(), top_, name.constData()) != 0) {
                check(-1);
                return;
            }
        }
        waiting_.push_back(name);
    }

    const std::stop_token stop_;
    int top_ = -1;
    int firstError_ = 0;
    qint64 moved_ = 0;
    const QByteArray waitingPrefix_ = QUuid::createUuid().toByteArray(QUuid::WithoutBraces) + '-';
    std::vector<QByteArray> waiting_; ///< names in the top folder
};

} // namespace

int TreeRemoval::remove(const QByteArray &folder, const std::stop_token &stop)
{
    return Remover(stop).run(folder);
}

} // namespace brindle
