#include "platform/ChildProcess.h"

#include <QCoreApplication>
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

// What runs in the forked child is async-signal-safe.

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

/// `launcher` is the process number of the one that forks, which may be gone by now.
void endWithLauncher([[maybe_unused]] qint64 launcher)
{
#ifdef Q_OS_LINUX
    // https://man7.org/linux/man-pages/man2/pr_set_pdeathsig.2const.html; outlives exec.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != launcher) {
        ::_exit(EXIT_FAILURE);
    }
#endif
}

void prepareForked(const ChildProcess::Setup &setup, qint64 launcher)
{
    // First: until exec it holds all that the launcher holds, locks included.
    if (setup.endsWithLauncher) {
        endWithLauncher(launcher);
    }
    if (setup.isIsolated) {
        ::setsid(); // before it leads a group, when it may no longer
    }
    ::setpgid(0, 0);
    markDescriptors();
    if (setup.descriptor >= 0) {
        ::fcntl(setup.descriptor, F_SETFD, 0);
    }
    // Both outlive exec, as handlers do not: an ignored signal stays ignored, a blocked one stays
    // blocked, and the thread that forks may block what the child must hear.
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, nullptr);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// 0 and -1 address the caller's own group and every process there is.
bool isOneProcess(qint64 pid)
{
    return pid > 1;
}

} // namespace

QProcessEnvironment ChildProcess::childEnvironment(const QMap<QString, QString> &variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove(QStringLiteral("XDG_ACTIVATION_TOKEN"));
    environment.remove(QStringLiteral("DESKTOP_STARTUP_ID"));
    for (auto variable = variables.begin(); variable != variables.end(); ++variable) {
        environment.insert(variable.key(), variable.value());
    }
    return environment;
}

void ChildProcess::prepare(QProcess &child, Setup setup)
{
    if (setup.isIsolated) {
        child.setStandardInputFile(QProcess::nullDevice());
    } else {
        child.setInputChannelMode(QProcess::ForwardedInputChannel);
    }
#if QT_VERSION >= QT_VERSION_CHECK(6, 6, 0)
    // Newer versions set SIGPIPE and the blocked signals anew behind what the modifier did. And a
    // child that is not forked by vfork waits there for a word of the launcher, with all that it
    // holds: for ever, where that one has been killed.
    using Flag = QProcess::UnixProcessFlag;
    child.setUnixProcessParameters(Flag::IgnoreSigPipe | Flag::ResetSignalHandlers |
                                   Flag::UseVFork);
#endif
    child.setProcessEnvironment(setup.environment);
    child.setChildProcessModifier(
        [setup, launcher = QCoreApplication::applicationPid()] { prepareForked(setup, launcher); });
}

bool ChildProcess::send(int signal, qint64 pid)
{
    return isOneProcess(pid) && ::kill(static_cast<pid_t>(pid), signal) == 0;
}

bool ChildProcess::sendToGroup(int signal, qint64 leader)
{
    return isOneProcess(leader) && ::kill(-static_cast<pid_t>(leader), signal) == 0;
}

} // namespace brindle
