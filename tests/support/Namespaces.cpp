#include "support/Namespaces.h"

#include <QByteArray>
#include <QDir>
#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

namespace {

constexpr int ownSpaces = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWIPC;

[[noreturn]] void fail(const QByteArray &step)
{
    throw std::runtime_error((step + ": " + std::strerror(errno)).toStdString());
}

bool write(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) > 0;
}

/// Becomes the root of a user namespace. Most systems let ordinary users do that.
bool leaveAsOwnRoot()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    return unshare(CLONE_NEWUSER | ownSpaces) == 0 && write("/proc/self/setgroups", "deny") &&
           write("/proc/self/uid_map", "0 " + user + " 1") &&
           write("/proc/self/gid_map", "0 " + group + " 1");
}

bool bringUpLoopback()
{
    const int control = socket(AF_INET, SOCK_DGRAM, 0);
    struct ifreq request = {};
    std::strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const bool up = ioctl(control, SIOCSIFFLAGS, &request) == 0;
    close(control);
    return up;
}

/// Forks. Returns false in the child, which dies with the parent. Returns true in the parent after
/// the child's end, with its exit code.
bool forkAndWait(int *exitCode)
{
    const pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        return false;
    }
    *exitCode = EXIT_FAILURE;
    int status = 0;
    pid_t ended = child;
    do {
        ended = wait(&status);
    } while (ended != child && (ended > 0 || errno == EINTR));
    if (ended == child) {
        constexpr int killed = 128; // as shells report it
        *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : killed + WTERMSIG(status);
    }
    return true;
}

/// The first process of a process namespace adopts the orphans, and its death kills all others. So
/// it only waits, and a second process goes on.
bool becomeFirstButOne(const QByteArray &temporary)
{
    int exitCode = 0;
    if (forkAndWait(&exitCode)) {
        umount2(temporary.constData(), MNT_DETACH);
        rmdir(temporary.constData());
        _exit(exitCode);
    }
    const bool isFurnished = ::mount("proc", "/proc", "proc", 0, nullptr) == 0 && bringUpLoopback();
    const int error = errno;
    if (forkAndWait(&exitCode)) {
        _exit(exitCode);
    }
    errno = error;
    return isFurnished;
}

/// Returns in the second new process. After a failure it returns false in any of the processes.
bool leave()
{
    QByteArray temporary = QFile::encodeName(QDir::temp().filePath(QStringLiteral("test-XXXXXX")));
    const bool left = mkdtemp(temporary.data()) && (unshare(ownSpaces) == 0 || leaveAsOwnRoot()) &&
                      ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                      ::mount("none", temporary.constData(), "tmpfs", 0, nullptr) == 0 &&
                      qputenv("TMPDIR", temporary) && becomeFirstButOne(temporary);
    if (!left) {
        const int error = errno;
        rmdir(temporary.constData()); // fails on a mounted folder, which goes with its namespace
        errno = error;
    }
    return left;
}

/// Tries `leave` in another process, because half of it leaves a process unable to start threads.
/// Returns 0 or the error.
int whyNot()
{
    const pid_t probe = fork();
    if (probe == 0) {
        _exit(leave() ? 0 : errno);
    }
    int status = 0;
    if (probe < 0 || waitpid(probe, &status, 0) != probe) {
        return errno;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : EPERM;
}

} // namespace

bool Namespaces::enter(QString *reason)
{
    int error = whyNot();
    if (error == 0 && !leave()) {
        error = errno;
    }
    if (error != 0) {
        *reason = QString::fromLocal8Bit(std::strerror(error));
    }
    return error == 0;
}

void Namespaces::mountOver(const QString &existing, const QString &substitute)
{
    if (mount(QFile::encodeName(substitute).constData(), QFile::encodeName(existing).constData(),
              nullptr, MS_BIND, nullptr) != 0) {
        fail("can't mount over " + existing.toUtf8());
    }
}

SmallDisk::SmallDisk(const QString &folder, qint64 bytes)
    : folder_(QFile::encodeName(folder)), bytes_(bytes)
{
    mount(0);
}

SmallDisk::~SmallDisk()
{
    umount2(folder_.constData(), MNT_DETACH);
}

void SmallDisk::resize(qint64 bytes)
{
    bytes_ = bytes;
    mount(MS_REMOUNT);
}

void SmallDisk::setReadOnly(bool readOnly)
{
    mount(MS_REMOUNT | (readOnly ? static_cast<unsigned long>(MS_RDONLY) : 0));
}

void SmallDisk::mount(unsigned long flags) const
{
    if (::mount("none", folder_.constData(), "tmpfs", flags | MS_NOSUID | MS_NODEV,
                ("size=" + QByteArray::number(bytes_)).constData()) != 0) {
        fail("can't mount a small disk");
    }
}

qint64 SmallDisk::used() const
{
    struct statvfs status = {};
    if (statvfs(folder_.constData(), &status) != 0) {
        fail("can't measure the small disk");
    }
    return static_cast<qint64>((status.f_blocks - status.f_bfree) * status.f_frsize);
}

} // namespace brindle
