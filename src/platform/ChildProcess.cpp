#include "platform/ChildProcess.h"

#include <QProcess>

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/prctl.h>
#endif

namespace brindle {

namespace {

constexpr int firstPrivateDescriptor = 3;

/// Marked rather than closed: whoever started the child may use a pipe of its own up to exec to
/// hear whether that worked.
void markDescriptors()
{
#ifdef Q_OS_LINUX
    // https://man7.org/linux/man-pages/man2/close_range.2.html; the flag needs Linux 5.11.
    if (::close_range(firstPrivateDescriptor, ~0U, CLOSE_RANGE_CLOEXEC) == 0) {
        return;
    }
#endif
    const int end = ::getdtablesize();
    for (int descriptor = firstPrivateDescriptor; descriptor < end; ++descriptor) {
        const int flags = ::fcntl(descriptor, F_GETFD);
        if (flags >= 0) {
            ::fcntl(descriptor, F_SETFD, flags | FD_CLOEXEC);
        }
    }
}

/// 0 and -1 address the caller's own group and every process there is.
bool isOneProcess(qint64 pid)
{
    return pid > 1;
}

} // namespace

void ChildProcess::prepare()
{
    markDescriptors();
    ::setpgid(0, 0);

    // Both outlive exec, as handlers do not: an ignored signal stays ignored, a blocked one stays
    // blocked, and the thread that forks may block what the child must hear.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

void ChildProcess::keepIgnoringSigPipe([[maybe_unused]] QProcess &process)
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    process.setUnixProcessParameters(QProcess::UnixProcessFlag::IgnoreSigPipe);
#endif
}

void ChildProcess::leaveTerminal()
{
    ::setsid();
}

void ChildProcess::keepOpen(int descriptor)
{
    ::fcntl(descriptor, F_SETFD, 0);
}

void ChildProcess::endWithLauncher([[maybe_unused]] int signal, [[maybe_unused]] qint64 launcher)
{
#ifdef Q_OS_LINUX
    // https://man7.org/linux/man-pages/man2/pr_set_pdeathsig.2const.html; outlives exec.
    ::prctl(PR_SET_PDEATHSIG, signal);
    if (::getppid() != launcher) {
        ::_exit(EXIT_FAILURE);
    }
#endif
}

bool ChildProcess::terminate(qint64 pid)
{
    return isOneProcess(pid) && ::kill(static_cast<pid_t>(pid), SIGTERM) == 0;
}

bool ChildProcess::terminateGroup(qint64 pid)
{
    return isOneProcess(pid) && ::kill(-static_cast<pid_t>(pid), SIGTERM) == 0;
}

bool ChildProcess::killGroup(qint64 pid)
{
    return isOneProcess(pid) && ::kill(-static_cast<pid_t>(pid), SIGKILL) == 0;
}

} // namespace brindle
