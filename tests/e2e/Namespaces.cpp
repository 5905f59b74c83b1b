#include "Namespaces.h"

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
#include <sys/wait.h>
#include <unistd.h>

namespace brindle {

namespace {

constexpr int ownSpaces = CLONE_NEWNS | CLONE_NEWNET | CLONE_NEWPID | CLONE_NEWIPC;

bool write(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) > 0;
}

/// As root of a user namespace, which ordinary users may make on most systems.
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

/// Forks. The child returns false, and dies with the parent; the parent returns true, once the
/// child and whatever else was left to it has ended, and knows how the child did.
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
        constexpr int killed = 128; // as shells have it
        *exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : killed + WTERMSIG(status);
    }
    return true;
}

/// The first process of a new process namespace: it takes in the orphans, and its end is theirs.
bool becomeFirstButOne(const QByteArray &temporary)
{
    int exitCode = 0;
    if (forkAndWait(&exitCode)) {
        umount2(temporary.constData(), MNT_DETACH);
        rmdir(temporary.constData());
        _exit(exitCode);
    }
    const bool isFurnished = mount("proc", "/proc", "proc", 0, nullptr) == 0 && bringUpLoopback();
    const int error = errno;
    if (forkAndWait(&exitCode)) {
        _exit(exitCode);
    }
    errno = error;
    return isFurnished;
}

/// In the second of two new processes; on failure, with errno, in this one or in that.
bool leave()
{
    QByteArray temporary = QFile::encodeName(QDir::temp().filePath(QStringLiteral("test-XXXXXX")));
    const bool left = mkdtemp(temporary.data()) && (unshare(ownSpaces) == 0 || leaveAsOwnRoot()) &&
                      mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                      mount("none", temporary.constData(), "tmpfs", 0, nullptr) == 0 &&
                      qputenv("TMPDIR", temporary) && becomeFirstButOne(temporary);
    if (!left) {
        const int error = errno;
        rmdir(temporary.constData()); // where it has not been mounted
        errno = error;
    }
    return left;
}

/// Tries it in a process of its own, as half of it would leave this one without the means to start
/// threads. Returns 0 or why not.
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
        throw std::runtime_error("can't mount over " + existing.toStdString() + ": " +
                                 std::strerror(errno));
    }
}

} // namespace brindle
