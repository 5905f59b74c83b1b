#include "Namespaces.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <net/if.h>
#include <sched.h>
#include <stdexcept>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

namespace brindle {

namespace {

bool write(const char *path, const QByteArray &text)
{
    QFile file(QString::fromLatin1(path));
    return file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) && file.write(text) > 0;
}

/// As root of a user namespace, which ordinary users may make on most systems.
bool enterAsOwnRoot()
{
    const QByteArray user = QByteArray::number(getuid());
    const QByteArray group = QByteArray::number(getgid());
    return unshare(CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWNET) == 0 &&
           write("/proc/self/setgroups", "deny") &&
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

} // namespace

bool Namespaces::enter(QString *reason)
{
    const bool entered = (unshare(CLONE_NEWNS | CLONE_NEWNET) == 0 || enterAsOwnRoot()) &&
                         mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
                         bringUpLoopback();
    if (!entered) {
        *reason = QString::fromLocal8Bit(std::strerror(errno));
    }
    return entered;
}

void Namespaces::mountOver(const QString &file, const QString &substitute)
{
    if (mount(QFile::encodeName(substitute).constData(), QFile::encodeName(file).constData(),
              nullptr, MS_BIND, nullptr) != 0) {
        throw std::runtime_error("can't mount over " + file.toStdString() + ": " +
                                 std::strerror(errno));
    }
}

} // namespace brindle
