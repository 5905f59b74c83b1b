#include "platform/ChildProcess.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

#ifdef Q_OS_LINUX
#include <linux/close_range.h>
#include <sys/syscall.h>
#endif

namespace brindle {

namespace {

constexpr unsigned firstOwnDescriptor = 3;

/// Not closed but marked: whoever forked may still have to report a failing exec through a
/// descriptor of its own.
void closeDescriptorsOnExec()
{
#ifdef Q_OS_LINUX
    if (syscall(SYS_close_range, firstOwnDescriptor, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
#endif
    const long most = sysconf(_SC_OPEN_MAX);
    for (int descriptor = firstOwnDescriptor; descriptor < most; ++descriptor) {
        const int flags = fcntl(descriptor, F_GETFD);
        if (flags >= 0) {
            fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
        }
    }
}

} // namespace

void ChildProcess::prepare()
{
    closeDescriptorsOnExec();
    setpgid(0, 0);
    signal(SIGPIPE, SIG_IGN);
}

bool ChildProcess::terminate(qint64 pid)
{
    return pid > 0 && ::kill(static_cast<pid_t>(pid), SIGTERM) == 0;
}

bool ChildProcess::killGroup(qint64 pid)
{
    return pid > 0 && ::kill(-static_cast<pid_t>(pid), SIGKILL) == 0;
}

} // namespace brindle
